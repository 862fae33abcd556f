/*
 * Both workers, and a full pass beside them, at the same few objects: however they meet, what
 * stands at the end is what the model gives for some order of their pieces.
 *
 * HWINV_ROUNDS says how often they meet, HWINV_SEED repeats the events of an earlier run.
 */
#include "collisions.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/run_together.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "environment.hpp"
#include "orders.hpp"
#include "state.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <sstream>
#include <thread>

namespace
{

using collisions::Act;
using collisions::Acts;
using collisions::Collision;
using machine::Event;
using state::State;
using state::Texts;
using std::string;

constexpr int defaultRounds = 4'000;

/** The same events meet so often: each time the threads are at other places. */
constexpr int meetings = 10;

/** The threads start so many turns of an empty loop apart at most, about the time of a record. */
constexpr int mostDelay = 2000;

/** In one of these meetings the threads log, which takes them longer, and give way now and then. */
constexpr int linesAWay = 32;

void delay(int turns)
{
    for (int turn = 0; turn < turns; ++turn)
    {
        std::atomic_signal_fence(std::memory_order_seq_cst); // keeps the loop
    }
}

/** In the middle of a piece, now and then: another thread may go on here, also on a busy machine.
 */
void giveWay(const LogLine& /*line*/)
{
    thread_local std::minstd_rand random(std::random_device{}());
    if (random() % linesAWay == 0)
    {
        std::this_thread::yield();
    }
}

void perform(const Act& act)
{
    switch (act.event.type)
    {
        case Event::Type::pciePass:
            AssociateSMBIOSPCIESlotsObjToKOVDObjs();
            return;
        case Event::Type::cpuPass:
            CPUAssociation();
            return;
        default:
            collisions::process(act);
    }
}

std::vector<State> endsInTheModel(const Collision& collision)
{
    model::Model model;
    bool requested = false;
    for (const Act& act : collision.before)
    {
        model.happen(act.event);
        requested |= model.world.recoveryRequested;
    }
    model.world.recoveryRequested = requested;
    std::vector<orders::Script> scripts;
    for (const Acts& acts : collision.threads)
    {
        scripts.push_back(collisions::eventsOf(acts));
    }
    return orders::ends(model.world, scripts);
}

string shown(const Acts& acts)
{
    std::ostringstream text;
    for (const Act& act : acts)
    {
        text << "    " << act.event << "\n";
    }
    return text.str();
}

string shown(const Collision& collision)
{
    string text = "before:\n" + shown(collision.before);
    for (const Acts& acts : collision.threads)
    {
        text += "a thread:\n" + shown(acts);
    }
    return text;
}

/** The lines of one that the other lacks; a line that stands twice is missed twice. */
Texts onlyIn(Texts one, Texts other)
{
    std::sort(one.begin(), one.end());
    std::sort(other.begin(), other.end());
    Texts only;
    std::set_difference(one.begin(), one.end(), other.begin(), other.end(),
                        std::back_inserter(only));
    return only;
}

/** What the daemon's end has and lacks beside the end of the model that is nearest to it. */
string difference(const State& found, const std::vector<State>& ends)
{
    const Texts mine = state::shown(found);
    Texts nearest;
    bool first = true;
    for (const State& end : ends)
    {
        Texts lines;
        for (const string& line : onlyIn(mine, state::shown(end)))
        {
            lines.push_back("    daemon: " + line);
        }
        for (const string& line : onlyIn(state::shown(end), mine))
        {
            lines.push_back("    model:  " + line);
        }
        if (first || lines.size() < nearest.size())
        {
            nearest = lines;
            first = false;
        }
    }
    string text = "none of the model's " + std::to_string(ends.size()) + " ends:\n";
    for (const string& line : mine)
    {
        text += "    " + line + "\n";
    }
    text += "nearest of them, what differs:\n";
    for (const string& line : nearest)
    {
        text += line + "\n";
    }
    return text + (nearest.empty() ? "    only an order\n" : "");
}

class Interleavings : public FreshStore
{
  protected:
    /** Has random events meet and looks at each end; tells of the first that no order gives. */
    void meet(std::uint64_t rounds, bool withPass)
    {
        Racers racers(withPass ? 3 : 2);
        for (std::uint64_t round = 0; round < rounds; ++round)
        {
            if (round % meetings == 0)
            {
                collision_ = generator_.next(withPass);
                ends_ = endsInTheModel(collision_);
            }
            check(endOf(racers, round % meetings == 0));
        }
        EXPECT_EQ(failures_, 0U) << "of " << rounds << " rounds; HWINV_SEED=" << seed_
                                 << "; the first:\n"
                                 << firstFailure_;
    }

    static std::uint64_t rounds()
    {
        return environment::rounds(defaultRounds);
    }

  private:
    State endOf(Racers& racers, bool withLog)
    {
        resetStore();
        recorded_log::setLevel(withLog ? 9 : 0);
        recorded_log::setHook(giveWay);
        for (const Act& act : collision_.before)
        {
            perform(act);
        }
        std::vector<std::function<void()>> works;
        for (const Acts& acts : collision_.threads)
        {
            works.emplace_back(
                [&acts, turns = generator_.below(mostDelay)]
                {
                    delay(turns);
                    std::for_each(acts.begin(), acts.end(), perform);
                });
        }
        racers.run(works);
        return state::ofTheDaemon();
    }

    void check(const State& found)
    {
        if (std::find(ends_.begin(), ends_.end(), found) != ends_.end())
        {
            return;
        }
        if (failures_++ == 0)
        {
            firstFailure_ = shown(collision_) + difference(found, ends_);
        }
    }

    const std::uint64_t seed_ = environment::seed();
    collisions::Generator generator_{seed_};
    Collision collision_;
    std::vector<State> ends_;
    std::uint64_t failures_ = 0;
    string firstFailure_;
};

TEST_F(Interleavings, OfBothWorkersEndAsSomeOrderWould)
{
    meet(rounds(), false);
}

TEST_F(Interleavings, OfBothWorkersAndAPassEndAsSomeOrderWould)
{
    meet(rounds() / 4, true);
}

} // namespace
