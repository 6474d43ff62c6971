#!/usr/bin/env python3
"""Test code against product code, in non-blank, non-comment lines.

Counts the C, C++, Python, JavaScript, shell and CMake files git tracks:
tests/ and fuzz/ against everything else, leaving out vendored and
generated files. Usage: tests/count_lines.py [repository root]
"""
import pathlib
import subprocess
import sys

C_LIKE = {".c", ".h", ".cpp", ".hpp", ".cc", ".js"}
HASH_LIKE = {".py", ".sh", ".cmake"}
LEFT_OUT = ("/vendor/", "lookup_tables.inc")
TEST_DIRS = ("tests/", "fuzz/")


def language(path):
    if path.name == "CMakeLists.txt" or path.suffix in HASH_LIKE:
        return "hash"
    if path.suffix in C_LIKE:
        return "c"
    if not path.suffix and path.is_file():
        with path.open("rb") as f:
            if f.read(2) == b"#!":
                return "hash"
    return None


def c_code_lines(text):
    """Lines with something outside // and /* */ comments (strings respected)."""
    count, in_block = 0, False
    for line in text.splitlines():
        code, i, quote = False, 0, None
        while i < len(line):
            ch, two = line[i], line[i:i + 2]
            if in_block:
                if two == "*/":
                    in_block, i = False, i + 2
                    continue
            elif quote:
                code = True
                if ch == "\\":
                    i += 1
                elif ch == quote:
                    quote = None
            elif two == "//":
                break
            elif two == "/*":
                in_block, i = True, i + 2
                continue
            elif not ch.isspace():
                code = True
                if ch in "\"'`":
                    quote = ch
            i += 1
        count += code
    return count


def hash_code_lines(text):
    return sum(1 for line in text.splitlines() if line.strip() and not line.lstrip().startswith("#"))


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()
    files = subprocess.run(["git", "-C", str(root), "ls-files", "--cached", "--others", "--exclude-standard"], capture_output=True, text=True,
                           check=True).stdout.split()
    totals = {"tests": 0, "rest": 0}
    for name in files:
        path = root / name
        if not path.is_file():
            continue
        kind = language(path)
        if kind is None or any(part in "/" + name for part in LEFT_OUT):
            continue
        text = path.read_text(errors="replace")
        lines = c_code_lines(text) if kind == "c" else hash_code_lines(text)
        totals["tests" if name.startswith(TEST_DIRS) else "rest"] += lines
    tests, rest = totals["tests"], totals["rest"]
    print(f"tests {tests}  rest {rest}  ratio {100 * tests / rest:.0f} %")


if __name__ == "__main__":
    main()
