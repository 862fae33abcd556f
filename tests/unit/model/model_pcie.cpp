/* The model of the PCIe engine, and of the platform worker's removals. */
#include "model.hpp"

#include <algorithm>

namespace
{

using machine::Kind;
using std::string;

const string file = "kov_hwinv_util";
const string board = "/xyz/openbmc_project/inventory/system/board";
const string chassis = "/xyz/openbmc_project/inventory/system/chassis";

AssociationList slotList(const string& smbiosPath)
{
    return {{"chassis", "pcieslot", smbiosPath}};
}

bool has(const string& text, const string& part)
{
    return text.find(part) != string::npos;
}

/** The path on the board with the same leaf; empty when there is no leaf. */
string onBoard(const string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == string::npos || slash + 1 == path.size() ? "" : board + path.substr(slash);
}

} // namespace

void model::Model::findFor(Kind kind, const string& path)
{
    const string function = "FindAssociation";
    const bool smbiosSide = kind == Kind::smbiosSlot;
    const bool testsNothing = kind == Kind::smbiosCpu || kind == Kind::smbiosCache;
    if (!testsNothing && (smbiosSide ? kovdOf(path) : smbiosOf(path)) != nullptr)
    {
        util(5, function, "Association already exists " + path);
        return;
    }
    switch (kind)
    {
        case Kind::smbiosSlot:
            searchAllKovd(world.of(kind)[path], path);
            break;
        case Kind::kovdSlot:
            searchSmbiosSlots(world.of(kind)[path], path);
            break;
        case Kind::kovdDevice:
            findForDevice(path);
            break;
        case Kind::kovdChassis:
            findForChassis(path);
            break;
        case Kind::smbiosCpu:
            associateSmbiosCpu(path);
            break;
        case Kind::smbiosCache:
            associateCache(path);
            break;
        case Kind::kovdCpu:
            associateKovdCpu(path);
            break;
    }
}

void model::Model::findForDevice(const string& path)
{
    const string function = "FindAssociation";
    const std::size_t slash = path.rfind('/');
    if (slash == string::npos)
    {
        util(1, function, "Objpath not correct for " + path);
        return;
    }
    const string* partner = smbiosOf(path.substr(0, slash));
    if (partner == nullptr)
    {
        searchSmbiosSlots(world.of(Kind::kovdDevice)[path], path);
        return;
    }
    util(5, function, *partner + " Associated SMBIOSobjPath");
    handOver(file, function, path, slotList(*partner));
}

void model::Model::findForChassis(const string& path)
{
    const string function = "FindAssociation";
    const string twin = onBoard(path);
    if (twin.empty())
    {
        util(1, function, "Objpath not in correct format " + path);
        return;
    }
    const string* partner = smbiosOf(twin);
    if (partner == nullptr)
    {
        util(1, function, "SMBIOS association not found for objPath: " + path);
        return;
    }
    util(5, function, "Associated SMBIOS  objPath: " + *partner);
    handOver(file, function, path, slotList(*partner));
}

void model::Model::searchSmbiosSlots(const ReceivedProperties& kovd, const string& kovdPath)
{
    const string function = "IterateSMBIOSPCISlotObjs";
    for (const auto& [smbiosPath, smbios] : world.of(Kind::smbiosSlot))
    {
        if (!matches(smbios, kovd, 1))
        {
            continue;
        }
        if (addPair(smbiosPath, kovdPath))
        {
            util(5, function, "Association added successfully");
            util(5, function, "smbios " + smbiosPath);
            util(5, function, "kovd " + kovdPath);
        }
        else
        {
            util(5, function, "Association not added successfully " + kovdPath);
        }
        handOver(file, function, kovdPath, slotList(smbiosPath));
        return;
    }
    util(1, function, kovdPath + " No association found for objPath");
}

void model::Model::searchAllKovd(const ReceivedProperties& smbios, const string& smbiosPath)
{
    const string slot = searchKovdSlots(smbios, smbiosPath);
    searchKovdDevices(slot, smbios, smbiosPath);
    searchChassis(slot, smbiosPath);
}

/** The path of the slot that matches; empty when none does. */
string model::Model::searchKovdSlots(const ReceivedProperties& smbios, const string& smbiosPath)
{
    const string function = "IterateKOVDPCIeSlotObjs";
    util(5, function, "SmbiosPath:" + smbiosPath);
    util(9, function, " Finding association among kovd PCIe slot dbus objects");
    for (const auto& [kovdPath, kovd] : world.of(Kind::kovdSlot))
    {
        if (!matches(smbios, kovd, 2))
        {
            continue;
        }
        util(5, function, kovdPath + " :Associated Pcislot objpath");
        if (addPair(smbiosPath, kovdPath))
        {
            util(5, function, "Inserted in active associations");
            util(5, function, "smbios Path " + smbiosPath);
            util(5, function, "kovd Path " + kovdPath);
        }
        else
        {
            util(5, function, "Already present in active associations");
        }
        handOver(file, function, kovdPath, slotList(smbiosPath));
        return kovdPath;
    }
    return "";
}

void model::Model::searchKovdDevices(const string& slot, const ReceivedProperties& smbios,
                                     const string& smbiosPath)
{
    const string function = "IterateKOVDPCIeSlotDeviceObjs";
    for (const auto& [devicePath, device] : world.of(Kind::kovdDevice))
    {
        const bool inSlot = !slot.empty() && has(devicePath, slot);
        if (!inSlot && !matches(smbios, device, 3))
        {
            continue;
        }
        util(5, function, "Association found " + devicePath);
        util(5, function, "smbios " + smbiosPath);
        util(5, function, "kovd " + devicePath);
        util(5, function,
             addPair(smbiosPath, devicePath) ? "Association added successfully"
                                             : "Not able to add association");
        handOver(file, function, devicePath, slotList(smbiosPath));
    }
}

void model::Model::searchChassis(const string& slot, const string& smbiosPath)
{
    const string function = "IterateKOVDPCIeSlotObjsChassisPath";
    if (slot.empty())
    {
        util(9, function, "No association found for objPath: " + smbiosPath);
        return;
    }
    for (const auto& [path, properties] : world.of(Kind::kovdChassis))
    {
        const string twin = onBoard(path);
        if (twin.empty())
        {
            util(1, function, "Objpath not in correct format " + path);
            return;
        }
        if (twin != slot)
        {
            continue;
        }
        util(5, function, "Associated Pcislotdevice objpath " + path);
        if (addPair(smbiosPath, path))
        {
            util(5, function, "Association created successfully");
            util(5, function, "smbiosObjPath: " + smbiosPath);
            util(5, function, "kovdObjPath: " + path);
        }
        else
        {
            util(1, function, "Failed to add association in the map");
        }
        handOver(file, function, path, slotList(smbiosPath));
        return;
    }
}

/** False when the slot has vanished since the pass began: the pass ends there. */
bool model::Model::offerSlot(const string& path)
{
    const string function = "AssociateSMBIOSPCIESlotsObjToKOVDObjs";
    if (kovdOf(path) != nullptr)
    {
        util(4, function, "SMBIOS object already associated with KOVD object: " + path);
        return true;
    }
    const auto slot = world.of(Kind::smbiosSlot).find(path);
    if (slot == world.of(Kind::smbiosSlot).end())
    {
        util(1, function, "SMBIOS object not found for objPath: " + path);
        return false;
    }
    searchAllKovd(slot->second, path);
    return true;
}

void model::Model::removeSmbiosSlot(const string& path)
{
    const string function = "removeSMBIOSPCIeAssociations";
    if (world.of(Kind::smbiosSlot).erase(path) != 0)
    {
        util(1, function, "Entry removed from the map");
    }
    const string* partner = kovdOf(path);
    if (partner == nullptr)
    {
        util(4, function, "No associations found for path: " + path);
        return;
    }
    const string kovdPath = *partner;
    util(1, function, "associated kovd objpath  = " + kovdPath);
    dropPairOfKovd(kovdPath);
    handOver(file, function, kovdPath, {});
}

void model::Model::eraseKovdObject(Kind kind, const string& path)
{
    const string function = "processKovdMessagesInQueue";
    if (world.of(kind).erase(path) == 0)
    {
        util(1, function, "Failed to remove the entry from the map");
        return;
    }
    util(5, function, "Entry " + path + " removed from the map");
}

void model::Model::kovdRemoval(const string& path, const std::vector<string>& interfaces)
{
    const string function = "processKovdMessagesInQueue";
    const bool onBoardPath = has(path, board);
    if (!onBoardPath && !has(path, chassis))
    {
        return;
    }
    for (const string& interface : interfaces)
    {
        const bool isSlot = interface == "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";
        const bool isDevice = interface == "com.vexa.bmc.kovd.OEMPcieInventory";
        const bool isCpu = interface == "xyz.openbmc_project.Inventory.Item";
        const bool isChassis = interface == "xyz.openbmc_project.Inventory.Item.PCIeDevice";
        if (onBoardPath && (isSlot || isDevice || isCpu))
        {
            util(9, function, "OBJ_MGR_INTF_REMOVED_SIGNAL");
            util(1, function, path + " Object path to be removed");
            util(isCpu ? 1 : 9, function, "interface = " + interface);
            isCpu ? removeKovdCpu(path)
                  : eraseKovdObject(isSlot ? Kind::kovdSlot : Kind::kovdDevice, path);
        }
        else if (!onBoardPath && isChassis)
        {
            util(9, function, "OBJ_MGR_INTF_REMOVED_SIGNAL");
            util(1, function, "Object path to be removed = " + path);
            util(1, function, "interface = " + interface);
            eraseKovdObject(Kind::kovdChassis, path);
        }
    }
    if (!dropPairOfKovd(path))
    {
        util(4, function, "No associations found for path: " + path);
    }
    else if (onBoardPath)
    {
        util(9, function, "Entry " + path + " removed from association map");
    }
}
