#pragma once

// Both simulated services with three slots and a processor, running on a private bus, and a client
// beside them. One bus serves all tests of a suite; services and client are new for each test.
// Main thread only.

#include "sim/bus.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"
#include "sim/service.hpp"
#include "watcher.hpp"

#include <gtest/gtest.h>

#include <string>

class ServiceTest : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        bus_ = new sim::PrivateBus;
    }
    static void TearDownTestSuite()
    {
        delete bus_;
    }

    ServiceTest()
    {
        const auto inventory = sim::makeInventory(3, 1);
        smbios.load(inventory.smbios);
        kovd.load(inventory.kovd);
        smbios.start();
        kovd.start();
    }

    static const std::string& address()
    {
        return bus_->address();
    }

  private:
    static inline sim::PrivateBus* bus_ = nullptr;

  protected:
    const std::string slot1 = sim::kovdSlotPath(1);
    const std::string below = std::string(sim::names::boardRoot) + "/thing";
    const sim::Associations pair{{"chassis", "pcieslot", "/slot"}};

    sim::Service smbios{address(), sim::smbiosProfile()};
    sim::Service kovd{address(), sim::kovdProfile()};
    Watcher watcher{address()};
};
