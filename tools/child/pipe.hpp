#pragma once

// Descriptors, pipes and terminals for child processes, and reading from them with a bound.
//
// A Descriptor has one owner, whose destruction closes it. What is made here is close-on-exec: a
// program gets it only as one of its standard streams. No function waits longer than its deadline
// or limit. Throws std::system_error when the kernel has no descriptor or no memory left.
// Any thread; no shared state.

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace child
{

using Clock = std::chrono::steady_clock;

/** Owns a descriptor; -1 for none. */
class Descriptor
{
  public:
    explicit Descriptor(int number = -1) : number_(number) {}

    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }

    ~Descriptor()
    {
        reset();
    }

    /** Closes it. */
    void reset();

    int get() const
    {
        return number_;
    }

  private:
    int number_;
};

struct Pipe
{
    Descriptor read;
    Descriptor write;
};

/** Both ends wait: reading for bytes, writing for room. */
Pipe makePipe();

/** A terminal as wide as that. `write` is for the streams of a program; `read` gives what the
 *  program prints, and takes what a person types. */
Pipe makeTerminal(unsigned short columns);

/** False when the deadline came before there was something to read, or the end. One that has
 *  passed already still gives one look. */
bool waitReadable(int descriptor, Clock::time_point deadline);

/** What one read gives: at most `most` bytes, none at the end; nothing at all when the time has run
 *  out. A failure counts as the end: a terminal ends that way when its last program does. */
std::optional<std::string> readSome(int from, Clock::time_point deadline, std::size_t most = 65536);

/** Appends to `text` until that contains `wanted`, and what came along with it. False when the end
 *  or the limit came before; `text` has what was read until then. */
bool readUntil(int from, std::string& text, const std::string& wanted,
               std::chrono::milliseconds limit);

/** Appends to `text` until the end. False when the limit came before; `text` has what was read
 * until then. */
bool readAll(int from, std::string& text, std::chrono::milliseconds limit);

} // namespace child
