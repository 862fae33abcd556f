/*
 * The store under several threads at once. Run plain these tests find torn objects and broken
 * invariants; built with the thread sanitizer they find races.
 */
#include "doubles/run_together.hpp"
#include "store/store.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace
{

using std::string;

constexpr int rounds = 2000;
constexpr int pathCount = 20;

string pathOf(int number)
{
    return "/xyz/openbmc_project/inventory/system/board/pcie_slot" + std::to_string(number);
}

/** Whole objects have the same number twice, and their own path. */
PropertyMap objectOf(const string& path, int number)
{
    return {{"Path", path}, {"First", number}, {"Second", number}};
}

void expectWhole(const string& path, const PropertyMap& properties)
{
    ASSERT_EQ(properties.size(), 3U);
    EXPECT_EQ(std::get<string>(*properties.find("Path")), path);
    EXPECT_EQ(*properties.find("First"), *properties.find("Second"));
}

void insertAndErase(int seed)
{
    for (int round = 0; round < rounds; ++round)
    {
        const string path = pathOf((round * seed) % pathCount);
        kovdPCIeSlotObjs.insertObject(path, objectOf(path, round));
        kovdPCIeSlotObjs.eraseObject(pathOf((round * seed + 7) % pathCount));
    }
}

void walk()
{
    for (int round = 0; round < rounds / 10; ++round)
    {
        string last;
        const ObjectMap::Snapshot snapshot = kovdPCIeSlotObjs.snapshot();
        for (const SharedObject& then : *snapshot)
        {
            const string& path = then->path;
            const SharedObject object =
                kovdPCIeSlotObjs.isLatest(snapshot) ? then : kovdPCIeSlotObjs.findObject(path);
            EXPECT_LT(last, path);
            last = path;
            if (object != nullptr)
            {
                EXPECT_EQ(object->path, path);
                expectWhole(path, object->properties);
            }
        }
    }
}

void lookUp()
{
    for (int round = 0; round < rounds; ++round)
    {
        const string path = pathOf(round % pathCount);
        PropertyMap properties;
        if (kovdPCIeSlotObjs.getObject(path, &properties))
        {
            expectWhole(path, properties);
        }
        kovdPCIeSlotObjs.hasObject(path);
        if (const SharedObject object = kovdPCIeSlotObjs.findObject(path))
        {
            expectWhole(path, object->properties);
        }
    }
}

TEST(ObjectMap, servesThreadsThatInsertEraseAndWalk)
{
    runTogether({[] { insertAndErase(3); }, [] { insertAndErase(11); }, walk, walk, lookUp});
    for (const string& path : kovdPCIeSlotObjs.listObjectPaths())
    {
        PropertyMap properties;
        ASSERT_TRUE(kovdPCIeSlotObjs.getObject(path, &properties));
        expectWhole(path, properties);
    }
}

TEST(AssociationPairs, letTheFirstOfSeveralThreadsOwnAPairing)
{
    constexpr int threadCount = 4;
    std::array<std::vector<bool>, threadCount> won;
    std::vector<std::function<void()>> works;
    for (int thread = 0; thread < threadCount; ++thread)
    {
        works.emplace_back(
            [&won, thread]
            {
                auto& mine = won[static_cast<std::size_t>(thread)];
                for (int round = 0; round < rounds; ++round)
                {
                    mine.push_back(addAssociationPair("/smbios/" + std::to_string(round),
                                                      "/kovd/" + std::to_string(round) + "/" +
                                                          std::to_string(thread)));
                }
            });
    }
    runTogether(works);

    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        int winners = 0;
        for (int thread = 0; thread < threadCount; ++thread)
        {
            const bool mine =
                won[static_cast<std::size_t>(thread)][static_cast<std::size_t>(round)];
            winners += mine ? 1 : 0;
            EXPECT_EQ(isPathAssociated(kovdSide, "/kovd/" + std::to_string(round) + "/" +
                                                     std::to_string(thread)),
                      mine);
        }
        EXPECT_EQ(winners, 1);
    }
}

TEST(AssociationPairs, stayOneToOneWhileThreadsAddAndErase)
{
    const auto addAndErase = [](int seed)
    {
        for (int round = 0; round < rounds; ++round)
        {
            const string smbios = "/smbios/" + std::to_string((round * seed) % pathCount);
            const string kovd = "/kovd/" + std::to_string((round + seed) % pathCount);
            addAssociationPair(smbios, kovd);
            takeAssociatedKOVDPath(smbios);
            addAssociationPair(smbios, kovd);
            MutexLock lock(associationPairsMutex);
            eraseAssociationPairByKOVDPath("/kovd/" + std::to_string((round * 7) % pathCount));
        }
    };
    const auto check = []
    {
        for (int round = 0; round < rounds; ++round)
        {
            const string kovd = "/kovd/" + std::to_string(round % pathCount);
            MutexLock lock(associationPairsMutex);
            if (const string* smbios = associationPairs.smbiosPartner(kovd))
            {
                const string* back = associationPairs.kovdPartner(*smbios);
                ASSERT_NE(back, nullptr);
                EXPECT_EQ(*back, kovd);
            }
        }
    };
    runTogether({[&] { addAndErase(3); }, [&] { addAndErase(5); }, check});
}

} // namespace
