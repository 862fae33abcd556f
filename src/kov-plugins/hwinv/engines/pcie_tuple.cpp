#include "engines/pcie_tuple.hpp"

#include "names.hpp"

AssociationList slotAssociationList(const std::string& smbiosPath)
{
    return {
        {std::string(names::chassisAssociation), std::string(names::slotAssociation), smbiosPath}};
}
