// Writes as many lines of the log as its argument says, each as the daemon writes one for a pair.

#include "base/log.hpp"

#include <cstdlib>

int main(int argc, char** argv)
{
    const long lines = argc == 2 ? std::strtol(argv[1], nullptr, 10) : 0;
    for (long line = 0; line < lines; ++line)
    {
        UTIL_LOG(level::info, "smbios %s",
                 "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot0064");
    }
    return 0;
}
