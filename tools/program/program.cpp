#include "program/program.hpp"

#include "sim/error.hpp"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <sstream>

namespace program
{
namespace
{

/** The library only says that a command is missing or an argument too many, also when a command was
 *  misspelt. */
std::string complaint(const CLI::App& app, const CLI::ParseError& error)
{
    const auto left = app.remaining();
    const bool hasCommands = !app.get_subcommands({}).empty();
    const bool needsOne = app.get_require_subcommand_min() > 0 || !left.empty();
    if (!hasCommands || !needsOne || !app.get_subcommands().empty())
    {
        return error.what();
    }
    if (!left.empty() && left.front().starts_with("-"))
    {
        return "'" + left.front() + "' is no option";
    }
    std::string known;
    for (const CLI::App* command : app.get_subcommands({}))
    {
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    return (left.empty() ? "a command is missing: " : "'" + left.front() + "' is no command: ") +
           known;
}

int answer(const CLI::App& app, const CLI::ParseError& error)
{
    std::ostringstream said;
    if (app.exit(error, said, said) == 0) // a question: --help or --version
    {
        std::cout << said.str();
        return done;
    }
    std::cerr << app.get_name() << ": " << complaint(app, error) << "\nSee " << app.get_name()
              << " --help.\n";
    return misused;
}

} // namespace

std::optional<int> readCommandLine(CLI::App& app, int argc, char** argv)
{
    app.set_version_flag("--version", app.get_name() + " " + PROJECT_VERSION);
    try
    {
        app.parse(argc, argv);
        return std::nullopt;
    }
    catch (const CLI::ParseError& error)
    {
        return answer(app, error);
    }
}

int run(const std::string& name, const std::function<int()>& work)
{
    try
    {
        const int status = work();
        finishOutput();
        return status;
    }
    catch (const sim::UsageError& error)
    {
        std::cerr << name << ": " << error.what() << "\n";
        return misused;
    }
    catch (const std::exception& error)
    {
        std::cerr << name << ": " << error.what() << "\n";
        return failed;
    }
}

void finishOutput()
{
    if (!std::cout.flush())
    {
        throw sim::Error("standard output cannot be written");
    }
}

} // namespace program
