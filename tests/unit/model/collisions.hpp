/*
 * Random events that meet: what stands before, and what each service then says at the same time,
 * a few records each, nearly all about one slot or one processor with its caches.
 *
 * One thread at a time.
 */
#pragma once

#include "intake/message_queue.hpp"
#include "machine.hpp"
#include "orders.hpp"

#include <cstdint>
#include <random>
#include <vector>

namespace collisions
{

/** An event, and the record that brings it to a worker; a pass has none. */
struct Act
{
    machine::Event event;
    SignalRecord record;
    bool smbios = false; // whose worker
};

using Acts = std::vector<Act>;

struct Collision
{
    Acts before;
    std::vector<Acts> threads; // the SMBIOS worker's, the KOVD worker's, perhaps a pass
};

/** Does the record as its worker would. */
void process(const Act& act);

orders::Script eventsOf(const Acts& acts);

class Generator
{
  public:
    explicit Generator(std::uint64_t seed) : random_(seed) {}

    Collision next(bool withPass);

    /** A number from 0 up to one below `end`. */
    int below(int end);

  private:
    Acts acts(bool smbios, int count);
    Act act(bool smbios);
    machine::Kind kind(bool smbios);
    int number(machine::Kind kind);
    ReceivedProperties someProperties(machine::Kind kind);

    std::mt19937_64 random_;
    bool processors_ = false; // what this collision is about; else slots
    int number_ = 1;          // of the slot or processor that it is mostly about
};

} // namespace collisions
