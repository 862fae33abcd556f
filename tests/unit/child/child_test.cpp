#include "child/child.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using child::Child;

constexpr auto patience = 20s;
constexpr auto soon = 5ms; // for what does not happen

std::vector<std::string> shell(const std::string& script)
{
    return {"/bin/sh", "-c", script};
}

/** What the program prints, once it has ended with status 0. */
std::string printedBy(child::Options options)
{
    child::Pipe pipe = child::makePipe();
    options.streams.output = pipe.write.get();
    Child program{options};
    pipe.write.reset();
    std::string text;
    EXPECT_TRUE(child::readAll(pipe.read.get(), text, patience));
    EXPECT_EQ(program.finish(patience), 0);
    return text;
}

int reasonOf(const std::string& program)
{
    try
    {
        Child{{.command = {program}}};
    }
    catch (const std::system_error& error)
    {
        EXPECT_EQ(error.what(), "cannot run " + program + ": " + error.code().message());
        return error.code().value();
    }
    return 0;
}

/** True once no process has this end of a pipe any more. */
bool allHaveEnded(child::Pipe& pipe)
{
    pipe.write.reset();
    std::string text;
    return child::readAll(pipe.read.get(), text, patience);
}

TEST(Child, GetsItsArgumentsAsTheyAre)
{
    EXPECT_EQ(printedBy({.command = {"/usr/bin/printf", "%s|", "two words", "", "$HOME"}}),
              "two words||$HOME|");
}

TEST(Child, IsLookedForInThePath)
{
    EXPECT_EQ(printedBy({.command = {"printf", "found"}}), "found");
}

TEST(Child, GetsAChangedEnvironment)
{
    setenv("CHILD_TEST_KEPT", "kept", 1);
    setenv("CHILD_TEST_SET", "old", 1);
    setenv("CHILD_TEST_TAKEN", "taken", 1);
    EXPECT_EQ(printedBy({.command = shell("env | grep ^CHILD_TEST_ | sort"),
                         .environment = {"CHILD_TEST_SET=first", "CHILD_TEST_TAKEN",
                                         "CHILD_TEST_SET=a=b", "CHILD_TEST_NEW="}}),
              "CHILD_TEST_KEPT=kept\nCHILD_TEST_NEW=\nCHILD_TEST_SET=a=b\n");
    EXPECT_EQ(std::string(std::getenv("CHILD_TEST_SET")), "old");
}

TEST(Child, HasTheStreamsThatItWasGivenAndNoOtherDescriptor)
{
    const child::Pipe input = child::makePipe();
    ASSERT_EQ(write(input.write.get(), "told\n", 5), 5);
    const std::string others =
        std::to_string(input.read.get()) + " " + std::to_string(input.write.get());
    EXPECT_EQ(printedBy({.command = shell("read line; echo $line; for number in 0 1 2 " + others +
                                          "; do test -e /proc/$$/fd/$number; echo $?; done"),
                         .streams = {.input = input.read.get(), .error = child::closed}}),
              "told\n0\n0\n1\n1\n1\n");
}

TEST(Child, MayHaveOneDescriptorTwice)
{
    child::Pipe pipe = child::makePipe();
    const int both = pipe.write.get();
    Child program{
        {.command = shell("echo out; echo err >&2"), .streams = {.output = both, .error = both}}};
    pipe.write.reset();
    std::string text;
    EXPECT_TRUE(child::readAll(pipe.read.get(), text, patience));
    EXPECT_EQ(text, "out\nerr\n");
}

TEST(Child, HasStreamsThatStandInEachOthersPlace)
{
    child::Pipe outer = child::makePipe();
    child::Pipe inner = child::makePipe();
    const child::Descriptor output{dup(STDOUT_FILENO)};
    const child::Descriptor error{dup(STDERR_FILENO)};
    dup2(outer.write.get(), STDOUT_FILENO);
    dup2(inner.write.get(), STDERR_FILENO);
    {
        Child crossed{{.command = shell("echo out; echo err >&2"),
                       .streams = {.output = STDERR_FILENO, .error = STDOUT_FILENO}}};
        crossed.finish(patience);
    }
    dup2(output.get(), STDOUT_FILENO);
    dup2(error.get(), STDERR_FILENO);
    outer.write.reset();
    inner.write.reset();
    std::string text;
    EXPECT_TRUE(child::readAll(inner.read.get(), text, patience));
    EXPECT_TRUE(child::readAll(outer.read.get(), text, patience));
    EXPECT_EQ(text, "out\nerr\n");
}

TEST(Child, SaysWhyThereIsNone)
{
    EXPECT_EQ(reasonOf("/nonexistent/program"), ENOENT);
    EXPECT_EQ(reasonOf("no-program-of-this-name"), ENOENT);
    EXPECT_EQ(reasonOf("/"), EACCES);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "one that did not become a program is left";
}

TEST(Child, TakesSignalsThatItsParentBlocks)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigset_t former;
    pthread_sigmask(SIG_BLOCK, &blocked, &former);
    Child program{{.command = {"sleep", "60"}}};
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    program.signal(SIGTERM);
    EXPECT_EQ(program.finish(patience), -SIGTERM);
}

TEST(Child, IsInTheGroupOfItsParent)
{
    const Child program{{.command = {"sleep", "60"}}};
    EXPECT_EQ(getpgid(program.pid()), getpgrp());
}

TEST(Child, CanHaveAGroupOfItsOwn)
{
    const Child program{{.command = {"sleep", "60"}, .group = child::Group::own}};
    EXPECT_EQ(getpgid(program.pid()), program.pid());
    EXPECT_EQ(getsid(program.pid()), getsid(0));
}

TEST(Child, CanHaveATerminalOfItsOwn)
{
    child::Pipe terminal = child::makeTerminal(91);
    const int stream = terminal.write.get();
    Child program{{.command = shell("stty size; exec sleep 60"),
                   .streams = {stream, stream, stream},
                   .group = child::Group::ownTerminal}};
    terminal.write.reset();
    std::string text;
    EXPECT_TRUE(child::readUntil(terminal.read.get(), text, "24 91\r\n", patience)) << text;
    EXPECT_EQ(getsid(program.pid()), program.pid());
    const char controlC = 3;
    ASSERT_EQ(write(terminal.read.get(), &controlC, 1), 1);
    EXPECT_EQ(program.finish(patience), -SIGINT);
}

TEST(WaitForEnd, GivesTheWaitStatusAgainAndAgain)
{
    Child program{{.command = shell("exit 7")}};
    EXPECT_EQ(program.waitForEnd(patience), W_EXITCODE(7, 0));
    EXPECT_EQ(program.waitForEnd(0ms), W_EXITCODE(7, 0));
    EXPECT_EQ(program.finish(0ms), 7);
    EXPECT_FALSE(program.running());
    program.signal(SIGTERM); // to nobody
}

TEST(WaitForEnd, GivesNothingWhenTheTimeRunsOut)
{
    Child program{{.command = {"sleep", "60"}}};
    EXPECT_EQ(program.waitForEnd(soon), std::nullopt);
    EXPECT_TRUE(program.running());
}

TEST(Finish, KillsAtItsLimit)
{
    Child program{{.command = {"sleep", "60"}}};
    EXPECT_EQ(program.finish(soon), -SIGKILL);
    EXPECT_FALSE(program.running());
}

TEST(Kill, LeavesTheStatusOfAChildThatHasEnded)
{
    Child program{{.command = {"true"}}};
    ASSERT_TRUE(program.waitForEnd(patience));
    program.kill();
    EXPECT_EQ(program.waitForEnd(0ms), W_EXITCODE(0, 0));
}

TEST(Kill, IsSeenInTheStatus)
{
    Child program{{.command = {"sleep", "60"}}};
    program.kill();
    EXPECT_EQ(program.waitForEnd(0ms), W_EXITCODE(0, SIGKILL));
}

TEST(ChildsOwner, LeavesNoChildBehind)
{
    pid_t pid = 0;
    {
        const Child program{{.command = {"sleep", "60"}}};
        pid = program.pid();
        EXPECT_EQ(kill(pid, 0), 0);
    }
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1);
}

TEST(ChildsOwner, LetsItDoItsWorkAtTheEnd)
{
    child::Pipe pipe = child::makePipe();
    std::string text;
    {
        const Child program{
            {.command =
                 shell("trap 'echo bye; exit' TERM; echo ready; while sleep 0.01; do :; done"),
             .streams = {.output = pipe.write.get()},
             .endSignal = SIGTERM}};
        ASSERT_TRUE(child::readUntil(pipe.read.get(), text, "ready\n", patience));
    }
    pipe.write.reset();
    EXPECT_TRUE(child::readAll(pipe.read.get(), text, patience));
    EXPECT_EQ(text, "ready\nbye\n");
}

TEST(ChildsOwner, TakesItAlongWithoutDestruction)
{
    child::Pipe pipe = child::makePipe();
    const pid_t owner = fork();
    if (owner == 0)
    {
        const Child program{{.command = {"sleep", "60"}, .streams = {.output = pipe.write.get()}}};
        _exit(program.pid() > 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(owner, &status, 0), owner);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(allHaveEnded(pipe));
}

} // namespace
