#pragma once

// A dbus-broker that lets a user have a few megabytes only.
//
// Its launcher asks for half a gigabyte whatever its configuration says, and runs no other program
// than /usr/bin/dbus-broker. So the calling thread gets a mount namespace of its own, in which that
// is a script that asks for less. It lasts until the thread ends; buses of other threads are not
// touched. Needs root.

#include <string>

namespace kit
{

/** Private buses that this thread starts from now on allow so many bytes. Why that cannot be done
 *  here; empty when it could. */
std::string limitBroker(std::size_t bytes);

} // namespace kit
