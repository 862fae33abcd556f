/* What both decoders do alike: members, signatures, reading of bodies, failures. */
#include "bus/object_path.hpp"
#include "doubles/recorded_log.hpp"
#include "unit/intake/decoding_kit.hpp"

#include <sdbusplus/exception.hpp>

#include <array>
#include <stdexcept>

namespace
{

using both::Decoder;
using both::kovd;
using both::nameOf;
using both::smbios;
using test_message::atEnd;
using test_message::Head;
using test_message::readToEnd;

/** The text of the error that the binding throws at this read. */
template <class Value>
std::string errorOfReading(sdbusplus::message_t& message)
{
    try
    {
        Value value;
        message.read(value);
    }
    catch (const sdbusplus::exception::SdBusError& error)
    {
        return error.what();
    }
    return "";
}

class BothDecoders : public Decoding, public testing::WithParamInterface<const Decoder*>
{
  protected:
    const Decoder& decoder = *GetParam();

    void decode(sdbusplus::message_t message)
    {
        decoder.decode(message);
    }

    Head added() const
    {
        return {"/manager", objectManager, "InterfacesAdded"};
    }

    Head removed() const
    {
        return {"/manager", objectManager, "InterfacesRemoved"};
    }

    Head changed() const
    {
        return {decoder.path, properties, "PropertiesChanged"};
    }

    std::string line(const std::string& text) const
    {
        return "1 " + decoder.function + ": " + text;
    }

    /** One line, nothing queued. */
    void expectFailure(const std::string& text, bool recovery)
    {
        EXPECT_EQ(utilLines(), Lines{line(text)});
        EXPECT_EQ(takeRecoveryRequest(), recovery);
        expectNothingQueued(text);
    }
};

INSTANTIATE_TEST_SUITE_P(Services, BothDecoders, testing::Values(&smbios, &kovd), nameOf);

TEST_P(BothDecoders, ignoreEveryOtherMember)
{
    for (const char* member : {"InterfacesAdde", "InterfacesAddedX", "interfacesAdded",
                               "PropertiesChange", "Changed", "NameOwnerChanged"})
    {
        decode(test_message::signal({decoder.path, objectManager, member}, "s", "x"));
        expectDropped(member);
    }
    decode(test_message::methodReturn());
    expectDropped("no member");
}

TEST_P(BothDecoders, rejectEveryOtherSignature)
{
    const std::vector<std::pair<Head, Strings>> wrong{
        {added(), {"", "o", "oa{sv}", "oas", "sa{sa{sv}}", "oa{sa{sv}}s", "oa{oa{sv}}"}},
        {removed(), {"", "o", "as", "sas", "oao", "oa{sa{sv}}", "oass"}},
        {changed(), {"", "s", "sa{sv}", "sas", "oa{sv}as", "sa{ss}as", "sa{sv}aso", "sa{sv}ao"}},
    };
    for (const auto& [head, signatures] : wrong)
    {
        for (const auto& signature : signatures)
        {
            recorded_log::clear();
            decode(test_message::withSignature(head, signature));
            expectFailure("Invalid signature = " + signature, false);
        }
    }
}

TEST_P(BothDecoders, judgeTheSignatureBeforeThePath)
{
    decode(test_message::withSignature({"/elsewhere", properties, "PropertiesChanged"}, "sa{sv}"));
    expectFailure("Invalid signature = sa{sv}", false);
}

TEST_P(BothDecoders, judgeTheWholeSignatureWhereverTheMessageIsRead)
{
    auto message = removedMessage(decoder.path, {"a"});
    compat::ObjectPath path;
    message.read(path);
    test_message::require(sd_bus_message_enter_container(message.get(), 'a', "s"));
    decoder.decode(message);
    const auto lines = utilLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("Exception occurred while reading message"), std::string::npos);
}

TEST_P(BothDecoders, fillTheRecordOfAnAddedObject)
{
    decode(addedMessage(decoder.path, "any.Other", "some.One"));
    EXPECT_EQ(takeRecords(decoder.queue),
              Records{addedRecord(decoder.path, addedInterfaces({"any.Other", "some.One"}))});
    expectDropped("the rest");
}

TEST_P(BothDecoders, queueAnAddedObjectWithoutInterfaces)
{
    decode(addedMessage(decoder.path));
    EXPECT_EQ(takeRecords(decoder.queue), Records{addedRecord(decoder.path, {})});
    expectDropped("the rest");
}

TEST_P(BothDecoders, fillTheRecordOfARemovedObjectInTheOrderOfTheMessage)
{
    decode(removedMessage(decoder.path, {"z.Last", "a.First", "", "z.Last"}));
    EXPECT_EQ(takeRecords(decoder.removalQueue),
              Records{removedRecord(decoder.path, {"z.Last", "a.First", "", "z.Last"})});
    expectDropped("the rest");
}

TEST_P(BothDecoders, queueARemovalOfNothing)
{
    decode(removedMessage(decoder.path, {}));
    EXPECT_EQ(takeRecords(decoder.removalQueue), Records{removedRecord(decoder.path, {})});
    expectDropped("the rest");
}

TEST_P(BothDecoders, fillTheRecordOfAChangeWithTheMessagesOwnPath)
{
    auto message = changedMessage(decoder.path, decoder.interface);
    decoder.decode(message);
    EXPECT_EQ(takeRecords(decoder.queue), Records{changedOf(decoder.path, decoder.interface)});
    expectDropped("the rest");
    EXPECT_TRUE(atEnd(message));
}

TEST_P(BothDecoders, queueAChangeOfNothing)
{
    decode(test_message::signal(changed(), "sa{sv}as", decoder.interface.c_str(), 0, 1, "Gone"));
    EXPECT_EQ(takeRecords(decoder.queue),
              Records{changedRecord(decoder.path, decoder.interface, {})});
    expectDropped("the rest");
}

TEST_P(BothDecoders, keepTheOrderOfArrival)
{
    decode(addedMessage(decoder.path + "/1", "any.Other"));
    decode(changedMessage(decoder.path + "/2", decoder.interface));
    decode(addedMessage(decoder.path + "/3", "any.Other"));
    Strings paths;
    for (const auto& record : takeRecords(decoder.queue))
    {
        paths.push_back(record.objectPath);
    }
    EXPECT_EQ(paths, (Strings{decoder.path + "/1", decoder.path + "/2", decoder.path + "/3"}));
}

TEST_P(BothDecoders, dropAChangeOfAnEmptyInterface)
{
    decode(changedMessage(decoder.path, ""));
    expectDropped("empty");

    int reads = 0;
    faultyReads.readBasic = [&](char, void* value) -> std::optional<int>
    {
        if (reads++ > 0)
        {
            return std::nullopt;
        }
        *static_cast<const char**>(value) = nullptr;
        return 1;
    };
    decode(changedMessage(decoder.path, ""));
    EXPECT_GT(reads, 0);
    expectDropped("null");
}

TEST_P(BothDecoders, giveUpOnAnAddedObjectThatCannotBeRead)
{
    auto message = addedMessage(decoder.path, "any.Other");
    readToEnd(message);
    const std::string expected = errorOfReading<compat::ObjectPath>(message);
    ASSERT_NE(expected.find("No such device or address"), std::string::npos);

    decoder.decode(message);
    expectFailure(expected + " Exception occurred while reading message", true);
}

TEST_P(BothDecoders, giveUpOnAnAddedObjectWhosePathAloneCanBeRead)
{
    faultyReads.readBasic = [](char type, void*)
    { return type == 's' ? std::optional<int>(-EBADMSG) : std::nullopt; };
    decode(addedMessage("/elsewhere", "any.Other"));
    const auto lines = utilLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].find(line("")), 0U);
    EXPECT_NE(lines[0].find("Bad message Exception occurred while reading message"),
              std::string::npos);
    EXPECT_TRUE(takeRecoveryRequest());
    expectNothingQueued("unread");
}

TEST_P(BothDecoders, giveUpOnARemovalThatCannotBeRead)
{
    auto message = removedMessage(decoder.path, {"any.Other"});
    readToEnd(message);
    const std::string expected = errorOfReading<compat::ObjectPath>(message);

    decoder.decode(message);
    expectFailure(expected + " Exception occurred while reading message",
                  decoder.failedRemovalRequestsRecovery);
}

TEST_P(BothDecoders, giveUpOnAChangeWhoseInterfaceCannotBeRead)
{
    auto message = changedMessage(decoder.path, decoder.interface);
    readToEnd(message);
    decoder.decode(message);
    expectFailure("sd_bus_message_read_basic failed: No such device or address", true);
}

TEST_P(BothDecoders, giveUpOnAChangeThatWasReadAhead)
{
    auto message = changedMessage(decoder.path, decoder.interface);
    std::string interface;
    message.read(interface);
    decoder.decode(message);
    expectFailure("sd_bus_message_read_basic failed: No such device or address", true);
}

TEST_P(BothDecoders, giveUpOnAChangeThatIsStillBeingWritten)
{
    auto message = test_message::draft(changed());
    test_message::require(sd_bus_message_append(message.get(), "sa{sv}as", "i", 0, 0));
    decoder.decode(message);
    expectFailure("sd_bus_message_read_basic failed: Operation not permitted", true);
}

TEST_P(BothDecoders, giveUpOnAChangeThatCannotBeRewound)
{
    auto message = changedMessage(decoder.path, decoder.interface);
    faultyReads.rewind = [] { return std::optional<int>(-EPERM); };
    decoder.decode(message);
    expectFailure("sd_bus_message_rewind failed: Operation not permitted", true);
}

TEST_P(BothDecoders, giveUpOnAChangeWhoseBodyCannotBeRead)
{
    auto message = changedMessage(decoder.path, decoder.interface);
    auto twin = changedMessage(decoder.path, decoder.interface);
    std::string interface;
    twin.read(interface);
    const std::string expected = errorOfReading<std::string>(twin);
    ASSERT_NE(expected, "");

    // Says that it has rewound, and has not: what is read next is not the interface.
    faultyReads.rewind = [] { return std::optional<int>(1); };
    decoder.decode(message);
    expectFailure("failed to read message err[" + expected + "]", true);
}

TEST_P(BothDecoders, giveUpOnWhateverElseIsThrown)
{
    std::array messages{
        addedMessage(decoder.path, "any.Other"),
        removedMessage(decoder.path, {"any.Other"}),
        changedMessage(decoder.path, decoder.interface),
    };
    for (auto& message : messages)
    {
        recorded_log::clear();
        faultyReads.readBasic = [](char, void*) -> std::optional<int>
        { throw std::runtime_error("out of order"); };
        decoder.decode(message);
        expectFailure("failed to read message err[out of order]", true);

        recorded_log::clear();
        faultyReads.readBasic = [](char, void*) -> std::optional<int> { throw 1; };
        decoder.decode(message);
        expectFailure("failed to read message", true);
    }
}

TEST_P(BothDecoders, giveUpOnABusErrorOutsideTheBody)
{
    faultyReads.signature = []() -> std::optional<const char*>
    { throw sdbusplus::exception::SdBusError(EIO, "signature"); };
    decode(addedMessage(decoder.path, "any.Other"));
    const std::string expected = sdbusplus::exception::SdBusError(EIO, "signature").what();
    expectFailure("failed to read message err[" + expected + "]", true);
}

TEST_P(BothDecoders, keepTheFirstOfRepeatedInterfaces)
{
    decode(test_message::signal(added(), "oa{sa{sv}}", decoder.path.c_str(), 3, "a", 1, "Key", "s",
                                "first", "a", 1, "Key", "s", "second", "b", 0));
    EXPECT_EQ(
        takeRecords(decoder.queue),
        Records{addedRecord(decoder.path, {{"a", {{"Key", std::string{"first"}}}}, {"b", {}}})});
    expectDropped("the rest");
}

} // namespace
