/* The model of the rules that compare two objects. */
#include "model.hpp"

#include <optional>
#include <stdexcept>

namespace
{

using std::string;
using Numbers = std::optional<std::pair<int, int>>;

string upper(string text)
{
    for (char& letter : text)
    {
        if (letter >= 'a' && letter <= 'z')
        {
            letter = static_cast<char>(letter - 'a' + 'A');
        }
    }
    return text;
}

bool has(const string& text, const string& part)
{
    return text.find(part) != string::npos;
}

/** The number that starts right there; -1 when none does. */
int numberAt(const string& text, std::size_t position)
{
    const std::size_t end = text.find_first_not_of("0123456789", position);
    const string digits = position < text.size() ? text.substr(position, end - position) : "";
    return digits.empty() ? -1 : std::stoi(digits);
}

std::vector<string> tokensOf(const string& fqdd)
{
    std::vector<string> tokens;
    string token;
    for (const char letter : fqdd + ".")
    {
        if (letter != '.' && letter != '-')
        {
            token += letter;
        }
        else if (!token.empty())
        {
            tokens.push_back(token);
            token.clear();
        }
    }
    return tokens;
}

int slotOf(const string& designation)
{
    const std::size_t slot = upper(designation).find("SLOT ");
    return slot == string::npos ? -1 : numberAt(designation, slot + 5);
}

/** Slot and bay; nothing when one of them is not there. */
Numbers bayOfDesignation(const string& designation)
{
    const int slot = slotOf(designation);
    const std::size_t bayAt = upper(designation).find("BAY ");
    const int bay = bayAt == string::npos ? -1 : numberAt(designation, bayAt + 4);
    return slot != -1 && bay != -1 ? Numbers({slot, bay}) : std::nullopt;
}

/** Disk and enclosure; nothing when one of them is not there. */
Numbers bayOfFqdd(const string& fqdd)
{
    const string disk = "Disk.Bay.";
    const string enclosure = "Enclosure.Internal.0-";
    const std::size_t diskAt = fqdd.find(disk);
    const std::size_t enclosureAt = fqdd.find(enclosure);
    if (diskAt == string::npos || enclosureAt == string::npos)
    {
        return std::nullopt;
    }
    const std::size_t numberStart = diskAt + disk.size();
    const std::size_t colon = fqdd.find(':', numberStart);
    if (colon == string::npos || colon == numberStart)
    {
        return std::nullopt;
    }
    const int diskNumber = numberAt(fqdd, numberStart);
    const int enclosureNumber = numberAt(fqdd, enclosureAt + enclosure.size());
    return diskNumber != -1 && enclosureNumber != -1 ? Numbers({diskNumber, enclosureNumber})
                                                     : std::nullopt;
}

bool baysMatch(const string& designation, const string& fqdd)
{
    const Numbers smbios = bayOfDesignation(designation);
    const Numbers kovd = smbios ? bayOfFqdd(fqdd) : std::nullopt;
    return smbios && kovd && *smbios == *kovd;
}

template <class Type>
const Type* find(const ReceivedProperties& properties, const char* name)
{
    const auto found = properties.find(name);
    return found == properties.end() ? nullptr : &std::get<Type>(found->second);
}

} // namespace

bool model::Model::fqddMatches(const string& designation, const string& fqdd)
{
    const string function = "matchFQDD";
    util(5, function, "KOVD fqdd " + fqdd);
    util(5, function, "SMBIOS fqdd " + designation);
    const auto tokens = tokensOf(fqdd);
    if (tokens.size() < 3)
    {
        util(1, function, "KOVD Fqdd is not in expected format");
        return false;
    }
    util(5, function, "Device Type=" + tokens[0]);
    util(5, function, "Slot Type=" + tokens[1]);
    util(5, function, "Slot number=" + tokens[2]);
    if (upper(tokens[1]) != "SLOT")
    {
        return false;
    }
    const string upperDesignation = upper(designation);
    const bool device = has(upperDesignation, upper(tokens[0])) || has(upperDesignation, "PCIE");
    const bool slotType = has(upperDesignation, "SLOT");
    const int smbiosSlot = slotOf(designation);
    int fqddSlot = 0;
    try
    {
        fqddSlot = std::stoi(tokens[2]);
    }
    catch (const std::exception&)
    {
        util(5, function, "Failed to Parse the Slot Number");
        return false;
    }
    const bool equal = smbiosSlot == fqddSlot;
    util(5, function,
         "Slot comparison: SMBIOS=" + std::to_string(smbiosSlot) +
             " vs FQDD=" + std::to_string(fqddSlot) + " => " + (equal ? "MATCH" : "NO_MATCH"));
    const bool slot = equal && smbiosSlot != -1;
    return slotType && slot && (device || upper(tokens[0]) == "PCIESLOTPLACEHOLDER");
}

bool model::Model::slotsMatch(const ReceivedProperties& smbios, const ReceivedProperties& kovd)
{
    const auto* id = find<std::uint16_t>(smbios, "SlotID");
    const auto* instance = find<std::uint16_t>(kovd, "PCIeLocatorInstanceNum");
    const auto* type = find<std::uint8_t>(kovd, "PCIeLocatorType");
    if (id == nullptr || instance == nullptr || type == nullptr || *id != *instance)
    {
        return false;
    }
    const auto* designation = find<string>(smbios, "SlotDesignation");
    const auto* fqdd = find<string>(kovd, "PCIeFQDD");
    if (designation == nullptr || fqdd == nullptr || designation->empty() || fqdd->empty())
    {
        return false;
    }
    const bool bay = has(upper(*designation), "BAY");
    if (*type == 6)
    {
        return !bay && fqddMatches(*designation, *fqdd);
    }
    return *type == 9 && bay && baysMatch(*designation, *fqdd);
}

bool model::Model::deviceMatches(const ReceivedProperties& smbios, const ReceivedProperties& kovd)
{
    const auto* designation = find<string>(smbios, "SlotDesignation");
    const auto* fqdd = find<string>(kovd, "FQDD");
    if (designation == nullptr || fqdd == nullptr || designation->empty() || fqdd->empty())
    {
        return false;
    }
    const bool bay = has(upper(*designation), "BAY");
    if (has(*fqdd, "Disk.Bay."))
    {
        return bay && baysMatch(*designation, *fqdd);
    }
    return !bay && fqddMatches(*designation, *fqdd);
}

bool model::Model::cpusMatch(const ReceivedProperties& smbios, const ReceivedProperties& kovd)
{
    const string function = "CompareAssociationProperties";
    const auto* socket = find<string>(smbios, "Socket");
    const auto* key = find<string>(kovd, "TargetDevKey");
    const auto* slot = find<std::uint16_t>(kovd, "SlotNumber");
    if (socket == nullptr || key == nullptr || slot == nullptr || socket->empty() || key->empty())
    {
        return false;
    }
    const string wanted = "CPU" + std::to_string(*slot);
    util(9, function, "kovd_CPU_Key: " + *key);
    util(9, function, "smbios_CPU_socket: " + *socket);
    util(9, function, "kovd_cpu_slotnum: " + std::to_string(*slot));
    util(9, function, "VerifyCPUSlot: " + wanted);
    if (upper(*socket) != wanted)
    {
        return false;
    }
    const auto tokens = tokensOf(*key);
    if (tokens.size() < 3)
    {
        util(1, function, "KOVD Fqdd is not in expected format");
        return false;
    }
    util(9, function, "Slot number=" + tokens[2]);
    return upper(*socket) == "CPU" + tokens[2];
}

bool model::Model::matches(const ReceivedProperties& smbios, const ReceivedProperties& kovd,
                           int type)
{
    try
    {
        switch (type)
        {
            case 1:
            case 2:
                return slotsMatch(smbios, kovd);
            case 3:
                return deviceMatches(smbios, kovd);
            default:
                return cpusMatch(smbios, kovd);
        }
    }
    catch (const std::exception& error)
    {
        util(1, "CompareAssociationProperties",
             string("Exception in CompareAssociationProperties: ") + error.what());
        return false;
    }
}
