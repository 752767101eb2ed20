#!/usr/bin/env python3
"""Runs the checks of the repository's form.

  run_checks.py            all of them
  run_checks.py <name>...  those named
  run_checks.py --list     their names, one a line

Each finding is one line, file:line: what is wrong and what to do. Ends with 1 if there is any.
"""

import importlib
import sys

from tree import Tree

CHECKS = ["layering", "seam", "seam_list", "clock", "tested", "names", "headers", "settings", "words"]


def main(names: list[str]) -> int:
    if names == ["--list"]:
        print("\n".join(CHECKS))
        return 0
    unknown = [name for name in names if name not in CHECKS]
    if unknown:
        print(f"There is no check {', '.join(unknown)}; there are {', '.join(CHECKS)}.")
        return 2
    tree = Tree.of_repository()
    failed = 0
    for name in names or CHECKS:
        findings = importlib.import_module(name).check(tree)
        for finding in findings:
            print(finding)
        print(f"{name}: {len(findings)} findings in {len(tree.paths())} files")
        failed += len(findings)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
