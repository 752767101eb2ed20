"""The platform seam: what belongs to one operating system stands only in files X.windows.* and X.linux.*.

Neutral files include the C++ standard library, the libraries that both platforms have, and neutral files of ours; their
preprocessor lines ask for no operating system. CMake files ask for it only in cmake/.
"""

import re

from tree import Finding, Tree, includes, name, platform, without_comments

# Headers in angle brackets that a neutral file may include besides the standard library's, which have no dot.
LIBRARIES = re.compile(
    r"^(google/protobuf/|rapidjson/|fmt/|spdlog/|gtest/|gmock/|benchmark/)|^(sqlite3|lz4|lz4hc|lz4frame)\.h$")

MACROS = re.compile(
    r"\b(_?WIN(32|64)|_MSC_VER|__MINGW\w*|__CYGWIN__|__(gnu_)?linux(__)?|__unix(__)?|__APPLE__|__GLIBC__|_POSIX_\w+)\b")

CMAKE = re.compile(r"\b(WIN32|UNIX|LINUX|MINGW|CMAKE_SYSTEM_NAME|CMAKE_HOST_SYSTEM_NAME|CMAKE_CROSSCOMPILING|VEL_(OTHER_)?PLATFORM)\b")


def check(tree: Tree) -> list[Finding]:
    ours = {name(path): path for path in tree.sources()}
    messages = {name(path).removesuffix(".proto") + ".pb.h" for path in tree.paths() if path.endswith(".proto")}
    findings = []
    for path in tree.sources():
        own = platform(path)
        for line, _, included in includes(tree, path):
            target = platform(included)
            if name(included) in ours and target is not None:
                if target != own:
                    findings.append(Finding(path, line, f"includes {included}, which only {target} has: include its "
                                                        f"neutral header, or name this file X.{target}.*"))
            elif own is None and not (name(included) in ours or name(included) in messages
                                      or "." not in name(included) or LIBRARIES.search(included)):
                findings.append(Finding(path, line, f"includes {included}, which is no standard header and no library "
                                                    "of both platforms: move the body to X.windows.* and X.linux.*"))
        if own is not None or path == "cmake/sanitizer-defaults.cpp":
            continue
        for line, text in enumerate(without_comments(tree.text(path)).splitlines(), start=1):
            found = MACROS.search(text) if text.lstrip().startswith("#") else None
            if found:
                findings.append(Finding(path, line, f"asks for the operating system by {found[0]}: move the body to "
                                                    "X.windows.* and X.linux.*"))
    for path in tree.paths():
        if name(path) != "CMakeLists.txt":
            continue
        for line, text in tree.lines(path):
            found = CMAKE.search(text.split("#")[0])
            if found:
                findings.append(Finding(path, line, f"asks for the platform by {found[0]}: name the files of both; the "
                                                    "functions of cmake/VelTargets.cmake drop the other's"))
    return findings
