#pragma once

// Comparisons of large containers that say what differs, where a plain one says "false" or prints
// thousands of entries. Used as EXPECT_TRUE(sameEntries(found, expected)).
// Any thread; no shared state.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>

/** No failure shows more differences than these; their number is always told. */
inline constexpr std::size_t shownDifferences = 10;

/** Collects differences; as a result, success when there are none. */
class Differences
{
  public:
    void add(const std::string& difference)
    {
        if (++count_ <= shownDifferences)
        {
            text_ << "\n  " << difference;
        }
    }

    testing::AssertionResult result(std::size_t foundSize, std::size_t expectedSize) const
    {
        if (count_ == 0)
        {
            return testing::AssertionSuccess() << "all " << foundSize << " entries are the same";
        }
        return testing::AssertionFailure()
               << count_ << " differences between the " << foundSize << " entries found and the "
               << expectedSize << " expected" << text_.str()
               << (count_ > shownDifferences ? "\n  ..." : "");
    }

  private:
    std::size_t count_ = 0;
    std::ostringstream text_;
};

/** Compares two maps key by key. */
template <typename Map>
testing::AssertionResult sameEntries(const Map& found, const Map& expected)
{
    using testing::PrintToString;
    Differences differences;
    for (const auto& [key, value] : expected)
    {
        const auto entry = found.find(key);
        if (entry == found.end())
        {
            differences.add(PrintToString(key) + " is missing");
        }
        else if (!(entry->second == value))
        {
            differences.add(PrintToString(key) + " is " + PrintToString(entry->second) + ", not " +
                            PrintToString(value));
        }
    }
    for (const auto& [key, value] : found)
    {
        if (!expected.contains(key))
        {
            differences.add(PrintToString(key) + " is not expected: " + PrintToString(value));
        }
    }
    return differences.result(found.size(), expected.size());
}

/** Compares two sequences place by place; places are counted from 0. */
template <typename Sequence>
testing::AssertionResult sameSequence(const Sequence& found, const Sequence& expected)
{
    using testing::PrintToString;
    Differences differences;
    const auto textAt = [](const Sequence& sequence, std::size_t place)
    { return place < sequence.size() ? PrintToString(sequence[place]) : std::string("nothing"); };
    for (std::size_t place = 0; place < std::max(found.size(), expected.size()); ++place)
    {
        const bool inBoth = place < found.size() && place < expected.size();
        if (!inBoth || !(found[place] == expected[place]))
        {
            differences.add("at " + std::to_string(place) + " is " + textAt(found, place) +
                            ", not " + textAt(expected, place));
        }
    }
    return differences.result(found.size(), expected.size());
}
