#include "fault_text.hpp"

#include "sim/names.hpp"

#include <systemd/sd-bus.h>

#include <charconv>
#include <chrono>
#include <limits>
#include <optional>

namespace hwinv_sim
{
namespace
{

/** Cuts off and returns what follows the last `mark`; nothing when there is none. */
std::optional<std::string> cutBehind(std::string& text, char mark)
{
    const std::size_t at = text.rfind(mark);
    if (at == std::string::npos)
    {
        return std::nullopt;
    }
    std::string behind = text.substr(at + 1);
    text.resize(at);
    return behind;
}

unsigned number(const std::string& text, const std::string& what, unsigned least)
{
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < least ||
        value > std::numeric_limits<int>::max())
    {
        throw sim::UsageError("'" + text + "' is not a number of " + what);
    }
    return value;
}

decltype(sim::Fault::action) action(const std::string& kind,
                                    const std::optional<std::string>& value)
{
    if (kind == "hang")
    {
        if (value)
        {
            throw sim::UsageError("a hang takes no value such as '" + *value +
                                  "'; *TIMES says how many calls");
        }
        return sim::Hang{};
    }
    if (kind == "delay")
    {
        return sim::Delay{std::chrono::milliseconds(number(value.value_or(""), "milliseconds", 0))};
    }
    if (kind != "fail")
    {
        throw sim::UsageError("no fault is called '" + kind + "': fail, hang, delay");
    }
    const std::string error = value.value_or(sim::names::failed);
    if (sd_bus_interface_name_is_valid(error.c_str()) <= 0)
    {
        throw sim::UsageError("'" + error + "' is not an error name such as " + sim::names::failed);
    }
    return sim::FailWith{error};
}

} // namespace

ServiceFault parseFault(const std::string& kind, const std::string& text)
{
    ServiceFault result;
    std::string rest = text;
    result.fault.action = action(kind, cutBehind(rest, '='));
    if (const auto times = cutBehind(rest, '*'))
    {
        result.fault.count = number(*times, "times, which is 1 at least", 1);
    }
    if (const auto path = cutBehind(rest, '@'))
    {
        result.fault.path = *path;
        if (sd_bus_object_path_is_valid(path->c_str()) <= 0)
        {
            throw sim::UsageError("'" + *path + "' in '" + text + "' is not an object path");
        }
    }
    const auto member = cutBehind(rest, ':');
    result.fault.member = member.value_or(rest);
    result.service = member ? rest : "";
    if (sd_bus_member_name_is_valid(result.fault.member.c_str()) <= 0)
    {
        throw sim::UsageError("'" + result.fault.member + "' in '" + text +
                              "' is not a method name");
    }
    if (member && rest != "smbios" && rest != "kovd")
    {
        throw sim::UsageError("no service is called '" + rest + "': smbios, kovd");
    }
    return result;
}

} // namespace hwinv_sim
