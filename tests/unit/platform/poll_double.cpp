/*
 * A poll after which another writer is faster: at its first call it fills the one-page pipe that it
 * then reports as writable.
 */
#include <poll.h>
#include <string>
#include <unistd.h>

int poll(pollfd* descriptors, nfds_t count, int timeout)
{
    static bool first = true;
    const timespec wait{timeout / 1000, timeout % 1000 * 1'000'000L};
    const int ready = ppoll(descriptors, count, &wait, nullptr);
    if (first)
    {
        first = false;
        const std::string page(4096, '-');
        return write(descriptors->fd, page.data(), page.size()) > 0 ? ready : -1;
    }
    return ready;
}
