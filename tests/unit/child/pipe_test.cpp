#include "child/pipe.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace
{

using namespace std::chrono_literals;

constexpr auto patience = 20s;
constexpr auto soon = 5ms; // for what does not happen

bool isOpen(int number)
{
    return fcntl(number, F_GETFD) >= 0;
}

void put(const child::Pipe& pipe, const std::string& text)
{
    ASSERT_EQ(write(pipe.write.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

TEST(Descriptor, IsClosedByItsLastOwner)
{
    const int number = dup(STDIN_FILENO);
    {
        child::Descriptor first{number};
        child::Descriptor second{std::move(first)};
        EXPECT_EQ(first.get(), -1);
        first.reset();
        EXPECT_EQ(second.get(), number);
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, CanBeClosedEarly)
{
    const int number = dup(STDIN_FILENO);
    child::Descriptor descriptor{number};
    descriptor.reset();
    EXPECT_EQ(descriptor.get(), -1);
    EXPECT_FALSE(isOpen(number));
}

TEST(MakePipe, IsClosedByExec)
{
    const child::Pipe pipe = child::makePipe();
    EXPECT_EQ(fcntl(pipe.read.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(pipe.write.get(), F_GETFD), FD_CLOEXEC);
}

TEST(MakeTerminal, IsATerminalOfThatWidthThatExecCloses)
{
    const child::Pipe terminal = child::makeTerminal(123);
    EXPECT_TRUE(isatty(terminal.write.get()));
    winsize size{};
    EXPECT_EQ(ioctl(terminal.write.get(), TIOCGWINSZ, &size), 0);
    EXPECT_EQ(size.ws_col, 123);
    EXPECT_EQ(fcntl(terminal.read.get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(terminal.write.get(), F_GETFD), FD_CLOEXEC);
}

TEST(MakeTerminal, EndsWithItsLastProgram)
{
    child::Pipe terminal = child::makeTerminal(80);
    put(terminal, "line\n");
    terminal.write.reset();
    std::string text;
    EXPECT_TRUE(child::readAll(terminal.read.get(), text, patience));
    EXPECT_EQ(text, "line\r\n");
}

TEST(WaitReadable, SeesBytesAndTheEnd)
{
    child::Pipe pipe = child::makePipe();
    EXPECT_FALSE(child::waitReadable(pipe.read.get(), child::Clock::now() + soon));
    put(pipe, "x");
    EXPECT_TRUE(child::waitReadable(pipe.read.get(), child::Clock::now() + patience));
    EXPECT_TRUE(child::readSome(pipe.read.get(), child::Clock::now() + patience));
    pipe.write.reset();
    EXPECT_TRUE(child::waitReadable(pipe.read.get(), child::Clock::now() + patience));
}

TEST(WaitReadable, LooksOnceAfterTheDeadline)
{
    const child::Pipe pipe = child::makePipe();
    put(pipe, "x");
    EXPECT_TRUE(child::waitReadable(pipe.read.get(), child::Clock::now() - 1h));
}

TEST(ReadSome, TakesNoMoreThanItMay)
{
    child::Pipe pipe = child::makePipe();
    put(pipe, "abc");
    EXPECT_EQ(child::readSome(pipe.read.get(), child::Clock::now() + patience, 2), "ab");
    EXPECT_EQ(child::readSome(pipe.read.get(), child::Clock::now() + patience), "c");
    EXPECT_EQ(child::readSome(pipe.read.get(), child::Clock::now() + soon), std::nullopt);
    pipe.write.reset();
    EXPECT_EQ(child::readSome(pipe.read.get(), child::Clock::now() + patience), "");
}

TEST(ReadUntil, KeepsWhatCameAlong)
{
    child::Pipe pipe = child::makePipe();
    std::string text = "before ";
    put(pipe, "ready\nmore");
    EXPECT_TRUE(child::readUntil(pipe.read.get(), text, "before ready\n", patience));
    EXPECT_EQ(text, "before ready\nmore");
    EXPECT_TRUE(child::readUntil(pipe.read.get(), text, "more", soon)) << "is there already";
    EXPECT_FALSE(child::readUntil(pipe.read.get(), text, "never", soon));
    put(pipe, "!");
    pipe.write.reset();
    EXPECT_FALSE(child::readUntil(pipe.read.get(), text, "never", patience));
    EXPECT_EQ(text, "before ready\nmore!");
}

TEST(ReadAll, SaysWhetherItSawTheEnd)
{
    child::Pipe pipe = child::makePipe();
    put(pipe, "one ");
    std::string text;
    EXPECT_FALSE(child::readAll(pipe.read.get(), text, soon));
    EXPECT_EQ(text, "one ");
    put(pipe, "two");
    pipe.write.reset();
    EXPECT_TRUE(child::readAll(pipe.read.get(), text, patience));
    EXPECT_EQ(text, "one two");
}

} // namespace
