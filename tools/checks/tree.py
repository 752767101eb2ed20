"""What the checks look at: the files of the repository, and how a finding is told.

Every check is a module with a function `check(tree) -> list[Finding]`, so that its self-test can give it a tree that
exists only in memory.
"""

from dataclasses import dataclass
from pathlib import Path, PurePosixPath
import re
import subprocess

ROOT = Path(__file__).resolve().parents[2]

# The product, in the order of its layers: a folder may use only what stands before it.
LAYERS = ["Shared", "schemas", "AgentConnector", "AgentProcessLib", "AgentProcess"]
# What surrounds the product may use all of it and never ships.
AROUND = ["lab", "tests", "fuzz", "bench", "tools"]

PLATFORMS = {"windows": "linux", "linux": "windows"}


@dataclass(frozen=True)
class Finding:
    path: str
    line: int
    message: str

    def __str__(self) -> str:
        return f"{self.path}:{self.line}: {self.message}"


class Tree:
    """Paths (relative, with slashes) and their texts. A file that is not UTF-8 text is there without a text."""

    def __init__(self, texts: dict[str, str | None]):
        self._texts = dict(sorted(texts.items()))

    @staticmethod
    def of_repository(root: Path = ROOT) -> "Tree":
        texts = {}
        for name in _names(root):
            file = root / name
            if file.is_symlink() or not file.is_file():
                continue
            try:
                texts[name] = file.read_text(encoding="utf-8")
            except UnicodeDecodeError:
                texts[name] = None
        return Tree(texts)

    def paths(self) -> list[str]:
        return list(self._texts)

    def text(self, path: str) -> str:
        return self._texts.get(path) or ""

    def lines(self, path: str):
        """(number from 1, line) of a file's text."""
        return enumerate(self.text(path).splitlines(), start=1)

    def sources(self) -> list[str]:
        return [path for path in self._texts if path.endswith((".cpp", ".hpp", ".h"))]

    def product_sources(self) -> list[str]:
        return [path for path in self.sources() if top(path) in LAYERS]


def _names(root: Path) -> list[str]:
    """What is tracked and what is new and not ignored. Outside of a git work tree (an archive): what is there."""
    listing = subprocess.run(
        ["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        capture_output=True, text=True, check=False)
    if listing.returncode == 0:
        return [name for name in listing.stdout.split("\0") if name]
    skipped = {".git", "build", "results", "__pycache__"}
    found = (path.relative_to(root) for path in root.rglob("*") if path.is_file())
    return [path.as_posix() for path in found if not skipped & set(path.parts)]


def top(path: str) -> str:
    return PurePosixPath(path).parts[0]


def name(path: str) -> str:
    return PurePosixPath(path).name


def platform(path: str) -> str | None:
    """The platform of a suffixed file: `windows` of X.windows.cpp, None of X.cpp."""
    for part in name(path).split(".")[1:]:
        if part in PLATFORMS:
            return part
    return None


def partner(path: str) -> str:
    """The name that the file of the other platform would have."""
    own = platform(path)
    return name(path).replace(f".{own}.", f".{PLATFORMS[own]}.")


_INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def includes(tree: Tree, path: str):
    """(line number, '<' or '"', what is included) of each include of a file."""
    for number, line in tree.lines(path):
        found = _INCLUDE.match(line)
        if found:
            yield number, found[1], found[2]


def without_comments(text: str) -> str:
    """The C++ text with comments and the insides of literals blanked, its lines kept."""
    def blank(found: re.Match) -> str:
        piece = found[0]
        if piece.startswith("/"):
            return re.sub(r"[^\n]", " ", piece)
        return piece[0] + re.sub(r"[^\n]", " ", piece[1:-1]) + piece[-1]

    return re.sub(
        r'//[^\n]*|/\*.*?\*/|R"([^()\\ ]{0,16})\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-zA-Z_])\'(?:\\.|[^\'\\\n])+\'',
        blank, text, flags=re.DOTALL)
