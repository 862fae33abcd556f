#pragma once

// Where in a JSON document a reader is, for error messages: data[0]["/a/path"]["Property"].
//
// A place is a link to the place around it, so that walking a document costs nothing until an error
// asks for the text. A place must not outlive the one it was made from.
// Any thread; no shared state.

#include <cstddef>
#include <string>
#include <string_view>

namespace sim
{

class Place
{
  public:
    /** The top of a document; `name` may be empty. The text must outlive the place. */
    explicit Place(std::string_view name = "") : text_(name) {}

    Place member(std::string_view key) const
    {
        return Place(this, Kind::Member, key, 0);
    }
    Place element(std::size_t index) const
    {
        return Place(this, Kind::Element, "", index);
    }

    std::string text() const;

    /** How many steps below the top. */
    std::size_t depth() const
    {
        return depth_;
    }

  private:
    enum class Kind
    {
        Top,
        Member,
        Element,
    };

    Place(const Place* parent, Kind kind, std::string_view text, std::size_t index)
        : parent_(parent), kind_(kind), text_(text), index_(index), depth_(parent->depth_ + 1)
    {
    }

    const Place* parent_ = nullptr;
    Kind kind_ = Kind::Top;
    std::string_view text_;
    std::size_t index_ = 0;
    std::size_t depth_ = 0;
};

} // namespace sim
