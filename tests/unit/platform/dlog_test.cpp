/*
 * What a program that logs leaves on its standard error, seen from outside.
 */
#include "child.hpp"
#include "doubles/seen_lines.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <fcntl.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <utility>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

struct Result
{
    std::string log;
    std::string answer;
};

// Runs the probe with a file as its standard error.
Result logged(const Lines& arguments, const Lines& environment = {})
{
    const Descriptor file = makeFile();
    Child child{DLOG_PROBE, arguments, environment, file.get()};
    EXPECT_EQ(child.finish(), 0);
    return {contentOf(file), child.rest()};
}

std::string journalStreamOf(const Descriptor& file)
{
    struct stat status = {};
    EXPECT_EQ(fstat(file.get(), &status), 0);
    return "JOURNAL_STREAM=" + std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

// Runs the probe with the journal, so it believes, as its standard error.
Result sentToJournal(const Lines& arguments, Lines environment = {})
{
    const Descriptor file = makeFile();
    environment.push_back(journalStreamOf(file));
    Child child{DLOG_JOURNAL_PROBE, arguments, environment, file.get()};
    EXPECT_EQ(child.finish(), 0);
    return {contentOf(file), child.rest()};
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// The number of the mark "...#N" that begins at that place, and where the mark ends.
std::pair<std::string, std::size_t> markAt(const std::string& line, std::size_t begin)
{
    const std::size_t digits = begin + 4;
    if (line.compare(begin, 4, "...#") != 0)
    {
        return {"", begin};
    }
    std::size_t end = digits;
    while (end < line.size() && isDigit(line[end]))
    {
        end++;
    }
    return {line.substr(digits, end - digits), end};
}

// The lines as they were logged, each in the place of its first piece. What nobody finishes ends
// with " (unfinished)", and a piece of nothing is a line of its own.
Lines joined(const std::string& log)
{
    Lines lines;
    std::map<std::string, std::size_t> begun;
    for (std::string line : linesOf(log))
    {
        std::size_t place = lines.size();
        const auto [earlier, headEnd] = markAt(line, 0);
        if (begun.contains(earlier) && line.substr(headEnd, 1) == " ")
        {
            place = begun.extract(earlier).mapped();
            line.erase(0, headEnd + 1);
        }
        const std::size_t tail = line.rfind("...#");
        if (tail != std::string::npos && markAt(line, tail).second == line.size())
        {
            begun[markAt(line, tail).first] = place;
            line.erase(tail);
        }
        lines.resize(std::max(lines.size(), place + 1));
        lines[place] += line;
    }
    for (const auto& [mark, place] : begun)
    {
        lines[place] += " (unfinished)";
    }
    return lines;
}

// So little room that writers compete for it.
Pipe makePipeOfOnePage()
{
    Pipe pipe = makePipe();
    EXPECT_EQ(fcntl(pipe.write.get(), F_SETPIPE_SZ, 4096), 4096);
    return pipe;
}

Pipe makeSmallSocket()
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const int smallest = 1;
    setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
    return {Descriptor{ends[0]}, Descriptor{ends[1]}};
}

// Whether this kernel can be asked not to wait on a pipe.
bool pipesNeedNotWait()
{
    const Pipe pipe = makePipe();
    char byte = 0;
    const iovec piece{&byte, 1};
    return pwritev2(pipe.write.get(), &piece, 1, -1, RWF_NOWAIT) == 1;
}

} // namespace

TEST(DlogLevel, FiltersWhatIsAboveTheThreshold)
{
    const std::string one = "1 357 level\n";
    const std::string four = one + "4 357 level\n";
    const std::string five = four + "5 357 level\n";
    const std::string nine = five + "9 357 level\n";
    const std::map<std::string, std::string> expected = {
        {"0", ""},
        {"1", one},
        {"3", one},
        {"4", four},
        {"5", five},
        {"8", five},
        {"9", nine},
        {"100", nine},
        {"", five},
        {"9x", five},
        {"trace", five},
        {"-1", five},
        {" 9", five},
        {"+9", five},
        {"0x9", five},
        {"9.0", five},
        {"99999999999999999999", five},
    };
    for (const auto& [value, log] : expected)
    {
        EXPECT_EQ(logged({"levels"}, {"DLOG_LEVEL=" + value}).log, log) << value;
    }
    EXPECT_EQ(logged({"levels"}).log, five);
}

TEST(DlogLevel, ResultIsTheSizeOfTheLineOrZero)
{
    EXPECT_EQ(logged({"levels"}, {"DLOG_LEVEL=4"}).answer, "threshold 4 112 112 00 00\n");
}

TEST(DlogLevel, IsKnownWhenTheFirstStaticIsBuilt)
{
    EXPECT_EQ(logged({"values"}, {"DLOG_LEVEL=9", "PROBE_EARLY=1"}).log, "9 357 early\n");
    EXPECT_EQ(logged({"values"}, {"DLOG_LEVEL=8", "PROBE_EARLY=1"}).log, "");
}

TEST(DlogLine, EndsWithExactlyOneNewline)
{
    EXPECT_EQ(linesOf(logged({"newlines"}).log),
              (Lines{"1 357 none", "1 357 one", "1 357 two\\n", "1 357 of a value: x\\n",
                     "1 357 of both: x\\n", "1 357 nul\\x00."}));
}

TEST(DlogLine, ValuesCannotForgeLinesOrFormats)
{
    EXPECT_EQ(linesOf(logged({"values", "", "100%n %s", "a\r\n1 357 forged", "\x1b[2J",
                              "\xc2\x85\xc3\x85"})
                          .log),
              (Lines{"1 357 ", "1 357 100%n %s", "1 357 a\\r\\n1 357 forged", "1 357 \\x1b[2J",
                     "1 357 \\xc2\\x85\xc3\x85"}));
}

// The two lines that the probe logs for that size.
Lines longAndAfter(std::size_t size)
{
    return {"1 357 " + std::string(size - std::string{"1 357 .\n"}.size(), 'x') + ".",
            "1 357 after"};
}

// What arrives on a pipe, or another stream with two ends, that is read all the time.
std::string streamed(Descriptor& reader, Descriptor& writer, const Lines& arguments)
{
    Child child{DLOG_PROBE, arguments, {}, writer.get()};
    writer.reset();
    std::string log = readAll(reader.get());
    EXPECT_EQ(child.finish(), 0);
    EXPECT_EQ(child.rest(), arguments.at(1) + "\n");
    return log;
}

TEST(DlogLine, IsWholeInAFileHoweverLong)
{
    // Around the stack buffer, the atomic size and the capacity of a pipe, and far beyond.
    for (const std::size_t size : {2047U, 2048U, 2049U, 4096U, 4097U, 65536U, 65537U, 1U << 20})
    {
        const Result result = logged({"long", std::to_string(size)});
        EXPECT_TRUE(linesOf(result.log) == longAndAfter(size)) << size;
        EXPECT_EQ(result.answer, std::to_string(size) + "\n");
    }
}

// Emulators of another machine may lack it.
bool kernelWritesWithoutWaiting()
{
    const Pipe pipe = makePipe();
    char letter = 'x';
    const iovec part{&letter, 1};
    return pwritev2(pipe.write.get(), &part, 1, -1, RWF_NOWAIT) == 1;
}

TEST(DlogLine, IsWholeInAPipeWithPlentyOfRoom)
{
    const std::size_t longest = kernelWritesWithoutWaiting() ? 32768 : PIPE_BUF;
    for (const std::size_t size : {2047U, 2048U, 2049U, 4095U, 4096U, 4097U, 8192U, 32768U})
    {
        if (size > longest)
        {
            break; // would come in marked pieces
        }
        Pipe pipe = makePipe();
        const std::string log = streamed(pipe.read, pipe.write, {"long", std::to_string(size)});
        EXPECT_TRUE(linesOf(log) == longAndAfter(size)) << size;
    }
}

TEST(DlogLine, ArrivesInMarkedPiecesWhereThereIsLittleRoom)
{
    Pipe pipe = makePipeOfOnePage();
    const Lines lines = linesOf(streamed(pipe.read, pipe.write, {"long", "10000"}));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "1 357 " + std::string(4096 - 12, 'x') + "...#1");
    EXPECT_EQ(lines[1], "...#1 " + std::string(4096 - 12, 'x') + "...#1");
    EXPECT_EQ(lines[2], "...#1 " + std::string(10000 - 8 - 2 * (4096 - 12), 'x') + ".");
    EXPECT_EQ(lines[3], "1 357 after");
}

TEST(DlogLine, LosesNothingInPieces)
{
    for (const std::size_t size : {4097U, 8192U, 32768U, 32769U, 65536U, 65537U, 1U << 20})
    {
        Pipe pipe = size > 32768 ? makePipe() : makePipeOfOnePage();
        const std::string log = streamed(pipe.read, pipe.write, {"long", std::to_string(size)});
        EXPECT_TRUE(joined(log) == longAndAfter(size)) << size;
        for (const std::string& line : linesOf(log))
        {
            EXPECT_LT(line.size(), 4096U) << size;
        }
    }
}

TEST(DlogLine, LosesNothingInASmallSocket)
{
    Pipe socket = makeSmallSocket();
    EXPECT_TRUE(joined(streamed(socket.read, socket.write, {"long", "300000"})) ==
                longAndAfter(300000));
}

TEST(DlogLine, IsNotDividedInsideACharacter)
{
    // The first piece would end after one byte, two bytes or all three bytes of a euro sign.
    for (const std::size_t shift : {0U, 1U, 2U})
    {
        std::string value(shift, 'x');
        while (value.size() < 5000)
        {
            value += "\xe2\x82\xac";
        }
        Pipe pipe = makePipeOfOnePage();
        Child child{DLOG_PROBE, {"values", value}, {}, pipe.write.get()};
        pipe.write.reset();
        const std::string log = readAll(pipe.read.get());
        EXPECT_EQ(child.finish(), 0);
        EXPECT_EQ(joined(log), Lines{"1 357 " + value});
        EXPECT_TRUE(linesOf(log).at(0).ends_with("\xac...#1")) << shift;
        EXPECT_TRUE(linesOf(log).at(1).starts_with("...#1 \xe2")) << shift;
    }
}

TEST(DlogCall, KeepsErrno)
{
    const Result result = logged({"errno"});
    EXPECT_EQ(result.log, "1 357 written\n");
    EXPECT_EQ(result.answer, "111 -1\n");
}

TEST(DlogCall, MayInterruptItself)
{
    Pipe pipe = makePipe();
    Child child{DLOG_PROBE, {"signals"}, {}, pipe.write.get()};
    pipe.write.reset();
    const std::string log = readAll(pipe.read.get());
    ASSERT_EQ(child.finish(), 0);

    const std::string tail = " " + std::string(500, 'x');
    long fromMain = 0;
    long fromHandler = 0;
    for (const std::string& line : linesOf(log))
    {
        if (line == "1 357 base.1.logFromHandler: handler")
        {
            fromHandler++;
            continue;
        }
        ASSERT_EQ(line, "1 357 main " + std::to_string(fromMain) + tail);
        fromMain++;
    }
    std::ostringstream counts;
    counts << fromMain << ' ' << fromHandler << '\n';
    EXPECT_EQ(child.rest(), counts.str());
}

TEST(DlogCall, LinesOfSeveralThreadsDoNotMix)
{
    constexpr int perThread = 3000;
    Pipe pipe = makePipeOfOnePage();
    Child child{DLOG_PROBE, {"threads", std::to_string(perThread)}, {}, pipe.write.get()};
    pipe.write.reset();
    const std::string log = readAll(pipe.read.get());
    ASSERT_EQ(child.finish(), 0);

    std::vector<int> next(4, 0);
    for (const std::string& line : linesOf(log))
    {
        const std::size_t thread = static_cast<std::size_t>(line.at(13) - '0');
        ASSERT_LT(thread, next.size());
        const int i = next[thread]++;
        const std::string tail(static_cast<std::size_t>(i % 3000), static_cast<char>('a' + thread));
        ASSERT_EQ(line, "1 357 thread " + std::to_string(thread) + " " + std::to_string(i) + " " +
                            tail + ".");
    }
    EXPECT_EQ(next, std::vector<int>(4, perThread));
}

std::multiset<std::string> linesOfStorm(int rounds, std::size_t size)
{
    std::string value;
    while (value.size() < size)
    {
        value += "1 1 ";
    }
    std::multiset<std::string> lines;
    for (int thread = 0; thread < 8; thread++)
    {
        for (int i = 0; i < rounds; i++)
        {
            const std::string whose = std::to_string(thread) + " " + std::to_string(i) + " ";
            lines.insert("1 357 long " + whose + value + ".");
            for (int j = 0; j < 20; j++)
            {
                lines.insert("1 357 short " + whose + std::to_string(j));
            }
        }
    }
    return lines;
}

// Whatever a value contains and wherever its line is interrupted, a physical line that looks like a
// record is one, or the first piece of one. On a very busy machine the reader may stall for so long
// that lines are lost; then as many are missing as were said to be lost.
void expectNoForgery(const Descriptor& reader, Descriptor& writer)
{
    Child child{DLOG_PROBE, {"storm", "5", "320000"}, {}, writer.get()};
    writer.reset();
    std::string log;
    for (std::string some = readSome(reader.get(), 4096); !some.empty();
         some = readSome(reader.get(), 4096)) // slower than eight writers
    {
        log += some;
    }
    ASSERT_EQ(child.finish(), 0);
    for (const std::string& line : linesOf(log))
    {
        ASSERT_TRUE(line.starts_with("1 357 long ") || line.starts_with("1 357 short ") ||
                    line.starts_with("...#") || line.starts_with("1 300 dlog."))
            << line.substr(0, 40);
    }
    std::multiset<std::string> missing = linesOfStorm(5, 320'000);
    for (const std::string& line : joined(log))
    {
        const bool other = line.starts_with("1 300 dlog.") || line.ends_with(" (unfinished)");
        ASSERT_TRUE(other || missing.contains(line)) << line.substr(0, 40);
        missing.extract(line);
    }
    EXPECT_EQ(child.rest(), std::to_string(missing.size()) + "\n");
}

TEST(DlogCall, LongLinesOfSeveralThreadsForgeNoRecordOnAPipe)
{
    Pipe pipe = makePipe();
    expectNoForgery(pipe.read, pipe.write);
}

TEST(DlogCall, LongLinesOfSeveralThreadsForgeNoRecordOnASmallSocket)
{
    Pipe socket = makeSmallSocket();
    expectNoForgery(socket.read, socket.write);
}

// A reader that stalls costs one second once, and learns what it missed.
TEST(DlogStall, DropsAndCountsLines)
{
    Pipe pipe = makePipe();
    Child child{DLOG_PROBE, {"stall", "1000"}, {}, pipe.write.get()};
    pipe.write.reset();

    std::istringstream answer{readLine(child.output())};
    long waited = 0;
    long thousand = 0;
    int lost = 0;
    answer >> waited >> thousand >> lost;
    EXPECT_GE(waited, 999);
    EXPECT_LT(waited, 5000);
    EXPECT_LT(thousand, 1000);
    EXPECT_EQ(lost, 1001);

    const std::string whole = "1 357 " + std::string(1000, 'x');
    child.tell("still stalled");
    EXPECT_EQ(readLine(child.output()), "-1");
    std::string log = readSome(pipe.read.get(), 20000);
    child.tell("again");
    EXPECT_EQ(readLine(child.output()), "12");
    child.tell("");
    log += readAll(pipe.read.get());
    const Lines lines = linesOf(log);
    EXPECT_EQ(child.finish(), 0);

    ASSERT_GE(lines.size(), 3U);
    for (std::size_t i = 0; i < lines.size() - 2; i++)
    {
        ASSERT_EQ(lines[i], whole) << i;
    }
    const std::string& loss = lines[lines.size() - 2];
    EXPECT_EQ(withoutSourceLine(loss), "1 300 dlog.LINE.writeLine: 1002 lines lost");
    sawLine(loss);
    EXPECT_EQ(lines.back(), "1 357 again");
}

TEST(DlogStall, ALineLostInPartIsSeenToBeUnfinished)
{
    Pipe pipe = makePipe();
    Child child{DLOG_PROBE, {"stall", "100000"}, {}, pipe.write.get()};
    pipe.write.reset();
    readLine(child.output());
    std::string log = readSome(pipe.read.get(), 1 << 20);
    child.tell("again");
    EXPECT_EQ(readLine(child.output()), "12");
    child.tell("");
    log += readAll(pipe.read.get());
    EXPECT_EQ(child.finish(), 0);
    const Lines lines = joined(log);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[0].starts_with("1 357 xxx"));
    EXPECT_TRUE(lines[0].ends_with("xxx (unfinished)"));
    EXPECT_EQ(withoutSourceLine(lines[1]), "1 300 dlog.LINE.writeLine: 1001 lines lost");
    EXPECT_EQ(lines[2], "1 357 again");
}

// The room that a line was promised goes to another writer.
class DlogRace : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (!pipesNeedNotWait())
        {
            GTEST_SKIP() << "this kernel cannot be asked not to wait on a pipe";
        }
    }

    const std::string others = std::string(4096, '-');
    Pipe pipe = makePipeOfOnePage();
    Child child{DLOG_RACE_PROBE, {"long", "10"}, {}, pipe.write.get()};
};

TEST_F(DlogRace, LostToAnotherWriterTheLineFollowsLater)
{
    pipe.write.reset();
    EXPECT_EQ(readAll(pipe.read.get()), others + "1 357 xx.\n1 357 after\n");
    EXPECT_EQ(child.finish(), 0);
    EXPECT_EQ(child.rest(), "10\n");
}

TEST_F(DlogRace, HoldsUpNoWriterOfAStalledReader)
{
    EXPECT_EQ(child.finish(), 0);
    EXPECT_EQ(child.rest(), "-1\n");
    pipe.write.reset();
    EXPECT_EQ(readAll(pipe.read.get()), others);
}

// What arrives on a pipe when the kernel's writes go wrong in that way.
std::string loggedWith(const std::string& fault, const Lines& arguments)
{
    Pipe pipe = makePipe();
    Child child{DLOG_WRITE_PROBE, arguments, {"PROBE_WRITE=" + fault}, pipe.write.get()};
    pipe.write.reset();
    std::string log = readAll(pipe.read.get());
    EXPECT_EQ(child.finish(), 0);
    return log;
}

TEST(DlogWrite, TakenInPartTheLineEndsAndGoesOnMarked)
{
    EXPECT_EQ(loggedWith("short", {"values", "1 2 3"}), "1 3...#1\n...#1 57 1 2 3\n");
    EXPECT_TRUE(joined(loggedWith("short", {"long", "20000"})) == longAndAfter(20000));
}

TEST(DlogWrite, TakenInPartAndLostTheLineIsEndedByTheNext)
{
    const Lines lines = linesOf(loggedWith("broken", {"values", "lost", "next"}));
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "1 3");
    EXPECT_EQ(withoutSourceLine(lines[1]), "1 300 dlog.LINE.writeLine: 1 lines lost");
    EXPECT_EQ(lines[2], "1 357 next");
}

TEST(DlogWrite, ThatMayHaveToWaitIsNeverLong)
{
    EXPECT_EQ(loggedWith("waiting", {"values", "x"}), "1 357 x\n");
    const std::string log = loggedWith("waiting", {"long", "20000"});
    EXPECT_TRUE(joined(log) == longAndAfter(20000));
    EXPECT_LE(log.find('\n'), 4096U);
}

TEST(DlogGone, AReaderThatLeftIsNotWrittenTo)
{
    Pipe pipe = makePipe();
    pipe.read.reset();
    Child child{DLOG_PROBE, {"levels"}, {}, pipe.write.get()};
    EXPECT_EQ(child.finish(), 0);
    EXPECT_EQ(child.rest(), "threshold 5 0-1 0-1 0-1 00\n");
}

TEST(DlogGone, NoStandardErrorAtAll)
{
    Child child{DLOG_PROBE, {"levels"}, {}, -1};
    EXPECT_EQ(child.finish(), 0);
    EXPECT_EQ(child.rest(), "threshold 5 0-1 0-1 0-1 00\n");
}

TEST(DlogJournal, EntryIsStructured)
{
    const Result result = sentToJournal({"sites"}, {"DLOG_LEVEL=9"});
    EXPECT_EQ(result.log, "");
    EXPECT_EQ(result.answer,
              "MESSAGE=base.11.function: at level 1\nPRIORITY=3\nDLOG_LEVEL=1\nDLOG_MODULE=357\n"
              "CODE_FILE=base\nCODE_LINE=11\nCODE_FUNC=function\n\n"
              "MESSAGE=base.14.function: at level 4\nPRIORITY=4\nDLOG_LEVEL=4\nDLOG_MODULE=357\n"
              "CODE_FILE=base\nCODE_LINE=14\nCODE_FUNC=function\n\n"
              "MESSAGE=base.15.function: at level 5\nPRIORITY=6\nDLOG_LEVEL=5\nDLOG_MODULE=357\n"
              "CODE_FILE=base\nCODE_LINE=15\nCODE_FUNC=function\n\n"
              "MESSAGE=base.19.function: at level 9\nPRIORITY=7\nDLOG_LEVEL=9\nDLOG_MODULE=357\n"
              "CODE_FILE=base\nCODE_LINE=19\nCODE_FUNC=function\n\n"
              "MESSAGE=no site\nPRIORITY=3\nDLOG_LEVEL=1\nDLOG_MODULE=300\n\n"
              "MESSAGE=base.7.function: a\\nb\nPRIORITY=3\nDLOG_LEVEL=1\nDLOG_MODULE=300\n"
              "CODE_FILE=base\nCODE_LINE=7\nCODE_FUNC=function\n\n");
}

TEST(DlogJournal, EntryIsNeverCut)
{
    const Result result = sentToJournal({"long", "1000000"});
    EXPECT_TRUE(result.answer.starts_with("MESSAGE=" + std::string(1000000 - 8, 'x') + ".\n"));
}

TEST(DlogJournal, ObeysTheLevel)
{
    EXPECT_EQ(sentToJournal({"sites"}, {"DLOG_LEVEL=0"}).answer, "");
}

TEST(DlogJournal, RefusedEntryBecomesALine)
{
    const Result result = sentToJournal({"values", "x"}, {"PROBE_JOURNAL_REFUSES=1"});
    EXPECT_EQ(result.log, "1 357 x\n");
}

TEST(DlogJournal, AnotherStreamIsNotTheJournal)
{
    const Descriptor other = makeFile();
    const Descriptor file = makeFile();
    Child child{DLOG_JOURNAL_PROBE, {"values", "x"}, {journalStreamOf(other)}, file.get()};
    EXPECT_EQ(child.finish(), 0);
    EXPECT_EQ(child.rest(), "");
    EXPECT_EQ(contentOf(file), "1 357 x\n");
}
