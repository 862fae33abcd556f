/*
 * Names, which are views, as the texts that C functions take. Any thread.
 */
#pragma once

#include <string_view>

/** The text itself. Does not compile for a view that no zero byte follows. */
consteval const char* terminated(std::string_view name)
{
    if (name.data()[name.size()] != '\0')
    {
        throw name; // a compile error: the text goes on
    }
    return name.data();
}
