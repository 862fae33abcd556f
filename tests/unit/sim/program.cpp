#include "program.hpp"

#include <algorithm>

using std::string;
using std::vector;

namespace
{

constexpr std::chrono::seconds limit(20);

child::Options optionsFor(const string& address, const vector<string>& command,
                          const child::Pipe& out, int error)
{
    return {.command = command,
            .environment = {"DBUS_SYSTEM_BUS_ADDRESS=" + address},
            .streams = {.output = out.write.get(), .error = error}};
}

} // namespace

Finished runProgram(const string& address, const vector<string>& command)
{
    child::Pipe out = child::makePipe();
    child::Pipe err = child::makePipe();
    child::Child program(optionsFor(address, command, out, err.write.get()));
    out.write.reset();
    err.write.reset();
    Finished result;
    // What these programs print fits into a pipe, so one can be read after the other.
    child::readAll(out.read.get(), result.out, limit);
    child::readAll(err.read.get(), result.err, limit);
    result.status = program.finish(limit);
    return result;
}

RunningProgram::RunningProgram(const string& address, const vector<string>& command)
    : out_(child::makePipe()), program_(optionsFor(address, command, out_, child::inherited))
{
    out_.write.reset();
    child::readUntil(out_.read.get(), firstLine_, "\n", limit);
    firstLine_.resize(std::min(firstLine_.find('\n'), firstLine_.size()));
}

int RunningProgram::end(int signal)
{
    program_.signal(signal);
    return program_.finish(limit);
}
