/*
 * Memory that runs out at every allocation of an operation in turn, once and twice in a row: the
 * operation ends, says so in a line that people know, leaves nothing half done in the store and
 * nothing unfreed, and what comes next works. Leaks are seen by a build with a leak checker.
 */
#include "allocations_kit.hpp"
#include "doubles/failing_allocation.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/records.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "intake/workers.hpp"
#include "machine.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "state.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace
{

using allocations::expectEachFails;
using allocations::failEach;
using allocations::pathOf;
using machine::Kind;
using std::string;

constexpr std::array allKinds = {
    Kind::smbiosSlot, Kind::kovdSlot,    Kind::kovdDevice, Kind::kovdChassis,
    Kind::smbiosCpu,  Kind::smbiosCache, Kind::kovdCpu,
};

void insert(Kind kind, int number = 1)
{
    state::insertOf(kind)(pathOf(kind, number), machine::wholeObject(kind, number));
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

class InsertMemory : public testing::TestWithParam<Kind>
{
  protected:
    const Kind kind = GetParam();
    const string path = pathOf(kind);
    const ReceivedProperties whole = machine::wholeObject(kind, 1);

    void insertIt() const
    {
        state::insertOf(kind)(path, whole);
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

} // namespace
