#!/usr/bin/env python3
"""Makes CaseMappingTable.inc: the simple case mappings of the Unicode character data, as runs.

    make_case_mapping.py /usr/share/unicode > CaseMappingTable.inc     (Debian package unicode-data)
"""

import pathlib
import sys


def simple_folding(folder):
    """Character -> folded character: the common and simple rows of CaseFolding.txt."""
    mapping = {}
    for line in (folder / "CaseFolding.txt").read_text(encoding="utf-8").splitlines():
        fields = [field.strip() for field in line.split("#")[0].split(";")]
        if len(fields) > 2 and fields[1] in ("C", "S"):
            mapping[int(fields[0], 16)] = int(fields[2], 16)
    return mapping


def simple_upper(folder):
    """Character -> upper-case character: field 12 of UnicodeData.txt."""
    mapping = {}
    for line in (folder / "UnicodeData.txt").read_text(encoding="utf-8").splitlines():
        fields = line.split(";")
        if fields[12]:
            mapping[int(fields[0], 16)] = int(fields[12], 16)
    return mapping


def runs(mapping):
    """[first, last, step, offset]: every step-th character from first to last maps to itself plus offset."""
    result = []
    for character, target in sorted(mapping.items()):
        offset = target - character
        if result and result[-1][3] == offset:
            run = result[-1]
            distance = character - run[1]
            if distance <= 2 and (run[0] == run[1] or run[2] == distance):
                run[1], run[2] = character, distance
                continue
        result.append([character, character, 1, offset])
    return result


def main():
    folder = pathlib.Path(sys.argv[1])
    version = (folder / "CaseFolding.txt").read_text(encoding="utf-8").splitlines()[0].lstrip("# ")
    print(f"// Made by make_case_mapping.py from {version} and UnicodeData.txt. Do not edit.")
    for name, mapping in (("kSimpleFolding", simple_folding(folder)), ("kSimpleUpper", simple_upper(folder))):
        print(f"constexpr Run {name}[] = {{")
        for first, last, step, offset in runs(mapping):
            print(f"    {{0x{first:04X}, 0x{last:04X}, {step}, {offset}}},")
        print("};")


if __name__ == "__main__":
    main()
