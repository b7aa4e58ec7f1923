# Sourced by the scripts that need Debian packages: need_packages NAME...
# Installs those that are missing (as root), or says which they are and ends the script.

packages_updated=

package_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

need_packages() {
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        echo "$0: no apt-get here; needed are, by their Debian names: $*" >&2
        return 0
    fi
    local name missing=()
    for name in "$@"; do
        package_installed "$name" || missing+=("$name")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    if [ "$(id -u)" != 0 ]; then
        echo "$0: missing packages; as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]}"
    local log
    log=$(mktemp)
    export DEBIAN_FRONTEND=noninteractive
    if [ -z "$packages_updated" ]; then
        apt-get -q update >"$log" 2>&1 || { cat "$log" >&2; rm -f "$log"; exit 1; }
        packages_updated=yes
    fi
    apt-get -q -y install --no-install-recommends "${missing[@]}" >"$log" 2>&1 ||
        { cat "$log" >&2; rm -f "$log"; exit 1; }
    rm -f "$log"
}
