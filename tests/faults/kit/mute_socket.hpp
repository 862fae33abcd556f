#pragma once

// A socket that accepts every connection and never says a word.
//
// Destruction closes it. One thread makes and destroys it; address() may be read by any thread.

#include "child/pipe.hpp"

#include <string>

namespace kit
{

class MuteSocket
{
  public:
    /** Listens in a new folder; throws sim::Error. */
    MuteSocket();
    ~MuteSocket();
    MuteSocket(const MuteSocket&) = delete;
    MuteSocket& operator=(const MuteSocket&) = delete;

    std::string address() const
    {
        return "unix:path=" + path_;
    }

  private:
    std::string folder_;
    std::string path_;
    child::Descriptor listener_;
};

} // namespace kit
