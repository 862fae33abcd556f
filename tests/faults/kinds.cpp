#include "faults/kinds.hpp"

#include "sim/names.hpp"
#include "sim/signature.hpp"

#include <string_view>

namespace faults
{
namespace
{

const std::string wrongIndex = "std::get: wrong index for variant";
const std::string messageFailed = "failed to read message properties[" + wrongIndex + "]";
const std::string insertFailed = "Exception occurred[" + wrongIndex + "]";

std::vector<Kind> makeKinds()
{
    return {
        {"SmbiosSlot",
         true,
         {{"SlotDesignation", 's'}, {"SlotID", 'q'}, {"BusNumber", 'y'}},
         "InsertSMBIOSPCIeSlotObj",
         messageFailed,
         [](unsigned n) { return sim::makeSmbiosSlot(n); }},
        {"KovdSlot",
         false,
         {{"PCIeFQDD", 's'},
          {"PCIeLocatorType", 'y'},
          {"PCIeLocatorInstanceNum", 'q'},
          {"PCIClassCode", 'y'},
          {"PCIeSubsystemId", 'q'},
          {"PCIeSubsystemVendorId", 'q'}},
         "InsertKOVDPCIeSlotObj",
         insertFailed,
         [](unsigned n) { return sim::makeKovdSlot(n); }},
        {"KovdDevice",
         false,
         {{"FQDD", 's'}, {"P2PSubsystemVendorID", 'q'}, {"P2PSubsystemID", 'q'}, {"Bus", 'y'}},
         "InsertKOVDPCIeDevicesObj",
         messageFailed,
         [](unsigned n) { return sim::makeKovdDevice(n, 1); }},
        {"KovdChassisDevice",
         false,
         {{"Function0ClassCode", 's'},
          {"Function0SubsystemVendorId", 's'},
          {"Function0SubsystemId", 's'}},
         "InsertKOVDChassisPathSlotObjs",
         insertFailed,
         [](unsigned n) { return sim::makeKovdChassisDevice(n); }},
        {"SmbiosCpu",
         true,
         {{"Socket", 's'}, {"L1CacheHandle", 'q'}, {"L2CacheHandle", 'q'}, {"L3CacheHandle", 'q'}},
         "InsertSMBIOSCPUObj",
         messageFailed,
         [](unsigned n) { return sim::makeSmbiosCpu(n); }},
        {"SmbiosCache",
         true,
         {{"Handle", 'q'}},
         "InsertSMBIOSCacheObj",
         messageFailed,
         [](unsigned n) { return sim::makeSmbiosCache(n, 2); }},
        {"KovdCpu",
         false,
         {{"TargetDevKey", 's'}, {"SlotNumber", 'q'}},
         "InsertKOVDCPUObj",
         "[" + wrongIndex + "] Exception occurred",
         [](unsigned n) { return sim::makeKovdCpu(n); }},
    };
}

sim::Json emptyData(std::string_view type)
{
    switch (type.front())
    {
        case 's':
        case 'g':
            return "";
        case 'o':
            return "/";
        case 'b':
            return false;
        case 'v':
            return {{"type", "s"}, {"data", ""}};
        case 'a':
            return sim::isDictionary(type) ? sim::Json::object() : sim::Json::array();
        case '(':
            return emptyBody(std::string(type.substr(1, type.size() - 2)));
        default:
            return 0;
    }
}

} // namespace

const std::vector<Kind>& kinds()
{
    static const std::vector<Kind> all = makeKinds();
    return all;
}

const char* managerOf(const Kind& kind)
{
    if (kind.ofSmbios)
    {
        return sim::names::smbiosRoot;
    }
    const bool chassis = std::string_view(kind.name) == "KovdChassisDevice";
    return chassis ? sim::names::chassisRoot : sim::names::boardRoot;
}

const std::vector<std::string>& knownTypes()
{
    static const std::vector<std::string> types{"as", "s", "x", "t", "d",  "i",     "u",
                                                "n",  "q", "y", "b", "ay", "a(sss)"};
    return types;
}

const std::vector<std::string>& unknownTypes()
{
    static const std::vector<std::string> types{"g", "o", "a{sv}", "(ii)"};
    return types;
}

sim::Value emptyOf(const std::string& type)
{
    return {type, emptyData(type)};
}

sim::Json emptyBody(const std::string& signature)
{
    sim::Json body = sim::Json::array();
    for (const std::string_view type : sim::splitSignature(signature))
    {
        body.push_back(emptyData(type));
    }
    return body;
}

} // namespace faults
