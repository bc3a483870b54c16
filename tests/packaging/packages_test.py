"""Unpacks the Debian packages into an empty root, runs the installation tests there, and checks the package metadata.

    BUILD=build/package python3 tests/packaging/packages_test.py
"""

import gzip
import os
import pathlib
import unittest

import install_test
from install_test import run

PACKAGES = sorted(pathlib.Path(os.environ["BUILD"], "packages").glob("*.deb"))


def field(package, name):
    return run("dpkg-deb", "--field", package, name).stdout.strip()


class PackagesTest(install_test.InstallTest):
    @classmethod
    def install(cls):
        root = cls.root / "an empty root"
        for package in PACKAGES:
            run("dpkg-deb", "--extract", package, root)
        (libraries,) = root.glob("usr/lib/*/pkgconfig")
        os.environ["LD_LIBRARY_PATH"] = str(libraries.parent)
        cls.pkg_config_options = (f"--define-variable=prefix={root}/usr",)
        return root / "usr"

    def test_metadata(self):
        version = field(PACKAGES[0], "Version")
        packages = {field(package, "Package"): package for package in PACKAGES}
        major = version.split(".", maxsplit=1)[0]
        self.assertEqual(set(packages), {f"libtavik{major}", "libtavik-dev", "tavik", "tavik-station", "python3-tavik"})
        for name in ("libtavik-dev", "tavik", "tavik-station", "python3-tavik"):
            self.assertIn(f"libtavik{major} (= {version})", field(packages[name], "Depends"))
        shlibs = run("dpkg-deb", "--info", packages[f"libtavik{major}"], "shlibs").stdout
        self.assertIn(f"libTavikPlatform {major} libtavik{major} (>= {version})", shlibs)
        for library in ("libssl3", "libstdc++6"):
            self.assertIn(library, field(packages[f"libtavik{major}"], "Depends"))
        for name in packages:
            self.assertTrue((self.prefix / "share/doc" / name / "copyright").is_file(), name)

    def test_the_service_unit(self):
        depends = field(next(package for package in PACKAGES if "tavik-station" in package.name), "Depends")
        for library in ("libsqlite3-0", "libmicrohttpd12", "libgnutls30"):
            self.assertIn(library, depends)
        unit = self.prefix / "lib/systemd/system/tavik-station.service"
        run("systemd-analyze", "security", "--offline=true", "--threshold=20", unit)

    def test_manual_completions_and_schema(self):
        share = self.prefix / "share"
        page = gzip.decompress((share / "man/man1/tavik-check.1.gz").read_bytes()).decode()
        self.assertIn(".TH", page)
        self.assertTrue((share / "bash-completion/completions/tavik").is_file())


if __name__ == "__main__":
    unittest.main()
