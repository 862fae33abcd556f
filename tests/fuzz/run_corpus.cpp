/*
 * Runs each file of the folders that it is given through the target, and every beginning of it: a
 * message may end anywhere. For compilers without libFuzzer; the seeds stay a test of the suite.
 */
#include "target.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace
{

std::vector<std::uint8_t> contents(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

int main(int count, char** arguments)
{
    std::size_t runs = 0;
    for (int i = 1; i < count; ++i)
    {
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i]))
        {
            const std::vector<std::uint8_t> bytes = contents(entry.path());
            for (std::size_t size = 0; size <= bytes.size(); ++size)
            {
                // A block of exactly that size, so that a checker sees a read behind its end.
                const std::vector<std::uint8_t> beginning(
                    bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
                LLVMFuzzerTestOneInput(beginning.data(), beginning.size());
                ++runs;
            }
        }
    }
    std::printf("%zu runs\n", runs);
    return runs != 0 ? 0 : 1;
}
