/* Errors of the event loop API.
 *
 * SdEventError is what a failed sd-event call throws: a std::system_error of the generic category,
 * whose text begins with the name of the call.
 */
#pragma once

#include <system_error>

namespace sdeventplus
{

class SdEventError final : public std::system_error
{
  public:
    /// `error` is a positive errno.
    SdEventError(int error, const char* prefix)
        : std::system_error(error, std::generic_category(), prefix)
    {
    }
};

namespace internal
{

/// Returns what the call returned, or throws its error.
inline int check(int result, const char* call)
{
    if (result < 0)
    {
        throw SdEventError(-result, call);
    }
    return result;
}

} // namespace internal
} // namespace sdeventplus
