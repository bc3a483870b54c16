"""Keys and signatures: what is made, what is trusted, and what is refused without a trace."""

import base64
import json
import os
import plistlib
import stat
import unittest

from support import FAILED, NO_VERDICT, PASSED, UNUSABLE, CommandTest

ALGORITHMS = ("ed25519", "p256", "rsa3072")
LIBRARY = {"version": "1", "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD"}}
RULES = {"version": "2", "GenericRules": {"Model": {}}}


class TrustTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.keygen("key.pem", "pub.pem")
        self.file("library.json", json.dumps(LIBRARY))
        self.file("rules.json", json.dumps(RULES))
        self.file("device.json", '{"ModelNumber": "MD123"}')
        for name in ("library", "rules"):
            self.sign(f"{name}.json", f"{name}.signed")

    def keygen(self, private, public, *options):
        self.assertEqual(self.passes("keygen", "--private", private, "--public", public, *options), "")

    def sign(self, document, output, key="key.pem"):
        self.assertEqual(self.passes("sign", "--key", key, document, "-o", output), "")

    def check(self, library="library.signed", rules="rules.signed", key="pub.pem"):
        return ("check", "--library", library, "--rules", rules, "--attributes", "device.json", "--public-key", key)

    def change(self, name, output, change):
        envelope = plistlib.loads((self.folder / name).read_bytes())
        change(envelope)
        return self.file(output, plistlib.dumps(envelope))

    def test_every_algorithm_signs_and_verifies(self):
        for algorithm in ALGORITHMS:
            with self.subTest(algorithm):
                self.keygen(f"{algorithm}.key", f"{algorithm}.pub", "--algorithm", algorithm)
                self.sign("library.json", "signed", f"{algorithm}.key")
                content = self.passes("verify", "--public-key", f"{algorithm}.pub", "signed", "--format", "json")
                self.assertEqual(json.loads(content), LIBRARY)
                self.assertEqual(self.tavik(*self.check("signed", "signed", f"{algorithm}.pub")).status, NO_VERDICT)

    def test_a_signed_run(self):
        run = self.tavik(*self.check())
        self.assertEqual((run.status, run.err), (PASSED, ""))
        self.file("device.json", '{"ModelNumber": "XX"}')
        self.assertEqual(self.tavik(*self.check()).status, FAILED)

    def test_a_property_list_is_signed_byte_for_byte(self):
        text = b"{ /* kept */ a = 1; }"
        self.file("text", text)
        self.sign("text", "text.signed")
        self.assertEqual(plistlib.loads((self.folder / "text.signed").read_bytes())["payload"], text)
        self.assertIn("<key>a</key>", self.passes("verify", "--public-key", "pub.pem", "text.signed"))
        self.assertEqual(self.passes("verify", "--public-key", "pub.pem", "text.signed", "--raw"), text.decode())
        self.refuses(UNUSABLE, "--raw and --format exclude each other", "verify", "--raw", "--format", "json", "text.signed")

    def test_the_signed_form_may_have_any_encoding(self):
        for encoding in ("xml", "binary", "json"):
            with self.subTest(encoding):
                signed = self.tavik("convert", "--to", encoding, "library.signed").stdout
                self.file("converted", signed)
                self.passes("verify", "--public-key", "pub.pem", "converted")
                self.assertEqual(self.tavik(*self.check("converted")).status, PASSED)

    def test_keys_have_safe_files(self):
        self.assertEqual(stat.S_IMODE((self.folder / "key.pem").stat().st_mode), 0o600)
        self.assertTrue((self.folder / "pub.pem").read_text().startswith("-----BEGIN PUBLIC KEY-----"))
        for private, public, named in (("key.pem", "new", "--private key.pem"), ("new", "pub.pem", "--public pub.pem"),
                                       ("new", "./new", "--public ./new")):
            with self.subTest(private=private, public=public):
                self.refuses(UNUSABLE, f"{named}: already exists", "keygen", "--private", private, "--public", public)
        self.refuses(UNUSABLE, "--public no/x: No such file", "keygen", "--private", "new", "--public", "no/x")

    def test_documents_that_are_not_trusted(self):
        self.keygen("other.key", "other.pub")
        self.keygen("p256.key", "p256.pub", "--algorithm", "p256")
        self.sign("library.json", "other.signed", "other.key")
        self.sign("library.json", "p256.signed", "p256.key")

        def flip(envelope):
            payload = bytearray(envelope["payload"])
            payload[-30] ^= 1
            envelope["payload"] = bytes(payload)

        changed = self.change("library.signed", "changed.signed", flip)
        bare = self.change("library.signed", "bare.signed", lambda envelope: envelope.update(signatures=[]))
        cases = (
            ("signed with another key", "other.signed"),
            ("of another kind", "p256.signed"),
            ("changed after it was signed", changed),
            ("bare.signed: ", bare),
            ("is not signed", "library.json"),
        )
        for why, document in cases:
            with self.subTest(why):
                self.refuses(NO_VERDICT, why, "verify", "--public-key", "pub.pem", document)
                self.refuses(NO_VERDICT, f"--library {document}: ", *self.check(library=document))
                run = self.tavik(*self.check(rules=document), "--format", "json")
                self.assertEqual(run.status, NO_VERDICT)
                outcome = json.loads(run.out)
                record = outcome["records"][0]
                self.assertEqual((record["rule"], record["result"]), ("Valid Product Rules", False))
                self.assertEqual(outcome["reason"], {"kind": "not trusted", "rule": None, "description": record["actual"]})
                self.assertEqual(run.err, f"tavik: check: --rules {document}: {record['actual']}"
                                 + ", or use --unsigned to try it without a signature" * (document == "library.json") + "\n")

    def test_empty_documents(self):
        self.file("empty.json", "{}")
        self.sign("empty.json", "empty.signed")
        self.refuses(NO_VERDICT, "--library empty.signed: the document is empty", *self.check(library="empty.signed"))
        run = self.tavik(*self.check(rules="empty.signed"))
        self.assertEqual((run.status, run.err), (NO_VERDICT, "tavik: check: --rules empty.signed: the document is empty\n"))

    def test_keys_that_cannot_be_used(self):
        self.file("garbage.pem", "no key at all")
        self.file("damaged.pem", (self.folder / "pub.pem").read_text()[:60])
        os.mkdir(self.folder / "folder.pem")
        public = [("No such file", "missing.pem"), ("contains no key", "garbage.pem"), ("damaged", "damaged.pem"),
                  ("not a regular file", "folder.pem"), ("is a private key", "key.pem")]
        private = [("No such file", "missing.pem"), ("contains no key", "garbage.pem"), ("not a regular file", "folder.pem"),
                   ("not a private key", "pub.pem")]
        if os.geteuid() != 0:  # root reads everything
            (self.folder / "folder.pem" / "secret.pem").touch(0)
            private.append(("Permission denied", "folder.pem/secret.pem"))
        for why, key in public:
            with self.subTest("public", key=key):
                self.refuses(UNUSABLE, why, "verify", "--public-key", key, "library.signed")
                self.refuses(UNUSABLE, why, *self.check(key=key))
        for why, key in private:
            with self.subTest("private", key=key):
                self.refuses(UNUSABLE, why, "sign", "--key", key, "library.json", "-o", "new.signed")
                self.refuses(UNUSABLE, why, "sign", "--key", key, "library.json", "-o", "rules.signed")

    def test_keys_that_others_can_use(self):
        cases = (  # mode, file, warning, command
            (0o606, "pub.pem", 'public key file "pub.pem": other users can write it; run "chmod go-w" on it',
             ("verify", "--public-key", "pub.pem", "library.signed")),
            (0o606, "pub.pem", 'public key file "pub.pem": other users can write it; run "chmod go-w" on it', self.check()),
            (0o640, "key.pem", 'private key file "key.pem": other users can read it; run "chmod 600" on it',
             ("sign", "--key", "key.pem", "library.json", "-o", "new.signed")),
        )
        for mode, file, warning, command in cases:
            with self.subTest(command):
                os.chmod(self.folder / file, mode)
                run = self.tavik(*command)
                self.assertEqual((run.status, run.err), (PASSED, f"tavik: {command[0]}: {warning}\n"))

    def test_documents_that_cannot_be_signed(self):
        self.file("array.json", "[1]")
        self.refuses(UNUSABLE, "array.json: is not a dictionary", "sign", "--key", "key.pem", "array.json", "-o", "new")
        self.refuses(UNUSABLE, "missing: No such file", "sign", "--key", "key.pem", "missing", "-o", "new")
        self.refuses(UNUSABLE, "library.signed: is already signed", "sign", "--key", "key.pem", "library.signed", "-o", "new")
        os.symlink("library.json", self.folder / "link")
        for output in ("library.json", "./library.json", "link"):
            self.refuses(UNUSABLE, f"-o {output}: is the document to sign", "sign", "--key", "key.pem", "library.json", "-o", output)

    def test_unsigned_documents_on_request_only(self):
        check = ("check", "--unsigned", "--attributes", "device.json", "--library")
        run = self.tavik(*check, "library.json", "--rules", "rules.json")
        self.assertEqual(run.status, PASSED)
        self.assertEqual(run.err, "tavik: check: --unsigned: rule documents are used as they are; signatures are not verified\n")
        self.refuses(NO_VERDICT, "is signed; remove --unsigned", *check, "library.signed", "--rules", "rules.json")

    def test_an_envelope_is_what_it_says(self):
        envelope = plistlib.loads((self.folder / "library.signed").read_bytes())
        self.assertEqual(envelope["payloadType"], "application/vnd.tavik.rules+plist")
        signed = json.loads(self.passes("convert", "--to", "json", "library.signed"))
        self.assertEqual(base64.b64decode(signed["payload"]["$data"]), envelope["payload"])


if __name__ == "__main__":
    unittest.main()
