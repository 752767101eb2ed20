"""Headers begin with `#pragma once`; a .cpp includes its own header first, which proves that the header stands alone."""

import re

from tree import Finding, Tree, includes, name, platform, without_comments


def check(tree: Tree) -> list[Finding]:
    names = {name(path) for path in tree.sources()}
    findings = []
    for path in tree.sources():
        if path.endswith(".hpp"):
            code = [line for line in without_comments(tree.text(path)).splitlines() if line.strip()]
            if not code or not re.match(r"\s*#\s*pragma\s+once\b", code[0]):
                findings.append(Finding(path, 1, "the first line of code of a header is #pragma once"))
            continue
        if not path.endswith(".cpp"):
            continue
        own = [name(path).removesuffix(".cpp") + ".hpp"]
        if platform(path):
            own.append(own[0].replace(f".{platform(path)}.", "."))
        own = [header for header in own if header in names]
        first = next(includes(tree, path), None)
        if own and (first is None or first[2] not in own):
            findings.append(Finding(path, first[0] if first else 1, f"includes {own[0]}, its own header, first"))
    return findings
