#include "doubles/util_lines.hpp"

#include "doubles/recorded_log.hpp"

#include <gtest/gtest.h>

namespace
{

std::string summary(const LogLine& line)
{
    EXPECT_EQ(line.module, 357) << line.text;
    EXPECT_EQ(line.file, "kov_hwinv_util") << line.text;
    EXPECT_GT(line.line, 0) << line.text;
    return std::to_string(line.level) + " " + line.function + ": " + line.text;
}

} // namespace

std::vector<std::string> utilLines()
{
    std::vector<std::string> result;
    for (const LogLine& line : recorded_log::lines())
    {
        result.push_back(summary(line));
    }
    return result;
}

std::vector<std::string> utilLinesOf(const std::string& function)
{
    std::vector<std::string> result;
    for (const LogLine& line : recorded_log::lines())
    {
        if (line.function == function)
        {
            result.push_back(summary(line));
        }
    }
    return result;
}

std::vector<std::string> loggingFunctions()
{
    std::vector<std::string> result;
    for (const LogLine& line : recorded_log::lines())
    {
        if (result.empty() || result.back() != line.function)
        {
            result.push_back(line.function);
        }
    }
    return result;
}
