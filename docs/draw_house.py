#!/usr/bin/python3
"""Draws the house from what it is made of: the rooms of src/ by their includes, those of
python/orbitrax/ by their imports.

    docs/draw_house.py           prints the floors, from the top down, with what each room uses
    docs/draw_house.py --svg     the same as a picture, on standard output
    docs/draw_house.py --write   brings the drawing in docs/design.md up to date

A room stands one floor above the highest that it uses, so every arrow points down unless there is a
circle; a circle is said, and the exit status is 1. A file of state, `state.h`, is read but not
called: where that would close a circle it stands in a list below the drawing.
Imports for type checkers alone count for nothing.
"""

from __future__ import annotations

import ast
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGE = Path(__file__).resolve().parent / "design.md"
BEGIN, END = "<!-- house -->", "<!-- end of house -->"
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*"([^"/]+)/([^"]+)"', re.M)

Rooms = dict[str, set[str]]


def cpp_rooms(root: Path) -> tuple[Rooms, Rooms]:
    """What each room of src/ includes of others, and what it reads: its state.h."""
    uses: Rooms = {}
    reads: Rooms = {}
    for path in sorted((root / "src").glob("*/*")):
        if path.suffix not in (".cpp", ".h", ".def"):
            continue
        room = path.parent.name
        uses.setdefault(room, set())
        reads.setdefault(room, set())
        for other, file in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if other != room:
                (reads if file == "state.h" else uses)[room].add(other)
    return uses, reads


def python_rooms(root: Path) -> Rooms:
    """What each room, or lone module, of the package imports of others."""
    package = root / "python" / "orbitrax"
    uses: Rooms = {}
    for path in sorted(package.rglob("*.py")):
        room = path.relative_to(package).parts[0].removesuffix(".py")
        if room == "__init__":
            continue
        uses.setdefault(room, set())
        for module in _imported(ast.parse(path.read_text(encoding="utf-8"))):
            other = module.split(".")[1] if "." in module else room
            if other not in (room, "__version__"):
                uses[room].add(other)
    return {room: others & set(uses) for room, others in uses.items()}


def _imported(tree: ast.AST) -> list[str]:
    """The modules of the package that are imported, those for type checkers apart."""
    found: list[str] = []
    for node in ast.iter_child_nodes(tree):
        if isinstance(node, ast.If) and getattr(node.test, "id", "") == "TYPE_CHECKING":
            continue
        if isinstance(node, ast.ImportFrom) and (node.module or "").startswith("orbitrax"):
            names = [node.module or ""]
            if node.module == "orbitrax":
                names = [f"orbitrax.{alias.name}" for alias in node.names]
            found += names
        elif isinstance(node, ast.Import):
            found += [one.name for one in node.names if one.name.startswith("orbitrax")]
        found += _imported(node)
    return found


def floors(uses: Rooms) -> list[list[str]]:
    """The rooms by floors, from the ground up. Raises ValueError for a circle."""
    left, built = dict(uses), list[list[str]]()
    while left:
        ready = sorted(room for room, others in left.items() if not others & set(left))
        if not ready:
            raise ValueError("a circle among " + ", ".join(sorted(left)))
        built.append(ready)
        for room in ready:
            del left[room]
    return built


def below(uses: Rooms, room: str) -> set[str]:
    """All rooms that a room stands on."""
    found: set[str] = set()
    ahead = [room]
    while ahead:
        new = uses[ahead.pop()] - found
        found |= new
        ahead += new
    return found


def direct(uses: Rooms) -> Rooms:
    """The arrows that no detour replaces."""
    return {room: {other for other in others
                   if not any(other in below(uses, third) for third in others - {other})}
            for room, others in uses.items()}


def with_reads(uses: Rooms, reads: Rooms) -> tuple[Rooms, list[tuple[str, str]]]:
    """The arrows with the reads that point down as well, and the other reads."""
    found = {room: set(others) for room, others in uses.items()}
    upward = []
    for room, others in sorted(reads.items()):
        for other in sorted(others):
            if room in below(found, other):
                upward.append((room, other))
            else:
                found[room].add(other)
    return found, upward


def text(title: str, uses: Rooms, reads: Rooms | None = None) -> list[str]:
    """The drawing, a line a room."""
    uses, upward = with_reads(uses, reads or {})
    built, arrows = floors(uses), direct(uses)
    lines = [title]
    for i in range(len(built) - 1, -1, -1):
        for k, room in enumerate(built[i]):
            floor = f"{i:3d}" if k == 0 else "   "
            below = ", ".join(sorted(arrows[room])) or "the ground"
            lines.append(f"{floor}  {room:<15}-> {below}")
    if upward:
        lines.append("     reads of a state.h that do not point down: "
                     + ", ".join(f"{room} of {other}" for room, other in upward))
    return lines


def drawing(root: Path = ROOT) -> str:
    """Both houses."""
    uses, reads = cpp_rooms(root)
    return "\n".join([*text("src/", uses, reads), "",
                      *text("python/orbitrax/", python_rooms(root))]) + "\n"


def svg(root: Path = ROOT) -> str:
    """Both houses as boxes and arrows."""
    shapes, left = [], 20
    cpp = with_reads(*cpp_rooms(root))[0]
    for title, uses in (("src/", cpp), ("python/orbitrax/", python_rooms(root))):
        built = floors(uses)
        width = 130 * max(map(len, built))
        place = {room: (left + (k + 0.5) * width / len(rooms), 70 * (len(built) - i))
                 for i, rooms in enumerate(built) for k, room in enumerate(rooms)}
        shapes.append(f'<text x="{left}" y="25" font-weight="bold">{title}</text>')
        for room, others in direct(uses).items():
            for other in sorted(others):
                (x1, y1), (x2, y2) = place[room], place[other]
                shapes.append(f'<line x1="{x1:.0f}" y1="{y1 + 14:.0f}" x2="{x2:.0f}" '
                              f'y2="{y2 - 14:.0f}" stroke="#999"/>')
        for room, (x, y) in place.items():
            shapes.append(f'<rect x="{x - 55:.0f}" y="{y - 14:.0f}" width="110" height="28" rx="4" '
                          'fill="#eef" stroke="#446"/>')
            shapes.append(f'<text x="{x:.0f}" y="{y + 4:.0f}" text-anchor="middle">{room}</text>')
        left += width + 40
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{left}" height="980" '
            'font-family="sans-serif" font-size="12">\n' + "\n".join(shapes) + "\n</svg>\n")


def page(old: str, house: str) -> str:
    """The page with the drawing of today."""
    head, _, rest = old.partition(BEGIN)
    return f"{head}{BEGIN}\n```text\n{house}```\n{END}{rest.partition(END)[2]}"


def main(arguments: list[str]) -> int:
    """What the head of this file tells."""
    try:
        if arguments == ["--svg"]:
            print(svg(), end="")
        elif arguments == ["--write"]:
            PAGE.write_text(page(PAGE.read_text(encoding="utf-8"), drawing()), encoding="utf-8")
        elif not arguments:
            print(drawing(), end="")
        else:
            print(__doc__.strip())
    except ValueError as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
