#!/usr/bin/env python3
"""Fails when a quoted include under src/ crosses the layers the wrong way.

The allowed directions are the table under "Allowed includes" in docs/architecture.md, so the
picture there and this check cannot disagree. A file belongs to the longest folder of the table
that holds it; so does an included header. Every folder under src/ must have a row.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TABLE_HEADING = "Allowed includes"
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
FOLDER = re.compile(r"`([a-z/]+/)`")


def read_table(architecture):
    """Maps each folder of the table to the set of folders its files may include."""
    lines = architecture.read_text(encoding="utf-8").splitlines()
    try:
        start = next(i for i, line in enumerate(lines) if TABLE_HEADING in line)
    except StopIteration:
        sys.exit(f"check-layers: no '{TABLE_HEADING}' table in {architecture}")
    rules = {}
    for line in lines[start + 1:]:
        if rules and not line.startswith("|"):
            break
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if len(cells) != 2 or set(cells[0]) <= set("-: "):
            continue
        allowed = set(FOLDER.findall(cells[1]))
        for folder in FOLDER.findall(cells[0]):
            rules[folder] = allowed | {folder}
    if not rules:
        sys.exit(f"check-layers: the '{TABLE_HEADING}' table in {architecture} has no rows")
    return rules


def layer_of(path, folders):
    """The longest folder of the table that holds `path` (a path relative to src/), if any."""
    holders = [folder for folder in folders if path.startswith(folder)]
    return max(holders, key=len) if holders else None


def main():
    src = ROOT / "src"
    rules = read_table(ROOT / "docs" / "architecture.md")
    problems = []
    for source in sorted(src.rglob("*")):
        if source.suffix not in (".h", ".cpp") or not source.is_file():
            continue
        relative = source.relative_to(src).as_posix()
        layer = layer_of(relative, rules)
        if layer is None:
            problems.append(f"src/{relative}: its folder has no row in the table")
            continue
        for match in INCLUDE.finditer(source.read_text(encoding="utf-8")):
            target = layer_of(match.group(1), rules)
            if target is not None and target not in rules[layer]:
                problems.append(f"src/{relative}: {layer} may not include {match.group(1)}")
    for problem in problems:
        print(problem)
    if problems:
        print(f"check-layers: {len(problems)} include(s) cross the layers the wrong way; "
              "see the table in docs/architecture.md")
        return 1
    print(f"check-layers: every include under src/ follows the {len(rules)} rows of the table")
    return 0


if __name__ == "__main__":
    sys.exit(main())
