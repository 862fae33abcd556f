/*
 * The reader of a service's whole inventory, fed with the bodies of replies. The first byte chooses
 * the service and the byte order; what follows is the body of each reply.
 *
 * Whatever the replies: one call to the SMBIOS service, one or two to the platform daemon, each
 * stored object below a path of its kind, and the pairs with a partner on either side.
 */
#include "input.hpp"
#include "intake/discovery.hpp"
#include "store/store.hpp"
#include "target.hpp"
#include "wire.hpp"
#include "world.hpp"

#include <memory>

namespace
{

constexpr const char* signature = "a{oa{sa{sv}}}";

// A connection keeps what it could not use; a new one has nothing left over.
constexpr int mostUses = 1000;

wire::Connection& connection()
{
    static auto current = std::make_unique<wire::Connection>();
    static int uses = 0;
    if (!current->usable() || ++uses > mostUses)
    {
        current = std::make_unique<wire::Connection>();
        uses = 0;
    }
    return *current;
}

void checkPaths(const ObjectMap& objects, const char* text)
{
    for (const std::string& path : objects.listObjectPaths())
    {
        require(path.find(text) != std::string::npos,
                "an object is stored below a path of its kind");
        const auto smbiosPath = findAssociatedSMBIOSPath(path);
        require(!smbiosPath || findAssociatedKOVDPath(*smbiosPath) == path, "a pair has two sides");
    }
}

void checkStore()
{
    checkPaths(smbiosPCIeSlotObjs, "/chassis/motherboard/pcieslot");
    checkPaths(smbiosCPUObjs, "/chassis/motherboard/cpu");
    checkPaths(smbiosCacheObjs, "/chassis/cacheinfo");
    checkPaths(kovdPCIeSlotObjs, "/board/pcie");
    checkPaths(kovdPCIeDeviceObjs, "/board/pcie");
    checkPaths(kovdCPUObjs, "/board/cpu");
    checkPaths(kovdChassisPathSlotObjs, "/chassis/motherboard/pcie");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const unsigned choice = input.byte();
    const bool smbios = (choice & 1U) == 0;
    const auto order = (choice & 2U) == 0 ? wire::Order::little : wire::Order::big;
    // Twice, so that an SMBIOS object finds its counterpart stored, and the other way round.
    const std::string body = input.rest();
    wire::Connection& wire = connection();
    const unsigned calls = smbios ? 1 : 2;
    for (unsigned number = 1; number <= calls; ++number)
    {
        wire.prepareReply(order, number, signature, body);
    }
    (smbios ? GetManagedObjsSMBIOS : GetManagedObjsKOVD)(wire.bus());
    const unsigned sent = wire.sent();
    require(sent >= 1 && sent <= calls, "the number of calls");
    checkStore();
    if (sent != calls || (choice & 4U) == 0)
    {
        world::reset();
    }
    return 0;
}
