#include "store/association_pairs.hpp"

Mutex associationPairsMutex;
AssociationPairs associationPairs;

namespace
{

const std::string* partner(const auto& index, std::string_view path)
{
    const auto at = index.find(path);
    return at == index.end() ? nullptr : at->second;
}

std::optional<std::string> copyOf(const std::string* partner)
{
    return partner == nullptr ? std::nullopt : std::optional(*partner);
}

} // namespace

bool AssociationPairs::add(const std::string& smbiosPath, const std::string& kovdPath)
{
    if (bySMBIOSPath_.contains(smbiosPath) || byKOVDPath_.contains(kovdPath))
    {
        return false;
    }
    const auto added = bySMBIOSPath_.emplace(smbiosPath, nullptr).first;
    try
    {
        added->second = &byKOVDPath_.emplace(kovdPath, &added->first).first->first;
    }
    catch (...)
    {
        bySMBIOSPath_.erase(added); // both sides or none
        throw;
    }
    return true;
}

const std::string* AssociationPairs::kovdPartner(std::string_view smbiosPath) const
{
    return partner(bySMBIOSPath_, smbiosPath);
}

const std::string* AssociationPairs::smbiosPartner(std::string_view kovdPath) const
{
    return partner(byKOVDPath_, kovdPath);
}

bool AssociationPairs::eraseByKOVDPath(std::string_view kovdPath)
{
    return erase(byKOVDPath_, bySMBIOSPath_, kovdPath);
}

bool AssociationPairs::eraseBySMBIOSPath(std::string_view smbiosPath)
{
    return erase(bySMBIOSPath_, byKOVDPath_, smbiosPath);
}

bool AssociationPairs::erase(Index& from, Index& other, std::string_view path)
{
    const auto at = from.find(path);
    if (at == from.end())
    {
        return false;
    }
    other.erase(other.find(*at->second));
    from.erase(at);
    return true;
}

bool addAssociationPair(const std::string& smbiosPath, const std::string& kovdPath)
{
    MutexLock lock(associationPairsMutex);
    return associationPairs.add(smbiosPath, kovdPath);
}

bool isPathAssociated(int side, std::string_view path)
{
    if (side != smbiosSide && side != kovdSide)
    {
        return false;
    }
    MutexLock lock(associationPairsMutex);
    return side == smbiosSide ? associationPairs.kovdPartner(path) != nullptr
                              : associationPairs.smbiosPartner(path) != nullptr;
}

std::optional<std::string> findAssociatedSMBIOSPath(std::string_view kovdPath)
{
    MutexLock lock(associationPairsMutex);
    return copyOf(associationPairs.smbiosPartner(kovdPath));
}

std::optional<std::string> findAssociatedKOVDPath(std::string_view smbiosPath)
{
    MutexLock lock(associationPairsMutex);
    return copyOf(associationPairs.kovdPartner(smbiosPath));
}

std::optional<std::string> takeAssociatedKOVDPath(std::string_view smbiosPath)
{
    MutexLock lock(associationPairsMutex);
    auto kovdPath = copyOf(associationPairs.kovdPartner(smbiosPath));
    associationPairs.eraseBySMBIOSPath(smbiosPath);
    return kovdPath;
}

bool eraseAssociationPairByKOVDPath(std::string_view kovdPath)
{
    return associationPairs.eraseByKOVDPath(kovdPath);
}
