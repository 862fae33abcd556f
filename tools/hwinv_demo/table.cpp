#include "table.hpp"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace hwinv_demo
{
namespace
{

constexpr std::size_t indent = 2;
constexpr std::size_t gap = 2;
constexpr std::size_t usualColumns = 80;

/** Narrower than this no column is readable. */
constexpr std::size_t narrowest = 12;

using Cells = std::vector<std::string>;
using Widths = std::vector<std::size_t>;

Widths naturalWidths(const std::vector<Cells>& lines)
{
    Widths widths;
    for (const Cells& cells : lines)
    {
        widths.resize(std::max(widths.size(), cells.size()));
        for (std::size_t column = 0; column < cells.size(); ++column)
        {
            widths[column] = std::max(widths[column], cells[column].size());
        }
    }
    return widths;
}

/** Takes from the widest columns, one step at a time, until all fit. */
void shrink(Widths& widths, std::size_t columns)
{
    const std::size_t spaces = indent + gap * (widths.size() - 1);
    const auto total = [&] { return std::accumulate(widths.begin(), widths.end(), spaces); };
    for (std::size_t tooWide = total(); tooWide > columns; --tooWide)
    {
        const auto widest = std::ranges::max_element(widths);
        if (*widest <= narrowest)
        {
            return;
        }
        --*widest;
    }
}

/** Cuts the beginning that goes into one line of a cell off the text. */
std::string_view takeLine(std::string_view& text, std::size_t width)
{
    std::size_t length = text.size();
    if (length > width)
    {
        const std::size_t blank = text.rfind(' ', width);
        const std::size_t slash = text.rfind('/', width - 1);
        length = width;
        if (blank != std::string_view::npos && blank > 0)
        {
            length = blank;
        }
        else if (slash != std::string_view::npos && slash > 0)
        {
            length = slash + 1;
        }
    }
    const std::string_view line = text.substr(0, length);
    text.remove_prefix(length);
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return line;
}

/** One line of cells in as many lines of output as its longest cell needs. */
void printCells(std::ostream& out, const Cells& cells, const Widths& widths)
{
    std::vector<std::string_view> left(cells.begin(), cells.end());
    do
    {
        std::string line(indent, ' ');
        std::size_t end = indent;
        for (std::size_t column = 0; column < left.size(); ++column)
        {
            line.resize(end, ' ');
            line += takeLine(left[column], widths[column]);
            end += widths[column] + gap;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    } while (std::ranges::any_of(left, [](std::string_view text) { return !text.empty(); }));
}

} // namespace

std::size_t terminalColumns(int descriptor)
{
    if (isatty(descriptor) == 0)
    {
        return unlimited;
    }
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                        : usualColumns;
}

void printTable(std::ostream& out, const std::vector<std::vector<std::string>>& lines,
                std::size_t columns)
{
    Widths widths = naturalWidths(lines);
    if (columns != unlimited)
    {
        shrink(widths, columns);
    }
    for (const Cells& cells : lines)
    {
        printCells(out, cells, widths);
    }
}

} // namespace hwinv_demo
