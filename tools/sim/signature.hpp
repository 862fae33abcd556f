#pragma once

// D-Bus type strings: where one complete type ends, and what it contains.
//
// Every function is pure. "One complete type" is a basic type, a variant, a struct, or an array
// together with its element; the limits of the protocol (255 characters, 32 nested arrays, 32
// nested structs) hold. Unix file descriptors ("h") cannot be simulated and are not a type here.
// Any thread; no shared state.

#include <cstddef>
#include <string_view>
#include <vector>

namespace sim
{

/** The length of the complete type at the start of `text`; 0 when there is none. */
std::size_t completeTypeLength(std::string_view text);

/** True when `text` is exactly one complete type. */
bool isCompleteType(std::string_view text);

/** True when `text` is a list of complete types (possibly empty): a message or struct body. */
bool isSignature(std::string_view text);

/** The complete types of a valid signature, in order. REQUIRES: isSignature(text). */
std::vector<std::string_view> splitSignature(std::string_view text);

bool isBasicType(char type);

/** True for the type of a dictionary, such as "a{sv}". REQUIRES: isCompleteType(type). */
bool isDictionary(std::string_view type);

} // namespace sim
