#pragma once

// The objects of one simulated service under the rules of its profile.
//
// Every operation either does its work or throws (ValueError for a name, path or value that D-Bus
// does not know; Error for an object, interface or property that is not there) and changes nothing.
// It knows nothing of a bus: what has to be announced is what the operations return.
// REQUIRES: one thread at a time.

#include "sim/objects.hpp"
#include "sim/profile.hpp"

#include <set>
#include <string>
#include <vector>

namespace sim
{

class Inventory
{
  public:
    explicit Inventory(Profile profile);

    const Profile& profile() const
    {
        return profile_;
    }
    const Objects& objects() const
    {
        return objects_;
    }

    /** Forgets all objects and holds these. */
    void replace(Objects objects);

    /** Adds interfaces to an object, which may be new; a present interface is replaced.
     *  Returns what has appeared. */
    Interfaces add(const std::string& path, Interfaces interfaces);

    /** Sets properties of a present interface; new property names are welcome. */
    void change(const std::string& path, const std::string& interface,
                const Properties& properties);

    /** Removes the named interfaces, or all when none is named; an object left with nothing of its
     *  own vanishes. Returns the names of what is gone. */
    std::vector<std::string> remove(const std::string& path,
                                    const std::vector<std::string>& interfaces);

    /** The path of the object manager that reports an object; empty when it lies below none. */
    std::string managerOf(const std::string& path) const;

    bool isManager(const std::string& path) const;

    /** The names of the direct children of a path in the tree. */
    std::set<std::string> children(const std::string& path) const;

  private:
    Interfaces complete(Interfaces interfaces) const;

    Profile profile_;
    Objects objects_;
};

} // namespace sim
