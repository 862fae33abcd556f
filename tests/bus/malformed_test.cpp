// Signals that are not as they should be: each is dropped alone, with its line, and the next one
// is worked off as ever.

#include "kit/bus_test.hpp"

#include <functional>
#include <ostream>

namespace
{

using kit::Lists;
using sim::Json;
using sim::Value;

const std::string wrongIndex = "std::get: wrong index for variant";

// ---- wrong signatures ----

struct WrongSignature
{
    const char* member;
    const char* signature;
    Json body;
};

void PrintTo(const WrongSignature& wrong, std::ostream* stream)
{
    *stream << wrong.member << " with " << wrong.signature;
}

const Json emptyDictionary = Json::object();
const Json emptyList = Json::array();
const char* const path = "/xyz/openbmc_project/inventory/system/board/pcie_slot_0001";

class Signatures : public kit::BusTest, public testing::WithParamInterface<WrongSignature>
{
  protected:
    /** Sends the signal from where a right one would come. */
    void emit(sim::Service& service, const std::string& manager, const std::string& object) const
    {
        const auto& [member, signature, body] = GetParam();
        const bool isChange = std::string(member) == "PropertiesChanged";
        service.emitSignal({isChange ? object : manager,
                            isChange ? sim::names::properties : sim::names::objectManager, member,
                            signature, body});
    }
};

TEST_P(Signatures, AreNamedAndDropped)
{
    publish({{sim::makeSmbiosSlot(1)}, {}});
    startDaemon();
    settle();
    emit(smbios, sim::names::smbiosRoot, sim::smbiosSlotPath(1));
    emit(kovd, sim::names::boardRoot, sim::kovdSlotPath(1));
    emit(kovd, sim::names::chassisRoot, sim::kovdChassisPath(1));
    const auto next = sim::makeKovdSlot(1);
    kovd.addObject(next.first, next.second);
    settle();

    const std::string line = std::string("Invalid signature = ") + GetParam().signature;
    // The library looks at no well-known sender, so a change may reach the other decoder as well.
    EXPECT_GE(times("GetSmbiosMsgData", line), 1u);
    EXPECT_GE(times("GetKovdMsgData", line), 2u);
    EXPECT_LE(logged("GetKovdMsgData").size(), 3u);
    EXPECT_EQ(lists(), (Lists{{next.first, kit::inSlot(sim::smbiosSlotPath(1))}}));
}

INSTANTIATE_TEST_SUITE_P(
    Added, Signatures,
    testing::Values(WrongSignature{"InterfacesAdded", "", emptyList},
                    WrongSignature{"InterfacesAdded", "o", {path}},
                    WrongSignature{"InterfacesAdded", "sa{sa{sv}}", {path, emptyDictionary}},
                    WrongSignature{"InterfacesAdded", "oa{sv}", {path, emptyDictionary}},
                    WrongSignature{"InterfacesAdded", "oa{sa{sv}}s", {path, emptyDictionary, ""}},
                    WrongSignature{"InterfacesAdded", "oas", {path, emptyList}}));

INSTANTIATE_TEST_SUITE_P(
    Removed, Signatures,
    testing::Values(WrongSignature{"InterfacesRemoved", "o", {path}},
                    WrongSignature{"InterfacesRemoved", "sas", {path, emptyList}},
                    WrongSignature{"InterfacesRemoved", "os", {path, ""}},
                    WrongSignature{"InterfacesRemoved", "oa{sa{sv}}", {path, emptyDictionary}}));

INSTANTIATE_TEST_SUITE_P(
    Changed, Signatures,
    testing::Values(
        WrongSignature{"PropertiesChanged", "sa{sv}", {"a.b", emptyDictionary}},
        WrongSignature{"PropertiesChanged", "s", {"a.b"}},
        WrongSignature{"PropertiesChanged", "oa{sv}as", {"/a", emptyDictionary, emptyList}},
        WrongSignature{"PropertiesChanged", "sa{ss}as", {"a.b", emptyDictionary, emptyList}}));

// ---- wrong and unknown types of kept properties ----

/** One kind of object: whose it is, what is kept of it, and what its insert says of a wrong type.
 */
struct Kind
{
    const char* name;
    bool isSmbios;
    std::function<sim::Object()> make;
    std::vector<const char*> kept;
    const char* insert;
    std::string complaint;
};

const Kind kinds[] = {
    {"SmbiosSlot",
     true,
     [] { return sim::makeSmbiosSlot(1); },
     {"SlotDesignation", "SlotID", "BusNumber"},
     "InsertSMBIOSPCIeSlotObj",
     "failed to read message properties[" + wrongIndex + "]"},
    {"SmbiosCpu",
     true,
     [] { return sim::makeSmbiosCpu(1); },
     {"Socket", "L1CacheHandle", "L2CacheHandle", "L3CacheHandle"},
     "InsertSMBIOSCPUObj",
     "failed to read message properties[" + wrongIndex + "]"},
    {"SmbiosCache",
     true,
     [] { return sim::makeSmbiosCache(1, 2); },
     {"Handle"},
     "InsertSMBIOSCacheObj",
     "failed to read message properties[" + wrongIndex + "]"},
    {"KovdSlot",
     false,
     [] { return sim::makeKovdSlot(1); },
     {"PCIeFQDD", "PCIeLocatorType", "PCIeLocatorInstanceNum", "PCIClassCode", "PCIeSubsystemId",
      "PCIeSubsystemVendorId"},
     "InsertKOVDPCIeSlotObj",
     "Exception occurred[" + wrongIndex + "]"},
    {"KovdDevice",
     false,
     [] { return sim::makeKovdDevice(1, 1); },
     {"FQDD", "P2PSubsystemVendorID", "P2PSubsystemID", "Bus"},
     "InsertKOVDPCIeDevicesObj",
     "failed to read message properties[" + wrongIndex + "]"},
    {"KovdChassisDevice",
     false,
     [] { return sim::makeKovdChassisDevice(1); },
     {"Function0ClassCode", "Function0SubsystemVendorId", "Function0SubsystemId"},
     "InsertKOVDChassisPathSlotObjs",
     "Exception occurred[" + wrongIndex + "]"},
    {"KovdCpu",
     false,
     [] { return sim::makeKovdCpu(1); },
     {"TargetDevKey", "SlotNumber"},
     "InsertKOVDCPUObj",
     "[" + wrongIndex + "] Exception occurred"},
};

void PrintTo(const Kind& kind, std::ostream* stream)
{
    *stream << kind.name;
}

class KeptProperties : public kit::BusTest, public testing::WithParamInterface<Kind>
{
  protected:
    /** All but the object of this kind. */
    void startWithTheRest()
    {
        auto inventory = sim::makeInventory(1, 1);
        (GetParam().isSmbios ? inventory.smbios : inventory.kovd).erase(object_.first);
        publish(inventory);
        startDaemon();
        settle();
    }

    /** What stands on the bus when this object came after all the others. */
    Lists listsWhenItCameLast() const
    {
        Lists whole = kit::listsOf(1, 1);
        if (object_.first == sim::smbiosCachePath(1, 2))
        {
            whole[sim::kovdCpuPath(1)] = kit::ofProcessor(1, {1, 3, 2});
        }
        if (object_.first == sim::kovdSlotPath(1))
        {
            // The SMBIOS slot has found the device before; the twin follows a recorded slot only.
            whole.erase(sim::kovdChassisPath(1));
        }
        return whole;
    }

    sim::Service& service()
    {
        return GetParam().isSmbios ? smbios : kovd;
    }

    const std::string& interface() const
    {
        return object_.second.begin()->first;
    }

    void addWith(const std::string& property, const Value& value)
    {
        auto interfaces = object_.second;
        interfaces.begin()->second.at(property) = value;
        service().addObject(object_.first, interfaces);
    }

    void changeTo(const std::string& property, const Value& value)
    {
        service().changeProperties(object_.first, interface(), {{property, value}});
    }

    const sim::Object object_ = GetParam().make();
};

TEST_P(KeptProperties, OfAWrongTypeCostTheSignal)
{
    startWithTheRest();
    const Lists before = lists();
    const Value known = Value::uint64(1);
    const Value unknown{"(s)", {"text"}};
    std::size_t wrong = 0;
    for (const char* property : GetParam().kept)
    {
        for (const Value& value : {known, unknown})
        {
            addWith(property, value);
            changeTo(property, value);
            wrong += 2;
        }
    }
    settle();

    EXPECT_EQ(times(GetParam().insert, GetParam().complaint), wrong);
    EXPECT_EQ(lists(), before);

    service().addObject(object_.first, object_.second);
    settle();
    EXPECT_EQ(times(GetParam().insert, GetParam().complaint), wrong);
    EXPECT_EQ(lists(), listsWhenItCameLast());
}

TEST_P(KeptProperties, StandBesideUnknownTypes)
{
    startWithTheRest();
    auto interfaces = object_.second;
    interfaces.begin()->second["A_first"] = {"a{sv}", emptyDictionary};
    interfaces.begin()->second["z_last"] = {"v", {{"type", "s"}, {"data", "inner"}}};
    service().addObject(object_.first, interfaces);
    settle();

    EXPECT_EQ(times(GetParam().insert, GetParam().complaint), 0u);
    EXPECT_EQ(lists(), listsWhenItCameLast());
}

INSTANTIATE_TEST_SUITE_P(All, KeptProperties, testing::ValuesIn(kinds),
                         [](const auto& kind) { return kind.param.name; });

} // namespace
