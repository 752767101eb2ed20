#!/usr/bin/env python3
"""Files of one platform, and docs/platform.md, which tells about them.

A file X.windows.* needs its partner X.linux.* and the other way round. One without a partner has a row in a table of
docs/platform.md, its name in backticks in the first column and the reason in the second:

    | `shared.wmi-server.windows.hpp` | Only Windows has WMI. |

Tests need no partner: what one body alone can do is tested for that body alone.

The list of all suffixed files stands in that document between two markers and is written by

    tools/checks/seam_list.py --write
"""

import re
import sys

from tree import Finding, ROOT, Tree, name, partner, platform, top

DOCUMENT = "docs/platform.md"
BEGIN = "<!-- seam: begin. Written by tools/checks/seam_list.py --write -->"
END = "<!-- seam: end -->"

_ROW = re.compile(r"^\|\s*`([^`]+)`\s*\|([^|]*)")


def suffixed(tree: Tree) -> list[str]:
    return [path for path in tree.sources() if platform(path)]


def block(tree: Tree) -> str:
    """The generated part of the document: a table of all suffixed files, partners side by side."""
    rows = {}
    for path in suffixed(tree):
        thing = name(path).replace(f".{platform(path)}.", ".*.")
        rows.setdefault((path.rpartition("/")[0], thing), set()).add(platform(path))
    lines = [BEGIN, "", "| Folder | File | Windows | Linux |", "|---|---|---|---|"]
    for (folder, thing), platforms in sorted(rows.items()):
        marks = ["yes" if wanted in platforms else "" for wanted in ("windows", "linux")]
        lines.append(f"| {folder} | {thing} | {marks[0]} | {marks[1]} |")
    return "\n".join([*lines, "", END])


def _reasons(tree: Tree) -> dict[str, tuple[int, str]]:
    """File name -> (line, reason) of the document's rows about files of one platform."""
    reasons = {}
    for line, text in tree.lines(DOCUMENT):
        row = _ROW.match(text)
        if row and platform(row[1]):
            reasons[row[1]] = (line, row[2].strip())
    return reasons


def check(tree: Tree) -> list[Finding]:
    findings = []
    names = {name(path) for path in suffixed(tree)}
    reasons = _reasons(tree)
    for path in suffixed(tree):
        if partner(path) in names or top(path) == "tests":
            continue
        if not reasons.get(name(path), (0, ""))[1]:
            findings.append(Finding(path, 1, f"has no partner {partner(path)}: write it, or give the reason in "
                                             f"{DOCUMENT} as a row | `{name(path)}` | reason |"))
    for file, (line, _) in reasons.items():
        if file not in names:
            findings.append(Finding(DOCUMENT, line, f"gives a reason for {file}, which is not there: drop the row"))
        elif partner(file) in names:
            findings.append(Finding(DOCUMENT, line, f"gives a reason for {file}, which has its partner: drop the row"))
    if suffixed(tree) and block(tree) not in tree.text(DOCUMENT):
        line = next((number for number, text in tree.lines(DOCUMENT) if text.strip() == BEGIN), 1)
        findings.append(Finding(DOCUMENT, line, "the list of suffixed files is not current: run "
                                                "tools/checks/seam_list.py --write"))
    return findings


def write() -> int:
    document = ROOT / DOCUMENT
    text = document.read_text(encoding="utf-8") if document.exists() else f"# Platform seam\n\n{BEGIN}\n{END}\n"
    before, begin, rest = text.partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        print(f"{DOCUMENT}:1: put the two lines\n{BEGIN}\n{END}\nwhere the list belongs")
        return 1
    document.parent.mkdir(exist_ok=True)
    document.write_text(before + block(Tree.of_repository()) + after, encoding="utf-8")
    return 0


if __name__ == "__main__":
    if sys.argv[1:] != ["--write"]:
        sys.exit(__doc__)
    sys.exit(write())
