#include "engines/candidates.hpp"

CandidateState examine(const Site& site, const char* service, const std::string& path,
                       const SharedObject& object)
{
    if (!object)
    {
        LOG_AT(site, trace::error, "%s object not found for objPath: %s", service, path.c_str());
        return CandidateState::vanished;
    }
    if (object->properties.empty())
    {
        LOG_AT(site, trace::error, "%s object properties could not be obtained for objPath: %s",
               service, path.c_str());
        return CandidateState::empty;
    }
    return CandidateState::usable;
}
