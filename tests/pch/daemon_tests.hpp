// Parsed once for each test program of the daemon's floors: headers from outside this project that
// most of its files take anyway. Each file still includes what it uses: the build under clang in
// .ci/run takes no precompiled headers. No include guard: for the compiler this is a main file.

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>
