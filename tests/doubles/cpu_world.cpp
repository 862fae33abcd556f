#include "doubles/cpu_world.hpp"

#include "doubles/sample_objects.hpp"

#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <memory>
#include <stdexcept>

namespace
{

using cpu_world::Lines;
using std::string;

string numbered(int value)
{
    return std::to_string(value);
}

Lines tupleLines(const string& function, const AssociationList& list)
{
    Lines lines;
    for (const auto& [forward, backward, endpoint] : list)
    {
        lines.push_back("9 " + function + ":  path " + endpoint + " forward: " + forward +
                        ", backward: " + backward);
    }
    return lines;
}

sdbusplus::exception::SdBusError busError()
{
    return {EIO, "sd_bus_call"};
}

} // namespace

PropertyMap cpu_world::smbiosCpu(int number, const Handles& handles)
{
    PropertyMap properties = sample::smbiosCpu("CPU" + numbered(number));
    const auto add = [&](PropertyName name, const std::optional<std::uint16_t>& handle)
    {
        if (handle)
        {
            properties.insert_or_assign(name, *handle);
        }
    };
    add("L1CacheHandle", handles.l1);
    add("L2CacheHandle", handles.l2);
    add("L3CacheHandle", handles.l3);
    return properties;
}

PropertyMap cpu_world::kovdCpu(int number)
{
    return sample::kovdCpu("CPU.Socket." + numbered(number), static_cast<std::uint16_t>(number));
}

PropertyMap cpu_world::cache(std::uint16_t handle)
{
    return {{"Handle", handle}};
}

AssociationTuple cpu_world::cpuTupleOf(const string& smbiosPath)
{
    return {"chassis", "processor", smbiosPath};
}

AssociationTuple cpu_world::cacheTupleOf(const string& name, const string& cachePath)
{
    return {"processor", name, cachePath};
}

AssociationTuple cpu_world::foreignTuple()
{
    return {"sensors", "inventory", "/somewhere/else"};
}

void cpu_world::pairCpus(const string& smbiosPath, const string& kovdPath)
{
    if (!addAssociationPair(smbiosPath, kovdPath))
    {
        throw std::logic_error("one of the two is paired already");
    }
}

bool cpu_world::isPair(const string& smbiosPath, const string& kovdPath)
{
    return findAssociatedSMBIOSPath(kovdPath) == smbiosPath;
}

void cpu_world::pairCaches(const string& cpuPath, const Paths& cachePaths)
{
    for (const string& cachePath : cachePaths)
    {
        addCpuCachePair(cpuPath, cachePath);
    }
}

cpu_world::Paths cpu_world::cachesOf(const string& cpuPath)
{
    MutexLock lock(cpuCacheAssociationPairsMutex);
    return cpuCacheAssociationPairs.cachesOfCPU(cpuPath);
}

cpu_world::Paths cpu_world::cpusOf(const string& cachePath)
{
    MutexLock lock(cpuCacheAssociationPairsMutex);
    return cpuCacheAssociationPairs.cpusOfCache(cachePath);
}

void cpu_world::setWritten(const string& kovdPath, const AssociationList& list)
{
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    CPUKOVDAssocTuples[kovdPath] = list;
}

std::optional<AssociationList> cpu_world::written(const string& kovdPath)
{
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    const auto found = CPUKOVDAssocTuples.find(kovdPath);
    return found != CPUKOVDAssocTuples.end() ? std::optional(found->second) : std::nullopt;
}

PropertyMap cpu_world::stored(const ObjectMap& map, const string& path)
{
    PropertyMap properties;
    if (!map.getObject(path, &properties))
    {
        throw std::logic_error(path + " is not stored");
    }
    return properties;
}

Lines cpu_world::engineLines()
{
    Lines lines;
    for (const string& line : recorded_log::summary())
    {
        if (line.find(" CompareAssociationProperties: ") != 1)
        {
            lines.push_back(line);
        }
    }
    return lines;
}

Lines cpu_world::linesOf(const string& function)
{
    Lines lines;
    for (const string& line : recorded_log::summary())
    {
        if (line.find(" " + function + ": ") == 1)
        {
            lines.push_back(line);
        }
    }
    return lines;
}

Lines cpu_world::operator+(Lines left, const Lines& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Lines cpu_world::listRead(const string& kovdPath, const AssociationList& list)
{
    const string function = "GetCurrentAssocTuples";
    const Lines start = {"9 " + function + ": kovdCPUObjPath = " + kovdPath,
                         "9 " + function + ": assocVec size: " + std::to_string(list.size())};
    return start + (list.empty() ? Lines{"9 " + function + ": " + kovdPath +
                                         " empty association tuples vector exist"}
                                 : tupleLines(function, list));
}

Lines cpu_world::noListRead(const string& kovdPath)
{
    return {"9 GetCurrentAssocTuples: kovdCPUObjPath = " + kovdPath,
            "5 GetCurrentAssocTuples: No association found for path " + kovdPath};
}

Lines cpu_world::listStored(const string& kovdPath, const AssociationList& list)
{
    return Lines{"9 UpdateCurrentAssocTuples: kovdCPUObjPath = " + kovdPath} +
           tupleLines("UpdateCurrentAssocTuples", list);
}

Lines cpu_world::firstListStored(const string& kovdPath, const AssociationList& list)
{
    return Lines{"9 UpdateCurrentAssocTuples: kovdCPUObjPath = " + kovdPath,
                 "5 UpdateCurrentAssocTuples: " + kovdPath +
                     " Association being added for the first time"} +
           tupleLines("UpdateCurrentAssocTuples", list);
}

Lines cpu_world::cacheCompared(std::uint16_t cacheHandle, const Handles& handles)
{
    const string start = "9 CompareCacheAssocProps: ";
    Lines lines = {start + "Cache Handle: " + numbered(cacheHandle)};
    int level = 0;
    for (const auto& handle : {handles.l1, handles.l2, handles.l3})
    {
        ++level;
        if (handle)
        {
            lines.push_back(start + "CPU L" + numbered(level) +
                            " Cache Handle: " + numbered(*handle));
        }
        if (handle == cacheHandle)
        {
            break;
        }
    }
    return lines;
}

Lines cpu_world::cacheCounted(const Paths& cachePaths)
{
    Lines lines;
    for (const string& path : cachePaths)
    {
        lines.push_back("9 checkNumofCacheAssoc: " + path + " associated Cache objpath");
    }
    return lines;
}

Lines cpu_world::cpuPaired(const string& function, const string& smbiosPath, const string& kovdPath)
{
    return {"5 " + function + ": Association added successfully",
            "5 " + function + ": smbios " + smbiosPath, "5 " + function + ": kovd " + kovdPath};
}

Lines cpu_world::cachePaired(const string& function, const string& cpuPath, const string& cachePath)
{
    return {"5 " + function + ": Association added successfully",
            "5 " + function + ": CPU " + cpuPath, "5 " + function + ": Cache " + cachePath};
}

void cpu_world::when(const string& text, const std::function<void()>& action)
{
    const auto done = std::make_shared<bool>(false);
    recorded_log::setHook(
        [text, action, done](const LogLine& line)
        {
            if (!*done && line.text == text)
            {
                *done = true;
                action();
            }
        });
}

void cpu_world::throwBusErrorAt(const string& text)
{
    when(text, [] { throw busError(); });
}

void cpu_world::throwStandardErrorAt(const string& text)
{
    when(text, [] { throw std::runtime_error("out of luck"); });
}

void cpu_world::throwOtherAt(const string& text)
{
    when(text, [] { throw 7; });
}

string cpu_world::busErrorText()
{
    return busError().what();
}
