#include "engines/slot_association.hpp"

#include "base/names.hpp"

AssociationList slotAssociationList(const std::string& smbiosPath)
{
    return {
        {std::string(names::chassisAssociation), std::string(names::slotAssociation), smbiosPath}};
}
