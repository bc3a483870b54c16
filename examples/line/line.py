#!/usr/bin/env python3
"""Simulates a line: a shop-floor system, and stations that send their devices to a station service.

    line.py [URL] [--stations N] [--rate DEVICES-PER-SECOND] [--seed N] [--devices N]

The devices are those of ../station. The same seed makes the same devices with the same faults. Ctrl-C ends the line.
"""

import argparse
import collections
import http.client
import itertools
import json
import pathlib
import queue
import random
import sys
import threading
import time
import urllib.parse

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "station"))

from make_devices import DEFECTS, KINDS, Handheld, as_json

SERIAL_NUMBERS = range(1, 10_000)  # used again after that
LOT_SIZES = (40, 80, 120)
RARE_PART, COMMON_PART_WEIGHT = "DN20W-064", 4
WRONG_LOT_SHARE = 0.03
DEFECT_SHARE = 0.06
WORN_STATION, WORN_STATION_SHARE = 7, 0.3
REPAIR_SHARE = 0.8
DEVICES_UNTIL_REPAIRED = 30
RETRY_SECONDS = 1

# ---- The shop-floor system ------------------------------------------------------------------------------------------


def second_supplier(device):
    """A wireless module that is missing in the rules: a problem of the rules, not of the devices."""
    device.attributes["SDIOProductInfo"] = device.attributes["SDIOProductInfo"].replace("vendor=0x", "vendor=0x9")


def old_software(device):
    device.attributes["SystemVersion"] = "2.5.8"


def wrong_work_order(device):
    device.sfc["region_code"] = "AU/1"


LOT_DEFECTS = (old_software, wrong_work_order)  # of every device in a lot


def misread_label(device):
    """The defective scanner reads zeros."""
    device.gui["imei_last_digits"] = "0000"


def lots(chance):
    """Part number, region and defect of each device, lot by lot."""
    weights = [1 if part == RARE_PART else COMMON_PART_WEIGHT for part, _ in KINDS]
    while True:
        (kind,) = chance.choices(KINDS, weights)
        defect = chance.choice(LOT_DEFECTS) if chance.random() < WRONG_LOT_SHARE else None
        if kind[0] == RARE_PART:
            defect = second_supplier
        yield from itertools.repeat((kind, defect), chance.choice(LOT_SIZES))


def devices(seed, stations):
    """The devices in test order, each with its station number; repaired devices appear twice."""
    chance = random.Random(seed)
    repaired = collections.deque()  # (when, device)
    work = zip(itertools.cycle(SERIAL_NUMBERS), lots(chance))
    for number in itertools.count():
        station = chance.randrange(1, stations + 1)
        if repaired and repaired[0][0] <= number:
            yield station, repaired.popleft()[1]
            continue
        unit, ((part, region), lot_defect) = next(work)
        device = Handheld(part, region, unit)
        device.attributes["BatteryChargePercent"] = 60 + chance.randrange(80) / 2
        if lot_defect:
            lot_defect(device)
        elif station == WORN_STATION and chance.random() < WORN_STATION_SHARE:
            misread_label(device)
        elif chance.random() < DEFECT_SHARE:
            chance.choice(DEFECTS)(device)
            if chance.random() < REPAIR_SHARE:
                repaired.append((number + DEVICES_UNTIL_REPAIRED, Handheld(part, region, unit)))
        yield station, device


# ---- The stations ---------------------------------------------------------------------------------------------------


class Station(threading.Thread):
    """Sends its devices to the service one after the other over one connection."""

    def __init__(self, number, address, verdicts):
        super().__init__(name=f"station {number}", daemon=True)
        self._problem = None
        self.devices = queue.Queue(maxsize=2)  # beyond that, the line waits for the station
        self._connection = http.client.HTTPConnection(address, timeout=20)
        self._verdicts = verdicts

    def run(self):
        while (device := self.devices.get()) is not None:
            self._verdicts.append(self._check(device))
        self._connection.close()

    def _check(self, device):
        """The verdict. A request without a response is sent again, because its result may not be stored."""
        body = as_json({"id": device.attributes["SerialNumber"], "attributes": device.packed_attributes(),
                        "sources": {"sfc": device.sfc, "gui": device.gui}})
        while True:
            try:
                self._connection.request("POST", "/v1/check", body)
                answer = self._connection.getresponse()
                result = json.load(answer)
                if answer.status == 200:
                    self._report(None)
                    return result["verdict"]
                self._report(result["error"])
            except (OSError, http.client.HTTPException, ValueError) as error:
                self._report(f"no answer: {error}")
                self._connection.close()
            time.sleep(RETRY_SECONDS)

    def _report(self, problem):
        """Prints a problem once, even if the request is repeated."""
        if problem and problem != self._problem:
            print(f"line: {self.name}: {problem}\n", end="", file=sys.stderr)
        self._problem = problem


def run_line(options):
    verdicts = collections.deque()  # appended to by all stations
    address = urllib.parse.urlsplit(options.url).netloc
    stations = [Station(number + 1, address, verdicts) for number in range(options.stations)]
    for station in stations:
        station.start()
    begin = time.monotonic()
    try:
        work = itertools.islice(devices(options.seed, options.stations), options.devices)
        for number, (station, device) in enumerate(work):
            if options.rate:
                time.sleep(max(0, begin + number / options.rate - time.monotonic()))
            stations[station - 1].devices.put(device)
        for station in stations:
            station.devices.put(None)
            station.join()
    except KeyboardInterrupt:
        pass
    count = collections.Counter(verdicts)
    print(f"{count.total()} devices checked: {count['passed']} passed, {count['failed']} failed, {count['none']} without a verdict")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("url", nargs="?", default="http://127.0.0.1:8080/", help="the address of the service (%(default)s)")
    parser.add_argument("--stations", type=int, default=50, metavar="N", help="number of stations (%(default)s)")
    parser.add_argument("--rate", type=float, default=5, metavar="N", help="devices per second; 0: as fast as possible (%(default)s)")
    parser.add_argument("--seed", type=int, default=2026, metavar="N", help="selects the devices and their faults (%(default)s)")
    parser.add_argument("--devices", type=int, metavar="N", help="end after this many devices; by default, at Ctrl-C")
    run_line(parser.parse_args())


if __name__ == "__main__":
    main()
