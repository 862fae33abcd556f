/* Events on a file descriptor.
 *
 * The callback runs in the event loop for every event in the mask (epoll bits) until the object is
 * destroyed. The descriptor stays its owner's. A descriptor that cannot be watched throws
 * SdEventError. An exception out of the callback becomes a line on standard error; the source goes
 * on.
 *
 * The callback may destroy the object. It lives in a block of data that sd-event destroys together
 * with the source, and sd-event keeps a source until its callback has returned.
 *
 * Belongs to the thread of the event loop.
 */
#pragma once

#include <sdeventplus/event.hpp>
#include <systemd/sd-event.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

namespace sdeventplus
{
namespace source
{

class IO
{
  public:
    using Callback = std::function<void(IO&, int fd, std::uint32_t revents)>;

    IO(const Event& event, int fd, std::uint32_t events, Callback&& callback)
        : source_(add(event, fd, events), sd_event_source_unref)
    {
        auto data = std::make_unique<Data>(Data{*this, std::move(callback)});
        internal::check(sd_event_source_set_destroy_callback(source_.get(), destroy),
                        "sd_event_source_set_destroy_callback");
        sd_event_source_set_userdata(source_.get(), data.release());
    }

    IO(const IO&) = delete;
    IO& operator=(const IO&) = delete;

    /// Stays the object's.
    sd_event_source* get() const
    {
        return source_.get();
    }

  private:
    /// What sd-event hands to the callback and destroys together with the source.
    struct Data
    {
        IO& io;
        Callback callback;
    };

    static sd_event_source* add(const Event& event, int fd, std::uint32_t events)
    {
        sd_event_source* source = nullptr;
        internal::check(sd_event_add_io(event.get(), &source, fd, events, dispatch, nullptr),
                        "sd_event_add_io");
        return source;
    }

    static void destroy(void* data)
    {
        delete static_cast<Data*>(data);
    }

    /// Nothing may be thrown through C code, and an error of one callback is no reason to end the
    /// loop.
    static int dispatch(sd_event_source*, int fd, std::uint32_t revents, void* userdata) noexcept
    {
        auto& data = *static_cast<Data*>(userdata);
        try
        {
            data.callback(data.io, fd, revents);
        }
        catch (const std::exception& e)
        {
            std::fprintf(stderr, "sdeventplus: ioCallback: %s\n", e.what());
        }
        catch (...)
        {
            std::fprintf(stderr, "sdeventplus: ioCallback: Unknown error\n");
        }
        return 0;
    }

    std::unique_ptr<sd_event_source, decltype(&sd_event_source_unref)> source_;
};

} // namespace source
} // namespace sdeventplus
