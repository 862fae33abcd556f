#include "options.hpp"

#include "sim/error.hpp"
#include "table.hpp"

#include <iostream>
#include <unistd.h>

namespace hwinvctl
{

bool wantsJson(const Common& common)
{
    return common.json != "off";
}

void printJson(const Common& common, const sim::Json& json)
{
    const bool pretty =
        common.json == "pretty" || (common.json == "auto" && isatty(STDOUT_FILENO) == 1);
    std::cout << json.dump(pretty ? 2 : -1, ' ', false, sim::Json::error_handler_t::replace)
              << '\n';
}

sim::Connection openBus(const Common& common)
{
    try
    {
        return common.address.empty() ? sim::connectToSystem() : sim::connectTo(common.address);
    }
    catch (const sim::Error& error)
    {
        throw sim::UsageError(std::string(error.what()) +
                              "; --address names another bus, --from a folder with a capture");
    }
}

inspect::World readWorld(const Common& common)
{
    try
    {
        if (!common.from.empty())
        {
            return inspect::readFolder(common.from);
        }
        return inspect::readBus(openBus(common).get());
    }
    catch (const sim::UsageError&)
    {
        throw;
    }
    catch (const sim::Error& error)
    {
        throw sim::UsageError(error.what()); // nothing was inspected
    }
}

void printText(const std::string& text)
{
    std::cout << wrapText(text, outputColumns()) << '\n';
}

} // namespace hwinvctl
