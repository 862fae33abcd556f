#include "engines/slot_association.hpp"

#include "base/names.hpp"
#include "bus/association_writer.hpp"

AssociationList slotAssociationList(const std::string& smbiosPath)
{
    return {
        {std::string(names::chassisAssociation), std::string(names::slotAssociation), smbiosPath}};
}

void sendSlotAssociation(const Site& site, const std::string& kovdPath,
                         const std::string& smbiosPath)
{
    sendAssociations(site, kovdPath, slotAssociationList(smbiosPath));
}
