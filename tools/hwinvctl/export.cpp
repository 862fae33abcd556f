// The verb "export": a picture of the machine.

#include "inspect/picture.hpp"
#include "program/program.hpp"
#include "verbs.hpp"

#include <iostream>

namespace hwinvctl
{

int exportPicture(const Common& common, const std::string& format)
{
    const inspect::Picture picture = inspect::pictureOf(inspect::examine(readWorld(common)));
    if (format == "json")
    {
        printJson(common, inspect::toJson(picture));
        return program::done;
    }
    std::cout << (format == "dot"   ? inspect::toDot(picture)
                  : format == "svg" ? inspect::toSvg(picture)
                                    : inspect::toHtml(picture));
    return program::done;
}

} // namespace hwinvctl
