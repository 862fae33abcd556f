/*
 * The world of the PCIe tests: the paths of a small machine once, what is expected to be handed
 * over, and the lines that the engine itself logs.
 */
#pragma once

#include "bus/association_writer.hpp"
#include "doubles/recorded_log.hpp"
#include "store/store.hpp"

#include <functional>
#include <string>
#include <vector>

namespace world
{

using Lines = std::vector<std::string>;
using Requests = std::vector<AssociationRequest>;
using Paths = std::vector<std::string>;

inline const std::string inventory = "/xyz/openbmc_project/inventory/system/";
inline const std::string motherboard = inventory + "chassis/motherboard/";

// The SMBIOS slots.
inline const std::string smbios1 = motherboard + "pcieslot1";
inline const std::string smbios2 = motherboard + "pcieslot2";
inline const std::string smbios3 = motherboard + "pcieslot3";

// The platform's slots, and a device in each.
inline const std::string slot1 = inventory + "board/pcie_slot1";
inline const std::string slot2 = inventory + "board/pcie_slot2";
inline const std::string slot3 = inventory + "board/pcie_slot3";
inline const std::string device1 = slot1 + "/nic";
inline const std::string device2 = slot2 + "/nic";
inline const std::string device3 = slot3 + "/nic";

// What stands for the slots on the chassis path.
inline const std::string twin1 = motherboard + "pcie_slot1";
inline const std::string twin2 = motherboard + "pcie_slot2";
inline const std::string twin3 = motherboard + "pcie_slot3";

/** A slot with this number on either side; they match when the numbers agree. */
PropertyMap smbiosSlot(int number);
PropertyMap kovdSlot(int number);
PropertyMap kovdDevice(int number);

/** The association of a platform object with an SMBIOS slot, as it is handed over. */
AssociationRequest paired(const std::string& kovdPath, const std::string& smbiosPath);

/** All lines but those of the matching rules. */
Lines engineLines();

Lines joined(const std::vector<Lines>& parts);

/** How often the slot rule was asked about this descriptor. */
std::size_t comparisons(const std::string& fqdd);

bool isPair(const std::string& smbiosPath, const std::string& kovdPath);

/** Does this once, when a line with this text is logged. */
void when(const std::string& text, const std::function<void()>& action);

} // namespace world
