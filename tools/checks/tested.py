"""Every .cpp of the product has a test file of its name: tests/unit/**/X.test.cpp, or tests/contract/**/X.contract.test.cpp
where it is an operation of the seam.

X is the name without the platform: the bodies shared.a-b.cpp, shared.a-b.windows.cpp and shared.a-b.linux.cpp share
shared.a-b.test.cpp. Where no test of that name makes sense, untested.txt holds a line `X | reason`.
"""

import re

from tree import Finding, Tree, name

EXCEPTIONS = "tools/checks/untested.txt"


def thing(path: str) -> str:
    return re.sub(r"(\.(contract|windows|linux))*(\.test)?(\.(windows|linux))?\.cpp$", "", name(path))


def check(tree: Tree) -> list[Finding]:
    bodies = {}
    for path in tree.product_sources():
        if path.endswith(".cpp"):
            bodies.setdefault(thing(path), path)
    tested = {thing(path) for path in tree.sources()
              if path.startswith(("tests/unit/", "tests/contract/")) and ".test." in name(path)}
    findings = []
    excepted = set()
    for line, text in tree.lines(EXCEPTIONS):
        if not text.strip() or text.startswith("#"):
            continue
        what, _, reason = (part.strip() for part in text.partition("|"))
        excepted.add(what)
        if not reason:
            findings.append(Finding(EXCEPTIONS, line, f"no reason given for {what}"))
        if what not in bodies:
            findings.append(Finding(EXCEPTIONS, line, f"{what} is not there: drop the line"))
        elif what in tested:
            findings.append(Finding(EXCEPTIONS, line, f"{what} has a test: drop the line"))
    for what, path in bodies.items():
        if what not in tested and what not in excepted:
            findings.append(Finding(path, 1, f"has no test: write tests/unit/.../{what}.test.cpp (or tests/contract/...)"
                                             f", or give a reason in {EXCEPTIONS}"))
    return findings
