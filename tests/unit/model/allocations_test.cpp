/*
 * Memory that runs out at every allocation of an operation in turn, once and twice in a row: the
 * operation ends, says so in a line that people know, leaves nothing half done in the store and
 * nothing unfreed, and what comes next works. Leaks are seen by a build with a leak checker.
 */
#include "bus/association_writer.hpp"
#include "doubles/failing_allocation.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/platform_daemon.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/records.hpp"
#include "doubles/sample_objects.hpp"
#include "doubles/test_message.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "intake/signal_decoding.hpp"
#include "intake/workers.hpp"
#include "invariants.hpp"
#include "machine.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "state.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iostream>
#include <set>
#include <string>

namespace
{

using machine::Kind;
using std::string;
using Texts = std::vector<string>;

constexpr std::array<void (*)(const string&, const ReceivedProperties&), machine::kindCount>
    inserts = {
        InsertSMBIOSPCIeSlotObj,  InsertKOVDPCIeSlotObj,
        InsertKOVDPCIeDevicesObj, InsertKOVDChassisPathSlotObjs,
        InsertSMBIOSCPUObj,       InsertSMBIOSCacheObj,
        InsertKOVDCPUObj,
};

constexpr std::array allKinds = {
    Kind::smbiosSlot, Kind::kovdSlot,    Kind::kovdDevice, Kind::kovdChassis,
    Kind::smbiosCpu,  Kind::smbiosCache, Kind::kovdCpu,
};

// Whatever runs out of memory says one of these, "FUNCTION: TEXT", and nothing else.
const std::set<string> failureLines = {
    "AddCacheAssoc: Exception in AddCacheAssoc: std::bad_alloc",
    "AssocForKovdCPU: Exception: std::bad_alloc",
    "AssocForSmbiosCPU: Exception in AssocForSmbiosCPU: std::bad_alloc",
    "AssociateCacheObjs: Exception: std::bad_alloc",
    "AssociateSMBIOSPCIESlotsObjToKOVDObjs: Exception in "
    "AssociateSMBIOSPCIESlotsToKOVDPCIESlots: std::bad_alloc",
    "CPUAssociation: error: std::bad_alloc ",
    "CompareAssociationProperties: Exception in CompareAssociationProperties: std::bad_alloc",
    "FindAssocCacheObjs: error: std::bad_alloc ",
    "FindAssociation: Exception in convertPath: std::bad_alloc",
    "GetKovdMsgData: failed to read message err[std::bad_alloc]",
    "GetSMBIOSCPUObjForCache: Exception: std::bad_alloc",
    "GetSmbiosMsgData: failed to read message err[std::bad_alloc]",
    "InsertKOVDCPUObj: [std::bad_alloc] Exception occurred",
    "InsertKOVDChassisPathSlotObjs: Exception occurred[std::bad_alloc]",
    "InsertKOVDPCIeDevicesObj: failed to read message properties[std::bad_alloc]",
    "InsertKOVDPCIeSlotObj: Exception occurred[std::bad_alloc]",
    "InsertSMBIOSCPUObj: failed to read message properties[std::bad_alloc]",
    "InsertSMBIOSCacheObj: failed to read message properties[std::bad_alloc]",
    "InsertSMBIOSPCIeSlotObj: failed to read message properties[std::bad_alloc]",
    "IterateKOVDCPUObjs: Exception: std::bad_alloc",
    "IterateKOVDObjs: Exception in IterateKOVDObjs: std::bad_alloc",
    "IterateKOVDPCIeSlotDeviceObjs: Exception in IterateKOVDPCIeSlotDeviceObjs: std::bad_alloc",
    "IterateKOVDPCIeSlotObjsChassisPath: Exception in IterateKOVDPCIeSlotObjsChassisPath: "
    "std::bad_alloc",
    "IterateSMBIOSCPUObjs: Exception: std::bad_alloc",
    "IterateSMBIOSObjs: Exception in IterateSMBIOSObjs: std::bad_alloc",
    "IterateSMBIOSPCISlotObjs: Exception: std::bad_alloc",
    "convertPath: Exception in convertPath: std::bad_alloc",
    "processKovdMessagesInQueue: failed to read message err[std::bad_alloc]",
    "processSmbiosMessagesInQueue: failed to process message err[std::bad_alloc]",
    "removeKOVDCPUAssoc: failed to read message properties[std::bad_alloc]",
    "removeSMBIOSCPUAssoc: Exception occurred[std::bad_alloc]",
    "removeSMBIOSCacheAssoc: error: std::bad_alloc ",
    "removeSMBIOSPCIeAssociations: failed to remove association[std::bad_alloc]",
};

std::size_t survived = 0;

/** Says at the end how many failures there were. */
class Sum : public testing::Environment
{
    void TearDown() override
    {
        std::cout << survived << " failures of allocations survived\n";
    }
};

[[maybe_unused]] const auto* const sum = testing::AddGlobalTestEnvironment(new Sum);

const string& pathOf(Kind kind, int number = 1)
{
    return machine::pathsOf(kind)[static_cast<std::size_t>(number) - 1];
}

void insert(Kind kind, int number = 1)
{
    inserts[static_cast<std::size_t>(kind)](pathOf(kind, number),
                                            machine::wholeObject(kind, number));
}

/** All of the first two slots and processors, paired, but one object. */
void insertAllBut(Kind missing, int number = 1)
{
    for (const Kind kind : allKinds)
    {
        for (const int each : {1, 2})
        {
            if (kind != missing || each != number)
            {
                insert(kind, each);
            }
        }
    }
}

void insertAll()
{
    insertAllBut(Kind::smbiosSlot, 0);
}

/** All objects, none of them paired. */
void storeAll()
{
    for (const Kind kind : allKinds)
    {
        for (const int number : {1, 2, 3})
        {
            state::mapOf(kind).insertObject(pathOf(kind, number),
                                            sample::kept(machine::wholeObject(kind, number)));
        }
    }
}

/** The lines that tell of memory, as failureLines has them. */
Texts linesOfMemory()
{
    Texts texts;
    for (const LogLine& line : recorded_log::lines())
    {
        if (line.text.find("std::bad_alloc") != string::npos)
        {
            texts.push_back(line.function + ": " + line.text);
        }
    }
    return texts;
}

struct Operation
{
    std::function<void()> before;
    std::function<void()> act;
};

/** After a failure: what was said, what stands, and that what comes next works. */
void expectSurvived()
{
    const Texts said = linesOfMemory();
    EXPECT_FALSE(said.empty());
    for (const string& line : said)
    {
        EXPECT_TRUE(failureLines.contains(line)) << line;
    }
    EXPECT_EQ(invariants::broken(), Texts{});
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    CPUAssociation();
    EXPECT_EQ(invariants::broken(), Texts{});
}

/** How many allocations the operation makes; each has failed, alone and with the one behind it. */
std::size_t failEach(const Operation& operation)
{
    std::size_t points = 0;
    for (const std::size_t failures : {1U, 2U})
    {
        for (points = 0;; ++points)
        {
            SCOPED_TRACE("allocation " + std::to_string(points) + ", failures " +
                         std::to_string(failures));
            resetStore();
            operation.before();
            recorded_log::clear();
            failing_allocation::arm(points, failures);
            EXPECT_NO_THROW(operation.act());
            if (!failing_allocation::disarm())
            {
                break;
            }
            expectSurvived();
            ++survived;
        }
    }
    resetStore();
    return points;
}

void expectEachFails(const Operation& operation)
{
    const std::size_t points = failEach(operation);
    EXPECT_GT(points, 0U);
    testing::Test::RecordProperty("allocations", static_cast<int>(points));
}

class InsertMemory : public testing::TestWithParam<Kind>
{
  protected:
    const Kind kind = GetParam();
    const string path = pathOf(kind);
    const ReceivedProperties whole = machine::wholeObject(kind, 1);

    void insertIt() const
    {
        inserts[static_cast<std::size_t>(kind)](path, whole);
    }
};

INSTANTIATE_TEST_SUITE_P(EachKind, InsertMemory, testing::ValuesIn(allKinds));

TEST_P(InsertMemory, ofTheFirstObject)
{
    expectEachFails({[] {}, [&] { insertIt(); }});
}

TEST_P(InsertMemory, ofTheObjectThatIsMissing)
{
    expectEachFails({[&] { insertAllBut(kind); }, [&] { insertIt(); }});
}

TEST_P(InsertMemory, ofAnObjectThatIsStoredAlready)
{
    expectEachFails({storeAll, [&] { insertIt(); }});
}

/** The object is whole, as before or as it came, and recovery makes up for what was lost. */
TEST_P(InsertMemory, storesWholeObjectsOnly)
{
    for (std::size_t spared = 0;; ++spared)
    {
        SCOPED_TRACE(spared);
        resetStore();
        failing_allocation::arm(spared);
        insertIt();
        if (!failing_allocation::disarm())
        {
            break;
        }
        const SharedObject object = state::mapOf(kind).findObject(path);
        EXPECT_TRUE(object == nullptr ? takeRecoveryRequest()
                                      : sample::received(object->properties) == whole);
    }
    resetStore();
}

class RemovalMemory : public testing::Test
{
};

TEST_F(RemovalMemory, ofAnSmbiosSlot)
{
    const string path = pathOf(Kind::smbiosSlot);
    expectEachFails({insertAll, [&] { removeSMBIOSPCIeAssociations(path); }});
}

TEST_F(RemovalMemory, ofAnSmbiosProcessor)
{
    const string path = pathOf(Kind::smbiosCpu);
    expectEachFails({insertAll, [&] { removeSMBIOSCPUAssoc(path); }});
}

TEST_F(RemovalMemory, ofAnSmbiosCache)
{
    const string path = pathOf(Kind::smbiosCache);
    expectEachFails({insertAll, [&] { removeSMBIOSCacheAssoc(path); }});
}

TEST_F(RemovalMemory, ofAPlatformProcessorIsNotNeeded)
{
    const string path = pathOf(Kind::kovdCpu);
    EXPECT_EQ(failEach({insertAll, [&] { removeKOVDCPUAssoc(path); }}), 0U);
}

class PassMemory : public testing::Test
{
};

TEST_F(PassMemory, ofTheSlots)
{
    expectEachFails({storeAll, AssociateSMBIOSPCIESlotsObjToKOVDObjs});
}

TEST_F(PassMemory, ofTheProcessors)
{
    expectEachFails({storeAll, CPUAssociation});
}

class RecordMemory : public testing::Test
{
  protected:
    static void expectEachFailsIn(bool smbios, const SignalRecord& record)
    {
        const Site site{log_label::util,
                        smbios ? "processSmbiosMessagesInQueue" : "processKovdMessagesInQueue"};
        const auto process = smbios ? processSmbiosRecord : processKovdRecord;
        expectEachFails({storeAll, [&] { process(site, record); }});
    }
};

TEST_F(RecordMemory, ofAnAddedObject)
{
    for (const Kind kind : allKinds)
    {
        const bool smbios =
            kind == Kind::smbiosSlot || kind == Kind::smbiosCpu || kind == Kind::smbiosCache;
        const InterfaceMap interfaces = {
            {machine::interfaceOf(kind), machine::wholeObject(kind, 1)}};
        expectEachFailsIn(smbios, addedRecord(pathOf(kind), interfaces));
    }
}

TEST_F(RecordMemory, ofAChangedObject)
{
    expectEachFailsIn(true, changedRecord(pathOf(Kind::smbiosSlot),
                                          machine::interfaceOf(Kind::smbiosSlot),
                                          machine::wholeObject(Kind::smbiosSlot, 1)));
    expectEachFailsIn(false,
                      changedRecord(pathOf(Kind::kovdCpu), machine::interfaceOf(Kind::kovdCpu),
                                    machine::wholeObject(Kind::kovdCpu, 1)));
}

// The decoders, fed with what a service sends.

constexpr const char* objectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

using Message = sdbusplus::message_t;
using Decoder = void (*)(Message&);

Message addedMessage(Kind kind)
{
    auto message = test_message::draft({"/manager", objectManager, "InterfacesAdded"});
    test_message::require(sd_bus_message_append(
        message.get(), "oa{sa{sv}}", pathOf(kind).c_str(), 1, machine::interfaceOf(kind).c_str(), 2,
        "A text that does not fit a short string", "s", "and a value that does not fit one either",
        "Names", "as", 2, "one that does not fit a short string", "another one of that size"));
    return test_message::seal(std::move(message));
}

Message changedMessage(Kind kind)
{
    return test_message::signal(
        {pathOf(kind), propertiesInterface, "PropertiesChanged"}, "sa{sv}as",
        machine::interfaceOf(kind).c_str(), 1, "A text that does not fit a short string", "s",
        "and a value that does not fit one either", 1, "An invalidated one of such a size");
}

Message removedMessage(Kind kind)
{
    return test_message::signal({"/manager", objectManager, "InterfacesRemoved"}, "oas",
                                pathOf(kind).c_str(), 1, machine::interfaceOf(kind).c_str());
}

/** libsystemd's own words when it has no memory. */
bool tellsOfMemory(const string& text)
{
    return text.find("std::bad_alloc") != string::npos ||
           text.find("Cannot allocate memory") != string::npos ||
           text.find("Out of memory") != string::npos;
}

void expectWholeOrTold(std::size_t queued)
{
    // Either the record came through whole, or its loss is told and recovery asked for.
    const auto lines = recorded_log::lines();
    const bool told = std::any_of(lines.begin(), lines.end(),
                                  [](const LogLine& line) { return tellsOfMemory(line.text); });
    EXPECT_NE(told, queued == 1) << queued;
}

std::size_t takeQueued()
{
    return takeRecords(smbiosMessageQueue).size() + takeRecords(kovdMessageQueue).size();
}

std::size_t failEachOfDecoding(Decoder decode, Message (*make)(Kind), Kind kind)
{
    std::size_t points = 0;
    for (const std::size_t failures : {1U, 2U})
    {
        for (points = 0;; ++points)
        {
            SCOPED_TRACE(points);
            resetStore();
            Message message = make(kind);
            failing_allocation::arm(points, failures);
            EXPECT_NO_THROW(decode(message));
            const bool failed = failing_allocation::disarm();
            const std::size_t queued = takeQueued();
            if (!failed)
            {
                EXPECT_EQ(queued, 1U);
                break;
            }
            expectWholeOrTold(queued);
            ++survived;
        }
    }
    resetStore();
    return points;
}

class DecodeMemory : public testing::Test
{
};

TEST_F(DecodeMemory, ofAnAddedObject)
{
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, addedMessage, Kind::smbiosSlot), 10U);
    EXPECT_GT(failEachOfDecoding(GetKovdMsgData, addedMessage, Kind::kovdSlot), 10U);
}

TEST_F(DecodeMemory, ofARemovedObject)
{
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, removedMessage, Kind::smbiosSlot), 3U);
    EXPECT_GT(failEachOfDecoding(GetKovdMsgData, removedMessage, Kind::kovdSlot), 3U);
}

TEST_F(DecodeMemory, ofAChangedObject)
{
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, changedMessage, Kind::smbiosSlot), 5U);
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, changedMessage, Kind::smbiosCache), 5U);
    EXPECT_GT(failEachOfDecoding(GetKovdMsgData, changedMessage, Kind::kovdSlot), 5U);
}

// The unit on the main loop: what it throws, the executor logs.

/** False when it failed. */
bool setOnce(std::size_t spared, std::size_t failures)
{
    PlatformDaemon platform;
    busConnection = platform.connection();
    AssociationRequest request{pathOf(Kind::kovdSlot),
                               {{"chassis", "pcieslot", pathOf(Kind::smbiosSlot)}}};
    failing_allocation::arm(spared, failures);
    try
    {
        setAssociations(nullptr, &request, sizeof request);
    }
    catch (const std::exception& e)
    {
        failing_allocation::disarm();
        busConnection.reset();
        EXPECT_STRNE(e.what(), ""); // in libsystemd's words, which are not always of memory
        return false;
    }
    const bool failed = failing_allocation::disarm();
    busConnection.reset();
    return !failed;
}

TEST(ExecuteMemory, ofAUnit)
{
    for (const std::size_t failures : {1U, 2U})
    {
        std::size_t points = 0;
        while (!setOnce(points, failures))
        {
            ++points;
            ++survived;
        }
        EXPECT_GT(points, 10U);
    }
    resetStore();
}

} // namespace
