#pragma once

// Tables of text: each column as wide as its widest cell, or as narrow as the terminal wants.
// Any thread; no shared state.

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace hwinv_demo
{

/** No limit: nothing is broken into lines. */
inline constexpr std::size_t unlimited = 0;

/** The width to print at: that of the terminal behind the descriptor, `unlimited` for a file or a
 *  pipe. */
std::size_t terminalColumns(int descriptor);

/** Prints lines of cells, indented. A table wider than `columns` gives its widest columns less
 *  room, and their cells go on in the next line, preferably behind a blank or a slash: nothing is
 *  left out. */
void printTable(std::ostream& out, const std::vector<std::vector<std::string>>& lines,
                std::size_t columns = unlimited);

} // namespace hwinv_demo
