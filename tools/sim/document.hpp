#pragma once

// Files and JSON texts, with errors that a person understands: file, place and reason.
// Any thread; no shared state.

#include "sim/value.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace sim
{

/** The whole content of a file; throws CaptureError. */
std::string readFile(const std::filesystem::path& file);

/** Parses a JSON text; `name` stands for it in the CaptureError that it may throw. A key that
 *  stands twice in one object is refused. */
Json parseDocument(std::string_view text, const std::string& name);

/** What the JSON library complains of, without its own error code and place. */
std::string reasonOf(const Json::exception& error);

} // namespace sim
