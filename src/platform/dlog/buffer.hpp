/*
 * Room for the bytes of one line: on the stack as a rule, in an anonymous mapping when the line is
 * longer than that. Neither is heap memory, so both are there in a signal handler.
 *
 * Any thread: an object belongs to one call.
 */
#pragma once

#include <cstddef>
#include <sys/mman.h>

namespace dlog
{

class Buffer
{
  public:
    Buffer() = default;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    ~Buffer()
    {
        if (data_ != stack_)
        {
            munmap(data_, size_);
        }
    }

    /**
     * Makes room for that many bytes; what was in the buffer is lost. Called once, if at all.
     * False, with nothing changed, when there is no memory.
     */
    bool makeRoom(std::size_t size)
    {
        if (size <= size_)
        {
            return true;
        }
        void* mapping =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED)
        {
            return false;
        }
        data_ = static_cast<char*>(mapping);
        size_ = size;
        return true;
    }

    char* data()
    {
        return data_;
    }

    std::size_t size() const
    {
        return size_;
    }

  private:
    // The longest line of an ordinary day has some 300 bytes; a call holds two of these.
    static constexpr std::size_t stackSize = 2048;

    char stack_[stackSize];
    char* data_ = stack_;
    std::size_t size_ = stackSize;
};

} // namespace dlog
