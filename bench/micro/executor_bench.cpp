// Units of work from their hand-over to their end, on one thread: first all are queued, then run.

#include "infrautils/oneway_channel.hpp"

#include <benchmark/benchmark.h>

#include <optional>

namespace
{

int done = 0;

int countUnit(void* /*context*/, void* /*data*/, unsigned long /*size*/)
{
    ++done;
    return 0;
}

void runUnits(benchmark::State& state)
{
    auto loop = sdeventplus::Event::get_new();
    auto& channel = infrautils::OneWayChannel::getInstance();
    if (channel.RegisterEventLoop(loop, nullptr, {}) != 0)
    {
        state.SkipWithError("the loop does not take the channel");
    }
    const auto units = static_cast<int>(state.range(0));
    for (auto _ : state)
    {
        done = 0;
        for (int unit = 0; unit < units; ++unit)
        {
            OneWayChannel_Execute(countUnit, new int(unit), sizeof(int), 1);
        }
        while (done < units)
        {
            loop.run(std::nullopt);
        }
    }
    state.SetItemsProcessed(state.iterations() * units);
}
BENCHMARK(runUnits)->Arg(1)->Arg(100)->Arg(5000);

} // namespace
