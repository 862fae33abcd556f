/*
 * A kernel whose writes go wrong, as PROBE_WRITE in the environment says: "short" takes three bytes
 * at the first call, "broken" does so and fails at the second, "waiting" cannot be asked not to
 * wait. All other calls do what they are asked for.
 */
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>

ssize_t pwritev2(int descriptor, const iovec* parts, int count, off_t, int)
{
    static const std::string_view what = std::getenv("PROBE_WRITE");
    static int calls = 0;
    calls++;
    if (what == "waiting" || (what == "broken" && calls == 2))
    {
        errno = what == "waiting" ? EOPNOTSUPP : EIO;
        return -1;
    }
    return calls == 1 ? write(descriptor, parts[0].iov_base, 3) : writev(descriptor, parts, count);
}
