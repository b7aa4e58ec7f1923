#!/usr/bin/env python3
"""Proves that the emulated processor has SSSE3 and nothing later: the suite's other runs on it rest on that.

usage: ceiling.py PROBE EMULATOR...
The probe runs one instruction of the set named by its argument and ends with 0.
"""
import subprocess
import sys


def outcome(command):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode


def main():
    probe, emulator = sys.argv[1], sys.argv[2:]
    faults = []
    if outcome([probe, "sse41"]) != 0:
        print("this machine has no SSE4.1 itself: only the emulator's answer is checked")
    if outcome(emulator + [probe, "ssse3"]) != 0:
        faults.append("the emulated processor has no SSSE3")
    if outcome(emulator + [probe, "sse41"]) == 0:
        faults.append("the emulated processor runs SSE4.1")
    if outcome(emulator + [probe, "avx"]) == 0:
        faults.append("the emulated processor runs AVX")
    for fault in faults:
        print(fault)
    return 1 if faults else 0


sys.exit(main())
