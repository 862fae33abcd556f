#include "sim/fault.hpp"

#include <algorithm>
#include <utility>

namespace sim
{

void FaultPlan::add(Fault fault)
{
    faults_.push_back(std::move(fault));
}

void FaultPlan::clear()
{
    faults_.clear();
}

std::optional<Fault> FaultPlan::take(const std::string& member, const std::string& path)
{
    const auto fault =
        std::ranges::find_if(faults_,
                             [&](const Fault& candidate)
                             {
                                 return (candidate.member.empty() || candidate.member == member) &&
                                        (candidate.path.empty() || candidate.path == path);
                             });
    if (fault == faults_.end())
    {
        return std::nullopt;
    }
    std::optional<Fault> taken = *fault;
    if (fault->count != Fault::always && --fault->count == 0)
    {
        faults_.erase(fault);
    }
    return taken;
}

} // namespace sim
