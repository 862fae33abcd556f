#include <gtest/gtest.h>
#include <sdeventplus/event.hpp>
#include <sdeventplus/exception.hpp>
#include <sdeventplus/source/io.hpp>
#include <systemd/sd-event.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/epoll.h>
#include <thread>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using sdeventplus::Event;
using sdeventplus::source::IO;

constexpr auto patience = 10s;

TEST(Event, CopiesShareTheLoop)
{
    const auto event = Event::get_new();
    const Event copy = event;
    EXPECT_EQ(copy.get(), event.get());
}

TEST(Event, NewLoopsAreDifferent)
{
    EXPECT_NE(Event::get_new().get(), Event::get_new().get());
}

TEST(Event, DefaultLoopIsOnePerThread)
{
    const auto event = Event::get_default();
    EXPECT_EQ(Event::get_default().get(), event.get());
    std::thread([&] { EXPECT_NE(Event::get_default().get(), event.get()); }).join();
}

TEST(Event, LoopReturnsTheExitCode)
{
    const auto event = Event::get_new();
    ASSERT_GE(sd_event_exit(event.get(), 4), 0);
    EXPECT_EQ(event.loop(), 4);
}

TEST(Event, RunAfterTheEndThrows)
{
    const auto event = Event::get_new();
    ASSERT_GE(sd_event_exit(event.get(), 0), 0);
    event.loop();
    try
    {
        event.run(0us);
        FAIL() << "the loop has ended";
    }
    catch (const sdeventplus::SdEventError& error)
    {
        EXPECT_EQ(error.code().value(), ESTALE);
        EXPECT_STREQ(error.what(), "sd_event_run: Stale file handle");
    }
}

TEST(Event, RunWithNothingToDoReturnsZeroWhenTheTimeIsUp)
{
    EXPECT_EQ(Event::get_new().run(1ms), 0);
}

class Io : public testing::Test
{
  protected:
    Io()
    {
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) < 0)
        {
            throw std::runtime_error("no pipe for the test");
        }
    }

    ~Io() override
    {
        close(ends[0]);
        close(ends[1]);
    }

    void send()
    {
        EXPECT_EQ(write(ends[1], "x", 1), 1);
    }

    void drain()
    {
        char bytes[16];
        EXPECT_GT(read(ends[0], bytes, sizeof bytes), 0);
    }

    // Whether the loop finds an event now.
    bool runs()
    {
        return event.run(0us) > 0;
    }

    int ends[2];
    Event event = Event::get_new();
};

TEST_F(Io, CallbackGetsDescriptorAndEvents)
{
    int calls = 0;
    IO io(event, ends[0], EPOLLIN,
          [&](IO& self, int fd, uint32_t revents)
          {
              ++calls;
              EXPECT_EQ(fd, ends[0]);
              EXPECT_EQ(revents, uint32_t{EPOLLIN});
              EXPECT_EQ(sd_event_source_get_event(self.get()), event.get());
              drain();
          });
    EXPECT_FALSE(runs());
    send();
    EXPECT_GT(event.run(patience), 0);
    EXPECT_FALSE(runs());
    EXPECT_EQ(calls, 1);
}

TEST_F(Io, CallbackEndsTheLoop)
{
    IO io(event, ends[0], EPOLLIN,
          [](IO& self, int, uint32_t) { sd_event_exit(sd_event_source_get_event(self.get()), 7); });
    send();
    EXPECT_EQ(event.loop(), 7);
}

TEST_F(Io, SourceEndsWithItsObject)
{
    int calls = 0;
    auto io = std::make_unique<IO>(event, ends[0], EPOLLIN, [&](IO&, int, uint32_t) { ++calls; });
    send();
    EXPECT_TRUE(runs());
    io.reset();
    EXPECT_FALSE(runs());
    EXPECT_EQ(calls, 1);
}

TEST_F(Io, SourceEndsInsideItsOwnCallback)
{
    auto witness = std::make_shared<int>(0);
    std::unique_ptr<IO> io;
    io = std::make_unique<IO>(event, ends[0], EPOLLIN,
                              [&io, witness](IO&, int, uint32_t)
                              {
                                  io.reset();
                                  ++*witness;
                              });
    send();
    EXPECT_TRUE(runs());
    EXPECT_FALSE(runs());
    EXPECT_EQ(*witness, 1);
    EXPECT_EQ(witness.use_count(), 1);
}

TEST_F(Io, ExceptionBecomesALineAndTheSourceGoesOn)
{
    IO io(event, ends[0], EPOLLIN,
          [](IO&, int, uint32_t) { throw std::runtime_error("lost my way"); });
    send();
    testing::internal::CaptureStderr();
    EXPECT_TRUE(runs());
    EXPECT_TRUE(runs());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "sdeventplus: ioCallback: lost my way\nsdeventplus: ioCallback: lost my way\n");
}

TEST_F(Io, ThrownNumberBecomesALine)
{
    IO io(event, ends[0], EPOLLIN, [](IO&, int, uint32_t) { throw 1; });
    send();
    testing::internal::CaptureStderr();
    EXPECT_TRUE(runs());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "sdeventplus: ioCallback: Unknown error\n");
}

TEST_F(Io, DescriptorThatCannotBePolledThrows)
{
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    try
    {
        IO io(event, fileno(file), EPOLLIN, [](IO&, int, uint32_t) {});
        ADD_FAILURE() << "a regular file cannot be polled";
    }
    catch (const sdeventplus::SdEventError& error)
    {
        EXPECT_STREQ(error.what(), "sd_event_add_io: Operation not permitted");
    }
    std::fclose(file);
}

} // namespace
