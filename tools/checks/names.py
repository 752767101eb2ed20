"""Names of files: unique in the repository, because headers are included by bare name; lower case, because Windows does
not tell cases apart.
"""

import re

from tree import Finding, Tree, name

FORM = re.compile(r"^[a-z0-9]+([.-][a-z0-9]+)*$")


def check(tree: Tree) -> list[Finding]:
    seen = {}
    findings = []
    for path in tree.paths():
        if not path.endswith((".cpp", ".hpp", ".h", ".proto")):
            continue
        file = name(path)
        if not path.endswith(".proto") and not FORM.match(file):
            findings.append(Finding(path, 1, f"{file} is not of the form area-name or library.area-name in lower case"))
        other = seen.setdefault(file.lower(), path)
        if other != path:
            findings.append(Finding(path, 1, f"has the name of {other}: names are unique in the repository"))
    return findings
