#include "child.hpp"

#include <cerrno>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
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

child::Options optionsFor(const std::string& program, const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment,
                          const child::Streams& streams)
{
    child::Options options{
        .command = {program}, .environment = {"DLOG_LEVEL", "JOURNAL_STREAM"}, .streams = streams};
    options.command.insert(options.command.end(), arguments.begin(), arguments.end());
    options.environment.insert(options.environment.end(), environment.begin(), environment.end());
    return options;
}

} // namespace

Descriptor makeFile()
{
    return Descriptor{check(memfd_create("log", MFD_CLOEXEC), "memfd_create")};
}

std::string readSome(int descriptor, std::size_t size)
{
    auto bytes = child::readSome(descriptor, child::Clock::now() + patience, size);
    if (!bytes)
    {
        throw std::runtime_error("nothing to read for a minute");
    }
    return *bytes;
}

std::string readAll(int descriptor)
{
    std::string all;
    if (!child::readAll(descriptor, all, patience))
    {
        throw std::runtime_error("no end to read in a minute");
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
    : input_(makePipe()), output_(makePipe()),
      program_(optionsFor(program, arguments, environment,
                          {input_.read.get(), output_.write.get(),
                           standardError < 0 ? child::closed : standardError}))
{
    input_.read.reset();
    output_.write.reset();
}

void Child::tell(const std::string& line) const
{
    const std::string bytes = line + "\n";
    check(static_cast<int>(write(input_.write.get(), bytes.data(), bytes.size())), "write");
}

int Child::finish()
{
    rest_ = readAll(output());
    return program_.finish(patience);
}
