#include "engines/candidates.hpp"

CandidateState examine(const Site& site, const UnusableLines& lines, const std::string& path,
                       const SharedObject& object, int line)
{
    if (!object)
    {
        lines.vanished.log(site, line, level::error, path.c_str());
        return CandidateState::vanished;
    }
    if (object->properties.empty())
    {
        lines.empty.log(site, line, level::error, path.c_str());
        return CandidateState::empty;
    }
    return CandidateState::usable;
}
