"""Hardening of the built files: read-only relocations, non-executable stack, stack protector, fortified functions, shadow stack
and indirect branch tracking.

    BUILD=build/release python3 tests/packaging/hardening_test.py
"""

import os
import pathlib
import re
import subprocess
import unittest

BUILD = pathlib.Path(os.environ["BUILD"])
CACHE = (BUILD / "CMakeCache.txt").read_text("utf-8")
FILES = [file for pattern in ("src/libTavikKernel.so", "platform/libTavikPlatform.so", "tools/tavik/tavik", "tools/tavik/tavik-station",
                              "bindings/python/tavik/_tavik.*.so") for file in BUILD.glob(pattern)]


class HardeningTest(unittest.TestCase):
    def test_every_file(self):
        self.assertGreaterEqual(len(FILES), 3)
        marks = [r"Type: +DYN", r"BIND_NOW|Flags:.*NOW", "GNU_RELRO", r"GNU_STACK.* RW +0x", "__stack_chk_fail"]
        if "TAVIK_HAS_CONTROL_FLOW_PROTECTION:INTERNAL=1" in CACHE:
            marks += ["x86 feature:.*SHSTK", "endbr64"]
        is_optimized = re.search("^CMAKE_BUILD_TYPE:.*=Release$", CACHE, re.MULTILINE)
        for file in FILES:
            copies = [r"__(?!stack)\w+_chk\b"] if is_optimized and file.name in ("libTavikKernel.so", "tavik") else []
            details = "".join(subprocess.run(command, capture_output=True, text=True, check=True).stdout for command in (
                ("readelf", "-W", "-h", "-d", "-l", "-n", "--dyn-syms", file), ("objdump", "-d", file)))
            for mark in marks + copies:
                with self.subTest(file.name, mark=mark):
                    self.assertTrue(re.search(mark, details))


if __name__ == "__main__":
    unittest.main()
