#include "orders.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace
{

using machine::Event;
using model::World;
using orders::Script;

/** How far a thread has come: the event that is next, and what a pass that has begun still takes.
 */
struct Place
{
    std::size_t event = 0;
    std::optional<std::vector<std::string>> listed;

    auto operator<=>(const Place&) const = default;
};

using Places = std::vector<Place>;

/** Only the last list for an object can be seen at the end; without the others worlds are equal. */
void forgetOldHandOvers(World& world)
{
    std::map<std::string, AssociationList> last;
    for (const model::HandOver& handOver : world.handOvers)
    {
        last[handOver.path] = handOver.list;
    }
    world.handOvers.clear();
    for (auto& [path, list] : last)
    {
        world.handOvers.push_back({path, std::move(list)});
    }
}

void stepOfPass(model::Model& model, Place& place, Event::Type pass)
{
    if (!place.listed)
    {
        place.listed = model.passPaths(pass);
    }
    else
    {
        const std::string path = place.listed->front();
        place.listed->erase(place.listed->begin());
        if (!model.passStep(pass, path))
        {
            place.listed->clear();
        }
    }
    if (place.listed->empty())
    {
        place.listed.reset();
        ++place.event;
    }
}

/** The next piece of a script. */
void step(World& world, Place& place, const Script& script)
{
    model::Model model;
    model.world = std::move(world);
    const bool requested = model.world.recoveryRequested;
    const Event& event = script[place.event];
    if (event.type == Event::Type::pciePass || event.type == Event::Type::cpuPass)
    {
        stepOfPass(model, place, event.type);
    }
    else
    {
        model.happen(event);
        ++place.event;
    }
    world = std::move(model.world);
    world.recoveryRequested |= requested;
    forgetOldHandOvers(world);
}

/** Walks all orders; two that meet in the same world at the same places are one from there on. */
class Walk
{
  public:
    explicit Walk(const std::vector<Script>& scripts) : scripts_(scripts) {}

    void from(const Places& places, const World& world)
    {
        auto& seen = seen_[places];
        if (std::find(seen.begin(), seen.end(), world) != seen.end())
        {
            return;
        }
        seen.push_back(world);
        bool ended = true;
        for (std::size_t script = 0; script < scripts_.size(); ++script)
        {
            if (places[script].event == scripts_[script].size())
            {
                continue;
            }
            ended = false;
            Places next = places;
            World after = world;
            step(after, next[script], scripts_[script]);
            from(next, after);
        }
        if (ended)
        {
            addEnd(state::ofTheModel(world));
        }
    }

    std::vector<state::State> ends;

  private:
    void addEnd(state::State end)
    {
        if (std::find(ends.begin(), ends.end(), end) == ends.end())
        {
            ends.push_back(std::move(end));
        }
    }

    const std::vector<Script>& scripts_;
    std::map<Places, std::vector<World>> seen_;
};

} // namespace

std::vector<state::State> orders::ends(const World& start, const std::vector<Script>& scripts)
{
    Walk walk(scripts);
    walk.from(Places(scripts.size()), start);
    return walk.ends;
}
