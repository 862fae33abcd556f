/*
 * A program under test, its three standard streams in the test's hands, and what its log says.
 *
 * Every wait is for a fact and ends after a minute: the helpers then throw, which fails the test.
 *
 * Main thread only.
 */
#pragma once

#include "child/child.hpp"

#include <string>
#include <vector>

using child::Descriptor;
using child::makePipe;
using child::Pipe;

/** An empty regular file without a name, for reading and writing. */
Descriptor makeFile();

/** Everything until the other side closes. */
std::string readAll(int descriptor);

/** At most that many bytes: as many as one read gives. */
std::string readSome(int descriptor, std::size_t size);

/** The next line, without its newline. */
std::string readLine(int descriptor);

/** What a regular file holds. */
std::string contentOf(const Descriptor& file);

std::vector<std::string> linesOf(const std::string& text);

/** A line of the log with "LINE" in the place of the source line: the first number between dots. */
std::string withoutSourceLine(const std::string& line);

class Child
{
  public:
    /**
     * Starts the program. The environment is the test's own without DLOG_LEVEL and JOURNAL_STREAM,
     * and with the given "NAME=value" entries. Standard error -1 starts it without one.
     */
    Child(const std::string& program, const std::vector<std::string>& arguments,
          const std::vector<std::string>& environment, int standardError);

    int output() const
    {
        return output_.read.get();
    }

    /** Sends one line to the child's standard input. */
    void tell(const std::string& line) const;

    /**
     * Reads the rest of the child's standard output and waits for its end. Returns the exit status,
     * or minus the number of the signal that ended it.
     */
    int finish();

    /** What finish has read. */
    const std::string& rest() const
    {
        return rest_;
    }

  private:
    Pipe input_;
    Pipe output_;
    child::Child program_;
    std::string rest_;
};
