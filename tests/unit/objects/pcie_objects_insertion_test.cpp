/* What the inserts do together, in the orders in which the two services may publish. */
#include "doubles/fresh_store.hpp"
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "objects/pcie_objects.hpp"

#include <gtest/gtest.h>

#include <string>

namespace
{

using namespace world;
using sample::received;
using std::string;

TEST(InsertSMBIOSPCIeSlotObj, requestsRecoveryForASlotIdOf32Bits)
{
    InsertSMBIOSPCIeSlotObj(smbios1,
                            received(sample::with(smbiosSlot(1), "SlotID", std::uint32_t{1})));
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"5 InsertSMBIOSPCIeSlotObj: SlotDesignation=PCIe SLOT 1",
                     "1 InsertSMBIOSPCIeSlotObj: failed to read message properties[std::get: wrong "
                     "index for variant]"}));
    EXPECT_TRUE(takeRecoveryRequest());
    EXPECT_FALSE(smbiosPCIeSlotObjs.hasObject(smbios1));
}

TEST(InsertSMBIOSPCIeSlotObj, pairsWithAPlatformSlotThatIsThere)
{
    InsertKOVDPCIeSlotObj(slot1, received(kovdSlot(1)));
    InsertKOVDPCIeDevicesObj(device1, received(kovdDevice(9)));
    InsertKOVDChassisPathSlotObjs(twin1, received(sample::kovdChassisObject()));
    EXPECT_EQ(recorded_requests::all(), Requests{});
    InsertSMBIOSPCIeSlotObj(smbios1, received(smbiosSlot(1)));
    EXPECT_EQ(recorded_requests::all(),
              (Requests{paired(slot1, smbios1), paired(device1, smbios1), paired(twin1, smbios1)}));
}

TEST(InsertSMBIOSPCIeSlotObj, pairsOnceAChangeMakesItMatch)
{
    InsertKOVDPCIeSlotObj(slot1, received(kovdSlot(1)));
    InsertSMBIOSPCIeSlotObj(smbios1, {{"SlotDesignation", string("PCIe SLOT 1")}});
    EXPECT_EQ(recorded_requests::all(), Requests{});
    InsertSMBIOSPCIeSlotObj(smbios1, {{"SlotID", std::uint16_t{1}}});
    EXPECT_EQ(recorded_requests::all(), Requests{paired(slot1, smbios1)});

    // From now on it stays as it is, even when its designation changes.
    InsertSMBIOSPCIeSlotObj(smbios1, received(smbiosSlot(2)));
    PropertyMap properties;
    ASSERT_TRUE(smbiosPCIeSlotObjs.getObject(smbios1, &properties));
    EXPECT_EQ(properties, smbiosSlot(1));
}

TEST(InsertKOVDPCIeSlotObj, pairsWithAnSmbiosSlotThatIsThere)
{
    InsertSMBIOSPCIeSlotObj(smbios1, received(smbiosSlot(1)));
    InsertKOVDPCIeSlotObj(slot1, received(kovdSlot(1)));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(slot1, smbios1)});
    EXPECT_TRUE(isPair(smbios1, slot1));
}

TEST(InsertKOVDPCIeDevicesObj, inheritsFromItsSlot)
{
    InsertSMBIOSPCIeSlotObj(smbios1, received(smbiosSlot(1)));
    InsertKOVDPCIeSlotObj(slot1, received(kovdSlot(1)));
    InsertKOVDPCIeDevicesObj(device1, received(kovdDevice(9)));
    InsertKOVDPCIeDevicesObj(device1, {{"Bus", std::uint8_t{3}}}); // written again
    EXPECT_EQ(recorded_requests::all(), (Requests{paired(slot1, smbios1), paired(device1, smbios1),
                                                  paired(device1, smbios1)}));
}

TEST(InsertKOVDChassisPathSlotObjs, inheritsFromItsTwin)
{
    InsertSMBIOSPCIeSlotObj(smbios1, received(smbiosSlot(1)));
    InsertKOVDPCIeSlotObj(slot1, received(kovdSlot(1)));
    InsertKOVDChassisPathSlotObjs(twin1, received(sample::kovdChassisObject()));
    EXPECT_EQ(recorded_requests::all(), (Requests{paired(slot1, smbios1), paired(twin1, smbios1)}));
}

} // namespace
