"""Trust policies through the command, with real keys: attacks, the state file under interruption, captured runs."""

import hashlib
import json
import os
import plistlib
import random
import signal
import subprocess
import threading
import time
import unittest

from support import FAILED, NO_VERDICT, PASSED, TAVIK, UNUSABLE, CommandTest

LIBRARY = {"version": "1", "Model": {"attribute": "ModelNumber", "predicate": "hasPrefix", "value": "MD"}}
RULES = {"version": "2", "GenericRules": {"Model": {}}}
STATEMENT_TYPE = "application/vnd.tavik.statement+plist"


def statement(role="library", product="Heron", revision=12, expires=None):
    return ("--role", role, "--product", product, "--revision", str(revision)) + (("--expires", expires) if expires else ())


class PolicyTest(CommandTest):
    def setUp(self):
        super().setUp()
        for name in ("office", "lead", "other"):
            self.passes("keygen", "--private", f"{name}.key", "--public", f"{name}.pem")
        self.file("library.json", json.dumps(LIBRARY))
        self.file("rules.json", json.dumps(RULES))
        self.file("device.json", '{"ModelNumber": "MD123"}')
        self.policy("policy.json", threshold=2, product="Heron", require_statement=True, state="state.json")
        self.library = self.sign("library.signed", "library.json", statement())
        self.rules = self.sign("rules.signed", "rules.json", statement("local-rules", revision=3))

    def policy(self, name, **entries):
        keys = [{"name": "rule office", "file": "office.pem"}, {"name": "line lead", "file": "lead.pem"}]
        return self.file(name, json.dumps({"keys": keys, **entries}))

    def sign(self, output, document, options=(), keys=("office", "lead")):
        """Signs with the first key and adds the others."""
        self.passes("sign", "--key", f"{keys[0]}.key", *options, document, "-o", output)
        for key in keys[1:]:
            self.passes("sign", "--key", f"{key}.key", "--add", output, "-o", "added")
            os.replace(self.folder / "added", self.folder / output)
        return output

    def changed(self, output, source, change):
        envelope = plistlib.loads((self.folder / source).read_bytes())
        change(envelope)
        return self.file(output, plistlib.dumps(envelope))

    def check(self, library="library.signed", rules="rules.signed", policy="policy.json", *more):
        return ("check", "--trust", policy, "--library", library, "--rules", rules, "--attributes", "device.json", *more)

    def accepted(self):
        """The remembered revisions by role."""
        entries = json.loads((self.folder / "state.json").read_text())["accepted"]
        return {entry["role"]: entry["revision"] for entry in entries}

    def test_a_release_by_two_people(self):
        run = self.tavik(*self.check("library.signed", "rules.signed", "policy.json", "--format", "json"))
        self.assertEqual((run.status, run.err), (PASSED, ""))
        result = json.loads(run.out)
        self.assertEqual(list(result)[-3:], ["signatures", "documents", "kernel"])
        payload = plistlib.loads((self.folder / "library.signed").read_bytes())["payload"]
        self.assertEqual(result["documents"]["library"], {
            "version": "1", "sha256": hashlib.sha256(payload).hexdigest(), "keys": ["rule office", "line lead"],
            "product": "Heron", "revision": 12})
        self.assertEqual(self.accepted(), {"library": 12, "local-rules": 3})
        for form, text in (("html", "rule library statement"), ("junit", "local rules SHA-256"), ("plist", "sha256")):
            self.assertIn(text, self.passes(*self.check(), "--format", form))
        run = self.tavik("verify", "--trust", "policy.json", "library.signed", "--format", "json")
        self.assertEqual((run.status, json.loads(run.out)), (PASSED, LIBRARY))
        self.assertEqual(run.err, 'tavik: verify: library.signed: signed by "rule office", "line lead"; '
                                  'library of "Heron", revision 12\n')
        for command in ("list gui --attributes device.json", "lint", "explain --attributes device.json"):
            run = self.tavik(*command.split(), "--trust", "policy.json", "--library", "library.signed", "--rules", "rules.signed")
            self.assertEqual(run.status, PASSED, run.err)

    def test_attacks(self):
        """Each attack is rejected by every command that uses documents, with the cause, and changes nothing."""
        self.passes(*self.check())

        def library(name, *options, keys=("office", "lead")):
            return self.sign(name, "library.json", options, keys)

        def repeat(envelope):
            envelope["signatures"] *= 2

        def claim_to_be_lead(envelope):
            lead = plistlib.loads((self.folder / "library.signed").read_bytes())["signatures"][1]["keyid"]
            envelope["signatures"].append({**envelope["signatures"][0], "keyid": lead})

        def retyped(envelope):
            envelope["payloadType"] = STATEMENT_TYPE

        nested = plistlib.dumps({"role": "library", "product": "Heron", "revision": 12,
                                 "document": {"role": "library", "product": "Heron", "revision": 13, "document": LIBRARY}})
        office_only = library("office", *statement(), keys=("office",))
        attacks = (
            ("revision 11 is older than revision 12, which this station accepted on 20", library("old", *statement(revision=11))),
            ("expired on 2026-01-31T00:00:00Z; the system clock says 20", library("late", *statement(expires="2026-01-31"))),
            ('role is "local-rules", expected "library"', self.rules),
            ('product is "Egret", expected "Heron"', library("egret", *statement(product="Egret"))),
            ('1 of 2 required signatures: "rule office"', office_only),
            ('1 of 2 required signatures: "rule office"', library("stranger", *statement(), keys=("office", "other"))),
            ('1 of 2 required signatures: "rule office"', self.changed("twice", office_only, repeat)),
            ('1 of 2 required signatures: "rule office"', self.changed("claims", office_only, claim_to_be_lead)),
            ("the policy requires a statement", library("plain")),
            ("0 of 2 required signatures: the signature names", self.changed("retyped", "plain", retyped)),
            ("0 of 2 required signatures: the signature names",
             self.changed("nested", self.library, lambda envelope: envelope.update(payload=nested))),
            ("the document is not signed", "library.json"),
        )
        before = (self.folder / "state.json").read_bytes()
        for why, document in attacks:
            with self.subTest(document=document):
                self.refuses(NO_VERDICT, f"--library {document}: {why}", *self.check(library=document))
                if "role is" not in why:
                    self.refuses(NO_VERDICT, why, "verify", "--trust", "policy.json", document)
                self.assertEqual((self.folder / "state.json").read_bytes(), before)
        run = self.tavik(*self.check(rules="library.signed"), "--format", "json")
        self.assertEqual(run.status, NO_VERDICT)
        self.assertEqual(json.loads(run.out)["reason"]["description"], 'role is "library", expected "local-rules"')

    def test_state_files_that_cannot_be_used(self):
        self.passes(*self.check())
        state = self.folder / "state.json"
        content = state.read_bytes()

        def replaced_by_link():
            os.rename(state, self.folder / "real")
            os.symlink("real", state)

        def as_folder():
            state.unlink()
            state.mkdir()

        cases = [
            ("is damaged: line", lambda: state.write_bytes(content[:20])),
            ("is a symbolic link", replaced_by_link),
            ("other users can write it", lambda: state.chmod(0o602)),
            ("not a regular file", as_folder),
        ]
        if os.geteuid() != 0:
            cases.append(("Permission denied", lambda: state.chmod(0)))
        for why, damage in cases:
            with self.subTest(why):
                damage()
                run = self.tavik(*self.check())
                self.assertEqual((run.status, run.out), (UNUSABLE, ""), run.err)
                self.assertRegex(run.err, r'^tavik: check: trust state file "state.json": .*' + why)
                state.rmdir() if state.is_dir() and not state.is_symlink() else state.unlink()
                state.write_bytes(content)
                state.chmod(0o600)
        self.passes(*self.check())

    def test_only_commands_that_check_devices_remember(self):
        self.tavik("verify", "--trust", "policy.json", "library.signed")
        self.tavik("list", "gui", "--trust", "policy.json", "--library", "library.signed", "--rules", "rules.signed",
                   "--attributes", "device.json")
        self.assertFalse((self.folder / "state.json").exists())
        self.file("devices.jsonl", '{"attributes": {"ModelNumber": "MD1"}}\n')
        self.tavik("batch", "--trust", "policy.json", "--library", "library.signed", "--rules", "rules.signed", "devices.jsonl")
        self.assertEqual(self.accepted(), {"library": 12, "local-rules": 3})

    def test_several_processes_and_kills(self):
        """Whatever is killed when, an accepted revision is never forgotten, and the state never goes down or breaks."""
        revisions = range(1, 21)
        for revision in revisions:
            self.sign(f"r{revision}", "rules.json", statement("local-rules", revision=revision))
        stop = threading.Event()
        seen = []

        def watch():
            while not stop.is_set():
                if (self.folder / "state.json").exists():
                    seen.append(self.accepted().get("local-rules", 0))

        def station(seed):
            choose = random.Random(seed)
            for revision in sorted(choose.sample(revisions, 12)):
                process = subprocess.Popen([TAVIK, *self.check(rules=f"r{revision}"), "--format", "json"], cwd=self.folder,
                                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
                if choose.random() < 0.5:
                    time.sleep(choose.random() * 0.02)
                    process.send_signal(signal.SIGKILL)
                out, _ = process.communicate()
                if process.returncode == PASSED:
                    passed.append((revision, self.accepted()["local-rules"]))
                    self.assertEqual(json.loads(out)["verdict"], "passed")

        passed = []
        stations = [threading.Thread(target=station, args=(seed,)) for seed in range(3)]
        watcher = threading.Thread(target=watch)
        watcher.start()
        for thread in stations:
            thread.start()
        for thread in stations:
            thread.join()
        stop.set()
        watcher.join()
        self.assertTrue(passed)
        self.assertEqual(seen, sorted(seen))
        self.assertTrue(all(remembered >= revision for revision, remembered in passed))
        self.assertEqual(self.tavik(*self.check(rules="r20")).status, PASSED)
        self.refuses(NO_VERDICT, "older than revision 20", "verify", "--trust", "policy.json", "r19")

    def test_a_clock_that_is_behind(self):
        self.passes(*self.check())
        state = self.folder / "state.json"
        state.write_text(json.dumps({"accepted": [{"role": "library", "product": "Heron", "revision": 12,
                                                   "date": {"$date": "2999-01-01T00:00:00Z"}}]}))
        run = self.tavik(*self.check())
        self.assertEqual(run.status, PASSED)
        self.assertRegex(run.err, "^tavik: the system clock says 20.*set the clock\n$")

    def test_policies_and_options_that_cannot_be_used(self):
        for why, entries in (("threshold", {"threshold": 3}), ("unknown key", {"sate": "x"})):
            self.policy("bad.json", **entries)
            self.refuses(UNUSABLE, '--trust: trust policy "bad.json": ', "verify", "--trust", "bad.json", "library.signed")
        self.refuses(UNUSABLE, "--trust and --public-key exclude each other", *self.check(), "--public-key", "office.pem")
        self.refuses(UNUSABLE, "--trust and --unsigned exclude each other", *self.check(), "--unsigned")
        sign = ("sign", "--key", "office.key", "library.json", "-o", "new")
        self.refuses(UNUSABLE, "needs --role, --product and --revision", *sign, "--role", "library")
        self.refuses(UNUSABLE, "expected a date", *sign, *statement(expires="soon"))
        self.refuses(UNUSABLE, "--revision", *sign, *statement(revision=0))
        self.refuses(UNUSABLE, "is already signed", "sign", "--key", "office.key", *statement(), "library.signed", "-o", "new")
        self.refuses(UNUSABLE, "already has a signature by this key", "sign", "--key", "lead.key", "--add", "library.signed",
                     "-o", "new")
        self.refuses(UNUSABLE, "is not signed", "sign", "--key", "lead.key", "--add", "library.json", "-o", "new")
        self.file("stated", self.tavik("verify", "--public-key", "lead.pem", "--raw", "library.signed").stdout)
        self.refuses(UNUSABLE, "is a statement, not a rule document", "sign", "--key", "office.key", "stated", "-o", "new")
        os.chmod(self.folder / "policy.json", 0o666)
        self.assertIn('trust policy "policy.json": other users can write it', self.tavik(*self.check()).err)

    def test_captured_runs(self):
        self.file("sfc.json", json.dumps({"Text": "\u0000", "Number": 3.0, "Data": {"$data": "AAE="}}))
        check = self.check("library.signed", "rules.signed", "policy.json", "--source", "sfc=sfc.json", "--capture", "run.json")
        self.passes(*check)
        replay = ("replay", "run.json", "--trust", "policy.json")
        self.assertRegex(self.passes(*replay), "^identical: 4 records, captured on 20.*Z with kernel 3.19\n$")

        # Revisions and expiry are judged as they were when the run was captured.
        self.passes(*self.check("library.signed", self.sign("newer", "rules.json", statement("local-rules", revision=4))))
        self.passes(*replay)
        self.assertTrue(json.loads(self.passes(*replay, "--format", "json"))["identical"])

        self.file("strict.json", json.dumps(RULES | {"version": "3", "GenericRules": {"Model": {"value": "MX"}}}))
        self.sign("strict.signed", "strict.json", statement("local-rules"))
        run = self.tavik(*replay, "--rules", "strict.signed", "--format", "json")
        self.assertEqual(run.status, FAILED, run.err)
        differences = {(each["what"], each["rule"]) for each in json.loads(run.out)["differences"]}
        self.assertEqual(differences, {("verdict", None), ("record", "Model"), ("record", "device Rules version")})
        self.assertIn('  record of "Model"\n', self.tavik(*replay, "--rules", "strict.signed").out)

        text = (self.folder / "run.json").read_text()
        content = json.loads(text)["capture"]

        def forged(change):
            """A capture that was changed by someone who also adapts the digest."""
            copy = json.loads(text)["capture"]
            change(copy)
            digest = hashlib.sha256(json.dumps(copy, ensure_ascii=False).encode()).hexdigest()
            return self.file("forged.json", json.dumps({"capture": copy, "sha256": digest}))

        self.assertEqual(self.passes("replay", forged(lambda copy: None), *replay[2:]), self.passes(*replay))
        for change in (lambda copy: copy["result"].update(verdict="failed"),
                       lambda copy: copy["attributes"].update(ModelNumber="XX"),
                       lambda copy: copy["result"]["provenance"]["rules"].update(sha256="00")):
            self.assertEqual(self.tavik("replay", forged(change), *replay[2:]).status, FAILED)
        other = json.loads(self.passes("convert", "--to", "json", "strict.signed"))["payload"]
        for which, why, change in (
                ("rules", "0 of 2 required signatures", lambda copy: copy["rules"].update(payload=other)),
                ("rules", "is not signed", lambda copy: copy.update(rules=RULES)),
                ("library", 'role is "local-rules"', lambda copy: copy.update(library=copy["rules"]))):
            run = self.tavik("replay", forged(change), *replay[2:])
            self.assertEqual((run.status, run.out), (NO_VERDICT, ""), run.err)
            self.assertIn(f"forged.json: {which}: ", run.err)
            self.assertIn(why, run.err)
        for why, damaged in (("does not match its digest", text.replace("MD123", "MD124", 1)),
                             ("does not match its digest", text.replace('"verdict": "passed"', '"verdict": "failed"')),
                             ("unterminated string", text[:-30]),
                             ('has an unknown key "note"', text.rstrip()[:-1] + ', "note": 1}'),
                             ('has no "sha256"', json.dumps({"capture": content}))):
            self.refuses(UNUSABLE, why, "replay", self.file("damaged.json", damaged), *replay[2:])
        self.policy("office-and-other.json", threshold=2)
        policy = json.loads((self.folder / "office-and-other.json").read_text())
        policy["keys"][1]["file"] = "other.pem"
        self.file("office-and-other.json", json.dumps(policy))
        self.refuses(NO_VERDICT, '1 of 2 required signatures: "rule office"', "replay", "run.json", "--trust",
                     "office-and-other.json")
        self.refuses(UNUSABLE, "standard output is used", *self.check(), "--capture", "-")

    def test_captured_runs_without_a_verdict(self):
        self.file("faulty.json", json.dumps(LIBRARY | {"Model": {"attribute": "ModelNumber", "predicate": "a XOR b"}}))
        for library, rules in (("faulty.json", "rules.json"), ("library.json", "empty.json"), ("library.json", "library.signed")):
            self.file("empty.json", "{}")
            check = self.tavik("check", "--unsigned", "--library", library, "--rules", rules, "--attributes", "device.json",
                               "--capture", "run.json")
            self.assertEqual(check.status, NO_VERDICT)
            run = self.tavik("replay", "run.json", "--unsigned")
            self.assertEqual(run.status, PASSED, run.err)
            self.refuses(NO_VERDICT, "library: the document is not signed", "replay", "run.json", "--public-key", "office.pem")

    def test_the_encoding_that_is_signed(self):
        """Against an independent implementation of the pre-authentication encoding and of Ed25519."""
        try:
            from cryptography.hazmat.primitives import serialization
        except ImportError:
            self.skipTest("python3-cryptography is not installed")

        def encoding(kind, payload):
            return b"DSSEv1 %d %s %d %s" % (len(kind), kind.encode(), len(payload), payload)

        self.sign("plain.signed", "library.json", keys=("office",))
        key = serialization.load_pem_private_key((self.folder / "office.key").read_bytes(), None)
        for name in ("plain.signed", "library.signed"):
            envelope = plistlib.loads((self.folder / name).read_bytes())
            message = encoding(envelope["payloadType"], envelope["payload"])
            key.public_key().verify(envelope["signatures"][0]["sig"], message)
        payload = plistlib.dumps({"role": "library", "product": "Ünï", "revision": 7, "document": LIBRARY})
        made = {"payloadType": STATEMENT_TYPE, "payload": payload,
                "signatures": [{"sig": key.sign(encoding(STATEMENT_TYPE, payload))}]}
        self.file("made", plistlib.dumps(made))
        run = self.tavik("verify", "--public-key", "office.pem", "made")
        self.assertEqual(run.status, PASSED)
        self.assertIn('library of "Ünï", revision 7', run.err)


if __name__ == "__main__":
    unittest.main()
