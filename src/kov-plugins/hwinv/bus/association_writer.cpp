#include "bus/association_writer.hpp"

#include "base/names.hpp"
#include "base/sigint_block.hpp"
#include "base/terminated.hpp"
#include "infrautils/oneway_channel.hpp"

#include <utility>
#include <variant>

std::shared_ptr<sdbusplus::bus_t> busConnection;

int setAssociations(void* /*context*/, void* data, unsigned long size)
{
    if (data == nullptr || size == 0)
    {
        UTIL_LOG(level::error, "Invalid input");
        return -1;
    }
    UTIL_LOG(level::error, "Setting associations");

    const auto& request = *static_cast<const AssociationRequest*>(data);
    auto call =
        busConnection->new_method_call(terminated(names::kovdService), request.objectPath.c_str(),
                                       terminated(names::propertiesInterface), "Set");
    call.append(std::string(names::associationsInterface), std::string(names::associationsProperty),
                std::variant<AssociationList>(request.associations));

    const SigintBlock block;
    auto reply = busConnection->call(call);
    if (reply.is_method_error())
    {
        UTIL_LOG(level::error, "Failed to set associations");
        return -1;
    }
    return 0;
}

int sendAssociations(const Site& site, const std::string& kovdPath, AssociationList associations)
{
    auto request =
        std::make_unique<AssociationRequest>(AssociationRequest{kovdPath, std::move(associations)});

    // The executor owns the request from here on, also when it refuses it.
    const int execRet =
        OneWayChannel_Execute(setAssociations, request.release(), sizeof(AssociationRequest), 1);
    if (execRet != 0)
    {
        LOG_AT(site, level::error, "OneWayChannel_Execute failed, execRet = %d", execRet);
    }
    return execRet;
}
