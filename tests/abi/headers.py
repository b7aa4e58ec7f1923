#!/usr/bin/env python3
"""Compiles every public header alone, as C11 and as C++17, with warnings as errors.

usage: headers.py INCLUDE_DIR C_COMPILER CXX_COMPILER [flags...]
"""
import pathlib
import subprocess
import sys

STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror", "-fsyntax-only"]


def main():
    include, cc, cxx = sys.argv[1:4]
    flags = sys.argv[4:]
    headers = sorted(pathlib.Path(include).rglob("*.h"))
    failed = 0
    for header in headers:
        name = header.relative_to(include)
        for command in ([cc, "-x", "c", "-std=c11"], [cxx, "-x", "c++", "-std=c++17"]):
            result = subprocess.run(
                command + flags + STRICT + ["-I", include, "-"], text=True,
                input=f"#include <{name}>\nextern int translation_unit;\nint translation_unit;\n")
            if result.returncode:
                print(f"{name} does not compile alone: {' '.join(command)}")
                failed += 1
    print(f"{len(headers)} headers, {failed} failures")
    return 1 if failed or not headers else 0


sys.exit(main())
