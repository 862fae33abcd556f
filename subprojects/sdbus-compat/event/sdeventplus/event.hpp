/* An event loop.
 *
 * Holds one reference to an sd_event; copies share the loop. A failed sd-event call throws
 * SdEventError.
 *
 * A loop belongs to the thread that runs it; get_default is per thread.
 */
#pragma once

#include <sdeventplus/exception.hpp>
#include <sdeventplus/internal/reference.hpp>
#include <sdeventplus/types.hpp>
#include <systemd/sd-event.h>

#include <cstdint>
#include <optional>
#include <type_traits>

namespace sdeventplus
{

class Event
{
  public:
    using Timeout = SdEventDuration;
    using MaybeTimeout = std::optional<Timeout>;

    /// Adds a reference.
    Event(sd_event* event) : Event(sd_event_ref(event), std::false_type()) {}

    /// Takes the reference over.
    Event(sd_event* event, std::false_type) : event_(event) {}

    /// Lends: see internal/reference.hpp.
    Event(const Event& lender, internal::NoOwn) : event_(lender.event_, internal::NoOwn()) {}

    static Event get_new()
    {
        sd_event* event = nullptr;
        internal::check(sd_event_new(&event), "sd_event_new");
        return Event(event, std::false_type());
    }

    /// The thread's own loop, made at the first call.
    static Event get_default()
    {
        sd_event* event = nullptr;
        internal::check(sd_event_default(&event), "sd_event_default");
        return Event(event, std::false_type());
    }

    sd_event* get() const
    {
        return event_.get();
    }

    /// Waits for one event and handles it. Positive when there was one, 0 when the time was up;
    /// without a time-out it waits for ever.
    int run(MaybeTimeout timeout) const
    {
        return internal::check(sd_event_run(get(), timeout ? timeout->count() : UINT64_MAX),
                               "sd_event_run");
    }

    /// Handles events until somebody calls exit; returns the code given there.
    int loop() const
    {
        return internal::check(sd_event_loop(get()), "sd_event_loop");
    }

    void exit(int code) const
    {
        internal::check(sd_event_exit(get(), code), "sd_event_exit");
    }

    int get_exit_code() const
    {
        int code = 0;
        internal::check(sd_event_get_exit_code(get(), &code), "sd_event_get_exit_code");
        return code;
    }

  private:
    internal::Reference<sd_event, sd_event_ref, sd_event_unref> event_;
};

} // namespace sdeventplus
