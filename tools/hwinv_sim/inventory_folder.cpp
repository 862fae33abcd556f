#include "inventory_folder.hpp"

#include "own_file.hpp"
#include "sim/error.hpp"
#include "sim/names.hpp"

#include <cstdlib>
#include <set>

namespace hwinv_sim
{
namespace
{

namespace fs = std::filesystem;

std::vector<fs::path> shelves()
{
    std::vector<fs::path> folders;
    const char* own = std::getenv("HWINV_INVENTORIES");
    if (own != nullptr && *own != '\0')
    {
        folders.emplace_back(own);
    }
    folders.push_back(ownFile(BUILT_INVENTORIES, INSTALLED_INVENTORIES));
    return folders;
}

} // namespace

fs::path findInventory(const std::string& text)
{
    std::error_code ignored;
    if (fs::is_directory(text, ignored))
    {
        return text;
    }
    const bool isName = text.find('/') == std::string::npos && text != "." && text != "..";
    for (const fs::path& shelf : shelves())
    {
        if (isName && fs::is_directory(shelf / text, ignored))
        {
            return shelf / text;
        }
    }
    std::string known;
    for (const std::string& name : knownInventories())
    {
        known += (known.empty() ? "" : ", ") + name;
    }
    throw sim::UsageError("no inventory '" + text + "': give a folder or one of " + known);
}

std::vector<std::string> knownInventories()
{
    std::set<std::string> names;
    for (const fs::path& shelf : shelves())
    {
        std::error_code ignored;
        for (const auto& entry : fs::directory_iterator(shelf, ignored))
        {
            if (fs::exists(entry.path() / sim::names::smbiosFile, ignored))
            {
                names.insert(entry.path().filename().string());
            }
        }
    }
    return {names.begin(), names.end()};
}

} // namespace hwinv_sim
