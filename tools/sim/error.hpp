#pragma once

// The errors of the simulator.
//
// Every failure that a caller can cause or must know of is one of these exceptions; what() is a
// sentence for a person. Nothing here is thrown into libsystemd.
// Any thread; no shared state.

#include <stdexcept>
#include <string>

namespace sim
{

class Error : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/** Something that a person asked for in a way that cannot be understood. */
class UsageError : public Error
{
  public:
    using Error::Error;
};

/** A value that does not fit its D-Bus type; `where()` is its place, as in data[0]["/a"]["b"]. */
class ValueError : public Error
{
  public:
    ValueError(std::string where, const std::string& reason)
        : Error(where.empty() ? reason : where + ": " + reason), where_(std::move(where)),
          reason_(reason)
    {
    }

    const std::string& where() const
    {
        return where_;
    }
    const std::string& reason() const
    {
        return reason_;
    }

  private:
    std::string where_;
    std::string reason_;
};

/** A capture that cannot be used: names the file, the place in it and the reason. */
class CaptureError : public Error
{
  public:
    CaptureError(std::string file, std::string place, const std::string& reason)
        : Error(file + ": " + (place.empty() ? "" : place + ": ") + reason), file_(std::move(file)),
          place_(std::move(place)), reason_(reason)
    {
    }

    const std::string& file() const
    {
        return file_;
    }
    const std::string& place() const
    {
        return place_;
    }
    const std::string& reason() const
    {
        return reason_;
    }

  private:
    std::string file_;
    std::string place_;
    std::string reason_;
};

/** A D-Bus operation that failed; `code()` is the positive errno. */
class BusError : public Error
{
  public:
    BusError(int code, const std::string& text) : Error(text), code_(code) {}

    int code() const
    {
        return code_;
    }

  private:
    int code_;
};

/** A bounded wait that ran out. */
class Timeout : public Error
{
  public:
    using Error::Error;
};

} // namespace sim
