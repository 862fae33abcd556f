#include "doubles/failing_allocation.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/run_together.hpp"
#include "doubles/sample_objects.hpp"
#include "objects/pcie_objects.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>

namespace
{

using namespace world;
using sample::received;
using std::string;

const string path = "/xyz/openbmc_project/inventory/system/board/object%s";
const string badAccess = "std::get: wrong index for variant";

/** One of the four inserts: what it keeps, and what it says. */
struct Routine
{
    string name;
    void (*insert)(const string&, const ReceivedProperties&);
    ObjectMap& objects;
    int side;
    PropertyMap kept;         // each kept name, with a value of its type
    std::optional<string> at; // in front of the path in its first line
    string separator;
    string failed; // what it says of an exception
    string failedUnknown;
    Lines unmatched; // what the engine says of an object that nothing matches
};

std::ostream& operator<<(std::ostream& out, const Routine& routine)
{
    return out << routine.name;
}

const Lines noSlotFound = {"1 IterateSMBIOSPCISlotObjs: " + path +
                           " No association found for objPath"};

const Routine routines[] = {
    {.name = "InsertSMBIOSPCIeSlotObj",
     .insert = InsertSMBIOSPCIeSlotObj,
     .objects = smbiosPCIeSlotObjs,
     .side = 2,
     .kept = {{"SlotDesignation", string("PCIe%s\n\xff SLOT 7")},
              {"SlotID", std::uint16_t{65535}},
              {"BusNumber", std::uint8_t{255}}},
     .at = std::nullopt,
     .separator = "=",
     .failed = "failed to read message properties",
     .failedUnknown = "failed to read message",
     .unmatched = {"5 IterateKOVDPCIeSlotObjs: SmbiosPath:" + path,
                   "9 IterateKOVDPCIeSlotObjs:  Finding association among kovd PCIe slot dbus "
                   "objects",
                   "9 IterateKOVDPCIeSlotObjsChassisPath: No association found for objPath: " +
                       path}},
    {.name = "InsertKOVDPCIeSlotObj",
     .insert = InsertKOVDPCIeSlotObj,
     .objects = kovdPCIeSlotObjs,
     .side = 1,
     .kept = {{"PCIeFQDD", string("NIC%s\n\xff.Slot.7")},
              {"PCIeLocatorType", std::uint8_t{255}},
              {"PCIeLocatorInstanceNum", std::uint16_t{65535}},
              {"PCIClassCode", std::uint8_t{0}},
              {"PCIeSubsystemId", std::uint16_t{0}},
              {"PCIeSubsystemVendorId", std::uint16_t{0x8086}}},
     .at = "KOVDpath = ",
     .separator = " = ",
     .failed = "Exception occurred",
     .failedUnknown = "Exception occurred",
     .unmatched = noSlotFound},
    {.name = "InsertKOVDPCIeDevicesObj",
     .insert = InsertKOVDPCIeDevicesObj,
     .objects = kovdPCIeDeviceObjs,
     .side = 1,
     .kept = {{"FQDD", string("NIC%s\n\xff.Slot.7")},
              {"P2PSubsystemVendorID", std::uint16_t{65535}},
              {"P2PSubsystemID", std::uint16_t{0}},
              {"Bus", std::uint8_t{255}}},
     .at = "KOVDPath:",
     .separator = "=",
     .failed = "failed to read message properties",
     .failedUnknown = "failed to read message",
     .unmatched = noSlotFound},
    {.name = "InsertKOVDChassisPathSlotObjs",
     .insert = InsertKOVDChassisPathSlotObjs,
     .objects = kovdChassisPathSlotObjs,
     .side = 1,
     .kept = {{"Function0ClassCode", string("0x%s\n\xff")},
              {"Function0SubsystemVendorId", string("0x8086")},
              {"Function0SubsystemId", string()}},
     .at = "KovdPath:",
     .separator = "=",
     .failed = "Exception occurred",
     .failedUnknown = "Exception occurred",
     .unmatched = {"1 FindAssociation: SMBIOS association not found for objPath: " + path}},
};

string shown(const PropertyValue& value)
{
    if (const auto* text = std::get_if<string>(&value))
    {
        return *text;
    }
    if (const auto* word = std::get_if<std::uint16_t>(&value))
    {
        return std::to_string(*word);
    }
    return std::to_string(std::get<std::uint8_t>(value));
}

class Insert : public testing::TestWithParam<Routine>
{
  protected:
    void insert(const ReceivedProperties& message) const
    {
        routine.insert(path, message);
    }

    string said(int level, const string& text) const
    {
        return std::to_string(level) + " " + routine.name + ": " + text;
    }

    /** The first line, of the routines that have one. */
    Lines start() const
    {
        return routine.at ? Lines{said(9, *routine.at + path)} : Lines{};
    }

    /** A line for each property that is kept. */
    Lines keeps(const PropertyMap& properties) const
    {
        Lines lines;
        for (const auto& [name, value] : properties)
        {
            lines.push_back(said(5, string(name) + routine.separator + shown(value)));
        }
        return lines;
    }

    std::optional<PropertyMap> stored() const
    {
        PropertyMap properties;
        return routine.objects.getObject(path, &properties) ? std::optional(properties)
                                                            : std::nullopt;
    }

    /** The insert has seen the object and waits for the pairs when the object goes. */
    void insertWhileTheObjectVanishes(const ReceivedProperties& message) const
    {
        EXPECT_TRUE(runInto(
            associationPairsMutex, [&] { insert(message); },
            [&] { routine.objects.eraseObject(path); }));
    }

    /** The object is paired, as its own side has it. */
    void pair() const
    {
        ASSERT_TRUE(routine.side == 1 ? addAssociationPair("/partner", path)
                                      : addAssociationPair(path, "/partner"));
    }

    const Routine& routine = GetParam();
};

INSTANTIATE_TEST_SUITE_P(PCIe, Insert, testing::ValuesIn(routines),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(Insert, keepsItsPropertiesAndHasTheObjectAssociated)
{
    ReceivedProperties message = received(routine.kept);
    for (const PropertyValue& value : sample::everyType())
    {
        message["Other" + std::to_string(value.index())] = value;
    }
    insert(message);
    EXPECT_EQ(stored(), routine.kept);
    EXPECT_EQ(recorded_log::summary(), joined({start(), keeps(routine.kept), routine.unmatched}));
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(Insert, keepsEachPropertyAlone)
{
    for (const auto& [name, value] : routine.kept)
    {
        SCOPED_TRACE(std::string_view(name));
        recorded_log::clear();
        routine.objects.eraseObject(path);
        insert({{string(name), value}});
        EXPECT_EQ(stored(), (PropertyMap{{name, value}}));
        EXPECT_EQ(recorded_log::summary(),
                  joined({start(), keeps({{name, value}}), routine.unmatched}));
    }
}

TEST_P(Insert, storesNothingWithoutAPropertyToKeep)
{
    ReceivedProperties message;
    for (const Routine& other : routines)
    {
        message.merge(received(other.kept));
    }
    for (const auto& [name, value] : received(routine.kept))
    {
        message.erase(name);
        message[name + "s"] = value;
        message[name.substr(0, name.size() - 1)] = value;
        string lower = name;
        lower.front() = static_cast<char>(lower.front() - 'A' + 'a');
        message[lower] = value;
    }
    message[""] = string();
    for (const ReceivedProperties& properties : {message, ReceivedProperties{}})
    {
        recorded_log::clear();
        insert(properties);
        EXPECT_EQ(stored(), std::nullopt);
        EXPECT_EQ(recorded_log::summary(), start());
    }

    // Nor does it change what is stored, or search again.
    routine.objects.insertObject(path, routine.kept);
    recorded_log::clear();
    insert(message);
    EXPECT_EQ(stored(), routine.kept);
    EXPECT_EQ(recorded_log::summary(), start());
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(Insert, refusesAPropertyOfAnyOtherType)
{
    for (const auto& [name, rightValue] : routine.kept)
    {
        for (const PropertyValue& value : sample::everyType())
        {
            if (value.index() == rightValue.index())
            {
                continue;
            }
            SCOPED_TRACE(testing::Message()
                         << std::string_view(name) << " as alternative " << value.index());
            recorded_log::clear();
            insert({{string(name), value}});
            EXPECT_EQ(stored(), std::nullopt);
            EXPECT_EQ(recorded_log::summary(),
                      joined({start(), {said(1, routine.failed + "[" + badAccess + "]")}}));
            EXPECT_TRUE(takeRecoveryRequest());
        }
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST_P(Insert, storesNothingOfAnObjectWithOneBadProperty)
{
    // The last in name order is bad: what comes before has been read and logged.
    const PropertyName last = (routine.kept.end() - 1)->name;
    const PropertyMap before = {*routine.kept.begin()};
    routine.objects.insertObject(path, before);
    insert(received(sample::with(routine.kept, last, true)));
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(recorded_log::summary(), joined({start(),
                                               keeps(sample::without(routine.kept, last)),
                                               {said(1, routine.failed + "[" + badAccess + "]")}}));
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_P(Insert, mergesWhatChangedIntoWhatIsStored)
{
    const auto [changed, value] = *routine.kept.begin();
    PropertyMap before = sample::without(routine.kept, changed);
    before.insert_or_assign("Foreign", true); // whatever is stored stays
    routine.objects.insertObject(path, before);
    insert({{string(changed), value}, {"Other", true}});
    EXPECT_EQ(stored(), sample::with(before, changed, value));
    EXPECT_EQ(recorded_log::summary(),
              joined({start(), keeps({{changed, value}}), routine.unmatched}));
}

TEST_P(Insert, overwritesWhatChanged)
{
    PropertyMap before;
    for (const auto& [name, value] : routine.kept)
    {
        before.insert_or_assign(name, std::vector<string>{"older"});
    }
    routine.objects.insertObject(path, before);
    insert(received(routine.kept));
    EXPECT_EQ(stored(), routine.kept);
}

TEST_P(Insert, doesNotUpdateAnAssociatedObject)
{
    const PropertyMap before = {*routine.kept.begin()};
    routine.objects.insertObject(path, before);
    pair();
    const PropertyMap bad = sample::with(routine.kept, routine.kept.begin()->name, true);
    for (const PropertyMap& changed : {routine.kept, bad, PropertyMap{}})
    {
        recorded_log::clear();
        insert(received(changed));
        EXPECT_EQ(stored(), before);
        EXPECT_EQ(recorded_log::summary(),
                  joined({start(), {said(5, "Association exists " + path)}}));
    }
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(Insert, storesAnAssociatedObjectThatIsNotStored)
{
    pair();
    insert(received(routine.kept));
    EXPECT_EQ(stored(), routine.kept);
    EXPECT_EQ(recorded_log::summary(),
              joined({start(),
                      keeps(routine.kept),
                      {"5 FindAssociation: Association already exists " + path}}));
}

TEST_P(Insert, updatesAnObjectThatIsPairedOnlyOnTheOtherSide)
{
    ASSERT_TRUE(routine.side == 1 ? addAssociationPair(path, "/other")
                                  : addAssociationPair("/other", path));
    routine.objects.insertObject(path, {});
    insert(received(routine.kept));
    EXPECT_EQ(stored(), routine.kept);
    EXPECT_EQ(recorded_log::summary(), joined({start(), keeps(routine.kept), routine.unmatched}));
}

TEST_P(Insert, logsAnyExceptionAndRequestsRecovery)
{
    const auto [name, value] = *routine.kept.begin();
    const string text = string(name) + routine.separator + shown(value);
    when(text, [] { throw std::runtime_error("boom"); });
    insert(received(routine.kept));
    EXPECT_EQ(recorded_log::summary(),
              joined({start(), {said(5, text)}, {said(1, routine.failed + "[boom]")}}));
    EXPECT_TRUE(takeRecoveryRequest());
    EXPECT_EQ(stored(), std::nullopt);

    recorded_log::clear();
    when(text, [] { throw 42; });
    insert(received(routine.kept));
    EXPECT_EQ(recorded_log::summary(),
              joined({start(), {said(5, text)}, {said(1, routine.failedUnknown)}}));
    EXPECT_TRUE(takeRecoveryRequest());
    EXPECT_EQ(stored(), std::nullopt);
}

TEST_P(Insert, letsNoExceptionOfTheEngineOut)
{
    pair(); // the dispatcher itself says so, and throws
    when("Association already exists " + path, [] { throw std::runtime_error("boom"); });
    EXPECT_NO_THROW(insert(received(routine.kept)));
    EXPECT_EQ(stored(), routine.kept);
}

TEST_P(Insert, startsFromNothingWhenTheObjectVanishesMeanwhile)
{
    const PropertyMap one = {*routine.kept.begin()};
    const string vanished = path + " Not able to get entry from the map";
    // Should the thread have slept for another reason than the pairs, it is tried again.
    for (int attempt = 0; attempt < 100 && !recorded_log::contains(vanished); ++attempt)
    {
        resetStore();
        routine.objects.insertObject(path, routine.kept);
        insertWhileTheObjectVanishes(received(one));
    }
    EXPECT_EQ(stored(), one);
    EXPECT_EQ(recorded_log::summary(),
              joined({start(), {said(9, vanished)}, keeps(one), routine.unmatched}));
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_P(Insert, survivesMemoryThatRunsOutAnywhere)
{
    const ReceivedProperties whole = received(routine.kept);
    for (std::size_t spared = 0;; ++spared)
    {
        SCOPED_TRACE(spared);
        resetStore();
        recorded_log::setLevel(1); // the recorded lines take memory too
        failing_allocation::arm(spared);
        EXPECT_NO_THROW(insert(whole));
        if (!failing_allocation::disarm())
        {
            break;
        }
        // Whole or not at all; recovery makes up for it.
        EXPECT_TRUE(stored() == std::nullopt || stored() == routine.kept);
        EXPECT_FALSE(recorded_log::lines().empty());
    }
    EXPECT_EQ(stored(), routine.kept);
}

} // namespace
