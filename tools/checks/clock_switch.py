#!/usr/bin/env python3
"""Fails when an executable contains the switch of the clock, which is for tests and the laboratory only.

  clock_switch.py --nm <nm> <executable>

The linker drops what nobody calls, so a function of the switch that is still there has a caller. An executable without
symbols, or without the clock itself, proves nothing and fails too.
"""

import argparse
import subprocess
import sys

SWITCH = "Shared::Time::ClockControl::"
CLOCK = "Shared::Time::"


def faults(symbols: str) -> list[str]:
    lines = symbols.splitlines()
    if not any(CLOCK in line and SWITCH not in line for line in lines):
        return ["holds no symbol of the clock, so nothing can be said: was it stripped?"]
    return [f"contains {line.split(' ', 2)[-1]}, which only tests and the laboratory may use"
            for line in lines if SWITCH in line]


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--nm", default="nm")
    parser.add_argument("executable")
    arguments = parser.parse_args()
    listing = subprocess.run([arguments.nm, "-C", arguments.executable], check=True, capture_output=True, text=True)
    found = faults(listing.stdout)
    for fault in found:
        print(f"{arguments.executable}: {fault}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
