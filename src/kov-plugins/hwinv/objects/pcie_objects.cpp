#include "objects/pcie_objects.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "base/recovery_request.hpp"
#include "bus/association_writer.hpp"
#include "engines/find_association.hpp"
#include "engines/match_keys.hpp"
#include "objects/kept_properties.hpp"
#include "store/store.hpp"

#include <array>
#include <utility>

namespace
{

constexpr std::array smbiosSlotKept{
    KeptProperty{names::slotDesignation, KeptType::string},
    KeptProperty{names::slotId, KeptType::uint16},
    KeptProperty{"BusNumber", KeptType::uint8},
};

constexpr std::array kovdSlotKept{
    KeptProperty{names::pcieFqdd, KeptType::string},
    KeptProperty{names::pcieLocatorType, KeptType::uint8},
    KeptProperty{names::pcieLocatorInstanceNum, KeptType::uint16},
    KeptProperty{"PCIClassCode", KeptType::uint8},
    KeptProperty{"PCIeSubsystemId", KeptType::uint16},
    KeptProperty{"PCIeSubsystemVendorId", KeptType::uint16},
};

constexpr std::array kovdDeviceKept{
    KeptProperty{names::fqdd, KeptType::string},
    KeptProperty{"P2PSubsystemVendorID", KeptType::uint16},
    KeptProperty{"P2PSubsystemID", KeptType::uint16},
    KeptProperty{"Bus", KeptType::uint8},
};

constexpr std::array kovdChassisKept{
    KeptProperty{"Function0ClassCode", KeptType::string},
    KeptProperty{"Function0SubsystemVendorId", KeptType::string},
    KeptProperty{"Function0SubsystemId", KeptType::string},
};

const InsertRule smbiosSlotRule{smbiosPCIeSlotObjs, smbiosSlotKept,          "=",
                                source::smbios,     object_type::smbiosSlot, keysOfSmbiosSlot};
const InsertRule kovdSlotRule{kovdPCIeSlotObjs, kovdSlotKept,          " = ",
                              source::kovd,     object_type::kovdSlot, keysOfKovdSlot};
const InsertRule kovdDeviceRule{kovdPCIeDeviceObjs,          kovdDeviceKept,  "=", source::kovd,
                                object_type::kovdSlotDevice, keysOfKovdDevice};
const InsertRule kovdChassisRule{kovdChassisPathSlotObjs, kovdChassisKept, "=", source::kovd,
                                 object_type::kovdChassisSlot};

void insertPCIeObject(const Site& site, const InsertRule& rule, const std::string& path,
                      const ReceivedProperties& received)
{
    const bool stored = rule.objects.hasObject(path);
    if (stored && isPathAssociated(rule.sourceCode, path))
    {
        LOG_AT(site, level::info, "Association exists %s", path.c_str());
        return;
    }
    PropertyMap working;
    if (stored && !rule.objects.getObject(path, &working))
    {
        // Erased in between: the received properties alone are stored, the resync fills the rest.
        LOG_AT(site, level::trace, "%s Not able to get entry from the map", path.c_str());
        requestRecovery();
    }
    storeAndAssociate(site, rule, path, received, std::move(working));
}

// The inserts word a failed read in one of two ways.
constexpr FailureLines messageFailed{"failed to read message properties[%s]",
                                     "failed to read message"};
constexpr FailureLines insertFailed{"Exception occurred[%s]", "Exception occurred"};

} // namespace

void InsertSMBIOSPCIeSlotObj(const std::string& path, const ReceivedProperties& received)
try
{
    insertPCIeObject(UTIL_SITE, smbiosSlotRule, path, received);
}
catch (...)
{
    logFailure(UTIL_SITE, messageFailed);
    requestRecovery();
}

void InsertKOVDPCIeSlotObj(const std::string& path, const ReceivedProperties& received)
try
{
    UTIL_LOG(level::trace, "KOVDpath = %s", path.c_str());
    insertPCIeObject(UTIL_SITE, kovdSlotRule, path, received);
}
catch (...)
{
    logFailure(UTIL_SITE, insertFailed);
    requestRecovery();
}

void InsertKOVDPCIeDevicesObj(const std::string& path, const ReceivedProperties& received)
try
{
    UTIL_LOG(level::trace, "KOVDPath:%s", path.c_str());
    insertPCIeObject(UTIL_SITE, kovdDeviceRule, path, received);
}
catch (...)
{
    logFailure(UTIL_SITE, messageFailed);
    requestRecovery();
}

void InsertKOVDChassisPathSlotObjs(const std::string& path, const ReceivedProperties& received)
try
{
    UTIL_LOG(level::trace, "KovdPath:%s", path.c_str());
    insertPCIeObject(UTIL_SITE, kovdChassisRule, path, received);
}
catch (...)
{
    logFailure(UTIL_SITE, insertFailed);
    requestRecovery();
}

void removeSMBIOSPCIeAssociations(const std::string& path)
try
{
    if (smbiosPCIeSlotObjs.eraseObject(path) == 0)
    {
        UTIL_LOG(level::error, "Entry removed from the map");
    }
    const auto kovdPath = takeAssociatedKOVDPath(path);
    if (!kovdPath)
    {
        UTIL_LOG(level::warning, "No associations found for path: %s", path.c_str());
        return;
    }
    UTIL_LOG(level::error, "associated kovd objpath  = %s", kovdPath->c_str());
    // The KOVD object stays stored; it is associated again when a slot that fits is inserted.
    sendAssociations(UTIL_SITE, *kovdPath, {});
}
catch (...)
{
    logFailure(UTIL_SITE, {"failed to remove association[%s]", "failed to remove association"});
}
