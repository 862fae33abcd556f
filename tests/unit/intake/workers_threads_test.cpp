/*
 * A removal that meets a search: whichever of the two comes first, no pair and no list is left with
 * an object that has vanished. Built with the thread sanitizer this finds races too.
 */
#include "base/names.hpp"
#include "doubles/cpu_world.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/records.hpp"
#include "doubles/run_together.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "intake/workers.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string_view>
#include <thread>

namespace
{

using std::string;
using std::string_view;
using namespace cpu_world;
using world::slot1;
using world::smbios1;

constexpr int rounds = 100;

/** In the middle of a piece, now and then: another thread may go on here. */
void giveWay(const LogLine& /*line*/)
{
    constexpr int linesAWay = 16;
    thread_local std::minstd_rand random(std::random_device{}());
    if (random() % linesAWay == 0)
    {
        std::this_thread::yield();
    }
}

struct Object
{
    const string& path;
    string_view interface;
    PropertyMap properties;
    ObjectMap& map;
    bool smbios;
};

const Object smbiosSlotObject{smbios1, names::smbiosSlotInterface, world::smbiosSlot(1),
                              smbiosPCIeSlotObjs, true};
const Object kovdSlotObject{slot1, names::kovdSlotInterface, world::kovdSlot(1), kovdPCIeSlotObjs,
                            false};
const Object smbiosCpuObject{cpu1, names::smbiosCpuInterface, smbiosCpu(1, {11, 12, 13}),
                             smbiosCPUObjs, true};
const Object kovdCpuObject{kovd1, names::kovdItemInterface, kovdCpu(1), kovdCPUObjs, false};
const Object cacheObject{cacheA, names::smbiosCacheInterface, cache(11), smbiosCacheObjs, true};

void process(const Object& object, const SignalRecord& record)
{
    (object.smbios ? processSmbiosRecord : processKovdRecord)(UTIL_SITE, record);
}

void add(const Object& object)
{
    process(object, addedRecord(object.path,
                                {{string(object.interface), sample::received(object.properties)}}));
}

void remove(const Object& object)
{
    process(object, removedRecord(object.path, {string(object.interface)}));
}

struct Meeting
{
    const char* name;
    std::vector<const Object*> stored; // without a search
    std::vector<const Object*> added;
    std::function<void()> search;
    const Object& vanishing;
};

std::ostream& operator<<(std::ostream& out, const Meeting& meeting)
{
    return out << meeting.name;
}

class ARemovalThatMeets : public FreshStore, public testing::WithParamInterface<Meeting>
{
  protected:
    static bool isStored(const string& path)
    {
        for (const Object* object :
             {&smbiosSlotObject, &kovdSlotObject, &smbiosCpuObject, &kovdCpuObject, &cacheObject})
        {
            if (object->path == path)
            {
                return object->map.hasObject(path);
            }
        }
        return false;
    }

    static void expectNoTrace(const string& path)
    {
        EXPECT_FALSE(isStored(path));
        EXPECT_FALSE(isPathAssociated(smbiosSide, path));
        EXPECT_FALSE(isPathAssociated(kovdSide, path));
        EXPECT_FALSE(hasCachesOfCPU(path));
        EXPECT_FALSE(hasCPUsOfCache(path));
        EXPECT_FALSE(written(path).has_value());
    }

    /** What the last hand-over left on the platform's object, too. */
    static void expectStoredEndpoints()
    {
        for (const string& path : {slot1, kovd1})
        {
            AssociationList last;
            for (const AssociationRequest& request : recorded_requests::all())
            {
                last = request.objectPath == path ? request.associations : last;
            }
            for (const auto& [forward, backward, endpoint] : last)
            {
                EXPECT_TRUE(isStored(endpoint)) << path << " has " << endpoint;
            }
        }
    }
};

TEST_P(ARemovalThatMeets, leavesNothingOfTheVanishedObject)
{
    Racers racers(2);
    const auto removal = [] { remove(GetParam().vanishing); };
    for (int round = 0; round < rounds && !HasFailure(); ++round)
    {
        resetStore();
        for (const Object* object : GetParam().stored)
        {
            object->map.insertObject(object->path, object->properties);
        }
        for (const Object* object : GetParam().added)
        {
            add(*object);
        }
        recorded_log::setHook(giveWay);
        racers.run({GetParam().search, removal});
        SCOPED_TRACE(round);
        expectNoTrace(GetParam().vanishing.path);
        expectStoredEndpoints();
    }
}

const std::vector<Meeting> meetings = {
    {"anSmbiosSlotWithTheSearchOfItsPlatformSlot",
     {},
     {&smbiosSlotObject},
     [] { add(kovdSlotObject); },
     smbiosSlotObject},
    {"aPlatformSlotWithTheSearchOfItsSmbiosSlot",
     {},
     {&kovdSlotObject},
     [] { add(smbiosSlotObject); },
     kovdSlotObject},
    {"anSmbiosProcessorWithTheSearchOfItsPlatformProcessor",
     {},
     {&cacheObject, &smbiosCpuObject},
     [] { add(kovdCpuObject); },
     smbiosCpuObject},
    {"aCacheWithTheSearchOfAPlatformProcessor",
     {},
     {&cacheObject, &smbiosCpuObject},
     [] { add(kovdCpuObject); },
     cacheObject},
    {"aPlatformProcessorWithTheSearchOfItsSmbiosProcessor",
     {},
     {&cacheObject, &kovdCpuObject},
     [] { add(smbiosCpuObject); },
     kovdCpuObject},
    {"anSmbiosSlotWithAPass",
     {&smbiosSlotObject, &kovdSlotObject},
     {},
     AssociateSMBIOSPCIESlotsObjToKOVDObjs,
     smbiosSlotObject},
    {"aPlatformSlotWithAPass",
     {&smbiosSlotObject, &kovdSlotObject},
     {},
     AssociateSMBIOSPCIESlotsObjToKOVDObjs,
     kovdSlotObject},
    {"anSmbiosProcessorWithAPass",
     {&smbiosCpuObject, &kovdCpuObject, &cacheObject},
     {},
     CPUAssociation,
     smbiosCpuObject},
    {"aCacheWithAPass",
     {&smbiosCpuObject, &kovdCpuObject, &cacheObject},
     {},
     CPUAssociation,
     cacheObject},
    {"aPlatformProcessorWithAPass",
     {&smbiosCpuObject, &kovdCpuObject, &cacheObject},
     {},
     CPUAssociation,
     kovdCpuObject},
};

string nameOf(const testing::TestParamInfo<Meeting>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Workers, ARemovalThatMeets, testing::ValuesIn(meetings), nameOf);

} // namespace
