#include "sim/document.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

namespace sim
{
namespace
{

/** Watches a document while it is read and refuses a key that stands twice in one object, which the
 *  JSON library would silently let win. */
class RepeatedKeyWatch
{
  public:
    bool operator()(int, Json::parse_event_t event, Json& parsed)
    {
        switch (event)
        {
            case Json::parse_event_t::object_start:
                levels_.emplace_back();
                break;
            case Json::parse_event_t::object_end:
                levels_.pop_back();
                break;
            case Json::parse_event_t::key:
                enter(parsed.get<std::string>());
                break;
            default:
                break;
        }
        return true;
    }

  private:
    struct Level
    {
        std::set<std::string> keys;
        std::string current;
    };

    void enter(const std::string& key)
    {
        Level& level = levels_.back();
        level.current = key;
        if (level.keys.insert(key).second)
        {
            return;
        }
        std::string place;
        for (const Level& around : levels_)
        {
            place += place.empty() ? around.current : "[\"" + around.current + "\"]";
        }
        throw ValueError(place, "this key stands twice");
    }

    std::vector<Level> levels_;
};

std::string lineAndColumn(std::string_view text, std::size_t byte)
{
    // The library counts the bytes that it has read, the faulty one included.
    const std::string_view before = text.substr(0, byte == 0 ? 0 : std::min(byte - 1, text.size()));
    const auto lines = std::ranges::count(before, '\n') + 1;
    const std::size_t lineStart = before.rfind('\n') + 1;
    const std::size_t column = before.size() - lineStart + 1;
    return "line " + std::to_string(lines) + ", column " + std::to_string(column);
}

} // namespace

std::string readFile(const std::filesystem::path& file)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    if (stream && !std::filesystem::is_directory(file))
    {
        text.assign(std::istreambuf_iterator<char>(stream), {});
        return text;
    }
    const std::string why = errno != 0 ? std::strerror(errno) : "not a file";
    throw CaptureError(file.string(), "", "cannot be read: " + why);
}

std::string reasonOf(const Json::exception& error)
{
    const std::string what = error.what();
    const std::size_t code = what.find("] ");
    const std::string text = code == std::string::npos ? what : what.substr(code + 2);
    const std::size_t column = text.find("column ");
    const std::size_t colon = column == std::string::npos ? column : text.find(": ", column);
    return colon == std::string::npos ? text : text.substr(colon + 2);
}

Json parseDocument(std::string_view text, const std::string& name)
{
    RepeatedKeyWatch watch;
    try
    {
        return Json::parse(text, std::ref(watch));
    }
    catch (const Json::parse_error& error)
    {
        throw CaptureError(name, lineAndColumn(text, error.byte), reasonOf(error));
    }
    catch (const Json::exception& error)
    {
        throw CaptureError(name, "", reasonOf(error));
    }
}

} // namespace sim
