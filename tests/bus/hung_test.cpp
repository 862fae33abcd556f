// A platform daemon that does not answer: who calls the daemon meanwhile is answered all the same.

#include "kit/bus_test.hpp"

namespace
{

constexpr unsigned slots = 6;

class HungService : public kit::BusTest
{
  protected:
    /** All slots pair at the start, so their lists wait in a row when the first is written. */
    void publishSlots()
    {
        for (unsigned slot = 1; slot <= slots; ++slot)
        {
            smbiosSlots.insert(sim::makeSmbiosSlot(slot));
            kovdSlots.insert(sim::makeKovdSlot(slot));
        }
        publish(smbios, smbiosSlots);
        publish(kovd, kovdSlots);
    }

    std::size_t setCalls()
    {
        return kovd.journal().calls("Set");
    }

  private:
    sim::Objects smbiosSlots;
    sim::Objects kovdSlots;
};

// The bus does not care who calls: to the daemon this is the service that waits for the daemon's
// answer before it gives its own.
TEST_F(HungService, IsAnsweredWithinOneCallOfTheDaemon)
{
    kovd.addFault({"Set", "", sim::Hang{}, sim::Fault::always});
    publishSlots();
    startDaemon({"SYSTEMD_BUS_TIMEOUT=1s"});
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", "", 1, kit::patience));
    observer.ping(rig::daemonName);

    // The first has run into its time-out and the second may have begun; a third, if this process
    // was held up for longer than a second.
    EXPECT_LE(setCalls(), 3u);
    EXPECT_TRUE(kovd.journal().waitForCalls("Set", "", slots, kit::patience));
}

TEST_F(HungService, IsAnsweredBetweenAnyTwoCallsOfTheDaemon)
{
    kovd.addFault({"Set", "", sim::Hang{}, sim::Fault::always});
    publishSlots();
    startDaemon({"SYSTEMD_BUS_TIMEOUT=1s"});
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", "", 1, kit::patience));
    unsigned answers = 0;
    while (setCalls() < slots)
    {
        observer.ping(rig::daemonName);
        ++answers;
    }

    // One for each call but the last, if this process was not held up; two need at least one.
    EXPECT_GE(answers, slots / 2);
}

} // namespace
