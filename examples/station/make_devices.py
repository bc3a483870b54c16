#!/usr/bin/env python3
"""Generates the devices of the example station: device-*/ and devices.jsonl.

    make_devices.py [FOLDER]     writes to FOLDER, by default the folder of this script

The output is always the same. packed_data.py encodes the SysCfg blob, the control-bit block and the two modem
manifests.
"""

import pathlib
import plistlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

from packed_data import (CONTROL_BIT_COUNT, FAIL, INCOMPLETE, PASS, UNTESTED, as_json, control_bits, device_lines, digest,
                         provisioning_manifest, root_manifest, syscfg)

# ---- A handheld ---------------------------------------------------------------------------------------------------

#        part number  model code  GB   board code  board revision  FCC identifier  Wi-Fi vendor  system partition (MiB)
MODELS = {
    "DN20-064": ("7KQ2", 64, "P7", "AX41", "0ZZDN20A", "0x1a55", 6144),
    "DN20-128": ("7KR4", 128, "P7", "BX41", "0ZZDN20B", "0x2b66", 6144),
    "DN25-256": ("8MT8", 256, "Q3", "CX52", "0ZZDN25", "0x1a55", 7936),
    "DN20W-064": ("7WQ2", 64, "P7", "WX41", "0ZZDN20W", "0x1a55", 6144),
}
BANDS = {"EU/1": [1, 3, 7, 20, 28], "US/1": [2, 4, 12, 66], "JP/1": [1, 3, 18, 19]}
WIFI_ONLY = "DN20W-064"


def with_check_digit(digits):
    """Appends the Luhn check digit."""
    doubled = (int(digit) * (1 + place % 2) for place, digit in enumerate(reversed(digits), start=1))
    return digits + str(-sum(value // 10 + value % 10 for value in doubled) % 10)


class Handheld:
    """A device, with the values of the shop floor and the operator."""

    def __init__(self, part, region, unit):
        self.part, self.unit = part, unit
        model, gigabytes, board, revision, fcc, vendor, partition = MODELS[part]
        serial = f"D2K647{unit:04}{model}"
        board_serial = f"B2K646{unit % 1000:03}{board}{revision}05"
        with_camera_sound = region == "JP/1" and part != WIFI_ONLY
        software = "2.6.2" if with_camera_sound or part == "DN25-256" else "2.6.1"
        build = 202611071530 if software == "2.6.1" else 202611140915
        self.attributes = {
            "SerialNumber": serial,
            "MLBSerialNumber": board_serial,
            "ModelNumber": part,
            "RegionInfo": region,
            "FCCID": fcc,
            "TouchPanelRevision": 3,
            "TotalDiskCapacity": gigabytes * 1_000_000_000 + 35_676_160,
            "SystemPartitionBytes": partition * 1_048_576,
            "SDIOProductInfo": f"wlan 5210 vendor={vendor} fw=3.4",
            "WirelessAddress": bytes.fromhex("a41c7e") + unit.to_bytes(3, "big"),
            "ShortRangeAddress": bytes.fromhex("a41c7f") + unit.to_bytes(3, "big"),
            "SystemVersion": software,
            "SystemBuildNumber": build,
            "SystemBuildLabel": f"dunlin-{software}-release",
            "BootKeyDigest": digest("boot key")[:20],
            "BootLoaderLocked": True,
            "FactoryMode": False,
            "FirmwareVariables": {"language": "en", "boot_count": "14", "display_level": "0.6"},
            "BatteryChargePercent": 72.5,
            "BatteryCycles": 2,
        }
        self.syscfg = {
            "SERN": serial,
            "BRDN": board_serial,
            "PART": part + region,
            "BHVR": "camera-sound" if with_camera_sound else "standard",
            "COLR": "graphite",
            "LOTN": f"L{unit // 25:03}-K47",
            "CAMR": "DUN4410-7712",
            "CALH": bytes([2, 1, 7, unit % 256]),
            "WKEY": digest("wifi key", unit),
        }
        self.states = {bit: PASS for bit in (1, 2, 3, 5, 6, 9, 13)}
        self.sfc = {
            "serial_number": serial,
            "board_serial_number": board_serial,
            "mpn": part,
            "region_code": region,
            "build_number": build,
            "boot_key_digest": digest("boot key")[:20].hex().upper(),
        }
        self.gui = {"housing_inspection": "ok"}
        self.root = self.provisioning = None
        if part != WIFI_ONLY:
            self.add_phone(region)

    def add_phone(self, region):
        imei = with_check_digit(f"00104412{self.unit:06}")
        sim = f"8999001{self.unit:012}"
        self.attributes |= {
            "IMEI": imei,
            "IntegratedCircuitCardIdentity": sim,
            "ModemVersion": "4.12.03-release",
            "RadioBands": BANDS.get(region, [1]),
        }
        self.root = {
            1: b"DN2-BOOT-3.1",
            5: b"7",
            200: b"\x01",
            1001: digest("modem image")[:20],
        }
        self.provisioning = {
            5: b"7",
            3001: imei.encode("ascii"),
            3002: bytes.fromhex("81002a10"),
        }
        self.gui |= {"imei_last_digits": imei[-4:], "sim_card_label": with_check_digit(sim)}

    def packed_attributes(self, control_bit_count=CONTROL_BIT_COUNT):
        """The attributes as a station reads them, with packed data."""
        packed = self.attributes | {"SysCfgData": syscfg(b"DUN2", self.syscfg)}
        packed["ControlBits"] = control_bits(self.states, control_bit_count)
        if self.root is not None:
            packed["BasebandFirmwareManifestData"] = {
                "ProvisioningManifestData": provisioning_manifest(self.provisioning),
                "RootManifestData": root_manifest(self.root),
            }
        return packed


# ---- The four single devices --------------------------------------------------------------------------------------


def good_device():
    """Passes."""
    return Handheld("DN20-128", "EU/1", 127)


def wrong_device():
    """Has many defects: rules of nearly every group fail."""
    device = Handheld("DN20-064", "US/1", 311)
    device.attributes["SerialNumber"] = device.attributes["SerialNumber"].replace("K", "k")
    device.attributes |= {
        "TotalDiskCapacity": 32_010_928_128,
        "FCCID": "0ZZDN20B",
        "SDIOProductInfo": "wlan 5210 vendor=0x2b66 fw=3.4",
        "ShortRangeAddress": b"\xff" * 6,
        "RadioBands": [2, 4, 12, 71],
        "BootLoaderLocked": False,
        "FirmwareVariables": {"language": "en", "debug_console": "on"},
        "DebugToken": "t-4471",
    }
    device.syscfg["BHVR"] = "camera-sound"
    device.states |= {6: FAIL, 13: INCOMPLETE}
    device.root[200] = b"\x00"
    device.provisioning[3002] = bytes.fromhex("01002a10")
    device.sfc["mpn"] = "DN20-128"
    device.gui |= {"imei_last_digits": device.attributes["IMEI"][-6:], "housing_inspection": "scratched"}
    return device


def unknown_region_device():
    """Passes except for its region, which its part number does not have."""
    return Handheld("DN20-064", "JP/1", 348)


def incomplete_device():
    """Has missing readings, blob fields and answers, but no wrong values."""
    device = Handheld("DN25-256", "US/1", 402)
    for attribute in ("FCCID", "BatteryChargePercent", "IntegratedCircuitCardIdentity"):
        del device.attributes[attribute]
    del device.syscfg["CALH"]
    del device.root[1001]
    del device.provisioning[5]
    del device.sfc["build_number"]
    del device.gui["imei_last_digits"]
    return device


# ---- Devices for a batch ------------------------------------------------------------------------------------------

BATCH_SIZE = 300
BATCH_CONTROL_BITS = 16  # the line's archive keeps no more of the block
KINDS = (("DN20-064", "EU/1"), ("DN20-064", "US/1"), ("DN20-128", "EU/1"), ("DN20-128", "US/1"), ("DN20-128", "JP/1"),
         ("DN25-256", "US/1"), ("DN25-256", "JP/1"), ("DN20W-064", "EU/1"), ("DN20W-064", "JP/1"))


def drain_battery(device):
    device.attributes["BatteryChargePercent"] = 38.0


def fail_run_in(device):
    device.states[9] = FAIL


def skip_drop_test(device):
    device.states[13] = UNTESTED


def scratch_housing(device):
    device.gui["housing_inspection"] = "scratched"


def swap_board(device):
    device.attributes["MLBSerialNumber"] = device.attributes["MLBSerialNumber"].replace("B2K646", "B2K639")


def fit_smaller_storage(device):
    device.attributes["TotalDiskCapacity"] = 32_010_928_128


def leave_engineering_build(device):
    device.attributes["SystemBuildLabel"] += "-eng"
    device.attributes["FirmwareVariables"] = {"language": "en", "debug_console": "on"}


def lose_wifi_key(device):
    device.syscfg["WKEY"] = bytes(32)


def lose_camera_field(device):
    del device.syscfg["CAMR"]


def mix_up_region(device):
    device.attributes["RegionInfo"] = "AU/1"


def mix_up_part(device):
    device.attributes["ModelNumber"] = "DN19-032"


def read_serial_number_short(device):
    """A serial number that is too short: the check ends with a fault."""
    device.attributes["SerialNumber"] = "D2"


def garble_module_information(device):
    """A missing vendor: the check ends with a fault."""
    device.attributes["SDIOProductInfo"] = "wlan 5210 fw-3.4"


# Defects on the line; common ones are listed more than once.
DEFECTS = (drain_battery, fail_run_in, mix_up_region, scratch_housing, swap_board, drain_battery, skip_drop_test,
           leave_engineering_build, fit_smaller_storage, scratch_housing, drain_battery, lose_wifi_key,
           read_serial_number_short, fail_run_in, lose_camera_field, mix_up_part, drain_battery,
           garble_module_information)


def batch():
    """Handhelds from the line; about one in ten has a defect."""
    chance = random.Random(2026).random  # of all that the module offers, the sequence that never changes
    broken = 0
    for number in range(1, BATCH_SIZE + 1):
        part, region = KINDS[int(chance() * len(KINDS))]
        device = Handheld(part, region, 500 + number)
        device.attributes["BatteryChargePercent"] = 60 + int(chance() * 80) / 2
        if chance() < 0.2:  # a work order of the other form
            device.sfc |= {"mpn": part + region, "region_code": region.split("/")[0]}
        if chance() < 0.1:
            DEFECTS[broken % len(DEFECTS)](device)
            broken += 1
        yield {
            "id": f"unit-{500 + number}",
            "attributes": device.packed_attributes(BATCH_CONTROL_BITS),
            "sources": {"sfc": device.sfc, "gui": device.gui},
        }


# ---- Files --------------------------------------------------------------------------------------------------------


def json_file(value):
    return as_json(value, indent=2).encode()


def xml_file(value):
    """An XML property list without a document type declaration."""
    lines = plistlib.dumps(value, sort_keys=False).splitlines(keepends=True)
    return b"".join(line for line in lines if not line.startswith(b"<!DOCTYPE"))


def binary_file(value):
    return plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=False)


def files():
    """All generated files: name -> bytes."""
    made = {}
    for name, device, attributes, encoded in (
        ("device-good", good_device(), "attributes.plist", xml_file),
        ("device-wrong", wrong_device(), "attributes.plist", binary_file),
        ("device-unknown-region", unknown_region_device(), "attributes.json", json_file),
        ("device-incomplete", incomplete_device(), "attributes.json", json_file),
    ):
        made[f"{name}/{attributes}"] = encoded(device.packed_attributes())
        made[f"{name}/sfc.json"] = json_file(device.sfc)
        made[f"{name}/gui.json"] = json_file(device.gui)
    made["devices.jsonl"] = device_lines(batch())
    return made


def main(arguments):
    folder = pathlib.Path(arguments[0]) if arguments else pathlib.Path(__file__).resolve().parent
    for name, contents in files().items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(contents)


if __name__ == "__main__":
    main(sys.argv[1:])
