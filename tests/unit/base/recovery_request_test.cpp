#include "base/recovery_request.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace
{

TEST(requestRecovery, collapsesIntoOneRequestWithoutAWord)
{
    EXPECT_FALSE(takeRecoveryRequest());
    for (int i = 0; i < 10; ++i)
    {
        requestRecovery();
    }
    EXPECT_TRUE(takeRecoveryRequest());
    EXPECT_FALSE(takeRecoveryRequest());
    EXPECT_TRUE(recorded_log::lines().empty());
    MutexLock lock(recoveryMutex);
    EXPECT_FALSE(recoveryStop);
}

TEST(requestRecovery, wakesWhoWaits)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
    bool requested = false;
    std::thread waiter(
        [&]
        {
            MutexLock lock(recoveryMutex);
            while (!recoveryRequested && std::chrono::steady_clock::now() < deadline)
            {
                recoveryCondition.waitUntil(recoveryMutex, deadline);
            }
            requested = recoveryRequested;
        });
    requestRecovery();
    waiter.join();
    EXPECT_TRUE(requested);
}

} // namespace
