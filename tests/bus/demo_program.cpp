#include "demo_program.hpp"

#include "kit/bus_test.hpp"
#include "sim/error.hpp"

#include <array>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace demo
{
namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/** Waits for a fact that nobody tells; false when the time runs out. */
bool waitUntil(const std::function<bool()>& fact)
{
    const auto deadline = sim::Clock::now() + kit::patience;
    while (!fact())
    {
        if (sim::Clock::now() > deadline)
        {
            return false;
        }
        std::this_thread::sleep_for(2ms); // nobody says when; the fact itself is looked at
    }
    return true;
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
    const std::string command = std::string(DEMO) + " 2>&1 " + arguments;
    Outcome outcome;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
    {
        return outcome;
    }
    std::array<char, 4096> buffer;
    while (const std::size_t got = fread(buffer.data(), 1, buffer.size(), pipe))
    {
        outcome.output.append(buffer.data(), got);
    }
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
    {
        throw sim::Error("no pipe");
    }
    fd_ = ends[0];
    pid_ = fork();
    if (pid_ == 0)
    {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        become(arguments);
    }
    close(ends[1]);
}

RunningDemo::RunningDemo(const std::string& arguments, Terminal terminal)
{
    const winsize size{24, terminal.columns, 0, 0};
    pid_ = forkpty(&fd_, nullptr, nullptr, &size);
    if (pid_ == 0)
    {
        become(arguments);
    }
}

RunningDemo::~RunningDemo()
{
    if (pid_ > 0)
    {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        waitForProcesses(0); // so that its folder can go
    }
    closeOutput();
}

/** In the child. A sanitizer's threads are none of ours: all that is done here is safe. */
void RunningDemo::become(const std::string& arguments) const
{
    setenv("TMPDIR", folder_.path().c_str(), 1);
    const std::string command = std::string("exec ") + DEMO + " " + arguments;
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    _exit(127);
}

bool RunningDemo::readMore()
{
    pollfd ready{fd_, POLLIN, 0};
    const auto limit = std::chrono::milliseconds(kit::patience).count();
    if (poll(&ready, 1, static_cast<int>(limit)) <= 0)
    {
        return false;
    }
    std::array<char, 4096> buffer;
    const ssize_t got = read(fd_, buffer.data(), buffer.size()); // a terminal fails at its end
    output_.append(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

bool RunningDemo::waitFor(const std::string& text)
{
    while (output_.find(text) == std::string::npos)
    {
        if (!readMore())
        {
            return false;
        }
    }
    return true;
}

std::string RunningDemo::rest()
{
    while (readMore())
    {
    }
    return output_;
}

void RunningDemo::signal(int number) const
{
    kill(pid_, number);
}

void RunningDemo::type(const std::string& keys) const
{
    if (write(fd_, keys.data(), keys.size()) < 0)
    {
        throw sim::Error("the terminal takes no keys");
    }
}

void RunningDemo::closeOutput()
{
    if (fd_ >= 0)
    {
        close(fd_);
        fd_ = -1;
    }
}

int RunningDemo::waitForEnd()
{
    int status = -1;
    if (!waitUntil([&] { return waitpid(pid_, &status, WNOHANG) != 0; }))
    {
        return -1;
    }
    pid_ = -1;
    return status;
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
    return waitUntil([&] { return processes() == count; });
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
