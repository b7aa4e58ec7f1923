#!/usr/bin/env python3
"""Installs the library into a fresh folder and builds and runs programs against what was installed.

usage: install.py BUILD_DIR SOURCE_DIR WORK_DIR C_COMPILER CXX_COMPILER [flags...]
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys


def run(*command, **kwargs):
    result = subprocess.run([str(word) for word in command], text=True, capture_output=True, **kwargs)
    if result.returncode:
        sys.exit(f"{' '.join(map(str, command))}\n{result.stdout}{result.stderr}")
    return result.stdout


def main():
    build, source, work = map(pathlib.Path, sys.argv[1:4])
    cc, cxx = sys.argv[4:6]
    flags = sys.argv[6:]
    shutil.rmtree(work, ignore_errors=True)
    prefix = work / "prefix"
    work.mkdir(parents=True)
    run("cmake", "--install", build, "--prefix", prefix)
    libdir = next(prefix.rglob("libzelsrq4.so.5.2")).parent
    for name in ("libzelcore.so.5.2", "pkgconfig/zelsr.pc", "cmake/zelsr/zelsr-config.cmake"):
        if not (libdir / name).exists():
            sys.exit(f"not installed: {name}")

    # C programs by pkg-config: the one in the README, and the one that replaces the hooks.
    environment = dict(os.environ, PKG_CONFIG_PATH=str(libdir / "pkgconfig"),
                       PKG_CONFIG_SYSTEM_LIBRARY_PATH="/nowhere", LD_LIBRARY_PATH=str(libdir))
    options = run("pkg-config", "--define-variable=prefix=" + str(prefix), "--cflags", "--libs", "zelsr",
                  env=environment).split()
    program = re.search(r"```c\n(.*?)```", (source / "README.md").read_text(), re.S)
    if not program:
        sys.exit("the README has no C program")
    (work / "readme.c").write_text(program.group(1))
    for name, file, extra in (("readme", work / "readme.c", ["-std=c11", "-Wall", "-Werror"]),
                              ("hooks", source / "tests/abi/consumer/hooks.c", ["-no-pie", "-fno-pie"])):
        run(cc, *flags, *extra, file, "-o", work / name, *options)
        print(run(work / name, env=environment).strip())

    # A C++ project by the CMake package.
    joined = " ".join(flags)
    run("cmake", "-G", "Ninja", "-S", source / "tests/abi/consumer", "-B", work / "consumer",
        f"-DCMAKE_PREFIX_PATH={prefix}", f"-Dzelsr_DIR={libdir}/cmake/zelsr", f"-DCMAKE_C_COMPILER={cc}",
        f"-DCMAKE_CXX_COMPILER={cxx}", f"-DCMAKE_C_FLAGS={joined}", f"-DCMAKE_CXX_FLAGS={joined}")
    run("cmake", "--build", work / "consumer")
    print(run(work / "consumer/consumer", env=environment).strip())


main()
