#!/usr/bin/env python3
"""Holds the library's dynamic symbols against the public headers, and its dependencies against what is allowed.

usage: symbols.py LIBRARY INCLUDE_DIR PUBLIC_NAMES [--instrumented]
"""
import pathlib
import re
import subprocess
import sys

HOOKS = {"i_malloc", "i_calloc", "i_realloc", "i_free", "i_version", "i_min_version"}
NEEDED = {"libc.so.6", "libm.so.6", "libzelcore.so.5.2"}
SONAME = "libzelsrq4.so.5.2"


def declared(include):
    """Functions and hooks that the headers declare, comments left out."""
    names = set()
    for header in pathlib.Path(include).rglob("*.h"):
        text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
        names |= set(re.findall(r"\b(zels\w+)\s*\(", text))
        names |= set(re.findall(r"\bextern\b[^;]*?\b(i_\w+)\b", text))
    return names


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main():
    library, include, public = sys.argv[1:4]
    instrumented = "--instrumented" in sys.argv[4:]
    exported = {line.split()[-1].split("@")[0]
                for line in run("nm", "-D", "--defined-only", library).splitlines()}
    exported -= {"_init", "_fini", "__bss_start", "_edata", "_end"} if instrumented else set()
    if instrumented:
        exported = {name for name in exported if not name.startswith("__")}
    headers = declared(include)
    planned = set(pathlib.Path(public).read_text().split()) | HOOKS
    faults = []
    for title, names in (
            ("declared but not exported", headers - exported),
            ("exported but not declared", exported - headers),
            ("no public name", headers - planned),
            ("hook not exported", HOOKS - exported)):
        faults += [f"{title}: {name}" for name in sorted(names)]
    dynamic = run("readelf", "-dW", library)
    soname = re.search(r"SONAME.*\[(.*?)\]", dynamic)
    if not soname or soname.group(1) != SONAME:
        faults.append(f"soname is not {SONAME}")
    needed = set(re.findall(r"NEEDED.*\[(.*?)\]", dynamic))
    if not instrumented:
        faults += [f"needs {name}" for name in sorted(needed - NEEDED)]
        if "$ORIGIN" not in dynamic:
            faults.append("no RUNPATH $ORIGIN")
    if "libzelcore.so.5.2" not in needed:
        faults.append("does not need libzelcore.so.5.2")
    for fault in faults:
        print(fault)
    functions = len(headers - HOOKS)
    print(f"{functions} public functions, {len(exported)} exported symbols, {len(faults)} faults")
    if not functions:
        return 1
    return 1 if faults else 0


sys.exit(main())
