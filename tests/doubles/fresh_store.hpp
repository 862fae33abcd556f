/*
 * A test fixture that starts with nothing stored, nothing paired, nothing requested and an empty
 * log, and leaves the same behind.
 */
#pragma once

#include <gtest/gtest.h>

/** Empties every map, pair table, list and queue, the stop flags, the log and the requests. */
void resetStore();

/** Whether recovery has been requested since the last look; takes the request back. */
bool takeRecoveryRequest();

class FreshStore : public testing::Test
{
  protected:
    FreshStore()
    {
        resetStore();
    }

    ~FreshStore() override
    {
        resetStore();
    }
};
