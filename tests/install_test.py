"""Installs the build into an empty folder and uses it from there: through CMake, through pkg-config, and by name.

    BUILD=build/release TAVIK=build/release/tools/tavik/tavik python3 tests/install_test.py
"""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

HERE = pathlib.Path(__file__).parent
BUILD = os.environ["BUILD"]
TAVIK = os.environ["TAVIK"]

LIBRARY = '{ version = 1; Model = { attribute = ModelNumber; predicate = hasPrefix; value = MX; }; }'
RULES = '{ version = 2; GenericRules = { Model = {}; Unheard = {}; }; }'


def run(*command, **options):
    options.setdefault("check", True)
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=300, **options)


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.folder.name)
        cls.prefix = cls.root / "a prefix"
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        (cls.root / "library.plist").write_text(LIBRARY, encoding="utf-8")
        (cls.root / "rules.plist").write_text(RULES, encoding="utf-8")
        command = cls.prefix / "bin" / "tavik"
        run(command, "keygen", "--private", cls.root / "key.pem", "--public", cls.root / "pub.pem")
        for name in ("library", "rules"):
            run(command, "sign", "--key", cls.root / "key.pem", cls.root / f"{name}.plist", "-o", cls.root / f"{name}.signed")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def check_consumer(self, program):
        result = run(program, self.root / "library.signed", self.root / "rules.signed", self.root / "pub.pem", check=False)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("pass Model: MX101\n", result.stdout)
        self.assertIn("FAIL Unheard: attribute (null) not found from device!\n", result.stdout)

    def test_through_cmake(self):
        build = self.root / "consumer"
        run("cmake", "-S", HERE / "consumer", "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        self.check_consumer(build / "consumer")

    def compile_through_pkg_config(self, source, program):
        (folder,) = self.prefix.glob("lib*/**/pkgconfig")
        environment = {**os.environ, "PKG_CONFIG_PATH": str(folder)}
        flags = run("pkg-config", "--cflags", "--libs", "tavik-platform", "tavik-kernel", env=environment).stdout
        # pkg-config escapes blanks as a shell does.
        run("sh", "-c", f'g++ -std=c++20 "{source}" -o "{program}" {flags.strip()} -Wl,-rpath,"{folder.parent}"')

    def test_through_pkg_config(self):
        program = self.root / "by-pkg-config"
        self.compile_through_pkg_config(HERE / "consumer/consumer.cpp", program)
        self.check_consumer(program)

    def test_the_program_in_the_readme(self):
        readme = (HERE.parent / "README.md").read_text(encoding="utf-8")
        source = self.root / "readme.cpp"
        source.write_text(re.search(r"```cpp\n(.*?)```", readme, re.DOTALL).group(1), encoding="utf-8")
        self.compile_through_pkg_config(source, self.root / "readme")
        device = self.root / "device.plist"
        device.write_text("{ ModelNumber = MX101; }", encoding="utf-8")
        files = [self.root / name for name in ("pub.pem", "library.signed", "rules.signed")]
        self.assertIn("pass Model\nFAIL Unheard\n", run(self.root / "readme", *files, device).stdout)

    def test_exported_symbols_and_needed_libraries(self):
        (library,) = self.prefix.glob("lib*/**/libTavikKernel.so")
        table = run("nm", "-DC", "--defined-only", library).stdout.splitlines()
        strong = [line.split(maxsplit=2)[2] for line in table if line.split(maxsplit=2)[1] in "TRDB"]
        names = sorted({re.sub(r"\(.*|\[abi:cxx11\]", "", name) for name in strong})
        approved = (HERE / "exported_symbols.txt").read_text(encoding="utf-8").splitlines()
        self.assertEqual(names, approved)
        weak = [line for line in table if " tavik::" not in line and " for tavik::" not in line and line.split()[1] in "WVu"]
        self.assertEqual(weak, [])
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "-d", library).stdout)
        standard = {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6"}
        self.assertLessEqual(set(needed), standard)


if __name__ == "__main__":
    unittest.main()
