"""The direction of every include: Shared <- schemas <- AgentConnector <- AgentProcessLib <- AgentProcess.

A folder includes only from itself and from what stands left of it. The product never includes from lab, tests, fuzz,
bench or tools, which may include everything.
"""

from tree import AROUND, Finding, LAYERS, Tree, includes, name, top


def check(tree: Tree) -> list[Finding]:
    home = {name(path): top(path) for path in tree.sources()}
    home |= {name(path).removesuffix(".proto") + ".pb.h": top(path) for path in tree.paths() if path.endswith(".proto")}
    findings = []
    for path in tree.product_sources():
        for line, _, included in includes(tree, path):
            target = home.get(name(included))
            if target in AROUND:
                findings.append(Finding(path, line, f"includes {included} of {target}/, which never ships with the "
                                                    "product: move what is needed into the product"))
            elif target in LAYERS and LAYERS.index(target) > LAYERS.index(top(path)):
                findings.append(Finding(path, line, f"{top(path)} includes {included} of {target}, a higher layer: "
                                                    "let the higher layer hand in what is needed"))
    return findings
