// Parsed once for each library and program under tools: headers from outside this project that most
// of its files take anyway. Each file still includes what it uses: the build under clang in .ci/run
// takes no precompiled headers. No include guard: for the compiler this is a main file.

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>
