#include "bus/association_writer.hpp"
#include "doubles/platform_daemon.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>

#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace
{

using std::string;
using Lines = std::vector<string>;
using Requests = std::vector<AssociationRequest>;

const string slot = "/xyz/openbmc_project/inventory/system/board/pcie_slot1";
const AssociationList twoTuples = {
    {"processor", "L2CacheHandle", "/xyz/openbmc_project/inventory/system/chassis/cacheinfo2"},
    {"chassis", "pcieslot", "/xyz/openbmc_project/inventory/system/chassis/pcieslot1"},
};

const Lines settingLine = {"1 setAssociations: Setting associations"};
const Lines invalidLine = {"1 setAssociations: Invalid input"};

int set(AssociationRequest& request)
{
    return setAssociations(nullptr, &request, sizeof request);
}

/** What setAssociations threw. */
std::optional<string> errorOf(AssociationRequest request)
{
    try
    {
        set(request);
        return std::nullopt;
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        return e.what();
    }
}

/** The platform's daemon at the other end of the daemon's connection. */
struct ConnectedPlatform : PlatformDaemon
{
    ConnectedPlatform()
    {
        busConnection = connection();
    }

    ~ConnectedPlatform()
    {
        busConnection.reset();
    }
};

TEST(setAssociations, setsTheWholeListOnThePlatformObject)
{
    ConnectedPlatform platform;
    AssociationRequest request{slot, twoTuples};
    EXPECT_EQ(set(request), 0);
    EXPECT_EQ(recorded_log::summary(), settingLine);

    ASSERT_EQ(platform.calls().size(), 1U);
    const RecordedCall call = platform.calls().front();
    EXPECT_EQ(call.destination, "com.vexa.bmc.kovd");
    EXPECT_EQ(call.path, slot);
    EXPECT_EQ(call.interface, "org.freedesktop.DBus.Properties");
    EXPECT_EQ(call.member, "Set");
    EXPECT_EQ(call.signature, "ssv");
    EXPECT_EQ(call.setInterface, "xyz.openbmc_project.Association.Definitions");
    EXPECT_EQ(call.setProperty, "Associations");
    EXPECT_EQ(call.value, twoTuples);

    // The record stays its owner's.
    EXPECT_EQ(request, (AssociationRequest{slot, twoTuples}));
}

TEST(setAssociations, sendsAnEmptyListToClearTheProperty)
{
    ConnectedPlatform platform;
    AssociationRequest request{slot, {}};
    EXPECT_EQ(set(request), 0);
    ASSERT_EQ(platform.calls().size(), 1U);
    EXPECT_EQ(platform.calls().front().value, AssociationList{});
}

TEST(setAssociations, addressesThePlatformWhateverThePath)
{
    ConnectedPlatform platform;
    for (const string path : {"/", "/a", "/xyz/openbmc_project/inventory/system/chassis/pcieslot1",
                              "/org/freedesktop/DBus"})
    {
        SCOPED_TRACE(path);
        AssociationRequest request{path, twoTuples};
        EXPECT_EQ(set(request), 0);
        EXPECT_EQ(platform.calls().back().destination, "com.vexa.bmc.kovd");
        EXPECT_EQ(platform.calls().back().path, path);
    }
    EXPECT_EQ(platform.calls().size(), 4U);
}

TEST(setAssociations, sendsAnyTextInATuple)
{
    ConnectedPlatform platform;
    AssociationRequest request{slot, {{"%s%n", "", "no path\n\x01"}, {"", "", ""}}};
    EXPECT_EQ(set(request), 0);
    ASSERT_EQ(platform.calls().size(), 1U);
    EXPECT_EQ(platform.calls().front().value, request.associations);
}

TEST(setAssociations, refusesWhatIsNoRequestAndSendsNothing)
{
    ConnectedPlatform platform;
    AssociationRequest request{slot, twoTuples};
    EXPECT_EQ(setAssociations(nullptr, nullptr, sizeof request), -1);
    EXPECT_EQ(recorded_log::summary(), invalidLine);
    recorded_log::clear();
    EXPECT_EQ(setAssociations(nullptr, &request, 0), -1);
    EXPECT_EQ(recorded_log::summary(), invalidLine);
    recorded_log::clear();
    EXPECT_EQ(setAssociations(&request, nullptr, 0), -1);
    EXPECT_EQ(recorded_log::summary(), invalidLine);
    EXPECT_TRUE(platform.calls().empty());
}

TEST(setAssociations, doesNotLookAtTheContext)
{
    ConnectedPlatform platform;
    AssociationRequest request{slot, twoTuples};
    int context = 0;
    EXPECT_EQ(setAssociations(&context, &request, 1), 0);
    EXPECT_EQ(platform.calls().size(), 1U);
}

TEST(setAssociations, throwsTheErrorOfARefusedCall)
{
    ConnectedPlatform platform;
    platform.refuse();
    const auto error = errorOf({slot, twoTuples});
    ASSERT_TRUE(error);
    EXPECT_NE(error->find("sd_bus_call"), string::npos) << *error;
    EXPECT_NE(error->find("org.freedesktop.DBus.Error.AccessDenied"), string::npos) << *error;
    EXPECT_NE(error->find("not today"), string::npos) << *error;
    EXPECT_EQ(recorded_log::summary(), settingLine);
    EXPECT_EQ(platform.calls().size(), 1U); // no second try
}

TEST(setAssociations, throwsWhenTheMessageCannotBeMade)
{
    ConnectedPlatform platform;
    for (const string path : {"", "slot1", "/slot1/", "//slot1"})
    {
        SCOPED_TRACE(path);
        recorded_log::clear();
        const auto error = errorOf({path, twoTuples});
        ASSERT_TRUE(error);
        EXPECT_NE(error->find("sd_bus_message_new_method_call"), string::npos) << *error;
        EXPECT_EQ(recorded_log::summary(), settingLine);
    }
    EXPECT_TRUE(platform.calls().empty());

    AssociationRequest request{slot, twoTuples};
    EXPECT_EQ(set(request), 0); // a failure leaves nothing behind
}

TEST(sendAssociations, handsTheListOver)
{
    EXPECT_EQ(sendAssociations(Site{"kov_hwinv_util", "Caller"}, slot, twoTuples), 0);
    EXPECT_EQ(sendAssociations(Site{"kov_hwinv_util", "Caller"}, slot, {}), 0);
    EXPECT_EQ(recorded_requests::all(), (Requests{{slot, twoTuples}, {slot, {}}}));
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(sendAssociations, logsARefusalInTheNameOfItsCaller)
{
    for (const int result : {-1, 1, 7, std::numeric_limits<int>::min()})
    {
        SCOPED_TRACE(result);
        recorded_log::clear();
        recorded_requests::setResult(result);
        EXPECT_EQ(sendAssociations(Site{"kov_hwinv_util", "Caller"}, slot, twoTuples), result);
        EXPECT_EQ(
            recorded_log::summary(),
            Lines{"1 Caller: OneWayChannel_Execute failed, execRet = " + std::to_string(result)});
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});
    EXPECT_EQ(recorded_requests::refused(), 4U);
}

} // namespace
