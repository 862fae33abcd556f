#!/usr/bin/env python3
"""Writes tests/fuzz/corpus anew: what the fuzz targets start from.

    tests/fuzz/seeds.py

Each seed is what a target's first bytes choose, then sound bodies, texts or numbers. Change a
target's choices, and this has to follow.
"""

import pathlib
import struct

CORPUS = pathlib.Path(__file__).parent / "corpus"

T9 = "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9"
CPU = "xyz.openbmc_project.Inventory.Item.Cpu"
T7 = "xyz.openbmc_project.Inventory.Item.CacheInformationType7"
SLOT = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice"
OEM = "com.vexa.bmc.kovd.OEMPcieInventory"
ITEM = "xyz.openbmc_project.Inventory.Item"
DEVICE = "xyz.openbmc_project.Inventory.Item.PCIeDevice"

MOTHERBOARD = "/xyz/openbmc_project/inventory/system/chassis/motherboard/"
CACHES = "/xyz/openbmc_project/inventory/system/chassis/cacheinfo/"
BOARD = "/xyz/openbmc_project/inventory/system/board/"


class Writer:
    """Marshals values; the bytes of a body from its first one on."""

    def __init__(self, order="<"):
        self.order = order
        self.bytes = b""

    def align(self, to):
        self.bytes += b"\0" * (-len(self.bytes) % to)

    def number(self, code, size, value):
        self.align(size)
        self.bytes += struct.pack(self.order + code, value)

    def text(self, value):
        self.number("I", 4, len(value.encode()))
        self.bytes += value.encode() + b"\0"

    def signature(self, value):
        self.bytes += bytes([len(value)]) + value.encode() + b"\0"

    def array(self, alignment, write, values):
        self.number("I", 4, 0)
        size_at = len(self.bytes) - 4
        self.align(alignment)
        begin = len(self.bytes)
        for value in values:
            self.align(alignment)
            write(value)
        size = struct.pack(self.order + "I", len(self.bytes) - begin)
        self.bytes = self.bytes[:size_at] + size + self.bytes[size_at + 4 :]

    def variant(self, value):
        kind, inside = value
        self.signature(kind)
        numbers = {"q": ("H", 2), "y": ("B", 1), "u": ("I", 4), "i": ("i", 4), "n": ("h", 2),
                   "t": ("Q", 8), "x": ("q", 8), "d": ("d", 8), "b": ("I", 4)}
        if kind in numbers:
            self.number(*numbers[kind], inside)
        elif kind == "s":
            self.text(inside)
        elif kind == "as":
            self.array(4, self.text, inside)
        elif kind == "ay":
            self.array(1, lambda value: self.number("B", 1, value), inside)
        elif kind == "a(sss)":
            self.array(8, lambda tuple: [self.text(part) for part in tuple], inside)
        else:
            raise ValueError(kind)

    def properties(self, properties):
        def entry(item):
            self.text(item[0])
            self.variant(item[1])

        self.array(8, entry, properties.items())

    def interfaces(self, interfaces):
        def entry(item):
            self.text(item[0])
            self.properties(item[1])

        self.array(8, entry, interfaces.items())

    def objects(self, objects):
        def entry(item):
            self.text(item[0])
            self.interfaces(item[1])

        self.array(8, entry, objects.items())


SMBIOS_SLOT = {"SlotDesignation": ("s", "PCIe SLOT 1"), "SlotID": ("q", 1), "BusNumber": ("y", 4)}
SMBIOS_CPU = {"Socket": ("s", "CPU1"), "L1CacheHandle": ("q", 1), "L2CacheHandle": ("q", 2)}
CACHE = {"Handle": ("q", 1)}
KOVD_SLOT = {
    "PCIeFQDD": ("s", "NIC.Slot.1-1"),
    "PCIeLocatorType": ("y", 6),
    "PCIeLocatorInstanceNum": ("q", 1),
}
KOVD_DEVICE = {"FQDD": ("s", "NIC.Slot.1-1-1"), "Bus": ("y", 4)}
KOVD_CPU = {"TargetDevKey": ("s", "CPU.Socket.1"), "SlotNumber": ("q", 1)}
TWIN = {"Function0ClassCode": ("s", "0x02")}
EVERY_TYPE = {
    "a": ("as", ["one", "two"]),
    "b": ("x", -1),
    "c": ("t", 1),
    "d": ("d", 1.5),
    "e": ("i", -1),
    "f": ("u", 1),
    "g": ("n", -1),
    "h": ("b", 1),
    "i": ("ay", [1, 2, 3]),
    "j": ("a(sss)", [("chassis", "pcieslot", "/slot")]),
}


def added(order, path, interfaces):
    body = Writer(order)
    body.text(path)
    body.interfaces(interfaces)
    return body.bytes


def removed(order, path, interfaces):
    body = Writer(order)
    body.text(path)
    body.array(4, body.text, interfaces)
    return body.bytes


def changed(order, interface, properties):
    body = Writer(order)
    body.text(interface)
    body.properties(properties)
    body.array(4, body.text, ["Gone"])
    return body.bytes


def decoder_seeds():
    """Name to bytes; see Choice in decoders.cpp."""

    def seed(decoder, order, member, path, body, signature=0):
        first = decoder | (order == ">") << 1 | member << 2 | path << 4
        return bytes([first, signature]) + body

    for order, name in (("<", "little"), (">", "big")):
        yield f"smbios-added-{name}", seed(
            0, order, 0, 0, added(order, MOTHERBOARD + "pcieslot1", {T9: SMBIOS_SLOT, "other": EVERY_TYPE}))
        yield f"smbios-removed-{name}", seed(
            0, order, 1, 0, removed(order, MOTHERBOARD + "cpu1", [CPU, "other"]))
        yield f"smbios-changed-slot-{name}", seed(0, order, 2, 1, changed(order, T9, SMBIOS_SLOT))
        yield f"smbios-changed-cpu-{name}", seed(0, order, 2, 2, changed(order, CPU, SMBIOS_CPU))
        yield f"smbios-changed-cache-{name}", seed(0, order, 2, 3, changed(order, T7, CACHE))
        yield f"kovd-added-{name}", seed(
            1, order, 0, 0, added(order, BOARD + "pcie_slot1", {SLOT: KOVD_SLOT, OEM: KOVD_DEVICE}))
        yield f"kovd-removed-{name}", seed(
            1, order, 1, 0, removed(order, BOARD + "pcie_slot1", [SLOT]))
        yield f"kovd-changed-slot-{name}", seed(1, order, 2, 4, changed(order, SLOT, KOVD_SLOT))
        yield f"kovd-changed-cpu-{name}", seed(1, order, 2, 5, changed(order, ITEM, KOVD_CPU))
        yield f"kovd-changed-twin-{name}", seed(1, order, 2, 6, changed(order, DEVICE, TWIN))
    yield "smbios-added-elsewhere", seed(0, "<", 0, 0, added("<", "/elsewhere", {T9: SMBIOS_SLOT}))
    yield "kovd-added-elsewhere", seed(1, "<", 0, 0, added("<", "/elsewhere", {SLOT: KOVD_SLOT}))
    yield "smbios-changed-other", seed(0, "<", 2, 1, changed("<", "other", EVERY_TYPE))
    yield "kovd-changed-other", seed(1, "<", 2, 4, changed("<", "other", EVERY_TYPE))
    yield "smbios-changed-elsewhere", seed(0, "<", 2, 7, changed("<", T9, SMBIOS_SLOT))
    yield "smbios-other-member", seed(0, "<", 3, 0, changed("<", T9, SMBIOS_SLOT))
    yield "kovd-other-member", seed(1, "<", 3, 0, changed("<", SLOT, KOVD_SLOT))
    for member in range(3):
        yield f"wrong-signature-{member}", seed(0, "<", member, 1, b"\1\0\0\0a\0", 0x81 + member)
        yield f"no-signature-{member}", seed(1, "<", member, 4, b"", 0x80)


def object_seeds():
    """Name to bytes; see managed_objects.cpp."""
    smbios = {
        MOTHERBOARD + "cpu1": {CPU: SMBIOS_CPU},
        MOTHERBOARD + "pcieslot1": {T9: SMBIOS_SLOT, "other": EVERY_TYPE},
        CACHES + "cache1": {T7: CACHE},
    }
    board = {
        BOARD + "cpu1": {ITEM: KOVD_CPU},
        BOARD + "pcie_slot1": {SLOT: KOVD_SLOT},
        BOARD + "pcie_slot1/nic": {OEM: KOVD_DEVICE},
        MOTHERBOARD + "pcie_slot1": {DEVICE: TWIN},
    }
    for order, name in (("<", "little"), (">", "big")):
        for service, objects in ((0, smbios), (1, board)):
            for keep in (0, 4):
                body = Writer(order)
                body.objects(objects)
                first = service | (order == ">") << 1 | keep
                yield f"{('smbios', 'kovd')[service]}-{name}-{keep}", bytes([first]) + body.bytes
    yield "nothing", bytes([0]) + b"\0\0\0\0\0\0\0\0"


def matching_seeds():
    """Name to bytes; see matching.cpp."""

    def texts(*parts):
        return b"".join(part.encode() + b"\0" for part in parts)

    def objects(kind, designation, fqdd, locator=6, slot=1, flags=b"\0" * 3):
        head = bytes([0, kind]) + struct.pack(">H", slot) + b"\0"
        # Flags of the three SMBIOS properties, then of the platform's, the locator behind the first.
        return head + texts(designation, fqdd) + flags + b"\0" + bytes([locator]) + b"\0" * 5

    pairs = {
        "slot": ("PCIe SLOT 1", "NIC.Slot.1-1"),
        "number": ("PCIe SLOT 2", "NIC.Slot.1-1"),
        "placeholder": ("SLOT 3", "PCIeSlotPlaceholder.Slot.3-1"),
        "device": ("NIC SLOT 4", "NIC.slot.04"),
        "other-device": ("GPU SLOT 4", "NIC.Slot.4"),
        "two-tokens": ("PCIe SLOT 5", "NIC.Slot"),
        "no-slot-token": ("PCIe SLOT 5", "NIC.Embedded.5"),
        "not-a-number": ("PCIe SLOT 5", "NIC.Slot.x"),
        "range": ("PCIe SLOT 99999999999", "NIC.Slot.5"),
        "fqdd-range": ("PCIe SLOT 5", "NIC.Slot.99999999999999999999"),
        "no-number": ("RISER", "NIC.Slot.5"),
        "bay": ("SLOT 1 BAY 2", "Disk.Bay.1:Enclosure.Internal.0-2"),
        "bay-disk": ("SLOT 2 BAY 2", "Disk.Bay.1:Enclosure.Internal.0-2"),
        "bay-enclosure": ("SLOT 1 BAY 3", "Disk.Bay.1:Enclosure.Internal.0-2"),
        "bay-nothing": ("SLOT x BAY y", "Disk.Bay.x:Enclosure.Internal.0-y"),
        "bay-no-disk": ("SLOT 1 BAY 2", "Disk.Bay.x:Enclosure.Internal.0-2"),
        "bay-cut": ("SLOT 1 BAY 2", "Disk.Bay.1"),
        "cpu": ("CPU1", "CPU.Socket.1"),
        "cpu-token": ("CPU1", "CPU.Socket.01"),
        "cpu-two-tokens": ("CPU1", "CPU.Socket"),
        "empty": ("", ""),
    }
    for name, (designation, fqdd) in pairs.items():
        yield f"fqdd-{name}", bytes([1]) + texts(designation, fqdd)
        yield f"bay-{name}", bytes([2]) + texts(designation, fqdd)
        for kind in (1, 3, 5):
            yield f"objects-{name}-{kind}", objects(kind, designation, fqdd)
        yield f"objects-{name}-drive", objects(1, designation, fqdd, locator=9)
    for kind in (2, 4, 7):
        yield f"objects-kind-{kind}", objects(kind, "PCIe SLOT 1", "NIC.Slot.1")
    yield "objects-locator", objects(1, "PCIe SLOT 1", "NIC.Slot.1", locator=3)
    yield "objects-wrong-type", objects(1, "PCIe SLOT 1", "NIC.Slot.1", flags=b"\xff\0\0")
    yield "objects-missing", objects(1, "PCIe SLOT 1", "NIC.Slot.1", flags=b"\0\xfe\0")
    for path in ("/a/b/slot1", "slot1", "/a/b/", ""):
        yield "path-" + path.replace("/", "_"), bytes([3]) + path.encode()
    yield "split", bytes([4]) + b"X.Slot.4-1"
    yield "search", bytes([5]) + b"slot\0PCIe SLOT 1"
    yield "search-empty", bytes([5]) + b"\0"
    yield "numbers", bytes([6]) + struct.pack(">hh", 3, 3)
    yield "numbers-none", bytes([6]) + struct.pack(">hh", -1, -1)
    yield "caches", bytes([7]) + b"\0\1\0" * 3 + b"\0\1\0"
    yield "caches-zero", bytes([7]) + b"\0\0\0" * 4
    yield "caches-type", bytes([7]) + b"\0\1\xff" * 4


def line_seeds():
    """Name to bytes; see log_line.cpp."""
    for script in (0, 1, 2, 3, 0x1B, 0x55, 0xFF):
        yield f"plain-{script}", bytes([script, 1, 0]) + b"some text"
        yield f"controls-{script}", bytes([script, 5, 0]) + b"a\nb\rc\td\x1b\x7f\xc2\x85\xc2\xa0e"
    yield "filtered", bytes([0, 9, 0]) + b"some text"
    yield "piece", bytes([0, 1, 0]) + b"...#1 text\n...#1 "
    yield "long", bytes([0, 1, 255]) + "äöü\n".encode() * 6
    yield "divided", bytes([0, 1, 255]) + "äöü\n".encode() * 20


def main():
    for target, seeds in (
        ("decoders", decoder_seeds()),
        ("managed_objects", object_seeds()),
        ("matching", matching_seeds()),
        ("log_line", line_seeds()),
    ):
        folder = CORPUS / target
        folder.mkdir(parents=True, exist_ok=True)
        for old in folder.iterdir():
            old.unlink()
        for name, seed in seeds:
            (folder / (name + ".seed")).write_bytes(seed)


if __name__ == "__main__":
    main()
