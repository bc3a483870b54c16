#!/usr/bin/env python3
"""Generates devices.jsonl with twenty scanners that pass: make_devices.py [FOLDER], by default the folder of this script."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

from packed_data import PASS, control_bits, device_lines, digest, syscfg

DEVICE_COUNT = 20
CONTROL_BITS = 8

#        part number  model code  GB  board code  engine  engine firmware
MODELS = {
    "CW110": ("K1R2", 16, "R100", "SE-20", "3.2.1"),
    "CW110R": ("K1T4", 32, "R110", "SE-20B", "3.2.4"),
    "CW240": ("M2R2", 64, "S201", "IM-4", "7.0.3"),
}
CHANNELS = {"EU/3": [1, 6, 11, 36, 40], "US/3": [1, 6, 11, 149], "BR/3": [1, 6, 153]}
KINDS = [("CW110", "EU/3"), ("CW110", "US/3"), ("CW110", "BR/3"), ("CW110R", "EU/3"), ("CW110R", "US/3"),
         ("CW240", "EU/3"), ("CW240", "US/3"), ("CW240", "BR/3")]


def scanner(unit):
    part, region = KINDS[unit % len(KINDS)]
    model, gigabytes, board, engine, firmware = MODELS[part]
    in_brazil = region == "BR/3"
    serial = f"C421{unit:05}{model}"
    fields = {"PART": part + region, "BHVR": "label-lock" if in_brazil else "standard"}
    attributes = {
        "SerialNumber": serial,
        "MLBSerialNumber": f"B419{unit:07}{board}02",
        "ModelNumber": part,
        "RegionInfo": region,
        "ScanEngineModel": engine,
        "ScanEngineFirmware": firmware,
        "TotalDiskCapacity": gigabytes * 1_000_000_000 + 12_582_912,
        "SystemPartitionBytes": 2048 * 1_048_576,
        "SystemVersion": "5.1.2" if in_brazil else "5.1.0",
        "SystemBuildNumber": 202610120640 + in_brazil,
        "SystemBuildLabel": "curlew-5.1-release",
        "BootLoaderLocked": True,
        "BootKeyDigest": digest("curlew boot key")[:20],
        "WirelessAddress": bytes.fromhex("6e11d0") + unit.to_bytes(3, "big"),
        "WirelessChannels": CHANNELS[region],
        "BatteryChargePercent": 60 + unit % 30,
        "ControlBits": control_bits({bit: PASS for bit in (1, 4, 7)}, CONTROL_BITS),
    }
    if engine.startswith("SE"):
        attributes |= {"LaserClass": 2, "LaserPowerMilliwatts": 0.8}
        fields["AIMC"] = digest("aiming", unit)
    else:
        fields["FOCH"] = bytes.fromhex("0213") + unit.to_bytes(14, "big")
    attributes["SysCfgData"] = syscfg(b"CUR1", fields)
    work_order = {"serial_number": serial, "mpn": part, "region_code": region,
                  "build_number": attributes["SystemBuildNumber"],
                  "boot_key_digest": attributes["BootKeyDigest"].hex()}
    return {"id": serial, "attributes": attributes, "sources": {"sfc": work_order, "gui": {"label_inspection": "ok"}}}


def main(arguments):
    folder = pathlib.Path(arguments[0]) if arguments else pathlib.Path(__file__).resolve().parent
    folder.joinpath("devices.jsonl").write_bytes(device_lines(map(scanner, range(418, 418 + DEVICE_COUNT))))


if __name__ == "__main__":
    main(sys.argv[1:])
