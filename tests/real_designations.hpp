#pragma once

// What real servers call their slots and sockets: a file that is not part of this tree.
// HWINV_REAL_DESIGNATIONS names it, else it is looked for in the folder "shared" beside the tree.
// Without it the tests are skipped; a file that is no JSON fails them.
//
// Main thread only; no shared state.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>

class RealDesignationsTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        const char* named = std::getenv("HWINV_REAL_DESIGNATIONS");
        const std::filesystem::path file =
            named != nullptr ? named : SOURCE_ROOT "/../shared/real-designations.json";
        std::ifstream stream(file);
        if (!stream)
        {
            GTEST_SKIP() << "there is no " << file;
        }
        machines = nlohmann::json::parse(stream).at("machines");
    }

    nlohmann::json machines = nlohmann::json::array();
};
