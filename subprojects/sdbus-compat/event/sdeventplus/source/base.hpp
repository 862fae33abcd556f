/* What all event sources have in common.
 *
 * A source handle holds one counted reference; copies share the source. The callback lives in a
 * block of data that the source itself owns and that goes away with it, so a handle may be
 * destroyed inside its own callback. A failed sd-event call throws SdEventError.
 *
 * Belongs to the thread of the event loop.
 */
#pragma once

#include <sdeventplus/event.hpp>
#include <sdeventplus/internal/reference.hpp>
#include <systemd/sd-event.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

namespace sdeventplus
{
namespace source
{

enum class Enabled
{
    Off = SD_EVENT_OFF,
    On = SD_EVENT_ON,
    OneShot = SD_EVENT_ONESHOT,
};

class Base
{
  public:
    Base(const Base&) = default;
    Base(Base&&) = default;
    Base& operator=(const Base&) = default;
    Base& operator=(Base&&) = default;
    virtual ~Base() = default;

    sd_event_source* get() const
    {
        return source_.get();
    }

    const Event& get_event() const
    {
        return event_;
    }

    /// Null when the source has no description.
    const char* get_description() const
    {
        const char* description = nullptr;
        internal::check(sd_event_source_get_description(get(), &description),
                        "sd_event_source_get_description");
        return description;
    }

    void set_description(const char* description) const
    {
        internal::check(sd_event_source_set_description(get(), description),
                        "sd_event_source_set_description");
    }

    bool get_pending() const
    {
        return internal::check(sd_event_source_get_pending(get()), "sd_event_source_get_pending") !=
               0;
    }

    std::int64_t get_priority() const
    {
        std::int64_t priority = 0;
        internal::check(sd_event_source_get_priority(get(), &priority),
                        "sd_event_source_get_priority");
        return priority;
    }

    void set_priority(std::int64_t priority) const
    {
        internal::check(sd_event_source_set_priority(get(), priority),
                        "sd_event_source_set_priority");
    }

    Enabled get_enabled() const
    {
        int enabled = SD_EVENT_OFF;
        internal::check(sd_event_source_get_enabled(get(), &enabled),
                        "sd_event_source_get_enabled");
        return static_cast<Enabled>(enabled);
    }

    void set_enabled(Enabled enabled) const
    {
        internal::check(sd_event_source_set_enabled(get(), static_cast<int>(enabled)),
                        "sd_event_source_set_enabled");
    }

  protected:
    /// Takes the reference to `source` over.
    Base(const Event& event, sd_event_source* source, std::false_type)
        : event_(event), source_(source)
    {
    }

    Base(const Base& lender, internal::NoOwn)
        : event_(lender.event_, internal::NoOwn()), source_(lender.source_, internal::NoOwn())
    {
    }

    /// Gives the source its data, which it destroys when it ends.
    template <typename Data>
    void own(std::unique_ptr<Data> data) const
    {
        internal::check(sd_event_source_set_destroy_callback(get(), [](void* owned)
                                                             { delete static_cast<Data*>(owned); }),
                        "sd_event_source_set_destroy_callback");
        sd_event_source_set_userdata(get(), data.release());
    }

    template <typename Data>
    Data& owned() const
    {
        return *static_cast<Data*>(sd_event_source_get_userdata(get()));
    }

    /// Runs a callback for sd-event. Nothing may be thrown through C code, and an error of one
    /// callback is no reason to end the loop: it becomes a line on standard error.
    template <typename Call>
    static int run_callback(const char* name, Call&& call) noexcept
    {
        try
        {
            std::forward<Call>(call)();
        }
        catch (const std::exception& e)
        {
            std::fprintf(stderr, "sdeventplus: %s: %s\n", name, e.what());
        }
        catch (...)
        {
            std::fprintf(stderr, "sdeventplus: %s: Unknown error\n", name);
        }
        return 0;
    }

  private:
    Event event_;
    internal::Reference<sd_event_source, sd_event_source_ref, sd_event_source_unref> source_;
};

} // namespace source
} // namespace sdeventplus
