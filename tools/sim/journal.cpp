#include "sim/journal.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace sim
{

std::vector<SetCall> Journal::sets() const
{
    const std::lock_guard lock(mutex_);
    return sets_;
}

std::vector<SetCall> Journal::setsOn(const std::string& path) const
{
    const std::lock_guard lock(mutex_);
    std::vector<SetCall> found;
    std::ranges::copy_if(sets_, std::back_inserter(found),
                         [&](const SetCall& set) { return set.path == path; });
    return found;
}

std::size_t Journal::setCount() const
{
    const std::lock_guard lock(mutex_);
    return sets_.size();
}

std::size_t Journal::calls(const std::string& member, const std::string& path) const
{
    const std::lock_guard lock(mutex_);
    const auto count = std::ranges::count_if(calls_,
                                             [&](const Call& call) {
                                                 return (member.empty() || call.member == member) &&
                                                        (path.empty() || call.path == path);
                                             });
    return static_cast<std::size_t>(count);
}

bool Journal::waitForCalls(const std::string& member, const std::string& path, std::size_t count,
                           std::chrono::milliseconds limit) const
{
    return waitUntil([&] { return calls(member, path) >= count; }, limit);
}

bool Journal::waitForSets(std::size_t count, std::chrono::milliseconds limit) const
{
    return waitUntil([&] { return setCount() >= count; }, limit);
}

bool Journal::waitUntil(const std::function<bool()>& fact, std::chrono::milliseconds limit) const
{
    const auto deadline = Clock::now() + limit;
    std::unique_lock lock(mutex_);
    while (true)
    {
        const std::size_t seen = generation_;
        lock.unlock();
        if (fact())
        {
            return true;
        }
        lock.lock();
        if (!recorded_.wait_until(lock, deadline, [&] { return generation_ != seen; }))
        {
            return false;
        }
    }
}

void Journal::clear()
{
    const std::lock_guard lock(mutex_);
    calls_.clear();
    sets_.clear();
}

void Journal::recordCall(const std::string& member, const std::string& path)
{
    const std::lock_guard lock(mutex_);
    calls_.push_back({member, path});
    ++generation_;
    recorded_.notify_all();
}

void Journal::recordSet(SetCall set)
{
    const std::lock_guard lock(mutex_);
    sets_.push_back(std::move(set));
    ++generation_;
    recorded_.notify_all();
}

} // namespace sim
