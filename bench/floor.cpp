/*
 * Floor: the least that any program could do.
 *
 * One thread, one connection. It reads what both services have and keeps nothing, sends as many
 * Sets as it was told, and from then on one for each platform object that is announced, at once and
 * without waiting for the reply. It matches nothing, keeps nothing and logs nothing.
 */
#include "least.hpp"

namespace
{

int onReply(sd_bus_message* /*reply*/, void* /*nothing*/, sd_bus_error* /*error*/)
{
    return 0;
}

void setAssociation(sd_bus* bus, const char* path)
{
    const least::Message call = least::associationCall(bus, path);
    least::require(sd_bus_call_async(bus, nullptr, call.get(), onReply, nullptr, 0), "send a Set");
}

int onAdded(sd_bus_message* signal, void* /*nothing*/, sd_bus_error* /*error*/)
{
    setAssociation(sd_bus_message_get_bus(signal), least::announcedPath(signal).c_str());
    return 0;
}

int onOther(sd_bus_message* /*signal*/, void* /*nothing*/, sd_bus_error* /*error*/)
{
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const unsigned sets = least::startUpSets(argc, argv);
    const least::Bus bus = least::openBus();
    least::takeName(bus.get());
    bool first = true;
    for (const char* rule : least::rules())
    {
        least::require(sd_bus_add_match_async(bus.get(), nullptr, rule, first ? onAdded : onOther,
                                              nullptr, nullptr),
                       "add a match");
        first = false;
    }
    least::readInventories(bus.get());
    for (unsigned i = 0; i < sets; ++i)
    {
        setAssociation(bus.get(), least::anyObject);
    }
    while (true)
    {
        if (least::require(sd_bus_process(bus.get(), nullptr), "talk to the bus") == 0)
        {
            least::require(sd_bus_wait(bus.get(), UINT64_MAX), "wait for the bus");
        }
    }
}
