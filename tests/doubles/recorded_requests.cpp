#include "doubles/recorded_requests.hpp"

#include "doubles/failing_allocation.hpp"
#include "infrautils/oneway_channel.hpp"

#include <mutex>
#include <stdexcept>

namespace
{

std::mutex mutex;
std::vector<AssociationRequest> handedOver;
std::size_t refusals = 0;
int handOverResult = 0;

} // namespace

int infrautils::executeUnit(UnitFunction function, OwnedData data, unsigned long size, int flag)
{
    const failing_allocation::Uncounted notMine;
    // The daemon hands over nothing else; a test that sees this has found a fault.
    if (function != setAssociations || size != sizeof(AssociationRequest) || flag != 1)
    {
        throw std::logic_error("not an association request");
    }
    const std::lock_guard lock(mutex);
    if (handOverResult != 0)
    {
        ++refusals;
        return handOverResult;
    }
    handedOver.push_back(*static_cast<const AssociationRequest*>(data.get()));
    return 0;
}

void recorded_requests::clear()
{
    const std::lock_guard lock(mutex);
    handedOver.clear();
    refusals = 0;
    handOverResult = 0;
}

std::vector<AssociationRequest> recorded_requests::all()
{
    const std::lock_guard lock(mutex);
    return handedOver;
}

void recorded_requests::setResult(int result)
{
    const std::lock_guard lock(mutex);
    handOverResult = result;
}

std::size_t recorded_requests::refused()
{
    const std::lock_guard lock(mutex);
    return refusals;
}

bool operator==(const AssociationRequest& left, const AssociationRequest& right)
{
    return left.objectPath == right.objectPath && left.associations == right.associations;
}
