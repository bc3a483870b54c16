"""Installs the build into an empty folder and uses it through CMake, through pkg-config, and directly.

    BUILD=build/release python3 tests/packaging/install_test.py
"""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
BUILD = os.environ["BUILD"]

DOCUMENTS = {
    "library": """{ version = 1; Model = { attribute = ModelNumber; predicate = hasPrefix; value = MX; };
      Code = { attribute = SerialNumber; predicate = MPNCCCCheck; value = KQ2; };
      Odd = { attribute = ModelNumber; predicate = "a XOR b"; }; }""",
    "rules": "{ version = 2; GenericRules = { Model = {}; Unheard = {}; }; }",
    "codes": "{ version = 2; GenericRules = { Model = {}; Code = {}; }; }",
    "odd": "{ version = 2; GenericRules = { Odd = {}; }; }",
    "none": "{ version = 2; GenericRules = {}; }",
}
DEVICES = {
    "good": "{ ModelNumber = MX101; SerialNumber = C8PKKQ2; }",
    "bad": "{ ModelNumber = XX101; SerialNumber = C8PKKQ2; }",
    "short": "{ ModelNumber = MX101; SerialNumber = Q2; }",
    "array": "( MX101 )",
}
PASSED, FAILED, NO_VERDICT = range(3)  # exit statuses of the model hosts
HOST_CASES = (  # library, local rules, device; "plain" documents are not trusted
    ("library", "codes", "good", PASSED, r"passed|pass Model\n"),
    ("library", "codes", "bad", FAILED, r"FAIL Model\n"),
    ("library", "library plain", "good", NO_VERDICT, r"no verdict: .*(not signed|seal)"),
    ("library plain", "codes", "good", NO_VERDICT, r"no verdict: .*(not signed|seal)"),
    ("library", "none", "good", NO_VERDICT, "no verdict: the local rules have no rules for this device"),
    ("library", "codes", "short", NO_VERDICT, 'no verdict: rule "Code": '),
    ("library", "odd", "good", NO_VERDICT, 'no verdict: rule "Odd": invalid logical operator:a XOR b'),
    ("library", "codes", "array", NO_VERDICT, "no verdict: .*(not a dictionary|wrong kind)"),
    ("library", "codes", "missing", NO_VERDICT, "no verdict: .*(No such file|cannot be opened)"),
    ("missing", "codes", "good", NO_VERDICT, "no verdict: .*(No such file|cannot be opened)"),
)
STRICT_C = "gcc -std=c11 -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Werror"


def run(*command, **options):
    options.setdefault("check", True)
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=300, **options)


def blocks(page, language):
    """The code blocks of a page in one language."""
    return re.findall(rf"```{language}\n(.*?)```", (PROJECT / page).read_text(encoding="utf-8"), re.DOTALL)


class InstallTest(unittest.TestCase):
    pkg_config_options = ()

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.folder.name)
        cls.prefix = cls.install()
        command = cls.prefix / "bin" / "tavik"
        run(command, "keygen", "--private", cls.root / "key.pem", "--public", cls.root / "pub.pem")
        for name, text in DOCUMENTS.items():
            plain = cls.root / f"{name} plain"
            plain.write_text(text, encoding="utf-8")
            run(command, "sign", "--key", cls.root / "key.pem", plain, "-o", cls.root / f"{name}.signed")
            (cls.root / f"{name}.sealed").write_text(f"""{{ seal = "the host's own"; content = {text}; }}""", encoding="utf-8")
        for name, text in DEVICES.items():
            (cls.root / name).write_text(text, encoding="utf-8")

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
        configure = ("cmake", "-S", HERE / "consumer", "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        self.assertIn('no component "Core"', run(*configure, "-DCOMPONENTS=Kernel;Core", check=False).stderr)
        run(*configure, "-DCOMPONENTS=Kernel;Platform")
        run("cmake", "--build", build)
        self.check_consumer(build / "consumer")

    def compile_through_pkg_config(self, source, program, compiler="g++ -std=c++20"):
        (folder,) = self.prefix.glob("lib*/**/pkgconfig")
        environment = {**os.environ, "PKG_CONFIG_PATH": str(folder)}
        flags = run("pkg-config", *self.pkg_config_options, "--cflags", "--libs", "tavik-platform", "tavik-kernel", env=environment).stdout
        self.assertNotIn("..", flags)
        # pkg-config escapes spaces for the shell.
        run("sh", "-c", f'{compiler} "{source}" -o "{program}" {flags.strip()} -Wl,-rpath,"{folder.parent}"')

    def test_through_pkg_config(self):
        program = self.root / "by-pkg-config"
        self.compile_through_pkg_config(HERE / "consumer/consumer.cpp", program)
        self.check_consumer(program)

    def test_the_platform_finds_the_kernel_library(self):
        (library,) = self.prefix.glob("lib*/**/libTavikPlatform.so")
        run("python3", "-c", f"import ctypes; ctypes.CDLL('{library}')")

    def test_an_older_standard_gives_one_error(self):
        program = ("-fsyntax-only", f"-I{self.prefix}/include", HERE / "consumer/consumer.cpp")
        said = run("g++", "-std=c++17", *program, check=False).stderr
        self.assertRegex(said, r"(?s)#error .*need C\+\+20.*compilation terminated")
        self.assertEqual(said.count("error: "), 2, said)

    def check_host(self, *program, form="signed", **options):
        """All hosts in the examples and documents have the same results."""
        key = [self.root / "pub.pem"] if form == "signed" else []
        for library, rules, device, status, said in HOST_CASES:
            with self.subTest(program=str(program[0]), case=(library, rules, device)):
                documents = [self.root / (name if name.endswith("plain") else f"{name}.{form}") for name in (library, rules)]
                result = run(*program, *key, *documents, self.root / device, check=False, **options)
                self.assertEqual(result.returncode, status, result.stdout + result.stderr)
                self.assertRegex(result.stdout, said)

    def compile_text(self, text, language, program, compiler):
        source = self.root / f"{program}.{language}"
        source.write_text(text, encoding="utf-8")
        self.compile_through_pkg_config(source, self.root / program, compiler)
        return self.root / program

    def test_the_hosts_in_cpp(self):
        strict = "g++ -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Werror"
        minimal, complete = blocks("docs/host-programmer.md", "cpp")
        self.check_host(self.compile_text(minimal, "cpp", "minimal", strict))
        self.check_host(self.compile_text(complete, "cpp", "host", strict), form="sealed")
        includes, _, body = blocks("README.md", "cpp")[0].partition("\n\n")
        text = (f"{includes}\n#include <stdexcept>\nvoid release(const tavik::Dictionary&) {{}}\n"
                "void check(const tavik::Dictionary& device, const tavik::Dictionary& rules) {\n" + body + "}\nint main() { check({}, {}); }\n")
        self.compile_text(text, "cpp", "readme", strict)
        devices = [self.root / name for name in ("good", "short", "bad", "missing", "good")]
        several = run(self.root / "host", self.root / "library.sealed", self.root / "codes.sealed", *devices, check=False)
        self.assertRegex(several.stdout, r"""^passed
no verdict: rule "Code": .*
failed
FAIL Model
no verdict: .*missing.*
passed
$""")

    def test_the_hosts_in_c(self):
        page = self.compile_text(blocks("docs/c-interface.md", "c")[0], "c", "page", STRICT_C)
        self.check_host(page, form="sealed")
        files = [self.root / name for name in ("library.sealed", "codes.sealed", "good")]
        self.assertIn("processing Code\n", run(page, *files).stderr)
        build = self.root / "c-example"
        run("cmake", "-S", PROJECT / "examples/c", "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        by_pkg_config = self.root / "c-by-pkg-config"
        self.compile_through_pkg_config(PROJECT / "examples/c/check_device.c", by_pkg_config, STRICT_C)
        station = PROJECT / "examples/station"
        command = self.prefix / "bin" / "tavik"
        for name in ("rule-library", "local-rules"):
            run(command, "sign", "--key", self.root / "key.pem", station / f"{name}.plist", "-o", self.root / name)
        for name in ("sfc", "gui"):
            run(command, "convert", "--to", "xml", station / f"device-good/{name}.json", "-o", self.root / f"{name}.plist")
        for program in (build / "check_device", by_pkg_config):
            self.check_host(program)
            passed = run(program, *(self.root / name for name in ("pub.pem", "rule-library", "local-rules")),
                         station / "device-good/attributes.plist", *(f"{name}={self.root}/{name}.plist" for name in ("sfc", "gui")))
            self.assertIn("pass Storage size\n", passed.stdout)
            self.assertNotIn("FAIL", passed.stdout)

    def test_the_python_module(self):
        python = re.search(r"^TAVIK_PYTHON:\w+=(.+)$", pathlib.Path(BUILD, "CMakeCache.txt").read_text("utf-8"), re.MULTILINE)
        if not python:
            self.skipTest("the Python module is not built")
        packages = self.prefix / "lib" / "python3" / "dist-packages"
        environment = {**os.environ, "PYTHONPATH": str(packages)}
        program, = (block for block in blocks("bindings/python/README.md", "python") if block.startswith("import sys"))
        self.check_host(python[1], "-c", program, env=environment)
        shutil.copy(self.root / "pub.pem", self.root / "line.pem")
        inputs = 'import tavik\ndevice, rules = map(tavik.Dictionary.read, ("good", "codes.signed"))\n'
        self.assertEqual(run(python[1], "-c", inputs + blocks("README.md", "python")[0], env=environment, cwd=self.root).stdout, "passed \n")
        where = run(python[1], "-c", "import tavik; print(tavik.__file__)", env=environment).stdout
        self.assertEqual(where, f"{packages}/tavik/__init__.py\n")

    def test_the_station_service(self):
        options = "--public-key pub.pem --library library.signed --rules codes.signed --port 0 --database runs.db".split()
        service = subprocess.Popen([self.prefix / "bin/tavik", "serve", *options], cwd=self.root, stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, text=True)
        with service:
            address = service.stdout.readline().strip()
            device = '{"attributes": {"ModelNumber": "MX1", "SerialNumber": "C8PKKQ2"}}'
            answer = run("curl", "-sS", "-d", device, f"{address}v1/check").stdout
            service.terminate()
        self.assertIn('"verdict": "passed"', answer)
        program = self.prefix / "libexec/tavik/tavik-station"
        program.rename(program.with_suffix(".away"))
        missing = run(self.prefix / "bin/tavik", "serve", "--export", check=False)
        program.with_suffix(".away").rename(program)
        self.assertEqual((missing.returncode, missing.stderr),
                         (2, "tavik: serve: the station service is not installed; install the package tavik-station\n"))

    def test_documentation(self):
        pages = self.prefix / "share/doc/tavik"
        for file in ("README.md", "docs/lint.md", "docs/images/result.png", "examples/station/rule-library.plist",
                     "examples/audit/audit.py", "bindings/python/README.md"):
            self.assertTrue((pages / file).is_file(), file)
        self.assertTrue(os.access(pages / "examples/audit/audit.py", os.X_OK))

    def test_manual_completions_and_schema(self):
        share = self.prefix / "share"
        self.assertLessEqual({"tavik.1", "tavik-check.1"}, {page.name for page in (share / "man/man1").iterdir()})
        for file in ("bash-completion/completions/tavik", "zsh/site-functions/_tavik", "tavik/rule-tests.schema.json"):
            self.assertTrue((share / file).is_file(), file)

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
