/*
 * Random operations, each followed by a look at everything: what the queues hold, what the model of
 * the daemon says of the store, and what has to hold of the store whatever happened.
 *
 * An operation puts a record on its queue, does the oldest record of a queue as its worker would,
 * or runs a full pass. The records are those of a small machine, on which nearly all of them
 * collide.
 *
 * HWINV_ROUNDS says how many operations, HWINV_SEED repeats those of an earlier run.
 */
#include "collisions.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "environment.hpp"
#include "intake/message_queue.hpp"
#include "invariants.hpp"
#include "model.hpp"
#include "state.hpp"

#include <gtest/gtest.h>

#include <deque>
#include <iostream>
#include <list>
#include <string>
#include <utility>

namespace
{

using collisions::Act;
using collisions::Acts;
using machine::Event;
using Texts = std::vector<std::string>;

// A moment of the default suite; the slow one asks for a million.
constexpr std::uint64_t defaultRounds = 50'000;

/** A queue of the daemon, and what has to be on it. */
struct Queue
{
    MessageQueue& real;
    std::deque<Act> expected{};
};

class EachOperation : public FreshStore
{
  protected:
    EachOperation()
    {
        recorded_log::setLevel(0); // the model's tests look at the lines
    }

    void operate()
    {
        const int choice = random_.below(20);
        if (choice == 0)
        {
            pass(random_.below(2) == 0 ? Event::Type::pciePass : Event::Type::cpuPass);
        }
        else if (choice < 10)
        {
            push();
        }
        else
        {
            processOldest(random_.below(2) == 0 ? smbios_ : kovd_);
        }
        ++operations_[choice == 0 ? 0 : choice < 10 ? 1 : 2];
    }

    /** What does not hold; empty when all does. */
    Texts violations()
    {
        Texts texts = invariants::broken();
        checkQueue(smbios_, "SMBIOS", texts);
        checkQueue(kovd_, "KOVD", texts);
        if (state::ofTheDaemon() != state::ofTheModel(model_.world))
        {
            texts.emplace_back("the store is not as the model has it");
        }
        recorded_requests::clear();
        model_.world.handOvers.clear();
        model_.world.recoveryRequested = false;
        model_.log.clear();
        return texts;
    }

    std::array<unsigned long, 3> operations_{}; // passes, pushes, records done

  private:
    void push()
    {
        while (coming_.empty())
        {
            const collisions::Collision collision = random_.next(false);
            coming_.insert(coming_.end(), collision.before.begin(), collision.before.end());
            for (const Acts& acts : collision.threads)
            {
                coming_.insert(coming_.end(), acts.begin(), acts.end());
            }
        }
        const Act act = std::move(coming_.front());
        coming_.pop_front();
        Queue& queue = act.smbios ? smbios_ : kovd_;
        pushRecord(queue.real, SignalRecord(act.record));
        queue.expected.push_back(act);
    }

    void processOldest(Queue& queue)
    {
        std::list<SignalRecord> oldest;
        {
            MutexLock lock(queue.real.mutex);
            if (!queue.real.records.empty())
            {
                oldest.splice(oldest.end(), queue.real.records, queue.real.records.begin());
            }
        }
        ASSERT_EQ(oldest.empty(), queue.expected.empty());
        if (oldest.empty())
        {
            return;
        }
        Act act = std::move(queue.expected.front());
        queue.expected.pop_front();
        ASSERT_EQ(oldest.front().objectPath, act.record.objectPath);
        act.record = std::move(oldest.front());
        collisions::process(act);
        model_.happen(act.event);
    }

    void pass(Event::Type type)
    {
        type == Event::Type::pciePass ? AssociateSMBIOSPCIESlotsObjToKOVDObjs() : CPUAssociation();
        Event event;
        event.type = type;
        model_.happen(event);
    }

    static void checkQueue(Queue& queue, const std::string& name, Texts& texts)
    {
        MutexLock lock(queue.real.mutex);
        if (queue.real.records.size() != queue.expected.size())
        {
            texts.push_back("the " + name + " queue holds " +
                            std::to_string(queue.real.records.size()) + " records instead of " +
                            std::to_string(queue.expected.size()));
        }
    }

    collisions::Generator random_{environment::number("HWINV_SEED", 1)};
    std::deque<Act> coming_;
    Queue smbios_{smbiosMessageQueue};
    Queue kovd_{kovdMessageQueue};
    model::Model model_;
};

TEST_F(EachOperation, leavesEverythingAsItHasToBe)
{
    const std::uint64_t rounds = environment::rounds(defaultRounds);
    unsigned long violations = 0;
    for (std::uint64_t round = 0; round < rounds && violations == 0; ++round)
    {
        operate();
        for (const std::string& violation : this->violations())
        {
            ADD_FAILURE() << "after operation " << round << ": " << violation;
            ++violations;
        }
        ASSERT_FALSE(HasFatalFailure());
    }
    std::cout << rounds << " operations (" << operations_[0] << " passes, " << operations_[1]
              << " records queued, " << operations_[2] << " looks for one), " << violations
              << " violations\n";
    for (const unsigned long count : operations_)
    {
        EXPECT_GT(count, 0U);
    }
}

} // namespace
