/*
 * What the daemon has to do, said a second time and as plainly as possible: tables are lists that
 * are walked from the front, nothing is shared, nothing is fast, and no line is the daemon's own.
 *
 * An event changes what the model knows, hands lists over and writes lines; a test compares all
 * three with the daemon's. One thread at a time.
 */
#pragma once

#include "machine.hpp"

#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace model
{

struct Line
{
    int level = 0;
    std::string file;
    std::string function;
    std::string text;

    bool operator==(const Line&) const = default;
};

using Lines = std::vector<Line>;

struct HandOver
{
    std::string path;
    AssociationList list;

    bool operator==(const HandOver&) const = default;
};

using PathPair = std::pair<std::string, std::string>;
using Objects = std::map<std::string, ReceivedProperties, std::less<>>;

/** Everything that can be seen of the daemon, except its lines. */
struct World
{
    std::array<Objects, machine::kindCount> objects;
    std::vector<PathPair> pairs;      // SMBIOS and KOVD path, as they were made
    std::vector<PathPair> cachePairs; // processor and cache path, as they were made
    std::map<std::string, AssociationList> written;
    std::vector<HandOver> handOvers;
    std::size_t refused = 0;
    bool recoveryRequested = false;

    Objects& of(machine::Kind kind)
    {
        return objects[static_cast<std::size_t>(kind)];
    }

    bool operator==(const World&) const = default;
};

class Model
{
  public:
    void happen(const machine::Event& event);

    // A full pass in pieces, for a test that lets other events in between: the paths that it takes,
    // as things stand at its start, and one step. The step is false when the pass ends there.
    std::vector<std::string> passPaths(machine::Event::Type pass);
    bool passStep(machine::Event::Type pass, const std::string& path);

    World world;
    Lines log;

  private:
    // The log, and the one way to the bus.
    void util(int level, const std::string& function, const std::string& text);
    void cpu(int level, const std::string& function, const std::string& text);
    bool handOver(const std::string& file, const std::string& function, const std::string& path,
                  const AssociationList& list);

    // Pairs of an SMBIOS and a KOVD path.
    bool addPair(const std::string& smbios, const std::string& kovd);
    const std::string* kovdOf(const std::string& smbios) const;
    const std::string* smbiosOf(const std::string& kovd) const;
    bool dropPairOfKovd(const std::string& kovd);

    // The rules that compare an SMBIOS and a KOVD object.
    bool matches(const ReceivedProperties& smbios, const ReceivedProperties& kovd, int type);
    bool slotsMatch(const ReceivedProperties& smbios, const ReceivedProperties& kovd);
    bool deviceMatches(const ReceivedProperties& smbios, const ReceivedProperties& kovd);
    bool cpusMatch(const ReceivedProperties& smbios, const ReceivedProperties& kovd);
    bool fqddMatches(const std::string& designation, const std::string& fqdd);

    // PCIe.
    void findFor(machine::Kind kind, const std::string& path);
    void findForDevice(const std::string& path);
    void findForChassis(const std::string& path);
    void searchSmbiosSlots(const ReceivedProperties& kovd, const std::string& kovdPath);
    void searchAllKovd(const ReceivedProperties& smbios, const std::string& smbiosPath);
    std::string searchKovdSlots(const ReceivedProperties& smbios, const std::string& smbiosPath);
    void searchKovdDevices(const std::string& slot, const ReceivedProperties& smbios,
                           const std::string& smbiosPath);
    void searchChassis(const std::string& slot, const std::string& smbiosPath);
    bool offerSlot(const std::string& path);
    void removeSmbiosSlot(const std::string& path);

    // Inserts, of every kind.
    void insert(machine::Kind kind, const std::string& path, const ReceivedProperties& received);
    bool needsNothing(machine::Kind kind, const std::string& path);
    void sayReadFailure(machine::Kind kind);

    // Removals that the platform's worker sees.
    void kovdRemoval(const std::string& path, const std::vector<std::string>& interfaces);
    void eraseKovdObject(machine::Kind kind, const std::string& path);
    void removeKovdCpu(const std::string& path);

    // Processors and caches.
    std::vector<std::string> cachesOf(const std::string& cpuPath) const;
    std::vector<std::string> cpusOf(const std::string& cachePath) const;
    std::size_t countCaches(const std::string& cpuPath);
    bool fullyAssociated(const std::string& cpuPath);
    std::string namedLevel(const ReceivedProperties& cpuProperties,
                           const ReceivedProperties& cache);
    void pairCache(const std::string& function, const std::string& cpuPath,
                   const std::string& cachePath);
    void pairCpu(const std::string& function, const std::string& smbios, const std::string& kovd,
                 AssociationList& additions);
    void searchKovdCpus(const ReceivedProperties& smbios, const std::string& smbiosPath,
                        AssociationList& additions);
    void searchCaches(const ReceivedProperties& cpuProperties, const std::string& cpuPath,
                      AssociationList& additions);
    void associateSmbiosCpu(const std::string& path);
    void associateKovdCpu(const std::string& path);
    void associateCache(const std::string& path);
    bool readList(const std::string& kovdPath, AssociationList& list);
    void storeList(const std::string& kovdPath, const AssociationList& list);
    void write(const std::string& function, const std::string& kovdPath,
               const AssociationList& list);
    bool mergeAndWrite(const std::string& function, const std::string& kovdPath,
                       const AssociationList& additions);
    void prune(const std::string& function, const std::string& kovdPath,
               const std::vector<std::string>& endpoints);
    void removeSmbiosCpu(const std::string& path);
    void removeSmbiosCache(const std::string& path);

    int handOverResult_ = 0;
};

} // namespace model
