"""The table of settings is whole: each of its values is used, and no value is read or written past it.

Values are reached by `Value::Name` of shared.appsettings-table.hpp; the registry's own operations on values are called by
one file. Keys that are the system's, not the agent's, are read by the files named here.
"""

import re

from tree import Finding, Tree, name, without_comments

TABLE = "Shared/src/AppSettings/shared.appsettings-table.hpp"
ACCESS = "shared.appsettings-values.cpp"
# Folders and files of the product that call the registry for values that are no settings of the agent.
OTHERS = ("Shared/src/WinReg/", "Shared/src/System/shared.system-osversion", "AgentProcessLib/src/System/")

ROW = re.compile(r"^\s*\{Value::(\w+),", re.M)
USE = re.compile(r"\bValue::(\w+)")
CALL = re.compile(r"\b((?:Try)?Get(?:String|Dword)Value|Set(?:String|Dword)Value|DeleteValue)\s*\(")


def check(tree: Tree) -> list[Finding]:
    findings = []
    used = set()
    for path in tree.product_sources():
        if path == TABLE:
            continue
        code = without_comments(tree.text(path))
        if "AppSettings" in code:
            used |= set(USE.findall(code))
        if name(path) == ACCESS or path.startswith(OTHERS):
            continue
        for line, text in enumerate(code.splitlines(), start=1):
            found = CALL.search(text)
            if found:
                findings.append(Finding(path, line, f"calls {found[1]}: give the value a row in {name(TABLE)} and reach "
                                                    "it through that"))
    for line, text in tree.lines(TABLE):
        row = ROW.match(text)
        if row and row[1] not in used:
            findings.append(Finding(TABLE, line, f"Value::{row[1]} is used nowhere: drop the row, or read it"))
    return findings
