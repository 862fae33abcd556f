#include "sim/place.hpp"

namespace sim
{

std::string Place::text() const
{
    switch (kind_)
    {
        case Kind::Top:
            return std::string(text_);
        case Kind::Element:
            return parent_->text() + "[" + std::to_string(index_) + "]";
        case Kind::Member:
            break;
    }
    std::string around = parent_->text();
    if (around.empty())
    {
        return std::string(text_);
    }
    return around + "[\"" + std::string(text_) + "\"]";
}

} // namespace sim
