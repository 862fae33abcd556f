#include "engines/candidates.hpp"

CandidateState reportUnusable(const Site& site, const UnusableLines& lines, const std::string& path,
                              const StoredObject* object, int line)
{
    if (object == nullptr)
    {
        lines.vanished.log(site, line, level::error, path.c_str());
        return CandidateState::vanished;
    }
    lines.empty.log(site, line, level::error, path.c_str());
    return CandidateState::empty;
}
