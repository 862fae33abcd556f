#include "doubles/recorded_log.hpp"
#include "engines/candidates.hpp"
#include "store/store.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;
using Paths = std::vector<std::string>;

const PropertyMap some{{"SlotID", std::uint16_t{1}}};
const PropertyMap other{{"SlotID", std::uint16_t{2}}};

constexpr UnusableLines lines{"%s has gone", "nothing stands in %s"};

void store(const Paths& paths)
{
    for (const std::string& path : paths)
    {
        smbiosPCIeSlotObjs.insertObject(path, some);
    }
}

/** Walks and keeps the paths visited; `visit` may change the world and decides how to go on. */
template <class Visit>
std::pair<WalkEnd, Paths> walk(OnVanished onVanished, Visit visit)
{
    Paths visited;
    const auto keep = [&](const StoredObject& object)
    {
        visited.push_back(object.path);
        return visit(object);
    };
    const WalkEnd end = walkCandidates(Site{log_label::util, "search"}, smbiosPCIeSlotObjs, lines,
                                       onVanished, keep);
    return {end, visited};
}

Walk goOn(const StoredObject&)
{
    return Walk::goOn;
}

TEST(walkCandidates, endsBehindTheLastOfAnEmptyMap)
{
    EXPECT_EQ(walk(OnVanished::skip, goOn), std::pair(WalkEnd::behindLast, Paths{}));
}

TEST(walkCandidates, visitsEachInPathOrder)
{
    store({"/slot2", "/slot3", "/slot1"});
    EXPECT_EQ(walk(OnVanished::endWalk, goOn),
              std::pair(WalkEnd::behindLast, Paths{"/slot1", "/slot2", "/slot3"}));
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(walkCandidates, endsWhereTheVisitorSaysSo)
{
    store({"/slot1", "/slot2", "/slot3"});
    const auto visit = [](const StoredObject& object)
    { return object.path == "/slot2" ? Walk::end : Walk::goOn; };
    EXPECT_EQ(walk(OnVanished::skip, visit),
              std::pair(WalkEnd::byVisitor, Paths{"/slot1", "/slot2"}));
}

TEST(walkCandidates, showsWhatChangesDuringTheWalk)
{
    store({"/slot1", "/slot2"});
    const auto visit = [](const StoredObject& object)
    {
        EXPECT_EQ(object.properties, object.path == "/slot1" ? some : other);
        smbiosPCIeSlotObjs.insertObject("/slot2", other);
        smbiosPCIeSlotObjs.insertObject("/slot3", some); // too late for this walk
        return Walk::goOn;
    };
    EXPECT_EQ(walk(OnVanished::skip, visit),
              std::pair(WalkEnd::behindLast, Paths{"/slot1", "/slot2"}));
}

Walk eraseSecond(const StoredObject&)
{
    smbiosPCIeSlotObjs.eraseObject("/slot2");
    return Walk::goOn;
}

TEST(walkCandidates, seesAChangeAlsoWhenSomebodyHasListedTheMapSince)
{
    store({"/slot1", "/slot2", "/slot3"});
    const auto visit = [](const StoredObject& object)
    {
        EXPECT_EQ(object.properties, object.path == "/slot3" ? other : some);
        smbiosPCIeSlotObjs.eraseObject("/slot2");
        smbiosPCIeSlotObjs.insertObject("/slot3", other);
        smbiosPCIeSlotObjs.snapshot();
        return Walk::goOn;
    };
    EXPECT_EQ(walk(OnVanished::skip, visit),
              std::pair(WalkEnd::behindLast, Paths{"/slot1", "/slot3"}));
    EXPECT_EQ(recorded_log::summary(), Lines{"1 search: /slot2 has gone"});
}

TEST(walkCandidates, keepsWhatItVisitsWhileThatIsReplaced)
{
    store({"/slot1", "/slot2"});
    const auto visit = [](const StoredObject& object)
    {
        for (const PropertyMap& properties : {other, some})
        {
            smbiosPCIeSlotObjs.insertObject(object.path, properties);
            EXPECT_EQ(object.properties, some);
        }
        return Walk::goOn;
    };
    EXPECT_EQ(walk(OnVanished::skip, visit),
              std::pair(WalkEnd::behindLast, Paths{"/slot1", "/slot2"}));
}

TEST(walkCandidates, skipsAVanishedEntryWhereTheSearchSaysSo)
{
    store({"/slot1", "/slot2", "/slot3"});
    EXPECT_EQ(walk(OnVanished::skip, eraseSecond),
              std::pair(WalkEnd::behindLast, Paths{"/slot1", "/slot3"}));
    EXPECT_EQ(recorded_log::summary(), Lines{"1 search: /slot2 has gone"});
}

TEST(walkCandidates, endsAtAVanishedEntryWhereTheSearchSaysSo)
{
    store({"/slot1", "/slot2", "/slot3"});
    EXPECT_EQ(walk(OnVanished::endWalk, eraseSecond),
              std::pair(WalkEnd::atVanished, Paths{"/slot1"}));
    EXPECT_EQ(recorded_log::summary(), Lines{"1 search: /slot2 has gone"});
}

TEST(walkCandidates, skipsAnEmptyEntryInEitherCase)
{
    store({"/slot1", "/slot3"});
    smbiosPCIeSlotObjs.insertObject("/slot2", {});
    for (const OnVanished onVanished : {OnVanished::skip, OnVanished::endWalk})
    {
        recorded_log::clear();
        EXPECT_EQ(walk(onVanished, goOn),
                  std::pair(WalkEnd::behindLast, Paths{"/slot1", "/slot3"}));
        EXPECT_EQ(recorded_log::summary(), Lines{"1 search: nothing stands in /slot2"});
    }
}

TEST(walkCandidates, logsWithTheLineOfTheCall)
{
    store({"/slot1"});
    smbiosPCIeSlotObjs.insertObject("/slot1", {});
    const int here = __LINE__ + 1;
    walkCandidates(UTIL_SITE, smbiosPCIeSlotObjs, lines, OnVanished::skip, goOn);
    ASSERT_EQ(recorded_log::lines().size(), 1U);
    EXPECT_EQ(recorded_log::lines().front().line, here);
    EXPECT_EQ(recorded_log::lines().front().file, "kov_hwinv_util");
}

} // namespace
