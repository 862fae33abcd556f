/*
 * The whole of matching, storing and associating against a model: random events happen to both,
 * and after each one everything that can be seen must be equal.
 *
 * RC_PARAMS="max_success=10000 seed=1" asks RapidCheck for more, or for the same again.
 */
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "intake/workers.hpp"
#include "model.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "random_events.hpp"
#include "state.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <sstream>

namespace
{

using machine::Event;
using machine::Kind;
using model::Line;
using std::string;

void remove(Kind kind, const string& path)
{
    if (kind == Kind::smbiosSlot)
    {
        removeSMBIOSPCIeAssociations(path);
        return;
    }
    kind == Kind::smbiosCpu ? removeSMBIOSCPUAssoc(path) : removeSMBIOSCacheAssoc(path);
}

void removeFromPlatform(const string& path, const std::vector<string>& interfaces)
{
    SignalRecord record;
    record.type = SignalType::InterfacesRemoved;
    record.objectPath = path;
    record.removedInterfaces = interfaces;
    processKovdRecord({log_label::util, "processKovdMessagesInQueue"}, record);
}

/** The event as it reaches the daemon. */
void happenToTheDaemon(const Event& event)
{
    recorded_requests::setResult(event.handOverResult);
    switch (event.type)
    {
        case Event::Type::insert:
            state::insertOf(event.kind)(event.path, event.properties);
            break;
        case Event::Type::removal:
            remove(event.kind, event.path);
            break;
        case Event::Type::kovdRemoval:
            removeFromPlatform(event.path, event.interfaces);
            break;
        case Event::Type::pciePass:
            AssociateSMBIOSPCIESlotsObjToKOVDObjs();
            break;
        case Event::Type::cpuPass:
            CPUAssociation();
            break;
    }
}

// What is compared: texts, so that a difference can be read.

std::ostream& operator<<(std::ostream& out, const Line& line)
{
    return out << line.level << " " << line.file << "." << line.function << ": " << line.text;
}

template <class Type>
string shown(const Type& value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

using state::shown;
using state::Texts;

Texts linesOfTheDaemon()
{
    Texts texts;
    for (const LogLine& line : recorded_log::lines())
    {
        const string module = line.module == 357 ? "" : "module " + std::to_string(line.module);
        texts.push_back(module + shown(Line{line.level, line.file, line.function, line.text}));
    }
    return texts;
}

Texts linesOfTheModel(const model::Model& expected)
{
    Texts texts;
    for (const Line& line : expected.log)
    {
        texts.push_back(shown(line));
    }
    return texts;
}

Texts handOversOfTheDaemon()
{
    Texts texts;
    for (const AssociationRequest& request : recorded_requests::all())
    {
        texts.push_back("written " + request.objectPath + shown(request.associations));
    }
    texts.push_back(std::to_string(recorded_requests::refused()) + " refused");
    return texts;
}

Texts handOversOfTheModel(const model::World& world)
{
    Texts texts;
    for (const model::HandOver& handOver : world.handOvers)
    {
        texts.push_back("written " + handOver.path + shown(handOver.list));
    }
    texts.push_back(std::to_string(world.refused) + " refused");
    return texts;
}

/** Empty when the two are equal, else what differs first. */
string difference(const char* what, const Texts& actual, const Texts& expected)
{
    const auto [left, right] =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (left == actual.end() && right == expected.end())
    {
        return "";
    }
    return string(what) + ", number " + std::to_string(left - actual.begin()) +
           ":\n  daemon: " + (left != actual.end() ? *left : "nothing") +
           "\n  model:  " + (right != expected.end() ? *right : "nothing") + "\n";
}

string differences(const model::Model& expected)
{
    const model::World& world = expected.world;
    return difference("lines", linesOfTheDaemon(), linesOfTheModel(expected)) +
           difference("hand-overs", handOversOfTheDaemon(), handOversOfTheModel(world)) +
           difference("state", shown(state::ofTheDaemon()), shown(state::ofTheModel(world)));
}

RC_GTEST_PROP(Daemon, doesWhatTheModelDoes, ())
{
    const auto events = *random_events::sequence();
    resetStore();
    model::Model expected;
    for (const Event& event : events)
    {
        recorded_log::clear();
        happenToTheDaemon(event);
        expected.happen(event);
        const string difference = differences(expected);
        if (!difference.empty())
        {
            RC_FAIL(shown(event) + "\n" + difference);
        }
    }
}

} // namespace
