"""Installs the build into an empty folder and uses it from there: through CMake, through pkg-config, and by name.

    BUILD=build/release python3 tests/packaging/install_test.py
"""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
BUILD = os.environ["BUILD"]

LIBRARY = '{ version = 1; Model = { attribute = ModelNumber; predicate = hasPrefix; value = MX; }; }'
RULES = '{ version = 2; GenericRules = { Model = {}; Unheard = {}; }; }'
STRICT_C = "gcc -std=c11 -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Werror"


def run(*command, **options):
    options.setdefault("check", True)
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=300, **options)


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.folder.name)
        cls.prefix = cls.install()
        (cls.root / "library.plist").write_text(LIBRARY, encoding="utf-8")
        (cls.root / "rules.plist").write_text(RULES, encoding="utf-8")
        command = cls.prefix / "bin" / "tavik"
        run(command, "keygen", "--private", cls.root / "key.pem", "--public", cls.root / "pub.pem")
        for name in ("library", "rules"):
            run(command, "sign", "--key", cls.root / "key.pem", cls.root / f"{name}.plist", "-o", cls.root / f"{name}.signed")

    @classmethod
    def install(cls):
        prefix = cls.root / "a prefix"
        run("cmake", "--install", BUILD, "--prefix", prefix)
        return prefix

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

    def compile_through_pkg_config(self, source, program, compiler="g++ -std=c++20"):
        (folder,) = self.prefix.glob("lib*/**/pkgconfig")
        environment = {**os.environ, "PKG_CONFIG_PATH": str(folder)}
        flags = run("pkg-config", "--cflags", "--libs", "tavik-platform", "tavik-kernel", env=environment).stdout
        # pkg-config escapes blanks as a shell does.
        run("sh", "-c", f'{compiler} "{source}" -o "{program}" {flags.strip()} -Wl,-rpath,"{folder.parent}"')

    def test_through_pkg_config(self):
        program = self.root / "by-pkg-config"
        self.compile_through_pkg_config(HERE / "consumer/consumer.cpp", program)
        self.check_consumer(program)

    def test_the_example_in_c(self):
        build = self.root / "c-example"
        run("cmake", "-S", PROJECT / "examples/c", "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        by_pkg_config = self.root / "c-by-pkg-config"
        self.compile_through_pkg_config(PROJECT / "examples/c/check_device.c", by_pkg_config, STRICT_C)
        (self.root / "good.plist").write_text("{ ModelNumber = MX101; }", encoding="utf-8")
        (self.root / "array.plist").write_text("( MX101 )", encoding="utf-8")
        files = [self.root / name for name in ("pub.pem", "library.signed", "rules.signed")]
        station = PROJECT / "examples/station"
        command = self.prefix / "bin" / "tavik"
        for name in ("rule-library", "local-rules"):
            run(command, "sign", "--key", self.root / "key.pem", station / f"{name}.plist", "-o", self.root / name)
        for name in ("sfc", "gui"):
            run(command, "convert", "--to", "xml", station / f"device-good/{name}.json", "-o", self.root / f"{name}.plist")
        passes = [files[0], self.root / "rule-library", self.root / "local-rules", station / "device-good/attributes.plist",
                  *(f"{name}={self.root}/{name}.plist" for name in ("sfc", "gui"))]
        for program in (build / "check_device", by_pkg_config):
            passed = run(program, *passes)
            self.assertIn("pass Storage size\n", passed.stdout)
            self.assertNotIn("FAIL", passed.stdout)
            failed = run(program, *files, self.root / "good.plist", check=False)
            self.assertEqual(failed.returncode, 1, failed.stderr)
            self.assertIn("pass Model\nFAIL Unheard\n  actual: attribute (null) not found from device!\n", failed.stdout)
            for arguments, why in (
                ((*files, self.root / "array.plist"), "array.plist: a value of the wrong kind: device: a value of the wrong kind\n"),
                ((files[0], self.root / "none", *files[1:]), "no station: not what it has to be: the file cannot be opened: "),
                ((*files, self.root / "none"), "none: not what it has to be: the file cannot be opened: "),
            ):
                refused = run(program, *arguments, check=False)
                self.assertEqual((refused.returncode, refused.stdout), (2, ""))
                self.assertIn(why, refused.stderr)

    def test_the_program_in_the_page_for_c(self):
        page = (PROJECT / "docs/c-interface.md").read_text(encoding="utf-8")
        source = self.root / "page.c"
        source.write_text(re.search(r"```c\n(.*?)```", page, re.DOTALL).group(1), encoding="utf-8")
        self.compile_through_pkg_config(source, self.root / "page", STRICT_C)
        sealed = '{{ seal = "the host\'s own"; content = {}; }}'
        library = '{ version = 1; Build = { attribute = Build; predicate = equal; value = 1021; }; }'
        (self.root / "sealed-library").write_text(sealed.format(library), encoding="utf-8")
        (self.root / "sealed-rules").write_text(sealed.format("{ version = 2; GenericRules = { Build = {}; }; }"), encoding="utf-8")
        passed = run(self.root / "page", self.root / "sealed-library", self.root / "sealed-rules")
        self.assertEqual(passed.stdout, "passed\n")
        self.assertIn("processing Build", passed.stderr)
        refused = run(self.root / "page", self.root / "library.plist", self.root / "sealed-rules", check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("the seal of the document is not ours", refused.stderr)

    def test_the_python_module(self):
        python = re.search(r"^TAVIK_PYTHON:\w+=(.+)$", pathlib.Path(BUILD, "CMakeCache.txt").read_text("utf-8"), re.MULTILINE)
        if not python:
            self.skipTest("the Python module is not built")
        packages = self.prefix / "lib" / "python3" / "dist-packages"
        program = ("import sys, tavik; print(*tavik.Kernel(*sys.argv[1:3]).check("
                   "{'ModelNumber': 'MX101'}, tavik.Dictionary.read(sys.argv[3])).records[3].values(), tavik.__file__)")
        files = [self.root / name for name in ("library.signed", "pub.pem", "rules.signed")]
        printed = run(python[1], "-c", program, *files, env={**os.environ, "PYTHONPATH": str(packages)}).stdout
        self.assertEqual(printed, f"Model True MX101 has prefix MX {packages}/tavik/__init__.py\n")

    def test_manual_completions_and_schema(self):
        share = self.prefix / "share"
        self.assertLessEqual({"tavik.1", "tavik-check.1"}, {page.name for page in (share / "man/man1").iterdir()})
        for file in ("bash-completion/completions/tavik", "zsh/site-functions/_tavik", "tavik/rule-tests.schema.json"):
            self.assertTrue((share / file).is_file(), file)

    def test_the_program_in_the_readme(self):
        readme = (PROJECT / "README.md").read_text(encoding="utf-8")
        source = self.root / "readme.cpp"
        source.write_text(re.search(r"```cpp\n(.*?)```", readme, re.DOTALL).group(1), encoding="utf-8")
        self.compile_through_pkg_config(source, self.root / "readme")
        device = self.root / "device.plist"
        device.write_text("{ ModelNumber = MX101; }", encoding="utf-8")
        files = [self.root / name for name in ("pub.pem", "library.signed", "rules.signed")]
        self.assertIn("pass Model\nFAIL Unheard\n", run(self.root / "readme", *files, device).stdout)

    def test_the_program_in_the_page_for_host_programmers(self):
        page = (PROJECT / "docs/host-programmer.md").read_text(encoding="utf-8")
        source = self.root / "host.cpp"
        source.write_text(re.search(r"```cpp\n(.*?)```", page, re.DOTALL).group(1), encoding="utf-8")
        self.compile_through_pkg_config(source, self.root / "host")
        library = """{ seal = "the host's own"; content = { version = 1;
          Model = { attribute = ModelNumber; predicate = hasPrefix; value = HN; };
          Build = { attribute = Build; predicate = equalLong; references = ( { source = sfc; attribute = build_number; } ); }; }; }"""
        rules = """{ seal = "the host's own"; content = { version = 2; GenericRules = { Model = {}; Build = {}; }; }; }"""
        for name, text in (("host-library", library), ("host-rules", rules)):
            (self.root / name).write_text(text, encoding="utf-8")
        printed = run(self.root / "host", self.root / "host-library", self.root / "host-rules").stdout
        self.assertEqual(printed, "passed\nfailed: Build\nfailed: Build\n")

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
