"""Lists the tests of source files for CMake, one a line: name|timeout|serial.

A comment line "ctest: serial" or "ctest: timeout SECONDS" directly above a test marks it.
"""

import ast
import re
import sys

CPP_TEST = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
MARK = re.compile(r"^\s*(?:#|//)\s*ctest:\s*(serial|timeout\s+(\d+))\s*$")


def ReadMarks(lines, first_line):
    """The marks in the comment block that ends just above first_line (counted from 1)."""
    timeout, serial = 0, 0
    at = first_line - 2
    while at >= 0 and re.match(r"^\s*(#|//)", lines[at]):
        mark = MARK.match(lines[at])
        if mark and mark.group(2):
            timeout = int(mark.group(2))
        elif mark:
            serial = 1
        at -= 1
    return timeout, serial


def ListPython(text):
    for node in ast.parse(text).body:
        if isinstance(node, ast.FunctionDef) and node.name.startswith("test_"):
            yield node.name, min([node.lineno] + [d.lineno for d in node.decorator_list])


def ListCpp(text):
    for found in CPP_TEST.finditer(text):
        yield f"{found.group(1)}.{found.group(2)}", text.count("\n", 0, found.start()) + 1


def main():
    path = sys.argv[1]
    with open(path, encoding="utf-8") as source:
        text = source.read()
    lines = text.splitlines()
    for name, line in ListPython(text) if path.endswith(".py") else ListCpp(text):
        timeout, serial = ReadMarks(lines, line)
        print(f"{name}|{timeout}|{serial}")


main()
