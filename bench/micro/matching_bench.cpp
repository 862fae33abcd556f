// One comparison, by the condition that decides it; info lines are filtered.

#include "dlog/dlog.hpp"
#include "engines/fqdd.hpp"
#include "engines/match.hpp"
#include "engines/match_keys.hpp"
#include "micro/kit.hpp"

#include <benchmark/benchmark.h>

namespace
{

void compareSlots(benchmark::State& state, const PropertyMap& smbios, const PropertyMap& kovd)
{
    dlog_threshold = dlog::level::warning;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(CompareAssociationProperties(smbios, kovd, compare::slotForKovd));
    }
}

BENCHMARK_CAPTURE(compareSlots, identifiersDiffer, micro::smbiosSlot(3, 3), micro::kovdSlot(4, 4));
BENCHMARK_CAPTURE(compareSlots, numbersDiffer, micro::smbiosSlot(3, 7), micro::kovdSlot(4, 7));
BENCHMARK_CAPTURE(compareSlots, match, micro::smbiosSlot(3, 3), micro::kovdSlot(3, 3));

/** The same as a search does it: with what was read from both when they were stored. */
void compareStored(benchmark::State& state, const PropertyMap& smbios, const PropertyMap& kovd)
{
    dlog_threshold = dlog::level::warning;
    const StoredObject smbiosObject{"/smbios", smbios, keysOfSmbiosSlot(smbios)};
    const StoredObject kovdObject{"/kovd", kovd, keysOfKovdSlot(kovd)};
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(sidesMatch(smbiosObject, kovdObject, compare::slotForKovd));
    }
}

BENCHMARK_CAPTURE(compareStored, identifiersDiffer, micro::smbiosSlot(3, 3), micro::kovdSlot(4, 4));
BENCHMARK_CAPTURE(compareStored, numbersDiffer, micro::smbiosSlot(3, 7), micro::kovdSlot(4, 7));
BENCHMARK_CAPTURE(compareStored, match, micro::smbiosSlot(3, 3), micro::kovdSlot(3, 3));

void splitDescriptor(benchmark::State& state)
{
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(splitFqdd("NIC.Embedded.3-1-1"));
    }
}
BENCHMARK(splitDescriptor);

} // namespace
