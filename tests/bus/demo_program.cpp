#include "demo_program.hpp"

#include "kit/bus_test.hpp"
#include "sim/error.hpp"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>
#include <unistd.h>
#include <vector>

namespace demo
{
namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/** For a whole demo under a sanitizer, beside others. */
constexpr std::chrono::minutes wholeRun{2};

std::vector<std::string> commandFor(const std::string& arguments)
{
    return {"/bin/sh", "-c", std::string("exec ") + DEMO + " " + arguments};
}

bool contains(const fs::path& file, const std::string& text)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string content(std::istreambuf_iterator<char>(stream), {});
    return content.find(text) != std::string::npos;
}

} // namespace

Outcome runDemo(const std::string& arguments)
{
    child::Pipe pipe = child::makePipe();
    child::Child demo(
        {.command = commandFor("2>&1 " + arguments), .streams = {.output = pipe.write.get()}});
    pipe.write.reset();
    Outcome outcome;
    child::readAll(pipe.read.get(), outcome.output, wholeRun);
    outcome.status = demo.finish(kit::patience);
    return outcome;
}

TemporaryFolder::TemporaryFolder()
{
    std::string name = (fs::temp_directory_path() / "demo-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
    {
        throw sim::Error("no folder like " + name);
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

RunningDemo::RunningDemo(const std::string& arguments)
    : streams_(child::makePipe()),
      child_({.command = commandFor(arguments),
              .environment = {"TMPDIR=" + folder_.path().string()},
              .streams = {.output = streams_.write.get(), .error = streams_.write.get()}})
{
    streams_.write.reset();
}

RunningDemo::RunningDemo(const std::string& arguments, Terminal terminal)
    : streams_(child::makeTerminal(terminal.columns)),
      child_({.command = commandFor(arguments),
              .environment = {"TMPDIR=" + folder_.path().string()},
              .streams = {streams_.write.get(), streams_.write.get(), streams_.write.get()},
              .group = child::Group::ownTerminal})
{
    streams_.write.reset();
}

RunningDemo::~RunningDemo()
{
    child_.kill();
    waitForProcesses(0); // so that its folder can go
}

bool RunningDemo::waitFor(const std::string& text)
{
    return child::readUntil(streams_.read.get(), output_, text, wholeRun);
}

std::string RunningDemo::rest()
{
    child::readAll(streams_.read.get(), output_, wholeRun);
    return output_;
}

void RunningDemo::type(const std::string& keys) const
{
    if (write(streams_.read.get(), keys.data(), keys.size()) < 0)
    {
        throw sim::Error("the terminal takes no keys");
    }
}

bool RunningDemo::folderIsEmpty() const
{
    return fs::is_empty(folder_.path());
}

std::size_t RunningDemo::processes() const
{
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator("/proc"))
    {
        const std::string name = entry.path().filename();
        const bool isProcess = std::isdigit(static_cast<unsigned char>(name.front())) != 0;
        if (isProcess && contains(entry.path() / "environ", folder_.path().string()))
        {
            ++count;
        }
    }
    return count;
}

bool RunningDemo::waitForProcesses(std::size_t count) const
{
    const auto deadline = child::Clock::now() + kit::patience;
    while (processes() != count)
    {
        if (child::Clock::now() > deadline)
        {
            return false;
        }
        std::this_thread::sleep_for(2ms); // nobody tells when another's child ends
    }
    return true;
}

Copy::Copy(const std::string& name)
{
    fs::copy(fs::path(INVENTORIES) / name, folder_.path(), fs::copy_options::recursive);
}

void Copy::tamper(const std::string& file, const std::function<void(sim::Json&)>& change) const
{
    std::ifstream in(folder_.path() / file);
    sim::Json json = sim::Json::parse(in);
    change(json);
    std::ofstream(folder_.path() / file) << json;
}

} // namespace demo
