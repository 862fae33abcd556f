/* An event loop.
 *
 * Holds one reference to an sd_event; copies share the loop. A failed sd-event call throws
 * SdEventError.
 *
 * A loop belongs to the thread that runs it; get_default is per thread.
 */
#pragma once

#include <sdeventplus/exception.hpp>
#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace sdeventplus
{

class Event
{
  public:
    using Timeout = std::chrono::duration<std::uint64_t, std::micro>;
    using MaybeTimeout = std::optional<Timeout>;

    static Event get_new()
    {
        sd_event* event = nullptr;
        internal::check(sd_event_new(&event), "sd_event_new");
        return Event(event);
    }

    /// The thread's own loop, made at the first call.
    static Event get_default()
    {
        sd_event* event = nullptr;
        internal::check(sd_event_default(&event), "sd_event_default");
        return Event(event);
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

    /// Handles events until the loop is told to exit; returns the code given there.
    int loop() const
    {
        return internal::check(sd_event_loop(get()), "sd_event_loop");
    }

  private:
    /// Takes the reference over.
    explicit Event(sd_event* event) : event_(event, sd_event_unref) {}

    std::shared_ptr<sd_event> event_;
};

} // namespace sdeventplus
