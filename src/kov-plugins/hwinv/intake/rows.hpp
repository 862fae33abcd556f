/*
 * Which operation an object concerns, as data: rows of (path text, interface, operation).
 *
 * The first row whose path text stands anywhere in the path decides the branch; within the branch
 * the row with exactly the interface decides the operation. So an object that fits two branches
 * belongs to the first alone. Constant after start-up.
 */
#pragma once

#include "store/types.hpp"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

using InsertOperation = void (*)(const std::string& path, const PropertyMap& properties);
using RemoveOperation = void (*)(const std::string& path);

template <class Operation>
struct Row
{
    std::string_view pathText;
    std::string_view interface;
    Operation operation;
    std::string_view pathTextToo = {}; // must stand in the path as well; empty always does
};

using InsertRow = Row<InsertOperation>;
using RemoveRow = Row<RemoveOperation>;

inline bool contains(std::string_view path, std::string_view text)
{
    return path.find(text) != std::string_view::npos;
}

/** The path text of the branch that the path belongs to; empty when it belongs to none. */
template <class Operation, std::size_t N>
std::string_view branchOf(const std::array<Row<Operation>, N>& rows, std::string_view path)
{
    for (const auto& row : rows)
    {
        if (contains(path, row.pathText))
        {
            return row.pathText;
        }
    }
    return {};
}

/** The row for one interface of the path; null when nobody cares for it. */
template <class Operation, std::size_t N>
const Row<Operation>* findRow(const std::array<Row<Operation>, N>& rows, std::string_view path,
                              std::string_view interface)
{
    const std::string_view branch = branchOf(rows, path);
    for (const auto& row : rows)
    {
        if (row.pathText == branch && row.interface == interface && contains(path, row.pathTextToo))
        {
            return &row;
        }
    }
    return nullptr;
}
