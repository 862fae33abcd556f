// From a delivered signal to a record on the queue, and what the worker then makes of it.

#include "base/log.hpp"
#include "dlog/dlog.hpp"
#include "intake/message_queue.hpp"
#include "intake/signal_decoding.hpp"
#include "intake/workers.hpp"
#include "micro/kit.hpp"
#include "store/association_pairs.hpp"

#include <benchmark/benchmark.h>

#include <list>
#include <string>

namespace
{

std::list<SignalRecord> takeRecords()
{
    std::list<SignalRecord> taken;
    MutexLock lock(kovdMessageQueue.mutex);
    taken.swap(kovdMessageQueue.records);
    return taken;
}

void decodeSlotSignal(benchmark::State& state)
{
    sdbusplus::message_t message = micro::slotSignal(3);
    for (auto _ : state)
    {
        GetKovdMsgData(message);
        micro::rewind(message);
        benchmark::DoNotOptimize(takeRecords());
    }
}
BENCHMARK(decodeSlotSignal);

/** What libsystemd alone takes to walk over the same body. */
void skipSlotSignal(benchmark::State& state)
{
    sdbusplus::message_t message = micro::slotSignal(3);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(sd_bus_message_skip(message.get(), "oa{sa{sv}}"));
        micro::rewind(message);
    }
}
BENCHMARK(skipSlotSignal);

/** The slot fits the last one of those stored. Without a main loop its association is refused. */
void processSlotRecord(benchmark::State& state)
{
    dlog_threshold = 0;
    const auto slots = static_cast<unsigned>(state.range(0));
    micro::keepOnlySmbiosSlots(slots);
    // Its slot is taken: the record is searched for each time, as if it were new.
    sdbusplus::message_t message = micro::slotSignal(slots);
    GetKovdMsgData(message);
    std::list<SignalRecord> records = takeRecords();
    addAssociationPair(micro::smbiosPath(slots), "/partner" + std::to_string(slots));
    for (auto _ : state)
    {
        processKovdRecord(UTIL_SITE, records.front());
    }
}
BENCHMARK(processSlotRecord)->Arg(1)->Arg(64)->Arg(1024);

} // namespace
