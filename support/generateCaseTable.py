#!/usr/bin/env python3
"""Writes CaseTable.cpp from UnicodeData.txt of the Debian package unicode-data.

    support/generateCaseTable.py /usr/share/unicode/UnicodeData.txt > support/CaseTable.cpp

A table has two levels: the upper bits of a code unit choose a block, the lower bits the distance in it to
the mapped unit. Equal blocks are stored once, both tables sharing them.
"""
import sys

BLOCK = 64
UPPER, LOWER = 12, 13


def distances(lines, column):
    """For each code unit the distance (modulo 2^16) to its mapping; 0 for units without one in the BMP."""
    result = [0] * 0x10000
    for line in lines:
        fields = line.rstrip("\n").split(";")
        unit = int(fields[0], 16)
        if unit < 0x10000 and fields[column] and int(fields[column], 16) < 0x10000:
            result[unit] = (int(fields[column], 16) - unit) & 0xFFFF
    return result


def rows(values):
    line = "   "
    for value in values:
        if len(line) + len(str(value)) + 2 > 110:
            yield line
            line = "   "
        line += " %d," % value
    yield line


def main(path):
    with open(path, encoding="ascii") as source:
        lines = source.readlines()
    blocks = []
    indices = {}
    for name, column in ("UpperBlocks", UPPER), ("LowerBlocks", LOWER):
        table = distances(lines, column)
        index = []
        for start in range(0, 0x10000, BLOCK):
            block = table[start:start + BLOCK]
            if block not in blocks:
                blocks.append(block)
            index.append(blocks.index(block))
        indices[name] = index
    assert len(blocks) <= 256

    print("// Letter case of the Basic Multilingual Plane. Made by generateCaseTable.py from UnicodeData.txt of the")
    print("// Debian package unicode-data; not to be edited.")
    print('#include "support/CaseTable.h"\n')
    print("namespace zor::CaseTable {\n")
    print("// clang-format off")
    for name, index in indices.items():
        print("const unsigned char %s[0x10000 / BlockLength] = {" % name)
        print("\n".join(rows(index)))
        print("};\n")
    print("const unsigned short Distances[][BlockLength] = {")
    for block in blocks:
        print("    {")
        print("\n".join(rows(block)))
        print("    },")
    print("};")
    print("// clang-format on\n")
    print("}  // namespace zor::CaseTable")


main(sys.argv[1])
