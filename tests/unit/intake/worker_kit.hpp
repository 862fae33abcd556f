/*
 * A worker at work, without a thread: it runs on the test's own, over the records it is given,
 * and the last of them stops it.
 *
 * Main thread only, but for Worker, which is constant.
 */
#pragma once

#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/records.hpp"
#include "doubles/util_lines.hpp"
#include "intake/workers.hpp"
#include "store/store.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

using Lines = std::vector<std::string>;
using Records = std::vector<SignalRecord>;

/** A worker, and an object that it cares for. */
struct Worker
{
    std::string function;
    void (*body)();
    MessageQueue& queue;
    std::string failure; // what it says of a record that it gives up
    std::string path;
    std::string interface;

    /** A change of nothing: the worker logs updateLine and does nothing else. */
    SignalRecord update(const std::string& name) const
    {
        return changedRecord(path + name, interface, {});
    }

    std::string updateText(const std::string& name) const
    {
        return path + name + " :Object path to be updated";
    }

    std::string line(int level, const std::string& text) const
    {
        return std::to_string(level) + " " + function + ": " + text;
    }

    std::string updateLine(const std::string& name) const
    {
        return line(1, updateText(name));
    }
};

inline const Worker smbiosWorker{
    .function = "processSmbiosMessagesInQueue",
    .body = processSmbiosMessagesInQueue,
    .queue = smbiosMessageQueue,
    .failure = "failed to process message",
    .path = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot",
    .interface = "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9",
};
inline const Worker kovdWorker{
    .function = "processKovdMessagesInQueue",
    .body = processKovdMessagesInQueue,
    .queue = kovdMessageQueue,
    .failure = "failed to read message",
    .path = "/xyz/openbmc_project/inventory/system/board/pcie/slot",
    .interface = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice",
};

/** Has the worker process the records, and one more that it is stopped at. */
inline void work(const Worker& worker, Records records, recorded_log::Hook hook = nullptr)
{
    {
        MutexLock lock(worker.queue.mutex);
        worker.queue.stop = false;
    }
    for (auto& record : records)
    {
        pushRecord(worker.queue, std::move(record));
    }
    pushRecord(worker.queue, worker.update("/end"));
    recorded_log::setHook(
        [&](const LogLine& line)
        {
            if (line.text == worker.updateText("/end"))
            {
                setStop(worker.queue);
            }
            else if (hook)
            {
                hook(line);
            }
        });
    worker.body();
    recorded_log::setHook(nullptr);
}

/** Whoever logged it, without the line that the worker was stopped at. */
inline Lines allLines(const Worker& worker)
{
    Lines lines = recorded_log::summary();
    EXPECT_EQ(lines.empty() ? "" : lines.back(), worker.updateLine("/end"));
    lines.pop_back();
    return lines;
}

/** Its own lines, without the one that it was stopped at. */
inline Lines ownLines(const Worker& worker)
{
    Lines lines = utilLinesOf(worker.function);
    EXPECT_EQ(lines.empty() ? "" : lines.back(), worker.updateLine("/end"));
    lines.pop_back();
    return lines;
}

/** Every property that any of the seven inserts keeps, each with a value that tells of `mark`. */
inline ReceivedProperties keptByAnyInsert(const std::string& mark)
{
    return {
        {"SlotDesignation", mark},    {"PCIeFQDD", mark}, {"FQDD", mark},
        {"Function0ClassCode", mark}, {"Socket", mark},   {"Handle", std::uint16_t{7}},
        {"TargetDevKey", mark},       {"Other", mark},
    };
}

/** The seven maps by name: what each holds under a path. */
inline std::map<std::string, PropertyMap> storedUnder(const std::string& path)
{
    const std::map<std::string, const ObjectMap*> maps{
        {"smbiosPCIeSlotObjs", &smbiosPCIeSlotObjs},
        {"smbiosCPUObjs", &smbiosCPUObjs},
        {"smbiosCacheObjs", &smbiosCacheObjs},
        {"kovdPCIeSlotObjs", &kovdPCIeSlotObjs},
        {"kovdPCIeDeviceObjs", &kovdPCIeDeviceObjs},
        {"kovdChassisPathSlotObjs", &kovdChassisPathSlotObjs},
        {"kovdCPUObjs", &kovdCPUObjs},
    };
    std::map<std::string, PropertyMap> stored;
    for (const auto& [name, map] : maps)
    {
        if (PropertyMap properties; map->getObject(path, &properties))
        {
            stored[name] = properties;
        }
    }
    return stored;
}

inline const std::map<std::string, PropertyMap> nothing;
