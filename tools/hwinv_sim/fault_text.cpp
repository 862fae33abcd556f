#include "fault_text.hpp"

#include "sim/names.hpp"

#include <systemd/sd-bus.h>

#include <charconv>
#include <chrono>
#include <limits>

namespace hwinv_sim
{
namespace
{

/** Cuts off and returns what follows the last `mark`; empty when there is none. */
std::string cutBehind(std::string& text, char mark)
{
    const std::size_t at = text.rfind(mark);
    if (at == std::string::npos)
    {
        return "";
    }
    std::string behind = text.substr(at + 1);
    text.resize(at);
    return behind;
}

unsigned number(const std::string& text, const std::string& what)
{
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value > std::numeric_limits<int>::max())
    {
        throw sim::Error("'" + text + "' is not a number of " + what);
    }
    return value;
}

decltype(sim::Fault::action) action(const std::string& kind, const std::string& value)
{
    if (kind == "hang")
    {
        return sim::Hang{};
    }
    if (kind == "delay")
    {
        return sim::Delay{std::chrono::milliseconds(number(value, "milliseconds"))};
    }
    if (kind != "fail")
    {
        throw sim::Error("no fault is called '" + kind + "': fail, hang, delay");
    }
    const std::string error = value.empty() ? sim::names::failed : value;
    if (sd_bus_interface_name_is_valid(error.c_str()) <= 0)
    {
        throw sim::Error("'" + error + "' is not an error name such as " + sim::names::failed);
    }
    return sim::FailWith{error};
}

} // namespace

ServiceFault parseFault(const std::string& kind, const std::string& text)
{
    ServiceFault result;
    std::string rest = text;
    result.fault.action = action(kind, cutBehind(rest, '='));
    const std::string times = cutBehind(rest, '*');
    if (!times.empty())
    {
        result.fault.count = number(times, "times");
    }
    result.fault.path = cutBehind(rest, '@');
    result.fault.member = cutBehind(rest, ':');
    result.service = rest;
    if (result.fault.member.empty())
    {
        result.fault.member.swap(result.service);
    }
    if (sd_bus_member_name_is_valid(result.fault.member.c_str()) <= 0)
    {
        throw sim::Error("'" + result.fault.member + "' in '" + text + "' is not a method name");
    }
    return result;
}

} // namespace hwinv_sim
