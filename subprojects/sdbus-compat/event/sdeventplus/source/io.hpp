/* Events on a file descriptor.
 *
 * The callback runs in the event loop for every event in the mask (epoll bits) until the last
 * handle is gone or the source is switched off. The descriptor stays its owner's. An exception out
 * of the callback becomes a line on standard error; the source goes on.
 *
 * Belongs to the thread of the event loop.
 */
#pragma once

#include <sdeventplus/internal/unique_function.hpp>
#include <sdeventplus/source/base.hpp>
#include <systemd/sd-event.h>

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

namespace sdeventplus
{
namespace source
{

class IO : public Base
{
  public:
    using Callback = internal::UniqueFunction<void(IO&, int fd, std::uint32_t revents)>;

    IO(const Event& event, int fd, std::uint32_t events, Callback&& callback);

    void set_callback(Callback&& callback);

    int get_fd() const
    {
        return internal::check(sd_event_source_get_io_fd(get()), "sd_event_source_get_io_fd");
    }

    void set_fd(int fd) const
    {
        internal::check(sd_event_source_set_io_fd(get(), fd), "sd_event_source_set_io_fd");
    }

    std::uint32_t get_events() const
    {
        std::uint32_t events = 0;
        internal::check(sd_event_source_get_io_events(get(), &events),
                        "sd_event_source_get_io_events");
        return events;
    }

    void set_events(std::uint32_t events) const
    {
        internal::check(sd_event_source_set_io_events(get(), events),
                        "sd_event_source_set_io_events");
    }

    std::uint32_t get_revents() const
    {
        std::uint32_t revents = 0;
        internal::check(sd_event_source_get_io_revents(get(), &revents),
                        "sd_event_source_get_io_revents");
        return revents;
    }

  private:
    /// What the source owns: the handle that its callback gets, lent, and the callback.
    struct Data;

    IO(const IO& lender, internal::NoOwn) : Base(lender, internal::NoOwn()) {}

    static sd_event_source* add(const Event& event, int fd, std::uint32_t events);
    static int dispatch(sd_event_source* source, int fd, std::uint32_t revents, void* userdata);
};

struct IO::Data
{
    IO io;
    Callback callback;
};

inline IO::IO(const Event& event, int fd, std::uint32_t events, Callback&& callback)
    : Base(event, add(event, fd, events), std::false_type())
{
    own(std::make_unique<Data>(Data{IO(*this, internal::NoOwn()), std::move(callback)}));
}

inline void IO::set_callback(Callback&& callback)
{
    owned<Data>().callback = std::move(callback);
}

inline sd_event_source* IO::add(const Event& event, int fd, std::uint32_t events)
{
    sd_event_source* source = nullptr;
    internal::check(sd_event_add_io(event.get(), &source, fd, events, dispatch, nullptr),
                    "sd_event_add_io");
    return source;
}

inline int IO::dispatch(sd_event_source*, int fd, std::uint32_t revents, void* userdata)
{
    auto& data = *static_cast<Data*>(userdata);
    return run_callback("ioCallback", [&] { data.callback(data.io, fd, revents); });
}

} // namespace source
} // namespace sdeventplus
