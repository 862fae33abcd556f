#include "kernel_double.hpp"

#include <cerrno>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

std::atomic<int> reads{0};
std::atomic<bool> epollIsFull{false};

ssize_t read(int descriptor, void* bytes, std::size_t size)
{
    reads++;
    return syscall(SYS_read, descriptor, bytes, size);
}

int epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) noexcept
{
    if (epollIsFull && operation == EPOLL_CTL_ADD)
    {
        errno = ENOSPC;
        return -1;
    }
    return static_cast<int>(syscall(SYS_epoll_ctl, epoll, operation, descriptor, event));
}
