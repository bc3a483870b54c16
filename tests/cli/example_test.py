"""The example station: what each of its devices comes to, that its rules name every predicate and reach a device, and
that its devices are what their script makes."""

import json
import pathlib
import plistlib
import re
import subprocess
import sys
import unittest

from support import FAILED, NO_VERDICT, PASSED, CommandTest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
STATION = PROJECT / "examples" / "station"
LIBRARY, LOCAL_RULES = STATION / "rule-library.plist", STATION / "local-rules.plist"
VERSION_RECORDS = 3

NOT_FOUND = "attribute {} not found from {}!"


class DevicesTest(CommandTest):
    def check(self, device):
        """Status, answer, and the records by rule, those of the versions left out."""
        folder = STATION / device
        (attributes,) = folder.glob("attributes.*")
        run = self.tavik("check", "--unsigned", "--library", LIBRARY, "--rules", LOCAL_RULES, "--attributes",
                         attributes, "--source", f"sfc={folder}/sfc.json", "--source", f"gui={folder}/gui.json",
                         "--format", "json")
        answer = json.loads(run.out)
        records = answer["records"][VERSION_RECORDS:]
        return run.status, answer, {record["rule"]: record for record in records}

    def assertFails(self, device, expected):
        """`device` fails with exactly these rules. `expected`: rule -> what was found."""
        status, _, records = self.check(device)
        failed = {rule: record["actual"] for rule, record in records.items() if not record["result"]}
        self.assertEqual(failed, expected)
        self.assertEqual(status, FAILED)

    def test_the_good_device_passes(self):
        status, answer, records = self.check("device-good")
        self.assertEqual([rule for rule, record in records.items() if record["result"] is not True], [])
        self.assertEqual(len(records), 49)
        self.assertEqual({rule for rule, record in records.items() if "hideResult" in record},
                         {"Wi-Fi key written", "Boot key", "Send to pack-out"})
        self.assertEqual(answer["station"], {"OnPass": "PACK-2", "OnFail": "REPAIR-1"})
        self.assertEqual(status, PASSED)

    def test_the_wrong_device_fails_in_every_family(self):
        self.assertFails("device-wrong", {
            "Storage size": "32",
            "Region behavior": "camera-sound",
            "Radio bands": "2,4,12,71",
            "Serial number form": "D2k64703117kQ2 and D2k64703117kQ2",
            "Part and region on traveller":
                "Device MPN: DN20-064, Device RC: US/1, SFC MPN: DN20-128, SFC RC: US/1",
            "Storage size at least": "32",
            "FCC identifier for board": "P7A",
            "Short-range address programmed": "<ffffffff ffff>",
            "Boot loader locked": "0",
            "Firmware variables": "language,debug_console",
            "No Attribute debug token": "attribute DebugToken exists",
            "IMEI label": "6",
            "Modem trust flag": "<00>",
            "Modem provisioning flags": "<01002a10>",
            "Wi-Fi module for board": "P7A",
            "Control bits": "CB 2 pass, CB 5 pass, CB 6 FAIL, CB 9 pass, CB 13 FAIL, ",
            "Housing inspected": "scratched",
        })

    def test_the_device_of_an_unknown_region_gets_no_verdict(self):
        status, answer, records = self.check("device-unknown-region")
        self.assertEqual(records, {"failed to build device specific rule list": {
            "rule": "failed to build device specific rule list",
            "result": False,
            "actual": "unknown Region Code:JP/1",
            "expected": "valid rule lists",
        }})
        self.assertEqual(answer["error"], {"domain": "ZRT Tavik Error Domain", "code": -100003,
                                           "description": "unknown Region Code:JP/1"})
        self.assertEqual(status, NO_VERDICT)

    def test_the_incomplete_device_fails_for_what_is_missing(self):
        self.assertFails("device-incomplete", {
            "Calibration header": NOT_FOUND.format("SysCfgData.CALH", "device"),
            "FCC identifier for board": NOT_FOUND.format("FCCID", "device"),
            "System build": NOT_FOUND.format("build_number", "sfc"),
            "IMEI label": NOT_FOUND.format("imei_last_digits", "gui"),
            "SIM card issuer": NOT_FOUND.format("IntegratedCircuitCardIdentity", "device"),
            "SIM card label": NOT_FOUND.format("IntegratedCircuitCardIdentity", "device"),
            "Modem boot digest": NOT_FOUND.format("RootManifestData.Item 1001", "device"),
            "Modem epoch": NOT_FOUND.format("ProvisioningManifestData.Item 5", "device"),
            "Battery charge": NOT_FOUND.format("BatteryChargePercent", "device"),
        })


class DocumentsTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.library = plistlib.loads(LIBRARY.read_bytes())
        del self.library["version"]
        self.local_rules = plistlib.loads(LOCAL_RULES.read_bytes())

    def test_the_library_names_every_predicate(self):
        predicates = set(re.findall(r"^\| \[(\w+)\]", self.tavik("lint", "--print", "predicates").out, re.MULTILINE))
        self.assertGreater(len(predicates), 30)
        words = {word for rule in self.library.values() for word in rule.get("predicate", "").split()}
        self.assertEqual(words - {"NOT", "AND", "OR"}, predicates)
        self.assertLessEqual({"NOT", "AND", "OR"}, words)

    def layers(self, part):
        """The rules of a part number, layer by layer; the layers of its regions stand for one another."""
        own = dict(part)
        regions = own.pop("RegionRules", {"any": {}})
        generic = self.local_rules["GenericRules"]
        for region in regions.values():
            sets = [self.local_rules["RuleSets"][name] for name in (*own, *generic) if name.endswith("RuleSet")]
            yield [[name for name in layer if not name.endswith("RuleSet")] for layer in (own, region, generic, *sets)]

    def test_every_rule_reaches_a_device_and_no_layer_takes_another_ones_away(self):
        reached = set()
        for number, part in self.local_rules["MPNRules"].items():
            for layers in self.layers(part):
                names = [name for layer in layers for name in layer]
                self.assertEqual(len(names), len(set(names)), number)
                reached |= set(names)
        self.assertEqual(reached, set(self.library))


class MadeFilesTest(CommandTest):
    def test_the_devices_are_what_the_script_makes(self):
        subprocess.run([sys.executable, STATION / "make_devices.py", self.folder], check=True, timeout=120)
        made = [path.relative_to(self.folder) for path in self.folder.rglob("*") if path.is_file()]
        kept = [path.relative_to(STATION) for path in STATION.glob("device*/*")] + [pathlib.Path("devices.jsonl")]
        self.assertEqual(sorted(made), sorted(kept))
        for name in made:
            self.assertTrue((self.folder / name).read_bytes() == (STATION / name).read_bytes(),
                            f"examples/station/{name} is not what make_devices.py makes")


if __name__ == "__main__":
    unittest.main()
