#pragma once

// A view of this machine for one test process, in which the daemon's user exists and a bus finds
// what it needs, while the machine itself stays as it is.
//
// The process gets a mount namespace of its own: /etc/passwd and /etc/group are copies to which
// systemd-sysusers has added the user that the installed declaration names, /run is empty but for a
// socket where the journal would listen. It lasts until the process ends.
// Main thread only, before any other thread is started.

#include <string>
#include <sys/types.h>

namespace kit
{

/** Enters it on the first call. Why that cannot be done here; empty when it could. */
std::string enterOwnRoot(const std::string& usersFile);

struct User
{
    uid_t uid = 0;
    gid_t gid = 0;
};

/** REQUIRES: enterOwnRoot() returned nothing. Throws sim::Error when there is no such user. */
User userNamed(const std::string& name);

/** Where a dbus-broker is that was unpacked instead of installed, becomes part of /usr/bin.
 *  REQUIRES: enterOwnRoot() returned nothing. */
bool brokerIsThere(const std::string& unpacked);

} // namespace kit
