"""The module and the command have the same results: verdict, reason, records, station, error and fault."""

import collections
import json
import random
import unittest

import tavik

from support import STATION, FolderTest, answer, from_json, kernel, to_json

DEVICES = 10_000
DOCUMENTS = ("--unsigned", "--library", "library.json", "--rules", "rules.json")


class RecordsTest(FolderTest):
    def setUp(self):
        super().setUp()
        self.library = tavik.read_property_list_file(STATION / "rule-library.plist")
        self.rules = tavik.read_property_list_file(STATION / "local-rules.plist")
        # Part numbers for all other outcomes of a run.
        self.library |= {"Malformed": {"attribute": "ModelNumber", "predicate": "a XOR b"},
                         "Absent value": {"attribute": "ModelNumber", "predicate": "sendStaticAttribute"}}
        self.rules["MPNRules"] |= {"MALFORMED": {"Malformed": {}}, "ABSENT": {"Absent value": {}},
                                   "LOST": {"LostRuleSet": {}}, "BROKEN": "not a dictionary"}
        self.rules["GenericRules"]["SIM card issuer"] = {}
        for name, document in (("library", self.library), ("rules", self.rules)):
            (self.folder / f"{name}.json").write_text(json.dumps(to_json(document)), encoding="utf-8")
        self.kernel = kernel(self.library)

    def random_devices(self):
        """Devices of the example with missing, swapped and wrong values."""
        chance = random.Random(19)
        lines = [from_json(json.loads(line)) for line in (STATION / "devices.jsonl").read_text("utf-8").splitlines()]
        values = [value for line in lines for value in line["attributes"].values()]
        values += [True, False, 0, 1, -1, 1.5, "", "5", " 7x", "DEAD", b"", b"\xde\xad", [], ["A", 5], {}, {"a": b"x"}]
        parts = [*self.rules["MPNRules"], "NONE", 5]
        for _ in range(DEVICES):
            line = chance.choice(lines)
            attributes, sources = dict(line["attributes"]), {name: dict(of) for name, of in line["sources"].items()}
            for entries in (attributes, *sources.values()):
                for key in [key for key in entries if chance.random() < 0.06]:
                    entries[key] = chance.choice(values)
                for key in [key for key in entries if chance.random() < 0.02]:
                    del entries[key]
            if chance.random() < 0.2:
                attributes["ModelNumber"] = chance.choice(parts)
            yield attributes, sources

    def test_random_devices(self):
        devices = list(self.random_devices())
        (self.folder / "devices.jsonl").write_text(
            "".join(json.dumps({"attributes": to_json(attributes), "sources": to_json(sources)}) + "\n"
                    for attributes, sources in devices), encoding="utf-8")
        expected = self.tavik("batch", *DOCUMENTS, "devices.jsonl")
        prepared = self.kernel.prepare(self.rules)
        outcomes = prepared.check_many(devices, threads=3)
        seen = collections.Counter()
        for device, outcome, wanted in zip(devices, outcomes, expected, strict=True):
            with self.subTest(device=device):
                result = prepared.run(*device)
                found = answer(result)
                del wanted["id"]
                self.expect(found, wanted)
                if isinstance(outcome, tavik.Result):
                    self.assertEqual(repr(answer(outcome)), repr(found))
                else:
                    self.assertEqual((outcome.args, outcome.rule, outcome.station),
                                     ((result.fault or result.error).args, result.reason.rule, result.station))
                seen[type(outcome).__name__, result.verdict, result.reason and result.reason.kind] += 1
        self.assertEqual(len(seen), 6, seen)

    def expect(self, found, wanted):
        """The message of a fault in the command's JSON contains the rule."""
        if found.get("fault") and found["reason"]["rule"]:
            found["fault"]["message"] = f'rule "{found["reason"]["rule"]}": {found["fault"]["message"]}'
        wanted = {key: value for key, value in wanted.items() if key != "signatures"}  # depends on the command's options
        self.assertEqual(repr({key: found[key] for key in wanted}), repr(wanted))

    def test_lists_decoders_descriptions_and_expressions(self):
        with (STATION / "devices.jsonl").open(encoding="utf-8") as file:
            device = from_json(json.loads(file.readline()))["attributes"]
        (self.folder / "device.json").write_text(json.dumps(to_json(device)), encoding="utf-8")
        manifests = device["BasebandFirmwareManifestData"]
        lists = {"sfc": self.kernel.sfc_check_list, "gui": self.kernel.gui_check_list, "sim": self.kernel.sim_check_list,
                 "domain": self.kernel.domain_list, "polling": self.kernel.polling_list}
        decoders = {"syscfg": (tavik.decode_sys_cfg, device["SysCfgData"]),
                    "control-bits": (tavik.decode_control_bits, device["ControlBits"]),
                    "root-manifest": (tavik.decode_root_manifest, manifests["RootManifestData"]),
                    "provisioning-manifest": (tavik.decode_provisioning_manifest, manifests["ProvisioningManifestData"])}
        cases = [
            ('describe value-in-list --attribute ["a",5] --value ["b"]', tavik.value_in_list_description(["a", 5], ["b"])),
            ('describe nand-size --attribute @device.json --value {"KQ2":64}', tavik.nand_size_check_description(device, {"KQ2": 64})),
            ('describe nvram-white-list --attribute {"a":1,"b":2} --value ["a"]',
             tavik.nvram_white_list_description({"a": 1, "b": 2}, ["a"])),
            ('eval staticTextGUIEquals --attribute 1 --value "OK" --references {"a":"ok"}',
             tavik.evaluate("staticTextGUIEquals", 1, "OK", {"a": "ok"})),
        ]
        for name, make in lists.items():
            found = make(self.rules, device)
            self.assertTrue(found, name)
            cases.append((" ".join(("list", name, *DOCUMENTS, "--attributes device.json")), {"list": found, "error": None}))
        for name, (decode, blob) in decoders.items():
            (self.folder / name).write_bytes(blob)
            self.assertTrue(decode(blob), name)
            cases.append((f"decode {name} {name}", decode(blob)))
        for command, found in cases:
            with self.subTest(command):
                (answered,) = self.tavik(*command.split(), "--format", "json")
                self.assertEqual(repr(found), repr(answered))
        root = manifests["RootManifestData"]
        for blob, expected in ((root, (0, 16, True, root)), (b"\x84\x01A", (2, 4, False, b"\x84\x01A"))):
            (item,) = tavik.decode_der(blob)
            self.assertEqual((item.tag_class, item.tag, item.is_constructed, item.encoding), expected)


if __name__ == "__main__":
    unittest.main()
