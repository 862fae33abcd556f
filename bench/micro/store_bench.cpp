// The operations of the store that events and searches use, by the number of stored objects.

#include "micro/kit.hpp"
#include "store/association_pairs.hpp"
#include "store/store.hpp"

#include <benchmark/benchmark.h>

namespace
{

void replaceObject(benchmark::State& state)
{
    const auto slots = static_cast<unsigned>(state.range(0));
    micro::keepOnlySmbiosSlots(slots);
    const std::string path = micro::smbiosPath(slots / 2);
    for (auto _ : state)
    {
        smbiosPCIeSlotObjs.insertObject(path, micro::smbiosSlot(slots / 2, slots / 2));
    }
}
BENCHMARK(replaceObject)->Arg(64)->Arg(1024);

void findObject(benchmark::State& state)
{
    const auto slots = static_cast<unsigned>(state.range(0));
    micro::keepOnlySmbiosSlots(slots);
    const std::string path = micro::smbiosPath(slots / 2);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(smbiosPCIeSlotObjs.findObject(path));
    }
}
BENCHMARK(findObject)->Arg(64)->Arg(1024);

void listPaths(benchmark::State& state)
{
    micro::keepOnlySmbiosSlots(static_cast<unsigned>(state.range(0)));
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(smbiosPCIeSlotObjs.listObjectPaths());
    }
}
BENCHMARK(listPaths)->Arg(64)->Arg(1024);

void addAndErasePair(benchmark::State& state)
{
    const auto pairs = static_cast<unsigned>(state.range(0));
    for (unsigned number = 1; number <= pairs; ++number)
    {
        addAssociationPair(micro::smbiosPath(number), micro::kovdPath(number));
    }
    const std::string smbios = micro::smbiosPath(pairs + 1);
    const std::string kovd = micro::kovdPath(pairs + 1);
    for (auto _ : state)
    {
        addAssociationPair(smbios, kovd);
        benchmark::DoNotOptimize(isPathAssociated(kovdSide, kovd));
        benchmark::DoNotOptimize(takeAssociatedKOVDPath(smbios));
    }
    for (unsigned number = 1; number <= pairs; ++number)
    {
        takeAssociatedKOVDPath(micro::smbiosPath(number));
    }
}
BENCHMARK(addAndErasePair)->Arg(64)->Arg(1024);

} // namespace
