// One line of the log; standard error is /dev/null, as scripts/bench starts it.

#include "base/log.hpp"
#include "dlog/dlog.hpp"

#include <benchmark/benchmark.h>

namespace
{

constexpr const char* path =
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot0064";

void logFiltered(benchmark::State& state)
{
    dlog_threshold = dlog::level::warning;
    for (auto _ : state)
    {
        UTIL_LOG(level::info, "smbios %s", path);
    }
}
BENCHMARK(logFiltered);

void logWritten(benchmark::State& state)
{
    dlog_threshold = dlog::level::info;
    for (auto _ : state)
    {
        UTIL_LOG(level::info, "smbios %s", path);
    }
}
BENCHMARK(logWritten);

} // namespace
