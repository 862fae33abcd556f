#pragma once

// What the tests of messages share: signals about objects that their service does not list.
//
// Main thread only.

#include "faults/kinds.hpp"
#include "faults/kit/fault_test.hpp"

#include <string>

namespace faults
{

class MessageFaults : public kit::FaultTest
{
  protected:
    sim::Service& serviceOf(const Kind& kind)
    {
        return kind.ofSmbios ? smbios : kovd;
    }

    /** Announces an object; the service's own objects stay as they are. */
    void announce(const Kind& kind, const std::string& path, const sim::Interfaces& interfaces);

    /** An object of this kind with one property of another value. */
    void announceWith(const Kind& kind, unsigned number, const std::string& property,
                      const sim::Value& value);

    /** How many lines a function has logged. */
    std::size_t linesOf(const std::string& function) const
    {
        return logged(function).size();
    }
};

} // namespace faults
