#!/usr/bin/env python3
"""Doxygen input filter for the public headers.

The headers are written for people reading them: plain comments, a /* ... */
or // block at the top saying what the file holds, and a comment above each
declaration saying what it does. Doxygen reads only its own comment forms, so
this filter turns those comments into them on the fly, leaving the files
untouched and every line where it was (warnings point at the real line):

- the first comment of the file becomes the file's documentation (\\file);
- any other comment that starts a line documents what follows it;
- a comment behind a declaration on its line (an enumerator's, a member's)
  documents that declaration;
- separator comments such as /* ---- Reads ---- */ stay plain comments.

Doxygen runs it as `headercomments.py <header>` and reads standard output.
"""
import os
import re
import sys

BLOCK = re.compile(r"^(\s*)/\*(?![*!])(.*)$")
LINE = re.compile(r"^(\s*)//(?![/!])(.*)$")
SEPARATOR = re.compile(r"^\s*/\*\s*-{3,}.*-{3,}\s*\*/\s*$")
# Code, then a comment to the end of the line (no quote before it, so that
# a "/*" inside a string is left alone); not a closing brace's or a
# preprocessor line's remark.
TRAILING = re.compile(r'^(\s*[^\s#}/][^"/]*?)(/\*(?![*!])|//(?![/!]))(.*)$')


def convert(lines, name):
    out = []
    in_block = False
    seen_first = False
    for line in lines:
        if in_block:
            out.append(line)
            in_block = "*/" not in line
            continue
        if SEPARATOR.match(line):
            out.append(line)
            seen_first = True
            continue
        block = BLOCK.match(line)
        if block:
            indent, rest = block.groups()
            head = "/** \\file " + name if not seen_first else "/**"
            out.append(indent + head + (" " + rest.lstrip() if rest.strip() else "") + "\n")
            in_block = "*/" not in rest
            seen_first = True
            continue
        comment = LINE.match(line)
        if comment:
            indent, rest = comment.groups()
            if not seen_first:
                out.append(indent + "/// \\file " + name + (" " + rest.lstrip() if rest.strip() else "") + "\n")
                seen_first = True
            else:
                out.append(indent + "///" + rest + "\n")
            continue
        if line.strip() and not line.lstrip().startswith("#"):
            seen_first = True
        trailing = TRAILING.match(line)
        if trailing:
            code, opener, rest = trailing.groups()
            out.append(code + opener[:2] + ("*<" if opener == "/*" else "/<") + rest + "\n")
            in_block = opener == "/*" and "*/" not in rest
            continue
        out.append(line)
    return out


def main():
    if len(sys.argv) != 2:
        sys.stderr.write("usage: headercomments.py <header>\n")
        return 2
    path = sys.argv[1]
    try:
        with open(path, encoding="utf-8") as f:
            lines = f.readlines()
    except OSError as e:
        sys.stderr.write("%s: %s\n" % (path, e.strerror))
        return 1
    if not path.endswith(".h"):
        sys.stdout.write("".join(lines))
        return 0
    sys.stdout.write("".join(convert(lines, os.path.basename(path))))
    return 0


if __name__ == "__main__":
    sys.exit(main())
