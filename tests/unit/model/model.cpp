/* The model's tables, its log, and what the inserts of all kinds have in common. */
#include "model.hpp"

#include <algorithm>

namespace
{

using machine::Event;
using machine::Kind;
using std::string;

const string utilFile = "kov_hwinv_util";
const string cpuFile = "hwinv_CPUAssoc";

/** What differs between the inserts, by kind. */
struct InsertTexts
{
    string function;
    string pathLevel; // of the line that names the path; empty: no such line
    string pathText;
    string exists;
    string sign;
};

const InsertTexts& textsOf(Kind kind)
{
    static const std::array<InsertTexts, machine::kindCount> texts = {{
        {"InsertSMBIOSPCIeSlotObj", "", "", "Association exists ", "="},
        {"InsertKOVDPCIeSlotObj", "9", "KOVDpath = ", "Association exists ", " = "},
        {"InsertKOVDPCIeDevicesObj", "9", "KOVDPath:", "Association exists ", "="},
        {"InsertKOVDChassisPathSlotObjs", "9", "KovdPath:", "Association exists ", "="},
        {"InsertSMBIOSCPUObj", "5", "Path:", "Associations exists ", "="},
        {"InsertSMBIOSCacheObj", "5", "SmbiosPath:", "Association exists ", "="},
        {"InsertKOVDCPUObj", "5", "KOVDpath = ", "Association exists ", " = "},
    }};
    return texts[static_cast<std::size_t>(kind)];
}

bool ofProcessors(Kind kind)
{
    return kind == Kind::smbiosCpu || kind == Kind::smbiosCache || kind == Kind::kovdCpu;
}

string shown(const PropertyValue& value)
{
    if (const auto* text = std::get_if<string>(&value))
    {
        return *text;
    }
    const auto* word = std::get_if<std::uint16_t>(&value);
    return std::to_string(word != nullptr ? *word : std::get<std::uint8_t>(value));
}

} // namespace

void model::Model::happen(const Event& event)
{
    log.clear();
    world.recoveryRequested = false;
    handOverResult_ = event.handOverResult;
    switch (event.type)
    {
        case Event::Type::insert:
            insert(event.kind, event.path, event.properties);
            break;
        case Event::Type::removal:
            if (event.kind == Kind::smbiosSlot)
            {
                removeSmbiosSlot(event.path);
            }
            else if (event.kind == Kind::smbiosCpu)
            {
                removeSmbiosCpu(event.path);
            }
            else
            {
                removeSmbiosCache(event.path);
            }
            break;
        case Event::Type::kovdRemoval:
            kovdRemoval(event.path, event.interfaces);
            break;
        case Event::Type::pciePass:
        case Event::Type::cpuPass:
            for (const string& path : passPaths(event.type))
            {
                if (!passStep(event.type, path))
                {
                    return;
                }
            }
            break;
    }
}

std::vector<string> model::Model::passPaths(Event::Type pass)
{
    std::vector<string> paths;
    const bool ofSlots = pass == Event::Type::pciePass;
    for (const auto& [path, properties] : world.of(ofSlots ? Kind::smbiosSlot : Kind::smbiosCpu))
    {
        paths.push_back(path);
    }
    if (ofSlots && paths.empty())
    {
        util(1, "AssociateSMBIOSPCIESlotsObjToKOVDObjs", "No SMBIOS objects found in the map");
    }
    return paths;
}

bool model::Model::passStep(Event::Type pass, const string& path)
{
    if (pass == Event::Type::pciePass)
    {
        return offerSlot(path);
    }
    associateSmbiosCpu(path);
    return true;
}

void model::Model::util(int level, const string& function, const string& text)
{
    log.push_back({level, utilFile, function, text});
}

void model::Model::cpu(int level, const string& function, const string& text)
{
    log.push_back({level, cpuFile, function, text});
}

bool model::Model::handOver(const string& file, const string& function, const string& path,
                            const AssociationList& list)
{
    if (handOverResult_ != 0)
    {
        ++world.refused;
        log.push_back(
            {1, file, function,
             "OneWayChannel_Execute failed, execRet = " + std::to_string(handOverResult_)});
        return false;
    }
    world.handOvers.push_back({path, list});
    return true;
}

bool model::Model::addPair(const string& smbios, const string& kovd)
{
    if (kovdOf(smbios) != nullptr || smbiosOf(kovd) != nullptr)
    {
        return false;
    }
    world.pairs.emplace_back(smbios, kovd);
    return true;
}

const string* model::Model::kovdOf(const string& smbios) const
{
    for (const auto& pair : world.pairs)
    {
        if (pair.first == smbios)
        {
            return &pair.second;
        }
    }
    return nullptr;
}

const string* model::Model::smbiosOf(const string& kovd) const
{
    for (const auto& pair : world.pairs)
    {
        if (pair.second == kovd)
        {
            return &pair.first;
        }
    }
    return nullptr;
}

bool model::Model::dropPairOfKovd(const string& kovd)
{
    return std::erase_if(world.pairs, [&](const PathPair& pair) { return pair.second == kovd; }) !=
           0;
}

void model::Model::insert(Kind kind, const string& path, const ReceivedProperties& received)
{
    const InsertTexts& texts = textsOf(kind);
    const auto say = [&](int level, const string& text)
    { ofProcessors(kind) ? cpu(level, texts.function, text) : util(level, texts.function, text); };

    if (!texts.pathLevel.empty())
    {
        say(std::stoi(texts.pathLevel), texts.pathText + path);
    }
    if (needsNothing(kind, path))
    {
        say(5, texts.exists + path);
        return;
    }
    const auto before = world.of(kind).find(path);
    ReceivedProperties working =
        before != world.of(kind).end() ? before->second : ReceivedProperties{};
    bool any = false;
    for (const auto& [name, value] : received)
    {
        const auto& kept = machine::propertiesOf(kind);
        const auto property =
            std::find_if(kept.begin(), kept.end(),
                         [&key = name](const auto& candidate) { return candidate.name == key; });
        if (property == kept.end())
        {
            continue;
        }
        if (value.index() != property->values.front().index())
        {
            sayReadFailure(kind);
            world.recoveryRequested = true;
            return;
        }
        say(5, name + texts.sign + shown(value));
        working[name] = value;
        any = true;
    }
    if (any)
    {
        world.of(kind)[path] = working;
        findFor(kind, path);
    }
}

bool model::Model::needsNothing(Kind kind, const string& path)
{
    if (!world.of(kind).contains(path))
    {
        return false;
    }
    switch (kind)
    {
        case Kind::smbiosSlot:
            return kovdOf(path) != nullptr;
        case Kind::smbiosCpu:
            return fullyAssociated(path);
        case Kind::smbiosCache:
            return !cpusOf(path).empty();
        default:
            return smbiosOf(path) != nullptr;
    }
}

void model::Model::sayReadFailure(Kind kind)
{
    const string what = "std::get: wrong index for variant";
    const string& function = textsOf(kind).function;
    switch (kind)
    {
        case Kind::smbiosSlot:
        case Kind::kovdDevice:
            util(1, function, "failed to read message properties[" + what + "]");
            break;
        case Kind::kovdSlot:
        case Kind::kovdChassis:
            util(1, function, "Exception occurred[" + what + "]");
            break;
        case Kind::smbiosCpu:
        case Kind::smbiosCache:
            cpu(1, function, "failed to read message properties[" + what + "]");
            break;
        case Kind::kovdCpu:
            cpu(1, function, "[" + what + "] Exception occurred");
            break;
    }
}
