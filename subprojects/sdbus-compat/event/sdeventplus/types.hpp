/* Units of the event loop API.
 *
 * Any thread; holds no state.
 */
#pragma once

#include <chrono>
#include <cstdint>

namespace sdeventplus
{

using SdEventDuration = std::chrono::duration<std::uint64_t, std::micro>;

} // namespace sdeventplus
