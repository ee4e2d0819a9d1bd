#!/usr/bin/env python3
"""Fails when a header under src/ or tools/ declares a function returning a std::expected (or an
alias of one) without [[nodiscard]].

GCC does not warn when a std::expected is dropped unless the function says so (and then only for
calls it can resolve; clang for every call). Result needs no mark: its class is [[nodiscard]].
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ("src", "tools")
ALIAS = re.compile(r"\busing\s+(\w+)\s*=\s*std::expected<")
QUALIFIERS = r"(?:(?:virtual|static|inline|friend|constexpr)\s+)*"


def aliases(headers):
    """Every alias of a std::expected that a header or source file declares."""
    names = set()
    for path in headers:
        names.update(ALIAS.findall(path.read_text(encoding="utf-8")))
    return names


def declaration(names):
    types = "|".join(["std::expected"] + sorted(re.escape(name) for name in names))
    return re.compile(rf"^\s*{QUALIFIERS}(?:[\w:]*::)?(?:{types})\b(?:<.*>)?\s+[\w:]+\(")


def main():
    headers = [path for folder in FOLDERS for path in (ROOT / folder).rglob("*.h")]
    sources = [path for folder in FOLDERS for path in (ROOT / folder).rglob("*.cpp")]
    pattern = declaration(aliases(headers + sources))
    problems = []
    for path in sorted(headers):
        lines = path.read_text(encoding="utf-8").splitlines()
        for number, line in enumerate(lines, start=1):
            if not pattern.match(line):
                continue
            previous = lines[number - 2] if number > 1 else ""
            if "[[nodiscard]]" not in line and "[[nodiscard]]" not in previous:
                problems.append(f"{path.relative_to(ROOT)}:{number}: {line.strip()}")
    for problem in problems:
        print(f"missing [[nodiscard]]: {problem}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
