/*
 * The journal as the probe sees it: prints the fields of each entry, one a line, and an empty line.
 * With PROBE_JOURNAL_REFUSES in the environment it takes none.
 */
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <string_view>

int sd_journal_sendv(const struct iovec* fields, int count)
{
    if (std::getenv("PROBE_JOURNAL_REFUSES") != nullptr)
    {
        return -ENOBUFS;
    }
    for (int i = 0; i < count; i++)
    {
        std::cout << std::string_view{static_cast<const char*>(fields[i].iov_base),
                                      fields[i].iov_len}
                  << '\n';
    }
    std::cout << std::endl;
    return 0;
}
