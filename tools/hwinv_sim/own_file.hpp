#pragma once

// What belongs to this project and stands elsewhere in a build folder than in an installation.
// Any thread; no shared state.

#include <string>

namespace hwinv_sim
{

/** `built` in a program that runs from the build folder, `installed` in any other. */
std::string ownFile(const char* built, const char* installed);

} // namespace hwinv_sim
