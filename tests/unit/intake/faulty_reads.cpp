#include "unit/intake/faulty_reads.hpp"

#include <dlfcn.h>

FaultyReads faultyReads;

namespace
{

/** The function of that name in libsystemd. */
template <class Function>
Function* behind(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

int sd_bus_message_rewind(sd_bus_message* message, int complete)
{
    static auto* const real = behind<decltype(sd_bus_message_rewind)>("sd_bus_message_rewind");
    const auto answer = faultyReads.rewind ? faultyReads.rewind() : std::nullopt;
    return answer ? *answer : real(message, complete);
}

int sd_bus_message_read_basic(sd_bus_message* message, char type, void* value)
{
    static auto* const real =
        behind<decltype(sd_bus_message_read_basic)>("sd_bus_message_read_basic");
    const auto answer = faultyReads.readBasic ? faultyReads.readBasic(type, value) : std::nullopt;
    return answer ? *answer : real(message, type, value);
}

const char* sd_bus_message_get_signature(sd_bus_message* message, int complete)
{
    static auto* const real =
        behind<decltype(sd_bus_message_get_signature)>("sd_bus_message_get_signature");
    const auto answer = faultyReads.signature ? faultyReads.signature() : std::nullopt;
    return answer ? *answer : real(message, complete);
}
