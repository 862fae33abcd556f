/*
 * Makes every revision of the binding see a refused match rule.
 *
 * Until July 2023 the binding's match object ignored what sd_bus_add_match returned, so a rule that
 * the bus refused (it allows a connection only so many) left an object behind that hears nothing,
 * and the daemon was deaf to that signal without a word. Those constructors stand in the binding's
 * header, hence they are compiled into this program, and the linker sends their call here in place
 * of libsystemd (-Wl,--wrap in meson.build). The error is thrown through them, in the words that
 * later revisions use. Those check for themselves: in them the call lies in a library, which is not
 * redirected.
 *
 * Nothing is asked of the bus but what the binding asks: one AddMatch for each match object.
 *
 * Any thread; the connection's own.
 */
#include <sdbusplus/exception.hpp>
#include <systemd/sd-bus.h>

extern "C"
{
    int addMatchOfLibsystemd(sd_bus* bus, sd_bus_slot** slot, const char* rule,
                             sd_bus_message_handler_t handler,
                             void* context) __asm__("__real_sd_bus_add_match");
    int addMatchChecked(sd_bus* bus, sd_bus_slot** slot, const char* rule,
                        sd_bus_message_handler_t handler,
                        void* context) __asm__("__wrap_sd_bus_add_match");
}

int addMatchChecked(sd_bus* bus, sd_bus_slot** slot, const char* rule,
                    sd_bus_message_handler_t handler, void* context)
{
    const int result = addMatchOfLibsystemd(bus, slot, rule, handler, context);
    if (result < 0)
    {
        throw sdbusplus::exception::SdBusError(-result, "sd_bus_match");
    }
    return result;
}
