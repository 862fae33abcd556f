/*
 * The world of the processor and cache tests: the paths of a small machine once, its objects, and
 * the lines that several operations have in common.
 */
#pragma once

#include "bus/association_writer.hpp"
#include "doubles/recorded_log.hpp"
#include "store/store.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cpu_world
{

using Lines = std::vector<std::string>;
using Requests = std::vector<AssociationRequest>;
using Paths = std::vector<std::string>;

inline const std::string inventory = "/xyz/openbmc_project/inventory/system/";

// The SMBIOS processors and caches, ascending.
inline const std::string cpu1 = inventory + "chassis/motherboard/cpu1";
inline const std::string cpu2 = inventory + "chassis/motherboard/cpu2";
inline const std::string cpu3 = inventory + "chassis/motherboard/cpu3";
inline const std::string cacheA = inventory + "chassis/cacheinfo/cacheA";
inline const std::string cacheB = inventory + "chassis/cacheinfo/cacheB";
inline const std::string cacheC = inventory + "chassis/cacheinfo/cacheC";
inline const std::string cacheD = inventory + "chassis/cacheinfo/cacheD";

// The platform's processors, ascending.
inline const std::string kovd1 = inventory + "board/cpu1";
inline const std::string kovd2 = inventory + "board/cpu2";
inline const std::string kovd3 = inventory + "board/cpu3";

/** The handles that a processor names; a level without one is missing. */
struct Handles
{
    std::optional<std::uint16_t> l1;
    std::optional<std::uint16_t> l2;
    std::optional<std::uint16_t> l3;
};

/** A processor with this number on either side; they match when the numbers agree. */
PropertyMap smbiosCpu(int number, const Handles& handles = {});
PropertyMap kovdCpu(int number);
PropertyMap cache(std::uint16_t handle);

AssociationTuple cpuTupleOf(const std::string& smbiosPath);
AssociationTuple cacheTupleOf(const std::string& name, const std::string& cachePath);

/** A tuple that none of the operations makes. */
AssociationTuple foreignTuple();

// The state of the world.
void pairCpus(const std::string& smbiosPath, const std::string& kovdPath);
bool isPair(const std::string& smbiosPath, const std::string& kovdPath);
void pairCaches(const std::string& cpuPath, const Paths& cachePaths);
Paths cachesOf(const std::string& cpuPath);
Paths cpusOf(const std::string& cachePath);
void setWritten(const std::string& kovdPath, const AssociationList& list);
std::optional<AssociationList> written(const std::string& kovdPath);
PropertyMap stored(const ObjectMap& map, const std::string& path);

/** All lines but those of the rule that compares two processors. */
Lines engineLines();
Lines linesOf(const std::string& function);

Lines operator+(Lines left, const Lines& right);

// The lines of the lists on platform processors.
Lines listRead(const std::string& kovdPath, const AssociationList& list);
Lines noListRead(const std::string& kovdPath);
Lines listStored(const std::string& kovdPath, const AssociationList& list);
Lines firstListStored(const std::string& kovdPath, const AssociationList& list);

/** A processor with these handles is asked for a cache. */
Lines cacheCompared(std::uint16_t cacheHandle, const Handles& handles);
Lines cacheCounted(const Paths& cachePaths);
Lines cpuPaired(const std::string& function, const std::string& smbiosPath,
                const std::string& kovdPath);
Lines cachePaired(const std::string& function, const std::string& cpuPath,
                  const std::string& cachePath);

/** Does this once, when a line with this text is logged. */
void when(const std::string& text, const std::function<void()>& action);

// Each throws at the first line with this text, and only there.
void throwBusErrorAt(const std::string& text);
void throwStandardErrorAt(const std::string& text); // "out of luck"
void throwOtherAt(const std::string& text);

/** What the error of throwBusErrorAt says. */
std::string busErrorText();

} // namespace cpu_world
