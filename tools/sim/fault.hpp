#pragma once

// What a simulated service does wrong on request: for the next calls that fit, it fails, keeps
// silent, answers late, or answers something else.
// REQUIRES: one thread at a time.

#include "sim/value.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace sim
{

/** An error reply. */
struct FailWith
{
    std::string error;
    std::string text = "failed on request";
};

/** No reply ever. */
struct Hang
{
};

/** The call is carried out, and answered, only after this time. */
struct Delay
{
    std::chrono::milliseconds time;
};

/** The call is not carried out; the reply has this body: one JSON value for each type. */
struct ReplyWith
{
    std::string signature;
    Json body = Json::array();
};

struct Fault
{
    static constexpr unsigned always = 0;

    /** Which calls it fits: this member (any when empty) at this path (any when empty). */
    std::string member;
    std::string path;

    std::variant<FailWith, Hang, Delay, ReplyWith> action;

    /** How many calls it spoils before it is forgotten. */
    unsigned count = always;
};

class FaultPlan
{
  public:
    void add(Fault fault);
    void clear();

    /** The first fault added that fits the call, counted down; nothing when none does. */
    std::optional<Fault> take(const std::string& member, const std::string& path);

  private:
    std::vector<Fault> faults_;
};

} // namespace sim
