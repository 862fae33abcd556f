#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/pcie_kovd_search.hpp"
#include "kovd_search_lines.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace
{

using namespace world;
using std::string;

void searchDevices(const string& matched, int number, const string& smbiosPath)
{
    IterateKOVDPCIeSlotDeviceObjs(matched, smbiosSlot(number), smbiosPath);
}

TEST(IterateKOVDPCIeSlotDeviceObjs, takesEveryDeviceBelowTheMatchedSlot)
{
    const string gpu = slot1 + "/gpu";
    kovdPCIeDeviceObjs.insertObject(device1, sample::kovdDevice("Nothing.That.Matches"));
    kovdPCIeDeviceObjs.insertObject(gpu, kovdDevice(9));
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(), joined({devicePaired(gpu, smbios1, deviceAdded),
                                               devicePaired(device1, smbios1, deviceRefused)}));
    EXPECT_EQ(recorded_requests::all(), (Requests{paired(gpu, smbios1), paired(device1, smbios1)}));
    EXPECT_TRUE(isPair(smbios1, gpu));
    EXPECT_FALSE(isPathAssociated(kovdSide, device1));
}

TEST(IterateKOVDPCIeSlotDeviceObjs, takesWhoeverContainsTheMatchedPath)
{
    const Paths taken = {"/prefix" + slot1 + "/a", slot1, slot1 + "/a", slot1 + "0/a", slot1 + "x"};
    const Paths left = {slot2 + "/a", "/xyz/openbmc_project/inventory/system/board/PCIE_SLOT1/a",
                        slot1.substr(0, slot1.size() - 1)};
    for (const Paths& paths : {taken, left})
    {
        for (const string& path : paths)
        {
            kovdPCIeDeviceObjs.insertObject(path, kovdDevice(9));
        }
    }
    searchDevices(slot1, 1, smbios1);
    Requests expected;
    for (const string& path : taken)
    {
        expected.push_back(paired(path, smbios1));
    }
    EXPECT_EQ(recorded_requests::all(), expected);
}

TEST(IterateKOVDPCIeSlotDeviceObjs, takesEveryDeviceThatMatchesByItself)
{
    const string far1 = "/elsewhere/a";
    const string far2 = "/elsewhere/b";
    const string far3 = "/elsewhere/c";
    kovdPCIeDeviceObjs.insertObject(far1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(far2, kovdDevice(2));
    kovdPCIeDeviceObjs.insertObject(far3, kovdDevice(1));
    for (const string matched : {"", slot1.c_str()})
    {
        SCOPED_TRACE(matched);
        recorded_log::clear();
        recorded_requests::clear();
        searchDevices(matched, 1, smbios1);
        EXPECT_EQ(recorded_requests::all(),
                  (Requests{paired(far1, smbios1), paired(far3, smbios1)}));
        takeAssociatedKOVDPath(smbios1);
        EXPECT_EQ(engineLines(), joined({devicePaired(far1, smbios1, deviceAdded),
                                         devicePaired(far3, smbios1, deviceRefused)}));
    }
}

TEST(IterateKOVDPCIeSlotDeviceObjs, comparesWithTypeThree)
{
    // No SlotID is needed, and a slot's own properties do not make a device.
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(device2, kovdSlot(1));
    IterateKOVDPCIeSlotDeviceObjs("", sample::without(smbiosSlot(1), "SlotID"), smbios1);
    EXPECT_EQ(recorded_requests::all(), Requests{paired(device1, smbios1)});
}

TEST(IterateKOVDPCIeSlotDeviceObjs, saysNothingWhenNothingMatches)
{
    searchDevices(slot1, 1, smbios1);
    searchDevices("", 1, smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{});
    kovdPCIeDeviceObjs.insertObject(device2, sample::kovdDevice(""));
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{});
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateKOVDPCIeSlotDeviceObjs, goesOnBehindFailedHandOvers)
{
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(slot1 + "/zzz", kovdDevice(1));
    recorded_requests::setResult(3);
    searchDevices(slot1, 1, smbios1);
    const Lines failed = handOverFailed("IterateKOVDPCIeSlotDeviceObjs", 3);
    EXPECT_EQ(recorded_log::summary(),
              joined({devicePaired(device1, smbios1, deviceAdded), failed,
                      devicePaired(slot1 + "/zzz", smbios1, deviceRefused), failed}));
}

TEST(IterateKOVDPCIeSlotDeviceObjs, skipsADeviceWithoutPropertiesAndOneThatVanished)
{
    const string deviceA = slot1 + "/a";
    const string deviceB = slot1 + "/b";
    const string deviceC = slot1 + "/c";
    kovdPCIeDeviceObjs.insertObject(deviceA, {});
    kovdPCIeDeviceObjs.insertObject(deviceB, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(deviceC, kovdDevice(1));
    const string empty = "SMBIOS object properties could not be obtained for objPath: " + deviceA;
    when(empty, [&] { kovdPCIeDeviceObjs.eraseObject(deviceB); });
    searchDevices(slot1, 1, smbios1);
    // Also below the matched slot both are skipped.
    EXPECT_EQ(recorded_log::summary(),
              joined({Lines{"1 IterateKOVDPCIeSlotDeviceObjs: " + empty,
                            "1 IterateKOVDPCIeSlotDeviceObjs: Kovd object not found for objPath: " +
                                deviceB},
                      devicePaired(deviceC, smbios1, deviceAdded)}));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(deviceC, smbios1)});
}

TEST(IterateKOVDPCIeSlotDeviceObjs, endsAtAnException)
{
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(slot1 + "/zzz", kovdDevice(1));
    const string text = "Association found " + device1;
    when(text, [] { throw std::runtime_error("boom"); });
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{deviceSearch + text, "1 IterateKOVDPCIeSlotDeviceObjs: Exception in "
                                          "IterateKOVDPCIeSlotDeviceObjs: boom"}));
    recorded_log::clear();
    when(text, [] { throw 42; });
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{deviceSearch + text, "1 IterateKOVDPCIeSlotDeviceObjs: Exception in "
                                          "IterateKOVDPCIeSlotDeviceObjs"}));
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

} // namespace
