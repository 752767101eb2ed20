#!/usr/bin/env python3
"""Fails when a Windows executable imports a DLL that is not the system's own.

  system_imports.py --objdump <objdump> <executable>...
"""

import argparse
import re
import subprocess
import sys

# What Windows 10 has in System32, of the libraries that vel::windows names.
SYSTEM = {
    "advapi32", "bcrypt", "crypt32", "dbghelp", "dnsapi", "gdi32", "iphlpapi", "kernel32", "msvcrt", "ncrypt",
    "netapi32", "ntdll", "ole32", "oleaut32", "psapi", "rpcrt4", "secur32", "shell32", "shlwapi", "user32", "userenv",
    "version", "wevtapi", "winhttp", "wintrust", "wlanapi", "ws2_32", "wtsapi32",
}


def foreign_imports(listing: str) -> list[str]:
    """The imported DLLs of an `objdump -p` listing that are not the system's; None of them named means no table."""
    names = re.findall(r"^\s*DLL Name:\s*(\S+)", listing, re.MULTILINE)
    if not names:
        raise ValueError("no table of imports")
    return [name for name in names if name.lower().removesuffix(".dll") not in SYSTEM]


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--objdump", default="x86_64-w64-mingw32-objdump")
    parser.add_argument("executables", nargs="+")
    arguments = parser.parse_args()
    failed = False
    for executable in arguments.executables:
        listing = subprocess.run([arguments.objdump, "-p", executable], check=True, capture_output=True, text=True)
        try:
            foreign = foreign_imports(listing.stdout)
        except ValueError as fault:
            print(f"{executable}: {fault}: is this a Windows executable?")
            failed = True
            continue
        for name in foreign:
            print(f"{executable}: imports {name}, which Windows does not have: link that library statically")
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
