#include "table.hpp"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <libsmartcols.h>
#include <memory>
#include <new>
#include <numeric>
#include <sys/ioctl.h>
#include <unistd.h>

namespace hwinvctl
{
namespace
{

struct TableReleaser
{
    void operator()(libscols_table* table) const
    {
        scols_unref_table(table);
    }
};
using Table = std::unique_ptr<libscols_table, TableReleaser>;

/** Narrower than this no column is readable. */
constexpr std::size_t narrowest = 24;

/** What the columns before the last take, with the blank behind each. */
std::size_t widthBefore(const Cells& headings, const std::vector<Cells>& rows)
{
    std::size_t total = 0;
    for (std::size_t column = 0; column + 1 < headings.size(); ++column)
    {
        std::size_t widest = headings[column].size();
        for (const Cells& cells : rows)
        {
            widest = std::max(widest, cells[column].size());
        }
        total += widest + 1;
    }
    return total;
}

void check(int result)
{
    if (result != 0)
    {
        throw std::bad_alloc(); // the only way in which the library's building of a table fails
    }
}

Table newTable(const Cells& headings)
{
    Table table(scols_new_table());
    if (!table)
    {
        throw std::bad_alloc();
    }
    for (const std::string& heading : headings)
    {
        const bool last = &heading == &headings.back();
        libscols_column* column =
            scols_table_new_column(table.get(), heading.c_str(), 0, last ? SCOLS_FL_WRAP : 0);
        if (column == nullptr)
        {
            throw std::bad_alloc();
        }
        if (last)
        {
            // The lines are made here, at words; the library puts them below each other.
            check(scols_column_set_safechars(column, "\n"));
            check(scols_column_set_wrapfunc(column, scols_wrapnl_chunksize, scols_wrapnl_nextchunk,
                                            nullptr));
        }
    }
    return table;
}

std::string withoutTrailingBlanks(const std::string& text)
{
    std::string clean;
    for (std::size_t start = 0; start < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        std::string line = text.substr(start, end - start);
        line.erase(line.find_last_not_of(' ') + 1);
        clean += line + '\n';
        start = end + 1;
    }
    return clean;
}

} // namespace

std::size_t outputColumns()
{
    if (const char* text = std::getenv("COLUMNS"))
    {
        std::size_t columns = 0;
        const auto [end, error] = std::from_chars(text, text + std::strlen(text), columns);
        if (error == std::errc() && *end == '\0' && columns > 0)
        {
            return columns;
        }
    }
    winsize size{};
    const bool terminal = isatty(STDOUT_FILENO) == 1;
    return terminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                                       : unlimited;
}

std::string wrapText(const std::string& text, std::size_t columns)
{
    if (columns == unlimited)
    {
        return text;
    }
    std::string wrapped;
    std::size_t start = 0;
    while (text.size() - start > columns)
    {
        const std::size_t blank = text.rfind(' ', start + columns);
        const bool found = blank != std::string::npos && blank > start;
        const std::size_t end = found ? blank : start + columns;
        wrapped += text.substr(start, end - start) + '\n';
        start = found ? end + 1 : end;
    }
    return wrapped + text.substr(start);
}

std::string formatTable(const Cells& headings, const std::vector<Cells>& rows, std::size_t columns)
{
    if (rows.empty())
    {
        return "";
    }
    const std::size_t before = widthBefore(headings, rows);
    const std::size_t last = columns == unlimited
                                 ? unlimited
                                 : std::max(narrowest, columns > before ? columns - before : 0);
    const Table table = newTable(headings);
    for (const Cells& cells : rows)
    {
        libscols_line* line = scols_table_new_line(table.get(), nullptr);
        for (std::size_t column = 0; line != nullptr && column < cells.size(); ++column)
        {
            const bool isLast = column + 1 == headings.size();
            const std::string cell = isLast ? wrapText(cells[column], last) : cells[column];
            check(scols_line_set_data(line, column, cell.c_str()));
        }
    }
    // The width is settled already.
    scols_table_set_termforce(table.get(), SCOLS_TERMFORCE_NEVER);
    char* printed = nullptr;
    check(scols_print_table_to_string(table.get(), &printed));
    const std::unique_ptr<char, void (*)(void*)> owned(printed, std::free);
    return withoutTrailingBlanks(printed);
}

} // namespace hwinvctl
