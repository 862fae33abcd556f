/*
 * The platform daemon at the other end of a connection, with no bus between: a thread
 * that keeps every call it gets and answers it, well or with an error.
 *
 * The connection is to be used by one thread; calls() may be read by any thread.
 */
#pragma once

#include "store/types.hpp"

#include <sdbusplus/bus.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

struct RecordedCall
{
    std::string destination;
    std::string path;
    std::string interface;
    std::string member;
    std::string signature;

    // Of a "ssv" body whose variant holds an association list.
    std::string setInterface;
    std::string setProperty;
    std::optional<AssociationList> value;
};

class PlatformDaemon
{
  public:
    PlatformDaemon();
    PlatformDaemon(const PlatformDaemon&) = delete;
    PlatformDaemon& operator=(const PlatformDaemon&) = delete;

    /** REQUIRES: nobody else holds the connection. */
    ~PlatformDaemon();

    /** The caller's end, up and running. */
    std::shared_ptr<sdbusplus::bus_t> connection() const
    {
        return connection_;
    }

    std::vector<RecordedCall> calls() const;

    /** Each call from now on is answered with the error org.freedesktop.DBus.Error.AccessDenied. */
    void refuse();

  private:
    void serve(int socket);
    static int answer(sd_bus_message* call, void* self, sd_bus_error* error);

    std::shared_ptr<sdbusplus::bus_t> connection_;
    mutable std::mutex mutex_;
    std::vector<RecordedCall> calls_;
    bool refusing_ = false;
    std::thread thread_;
};
