/*
 * How arbitrary bytes become part of one line.
 *
 * \n, \r and \t are written so; every other control character, DEL and the UTF-8 form of the C1
 * controls (U+0080 to U+009F, U+0085 among them is "next line") byte by byte as \xHH. All other
 * bytes, also invalid UTF-8, are written as they are.
 *
 * Any thread; pure, safe in a signal handler.
 */
#pragma once

#include <cstddef>
#include <string_view>

namespace dlog
{

/** The length of the text once escaped. */
std::size_t escapedSize(std::string_view text);

/**
 * Writes the escaped text at out; the size is its escapedSize, for which there is room. Returns the
 * end of it.
 */
char* escape(std::string_view text, std::size_t size, char* out);

} // namespace dlog
