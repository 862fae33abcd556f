// Texts of others that end in the log: they can neither forge a line nor be taken for a format.

#include "faults/counts.hpp"
#include "faults/message_faults.hpp"

#include <algorithm>

namespace
{

using faults::Kind;
using faults::MessageFaults;
using sim::Value;

/** What somebody would write who wants a line of his own in the log. All are of the same shape to
 *  the rules that compare them, so that each costs the same number of lines. */
const std::vector<std::string> forgeries{
    "\n1 357 kov_hwinv_util.1.main: forged",
    "\r1 357 kov_hwinv_util.1.main: forged",
    "\r\n1 357 kov_hwinv_util.1.main: forged\r\n",
    "\x1b[2K\x1b[1G1 357 kov_hwinv_util.1.main: forged",
    "\x7f\x7f\x7f\n...#1 357 kov_hwinv_util.1.main: forged",
    "forged\n\n\n1 300 oneway_channel.1.main: forged\n",
};

const std::string formats = "%n%s%x%1000000d%%";

bool isControl(unsigned char byte)
{
    return byte < 0x20 || byte == 0x7f;
}

/** The same texts without their control characters. */
std::vector<std::string> harmless()
{
    std::vector<std::string> texts = forgeries;
    for (auto& text : texts)
    {
        std::replace_if(text.begin(), text.end(), isControl, 'x');
    }
    return texts;
}

class TextFaults : public MessageFaults
{
  protected:
    /** Announces an object with that text for each property of the log, so often. */
    void announceTexts(const std::vector<std::string>& texts, unsigned count)
    {
        for (unsigned sent = 0; sent < count;)
        {
            for (const Kind& kind : faults::kinds())
            {
                for (const auto& kept : kind.kept)
                {
                    if (kept.type == 's' && sent < count)
                    {
                        announceWith(kind, 2, kept.name, Value::string(texts[sent % texts.size()]));
                        ++sent;
                    }
                }
            }
        }
    }

    /** Has the platform refuse a Set and the discovery of its chassis with that text. */
    void failWith(const std::string& text)
    {
        const sim::FailWith failure{sim::names::failed, text};
        kovd.addFault({"Set", "", failure, 1});
        kovd.addFault({"GetManagedObjects", sim::names::chassisRoot, failure, 1});
    }

    /** How many there are; each must be one of the log's. */
    std::size_t physicalLines(std::size_t from)
    {
        daemon().catchUp();
        const auto lines = daemon().log().lines(from);
        for (const auto& line : lines)
        {
            EXPECT_NE(line.level, 0) << line;
            EXPECT_TRUE(std::none_of(line.text.begin(), line.text.end(), isControl)) << line;
            EXPECT_NE(line.text, "forged");
        }
        return lines.size();
    }
};

TEST_F(TextFaults, M6ControlCharactersForgeNoLine)
{
    const auto count = static_cast<unsigned>(faults::rounds(1000, 10'000));
    constexpr unsigned each = 48; // every text for every property
    publishWithCanaries(sim::makeInventory(1, 1));
    failWith(forgeries.front());
    startSettled();
    physicalLines(0);
    EXPECT_EQ(linesWith("sd_bus_call: org.freedesktop.DBus.Error.Failed: \\n1 357 "), 2u);

    // Texts without a control character tell how many lines there have to be.
    announceTexts(harmless(), each);
    settle();
    std::size_t from = daemon().log().size();
    announceTexts(harmless(), count);
    settle();
    const std::size_t expected = physicalLines(from);
    ASSERT_GE(expected, count);
    from = daemon().log().size();
    announceTexts(forgeries, count);
    settle();
    EXPECT_EQ(physicalLines(from), expected);
    kit::measured(std::to_string(count) + " texts, " + std::to_string(expected) + " lines");
    expectCanary();
    expectHealthy();
}

TEST_F(TextFaults, M7FormatsAreTexts)
{
    publishWithCanaries(sim::makeInventory(1, 1));
    failWith(formats);
    startSettled();
    const std::string refused = "sd_bus_call: org.freedesktop.DBus.Error.Failed: " + formats;
    EXPECT_EQ(times("GetManagedObjsKOVD", "exception: " + refused), 1u);
    EXPECT_EQ(times("runUnit", "exception in a unit of work: " + refused), 1u);
    for (const Kind& kind : faults::kinds())
    {
        for (const auto& kept : kind.kept)
        {
            if (kept.type != 's')
            {
                continue;
            }
            announceWith(kind, 2, kept.name, Value::string(formats));
            settle();
            const bool spaced = std::string(kind.insert) == "InsertKOVDPCIeSlotObj" ||
                                std::string(kind.insert) == "InsertKOVDCPUObj";
            const std::string between = spaced ? " = " : "=";
            EXPECT_EQ(times(kind.insert, kept.name + between + formats), 1u) << kept.name;
        }
    }
    expectCanary();
    expectHealthy();
}

} // namespace
