#pragma once

// Random machines of few objects whose properties often agree, and sometimes are missing, wrong or
// of another type. The same series in each run.
// REQUIRES: one thread at a time.

#include "inspect/world.hpp"
#include "machine.hpp"

#include <random>
#include <string>

namespace worlds
{

class RandomWorlds
{
  public:
    /** A kept property of another type makes the daemon read everything again, 5 s later. */
    enum class Types
    {
        any,
        right,
    };

    explicit RandomWorlds(Types types) : types_(types) {}

    inspect::World next();

  private:
    unsigned below(unsigned bound);

    template <class List>
    const auto& oneOf(const List& list)
    {
        return list[below(static_cast<unsigned>(list.size()))];
    }

    PropertyValue wrongType();
    ReceivedProperties propertiesFor(machine::Kind kind, std::size_t index);
    void add(inspect::World& world, machine::Kind kind, std::size_t index);

    Types types_;
    std::mt19937 random_{20261121};
};

} // namespace worlds
