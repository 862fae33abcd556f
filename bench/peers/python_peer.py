#!/usr/bin/env python3
"""The daemon's job for PCIe slots alone, as one would write it with dbus-python."""

import re

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

SMBIOS = "xyz.openbmc_project.Smbios.MDRV2"
KOVD = "com.vexa.bmc.kovd"
INVENTORY = "/xyz/openbmc_project/inventory"
BOARD = INVENTORY + "/system/board"
OBJECT_MANAGER = "org.freedesktop.DBus.ObjectManager"
SMBIOS_SLOT = "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9"
KOVD_SLOT = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice"


def number(pattern, text):
    found = re.search(pattern, text, re.IGNORECASE)
    return int(found[1]) if found else None


def fits(smbios, kovd):
    if smbios.get("SlotID") != kovd.get("PCIeLocatorInstanceNum") or kovd["PCIeLocatorType"] != 6:
        return False
    named = number(r"slot (\d+)", smbios["SlotDesignation"])
    return named is not None and named == number(r"\.slot\.(\d+)", kovd["PCIeFQDD"])


class Slots:
    def __init__(self, bus):
        self.bus = bus
        self.smbios = {}
        self.kovd = {}

    def keep(self, path, interfaces):
        if SMBIOS_SLOT in interfaces:
            slot = self.smbios[path] = interfaces[SMBIOS_SLOT]
            partners = [(other, path) for other, kovd in self.kovd.items() if fits(slot, kovd)]
        elif KOVD_SLOT in interfaces:
            slot = self.kovd[path] = interfaces[KOVD_SLOT]
            partners = [(path, other) for other, smbios in self.smbios.items() if fits(smbios, slot)]
        else:
            return
        if partners:
            self.set_association(*partners[0])

    def set_association(self, kovd_path, smbios_path):
        associations = dbus.Array([("chassis", "pcieslot", smbios_path)], signature="(sss)")
        self.bus.call_async(
            KOVD,
            kovd_path,
            "org.freedesktop.DBus.Properties",
            "Set",
            "ssv",
            ("xyz.openbmc_project.Association.Definitions", "Associations", associations),
            lambda: None,
            lambda error: print("Set:", error),
        )

    def read(self, service, root):
        found = self.bus.call_blocking(service, root, OBJECT_MANAGER, "GetManagedObjects", "", ())
        for path, interfaces in found.items():
            self.keep(path, interfaces)


def main():
    bus = dbus.SystemBus(mainloop=DBusGMainLoop())
    # The name is given back when nobody holds this object any more.
    name = dbus.service.BusName("com.vexa.kesto.kovdSupportService", bus)
    slots = Slots(bus)
    for service, root in ((SMBIOS, INVENTORY), (KOVD, BOARD)):
        bus.add_signal_receiver(slots.keep, "InterfacesAdded", OBJECT_MANAGER, service, root)
    for service, root in ((SMBIOS, INVENTORY), (KOVD, BOARD)):
        slots.read(service, root)
    GLib.MainLoop().run()
    return name


if __name__ == "__main__":
    main()
