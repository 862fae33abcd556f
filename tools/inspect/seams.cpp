#include "inspect/seams.hpp"

#include "dlog/dlog.hpp"
#include "infrautils/oneway_channel.hpp"

#include <utility>

// Below every level: no line is formatted. What the engine did is read from its state instead.
int dlog_threshold = 0;

int dlog_printf(int /*level*/, int /*module*/, const char* /*format*/, ...)
{
    return 0;
}

namespace inspect
{
namespace
{

std::vector<AssociationRequest> requests;

} // namespace

std::vector<AssociationRequest> takeRequests()
{
    return std::exchange(requests, {});
}

} // namespace inspect

int infrautils::executeUnit(UnitFunction function, OwnedData data, unsigned long size, int /*flag*/)
{
    if (function != setAssociations || size != sizeof(AssociationRequest))
    {
        return -1; // the engine hands over nothing else
    }
    inspect::requests.push_back(std::move(*static_cast<AssociationRequest*>(data.get())));
    return 0;
}
