#!/usr/bin/env python3
"""clang-tidy over the product's bodies, in parallel, by the compile database of a build.

  tidy.py --build <build folder> [--only linux|windows] [--jobs n] [<part of a path>...]

Takes each .cpp of the product's folders that the build compiles (--only: those of one platform's suffix). Generated
headers must be there: build the target vel-generated first.
"""

import argparse
from concurrent.futures import ThreadPoolExecutor, as_completed
import json
import os
from pathlib import Path
import subprocess
import sys
import time

from tree import LAYERS, ROOT, platform, top

TIDY = "clang-tidy-16"


def bodies(build: Path, only: str | None, parts: list[str]) -> list[Path]:
    entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    found = []
    for file in sorted({Path(entry["file"]) for entry in entries}):
        if not file.is_relative_to(ROOT):
            continue
        relative = file.relative_to(ROOT).as_posix()
        if top(relative) in LAYERS and (not only or platform(relative) == only) \
                and (not parts or any(part in relative for part in parts)):
            found.append(file)
    return found


def library_folders(build: Path) -> list[str]:
    """For a cross build: the folders of its compiler's C++ library, which clang does not find by itself."""
    entry = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))[0]
    compiler = next(word for word in entry["command"].split() if "g++" in word or "clang" in word)
    if "mingw" not in compiler:
        return []
    told = subprocess.run(
        [compiler, "-xc++", "-E", "-v", "/dev/null"], capture_output=True, text=True, check=True).stderr
    listed = told.partition("#include <...> search starts here:")[2].partition("End of search list")[0]
    return [folder for folder in listed.split() if "c++" in folder]


def tidy(build: Path, arguments: list[str], file: Path) -> tuple[Path, float, int, str]:
    started = time.monotonic()
    # What only GCC knows among the build's warning options is no fault of the file.
    done = subprocess.run(
        [TIDY, "--quiet", "-p", str(build), "--extra-arg=-Wno-unknown-warning-option", *arguments, str(file)],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return file, time.monotonic() - started, done.returncode, done.stdout.strip()


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", type=Path, required=True)
    parser.add_argument("--only", choices=["linux", "windows"])
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("parts", nargs="*")
    arguments = parser.parse_args()
    files = bodies(arguments.build, arguments.only, arguments.parts)
    if not files:
        print("tidy: the compile database names no body of the product")
        return 1
    folders = [f"--extra-arg=-isystem{folder}" for folder in library_folders(arguments.build)]
    failed = 0
    with ThreadPoolExecutor(arguments.jobs) as pool:
        runs = [pool.submit(tidy, arguments.build, folders, file) for file in files]
        for count, run in enumerate(as_completed(runs), start=1):
            file, seconds, status, output = run.result()
            failed += status != 0
            print(f"[{count}/{len(files)}] {file.relative_to(ROOT)} {seconds:.1f} s", flush=True)
            if status != 0:
                print(output or f"{TIDY} ended with {status}", flush=True)
    print(f"tidy: {failed} of {len(files)} bodies have findings")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
