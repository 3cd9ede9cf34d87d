#!/usr/bin/env python3
"""Checks that the folders of src/ include each other only downward.

Every `#include "folder/..."` in src/ (headers and sources) is an edge from the
including file's folder to the named folder. The folders stand in this order,
lowest first:

    runtime < text < filters < security < objects = reader < xmp < document < front

A file may include its own folder and any folder below it. objects and reader
share one level: the object model and the reading of the file's structure may
include each other. Any other include of a higher folder, or of a folder not
in the list, fails the check with the offending lines; exit status 1.

Usage: check_layers.py [source root], the root defaulting to the src/ beside
this script's folder.
"""

import os
import re
import sys

LAYERS = [
    ("runtime",),
    ("text",),
    ("filters",),
    ("security",),
    ("objects", "reader"),
    ("xmp",),
    ("document",),
    ("front",),
]

LEVEL = {folder: level for level, folders in enumerate(LAYERS) for folder in folders}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"/]+)/[^"]*"')


def violations(root):
    """Yields (path, line number, line, reason) for every include that breaks the order."""
    for current, _, files in sorted(os.walk(root)):
        for name in sorted(files):
            if not name.endswith((".h", ".cpp")):
                continue
            path = os.path.join(current, name)
            folder = os.path.relpath(path, root).split(os.sep)[0]
            with open(path, encoding="utf-8", errors="replace") as source:
                for number, line in enumerate(source, 1):
                    match = INCLUDE.match(line)
                    if match is None:
                        continue
                    target = match.group(1)
                    if folder not in LEVEL:
                        yield path, number, line.rstrip(), f"folder {folder}/ has no place in the layers"
                    elif target not in LEVEL:
                        yield path, number, line.rstrip(), f"{target}/ has no place in the layers"
                    elif LEVEL[target] > LEVEL[folder]:
                        yield path, number, line.rstrip(), f"{folder}/ may not include the higher {target}/"


def main(argv):
    root = argv[1] if len(argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "src")
    if not os.path.isdir(root):
        print(f"check_layers: no folder {root}", file=sys.stderr)
        return 2
    found = list(violations(root))
    for path, number, line, reason in found:
        print(f"{os.path.relpath(path)}:{number}: {line}  ({reason})")
    if found:
        order = " < ".join(" = ".join(folders) for folders in LAYERS)
        print(f"check_layers: {len(found)} include(s) against the order {order}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
