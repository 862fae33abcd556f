#include "rig/log.hpp"

#include <algorithm>
#include <charconv>
#include <ostream>

namespace rig
{
namespace
{

using Clock = std::chrono::steady_clock;

/** Takes a number and the character behind it off the front; false when they do not stand there. */
bool takeNumber(std::string_view& rest, char after, int& number)
{
    const auto [stop, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    const auto length = static_cast<std::size_t>(stop - rest.data());
    if (error != std::errc{} || length >= rest.size() || *stop != after)
    {
        return false;
    }
    rest.remove_prefix(length + 1);
    return true;
}

/** Takes the text before `after`, and that, off the front; false when `after` stands nowhere. */
bool takeText(std::string_view& rest, std::string_view after, std::string& text)
{
    const std::size_t length = rest.find(after);
    if (length == std::string_view::npos)
    {
        return false;
    }
    text = rest.substr(0, length);
    rest.remove_prefix(length + after.size());
    return true;
}

} // namespace

LogLine parseLogLine(std::string_view raw)
{
    LogLine parsed;
    std::string_view rest = raw;
    const bool complete = takeNumber(rest, ' ', parsed.level) &&
                          takeNumber(rest, ' ', parsed.module) &&
                          takeText(rest, ".", parsed.file) && takeNumber(rest, '.', parsed.line) &&
                          takeText(rest, ": ", parsed.function);
    if (!complete)
    {
        LogLine foreign;
        foreign.text = raw;
        return foreign;
    }
    parsed.text = rest;
    return parsed;
}

std::ostream& operator<<(std::ostream& stream, const LogLine& line)
{
    if (line.level == 0)
    {
        return stream << line.text;
    }
    return stream << line.level << ' ' << line.module << ' ' << line.file << '.' << line.line << '.'
                  << line.function << ": " << line.text;
}

LinePredicate says(std::string function, std::string text)
{
    return [function = std::move(function), text = std::move(text)](const LogLine& line)
    { return line.function == function && line.text == text; };
}

std::size_t Log::size() const
{
    const std::lock_guard lock(mutex_);
    return lines_.size();
}

std::vector<LogLine> Log::lines(std::size_t from) const
{
    const std::lock_guard lock(mutex_);
    const auto begin = lines_.begin() + static_cast<std::ptrdiff_t>(std::min(from, lines_.size()));
    return {begin, lines_.end()};
}

std::size_t Log::count(const LinePredicate& wanted, std::size_t from) const
{
    const auto copy = lines(from);
    return static_cast<std::size_t>(std::ranges::count_if(copy, wanted));
}

bool Log::waitFor(const LinePredicate& wanted, std::chrono::milliseconds limit, std::size_t from,
                  std::size_t number) const
{
    const auto deadline = Clock::now() + limit;
    std::size_t seen = from;
    std::size_t found = 0;
    std::unique_lock lock(mutex_);
    while (true)
    {
        for (; seen < lines_.size(); ++seen)
        {
            found += wanted(lines_[seen]) ? 1 : 0;
        }
        if (found >= number)
        {
            return true;
        }
        const auto changed = [&] { return lines_.size() > seen || ended_; };
        if (!grown_.wait_until(lock, deadline, changed) || lines_.size() <= seen)
        {
            return false;
        }
    }
}

bool Log::waitForEnd(std::chrono::milliseconds limit) const
{
    std::unique_lock lock(mutex_);
    return grown_.wait_for(lock, limit, [this] { return ended_; });
}

void Log::append(std::string_view bytes)
{
    const std::lock_guard lock(mutex_);
    begun_ += bytes;
    std::size_t start = 0;
    for (std::size_t stop; (stop = begun_.find('\n', start)) != std::string::npos; start = stop + 1)
    {
        lines_.push_back(parseLogLine(std::string_view(begun_).substr(start, stop - start)));
    }
    begun_.erase(0, start);
    grown_.notify_all();
}

void Log::end()
{
    const std::lock_guard lock(mutex_);
    if (!begun_.empty())
    {
        lines_.push_back(parseLogLine(begun_));
        begun_.clear();
    }
    ended_ = true;
    grown_.notify_all();
}

} // namespace rig
