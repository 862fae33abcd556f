#include "faults/kit/preload.hpp"

#include <cstdlib>

namespace kit
{
namespace
{

std::string ruleOf(const FailingCall& call)
{
    return call.function + ":" + std::to_string(call.first) + ":" + std::to_string(call.times) +
           ":" + std::to_string(call.error) + (call.mainOnly ? ":main" : ":any") +
           (call.whenArmed ? ":armed" : ":now");
}

/** AddressSanitizer insists on being the first library otherwise. */
std::string asanOptions()
{
    const char* ours = std::getenv("ASAN_OPTIONS");
    return "ASAN_OPTIONS=" + (ours == nullptr ? "" : std::string(ours) + ":") +
           "verify_asan_link_order=0";
}

} // namespace

std::vector<std::string> environmentOf(const Preloads& preloads)
{
    std::string rules;
    for (const FailingCall& call : preloads.failing)
    {
        rules += (rules.empty() ? "" : ";") + ruleOf(call);
    }
    std::string libraries;
    if (preloads.warp != 1 || preloads.early != 0)
    {
        libraries = WARP_LIBRARY;
    }
    if (!rules.empty())
    {
        libraries += (libraries.empty() ? "" : ":") + std::string(FAILING_CALLS_LIBRARY);
    }
    if (libraries.empty())
    {
        return {};
    }
    return {"LD_PRELOAD=" + libraries, "HWINV_WARP=" + std::to_string(preloads.warp),
            "HWINV_EARLY=" + std::to_string(preloads.early), "HWINV_FAIL=" + rules, asanOptions()};
}

} // namespace kit
