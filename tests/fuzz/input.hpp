/*
 * The bytes of one run, taken from the front. When none is left, numbers are 0 and texts are empty.
 *
 * Values only; any thread. The bytes outlive the object.
 */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

class Input
{
  public:
    Input(const std::uint8_t* data, std::size_t size) : left_(data, size) {}

    std::uint8_t byte()
    {
        if (left_.empty())
        {
            return 0;
        }
        const std::uint8_t first = left_.front();
        left_ = left_.subspan(1);
        return first;
    }

    std::uint16_t word()
    {
        const unsigned high = byte();
        return static_cast<std::uint16_t>(high << 8U | byte());
    }

    /** Up to the next zero byte, which is taken too, or to the end. */
    std::string text()
    {
        const auto end = std::find(left_.begin(), left_.end(), std::uint8_t{0});
        const auto size = static_cast<std::size_t>(end - left_.begin());
        std::string taken(left_.begin(), end);
        left_ = left_.subspan(std::min(size + 1, left_.size()));
        return taken;
    }

    std::string rest()
    {
        const std::string taken(left_.begin(), left_.end());
        left_ = {};
        return taken;
    }

  private:
    std::span<const std::uint8_t> left_;
};
