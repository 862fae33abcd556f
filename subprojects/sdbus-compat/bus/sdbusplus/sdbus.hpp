/* Units of the bus API.
 *
 * Any thread; holds no state.
 */
#pragma once

#include <chrono>
#include <cstdint>

namespace sdbusplus
{

/// A time-out or a waiting time, in microseconds.
using SdBusDuration = std::chrono::duration<std::uint64_t, std::micro>;

} // namespace sdbusplus
