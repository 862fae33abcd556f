#include "own_file.hpp"

#include <filesystem>

namespace hwinv_sim
{

std::string ownFile(const char* built, const char* installed)
{
    std::error_code unknown;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", unknown);
    const bool isBuilt = program.string().starts_with(BUILD_FOLDER "/");
    return isBuilt ? built : installed;
}

} // namespace hwinv_sim
