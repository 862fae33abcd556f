#include "child/pipe.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace child
{
namespace
{

int check(int result, const char* attempted)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), attempted);
    }
    return result;
}

/** For poll: never less than what is left, as a wait that ends early would be repeated. */
int millisecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    constexpr std::chrono::milliseconds::rep most = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(left.count(), std::chrono::milliseconds::rep{0}, most));
}

} // namespace

void Descriptor::reset()
{
    if (number_ >= 0)
    {
        close(number_);
    }
    number_ = -1;
}

Pipe makePipe()
{
    int ends[2];
    check(pipe2(ends, O_CLOEXEC), "cannot make a pipe");
    return {Descriptor{ends[0]}, Descriptor{ends[1]}};
}

Pipe makeTerminal(unsigned short columns)
{
    constexpr int flags = O_RDWR | O_NOCTTY | O_CLOEXEC;
    Descriptor person{check(posix_openpt(flags), "cannot make a terminal")};
    check(unlockpt(person.get()), "cannot unlock a terminal");
    Descriptor program{check(ioctl(person.get(), TIOCGPTPEER, flags), "cannot open a terminal")};
    const winsize size{24, columns, 0, 0};
    check(ioctl(program.get(), TIOCSWINSZ, &size), "cannot size a terminal");
    return {std::move(person), std::move(program)};
}

bool waitReadable(int descriptor, Clock::time_point deadline)
{
    pollfd waited{descriptor, POLLIN, 0};
    int ready = 0;
    do
    {
        ready = poll(&waited, 1, millisecondsUntil(deadline));
    } while (ready < 0 && errno == EINTR);
    return check(ready, "cannot poll") > 0;
}

std::optional<std::string> readSome(int from, Clock::time_point deadline, std::size_t most)
{
    if (!waitReadable(from, deadline))
    {
        return std::nullopt;
    }
    std::string bytes(most, '\0');
    ssize_t got = 0;
    do
    {
        got = read(from, bytes.data(), bytes.size());
    } while (got < 0 && errno == EINTR);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return bytes;
}

bool readUntil(int from, std::string& text, const std::string& wanted,
               std::chrono::milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    while (text.find(wanted) == std::string::npos)
    {
        const auto some = readSome(from, deadline);
        if (!some || some->empty())
        {
            return false;
        }
        text += *some;
    }
    return true;
}

bool readAll(int from, std::string& text, std::chrono::milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    auto some = readSome(from, deadline);
    while (some && !some->empty())
    {
        text += *some;
        some = readSome(from, deadline);
    }
    return some.has_value();
}

} // namespace child
