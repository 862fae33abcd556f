#include "child.hpp"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace
{

constexpr std::chrono::minutes patience{1};

int check(int result, const char* what)
{
    if (result < 0)
    {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

void waitReadable(int descriptor)
{
    pollfd waited{descriptor, POLLIN, 0};
    const int milliseconds =
        static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(patience).count());
    if (check(poll(&waited, 1, milliseconds), "poll") == 0)
    {
        throw std::runtime_error("nothing to read for a minute");
    }
}

std::vector<char*> pointersTo(std::vector<std::string>& strings)
{
    std::vector<char*> pointers;
    for (std::string& string : strings)
    {
        pointers.push_back(string.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& entries)
{
    std::vector<std::string> environment = entries;
    for (char** entry = environ; *entry != nullptr; entry++)
    {
        const std::string_view text{*entry};
        if (!text.starts_with("DLOG_LEVEL=") && !text.starts_with("JOURNAL_STREAM="))
        {
            environment.emplace_back(text);
        }
    }
    return environment;
}

} // namespace

void Descriptor::reset()
{
    if (number_ >= 0)
    {
        close(number_);
    }
    number_ = -1;
}

Pipe makePipe()
{
    int ends[2];
    check(pipe2(ends, O_CLOEXEC), "pipe2");
    return {Descriptor{ends[0]}, Descriptor{ends[1]}};
}

Descriptor makeFile()
{
    return Descriptor{check(memfd_create("log", MFD_CLOEXEC), "memfd_create")};
}

std::string readSome(int descriptor, std::size_t size)
{
    waitReadable(descriptor);
    std::string bytes(size, '\0');
    bytes.resize(static_cast<std::size_t>(
        check(static_cast<int>(read(descriptor, bytes.data(), size)), "read")));
    return bytes;
}

std::string readAll(int descriptor)
{
    std::string all;
    for (std::string some = readSome(descriptor, 65536); !some.empty();
         some = readSome(descriptor, 65536))
    {
        all += some;
    }
    return all;
}

std::string readLine(int descriptor)
{
    std::string line;
    for (std::string byte = readSome(descriptor, 1); !byte.empty() && byte != "\n";
         byte = readSome(descriptor, 1))
    {
        line += byte;
    }
    return line;
}

std::string contentOf(const Descriptor& file)
{
    check(static_cast<int>(lseek(file.get(), 0, SEEK_SET)), "lseek");
    return readAll(file.get());
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

std::string withoutSourceLine(const std::string& line)
{
    for (std::size_t dot = line.find('.'); dot != std::string::npos; dot = line.find('.', dot + 1))
    {
        const std::size_t end = line.find_first_not_of("0123456789", dot + 1);
        if (end != std::string::npos && end > dot + 1 && line[end] == '.')
        {
            return line.substr(0, dot + 1) + "LINE" + line.substr(end);
        }
    }
    return line;
}

Child::Child(const std::string& program, const std::vector<std::string>& arguments,
             const std::vector<std::string>& environment, int standardError)
    : input_(makePipe()), output_(makePipe())
{
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> entries = environmentWith(environment);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input_.read.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output_.write.get(), STDOUT_FILENO);
    if (standardError >= 0)
    {
        posix_spawn_file_actions_adddup2(&actions, standardError, STDERR_FILENO);
    }
    else
    {
        posix_spawn_file_actions_addclose(&actions, STDERR_FILENO);
    }
    const int error = posix_spawn(&pid_, program.c_str(), &actions, nullptr,
                                  pointersTo(words).data(), pointersTo(entries).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
    {
        throw std::system_error(error, std::generic_category(), program);
    }
    input_.read.reset();
    output_.write.reset();
}

Child::~Child()
{
    if (pid_ > 0)
    {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Child::tell(const std::string& line) const
{
    const std::string bytes = line + "\n";
    check(static_cast<int>(write(input_.write.get(), bytes.data(), bytes.size())), "write");
}

int Child::finish()
{
    // The end of its output is the end of the program: waitpid finds it dead or dying.
    rest_ = readAll(output());
    int status = 0;
    check(waitpid(pid_, &status, 0), "waitpid");
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
