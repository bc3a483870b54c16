"""Every public name is documented with a correct example, the README's examples are correct, and the stubs match the module."""

import collections.abc
import doctest
import importlib.util
import inspect
import logging
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

import tavik

from support import LIBRARY, PROJECT, SANITIZED, FolderTest, rules

FLAGS = doctest.ELLIPSIS | doctest.NORMALIZE_WHITESPACE
README = PROJECT / "bindings" / "python" / "README.md"
TYPED_EXAMPLE = pathlib.Path(__file__).with_name("typed_example.py")

# Signatures of C++ classes that stubs cannot express.
ALLOWED = r"""
tavik(\._tavik)?\.(DerItem|Dictionary|Kernel|KeyPair|PreparedRules|Result|StationValidation)(\.__init__)?
tavik(\._tavik)?\.Dictionary\.get
tavik(\._tavik)?\.Result\.__[gs]etstate__
"""


def documented():
    """Public names with their documentation: the package, its members, and the members of its classes."""
    yield "tavik", tavik.__doc__
    for name in tavik.__all__:
        thing = getattr(tavik, name)
        yield name, thing.__doc__
        if inspect.isclass(thing):
            for member, value in vars(thing).items():
                own = not member.startswith("_") and not hasattr(thing.__base__, member)
                is_method = callable(getattr(thing, member)) and not hasattr(collections.abc.Mapping, member)
                is_property = isinstance(value, property) and thing is tavik.Result  # the others are documented with their class
                if own and (is_method or is_property):
                    yield f"{name}.{member}", getattr(thing, member).__doc__


class DocumentationTest(FolderTest):
    maxDiff = None

    def setUp(self):
        super().setUp()
        private, public = self.keys()
        public.rename(self.folder / "line.pem")
        for name, document in (("rule-library", LIBRARY), ("local-rules", rules("Model Number"))):
            self.listed = tavik.sign(document, private)
            (self.folder / f"{name}.signed").write_bytes(tavik.write_property_list(self.listed))
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        self.names = vars(tavik) | {
            "private_key": private, "public_key": self.folder / "line.pem", "path": self.folder / "values.plist",
            "library": self.folder / "rule-library.signed", "rules": tavik.Dictionary.read("local-rules.signed"),
        }
        self.names["kernel"] = tavik.Kernel(self.names["library"], self.names["public_key"])

    def run_examples(self, name, text, names):
        examples = doctest.DocTestParser().get_doctest(text, names, name, None, 0)
        output = []
        doctest.DocTestRunner(optionflags=FLAGS).run(examples, out=output.append)
        self.assertEqual("".join(output), "")
        return len(examples.examples)

    def test_every_public_name_has_a_correct_example(self):
        things = list(documented())
        self.assertGreater(len(things), 45)
        for name, text in things:
            with self.subTest(name):
                self.assertTrue(text, "no documentation")
                self.assertGreater(self.run_examples(name, text, dict(self.names)), 0, "no example")

    def test_the_readme(self):
        logger = logging.getLogger("tavik")
        handlers, level = logger.handlers[:], logger.level
        try:
            self.assertGreater(self.run_examples("README.md", README.read_text(encoding="utf-8"), {}), 8)
        finally:
            logger.handlers[:] = handlers
            logger.setLevel(level)

    def test_constructors_have_signatures(self):
        self.assertEqual(str(inspect.signature(tavik.Kernel)), "(library, public_key=None, *, platform=None)")
        self.assertEqual(str(inspect.signature(tavik.Dictionary)), "(entries)")


@unittest.skipIf(SANITIZED, "types are checked in the plain build")
@unittest.skipUnless(importlib.util.find_spec("mypy"), "mypy is not installed (Debian: mypy)")
class TypesTest(unittest.TestCase):
    def mypy(self, *arguments):
        with tempfile.TemporaryDirectory(prefix="tavik-python-") as cache:
            run = subprocess.run([sys.executable, "-m", *arguments], capture_output=True, text=True, timeout=500,
                                 check=False, env=os.environ | {"MYPY_CACHE_DIR": cache, "MYPYPATH": os.environ["PYTHONPATH"]})
        return run.returncode, run.stdout + run.stderr

    def test_a_typed_program_and_its_mistakes(self):
        self.assertEqual(self.mypy("mypy", "--strict", str(TYPED_EXAMPLE)),
                         (0, "Success: no issues found in 1 source file\n"))

    def test_stubs_match_the_module(self):
        with tempfile.NamedTemporaryFile("w", suffix=".txt", encoding="utf-8") as allowed:
            allowed.write(ALLOWED)
            allowed.flush()
            status, output = self.mypy("mypy.stubtest", "tavik", "--allowlist", allowed.name,
                                       "--ignore-unused-allowlist")
        self.assertEqual(status, 0, output)


if __name__ == "__main__":
    unittest.main()
