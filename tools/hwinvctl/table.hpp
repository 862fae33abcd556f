#pragma once

// Tables for people: whole in a pipe or a file, as wide as the terminal on one.
//
// The last column is broken into lines where the terminal is too narrow, between two words; nothing
// is left out.
// Any thread; no shared state.

#include <cstddef>
#include <string>
#include <vector>

namespace hwinvctl
{

/** No limit: nothing is broken into lines. */
inline constexpr std::size_t unlimited = 0;

/** The width to print at: COLUMNS when it is set, else that of the terminal on standard output,
 *  else `unlimited`. */
std::size_t outputColumns();

using Cells = std::vector<std::string>;

/** The table as text, headings first; empty when there are no rows. Throws std::bad_alloc. */
std::string formatTable(const Cells& headings, const std::vector<Cells>& rows, std::size_t columns);

/** The text in lines of at most `columns`, broken between words. */
std::string wrapText(const std::string& text, std::size_t columns);

} // namespace hwinvctl
