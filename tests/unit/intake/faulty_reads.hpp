/*
 * What a test puts between a decoder and libsystemd: each hook sees one kind of call first and may
 * answer it in libsystemd's place, throw, or return nothing to let it through.
 *
 * Stands in for the calls themselves, chosen where the test is linked. Main thread only.
 */
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <optional>

struct FaultyReads
{
    std::function<std::optional<int>()> rewind;
    std::function<std::optional<int>(char type, void* value)> readBasic;
    std::function<std::optional<const char*>()> signature;
};

/** In force now; assign {} to let everything through again. */
extern FaultyReads faultyReads;
