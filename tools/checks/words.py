"""Words and paths that have no place in the repository: it speaks of itself, and holds no path of a developer's machine
and no host of a package registry.
"""

import re

from tree import Finding, Tree

# Single letters stand in brackets so that this file does not hold what it looks for.
FORBIDDEN = [
    (re.compile(r"\bPar[t] [0-9]+\.[0-9]+|\bspecificatio[n]s?\b|\bspe[c]\.md\b|\bthe spe[c]\b|DEVELOPER[S]\.md", re.I),
     "speaks of a description outside the repository: give the system's own reason"),
    (re.compile(r"(?<![\w.])/(wor[k]|roo[t]|hom[e]/\w+)/"), "holds a path of one machine"),
    (re.compile(r"https?://(de[b]|securit[y]|registr[y])\."), "names the host of a package registry"),
]


def check(tree: Tree) -> list[Finding]:
    findings = []
    for path in tree.paths():
        for line, text in tree.lines(path):
            for pattern, fault in FORBIDDEN:
                found = pattern.search(text)
                if found:
                    findings.append(Finding(path, line, f'"{found[0]}" {fault}'))
    return findings
