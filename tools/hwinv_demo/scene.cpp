#include "scene.hpp"

#include "rig/settle.hpp"

#include <chrono>
#include <utility>
#include <vector>

namespace hwinv_demo
{

namespace
{
constexpr std::chrono::seconds patience{60};
} // namespace

Scene::Scene(const std::string& folder, sim::InventoryCapture inventory, std::string daemonProgram,
             std::string logFile)
    : bus_(folder), simulator_(bus_.address(), std::move(inventory)), observer_(bus_.address())
{
    options_.program = std::move(daemonProgram);
    options_.address = bus_.address();
    options_.logFile = std::move(logFile);
}

void Scene::startDaemon()
{
    daemon_ = std::make_unique<rig::Daemon>(options_);
}

void Scene::settle()
{
    std::vector<sim::Service*> running;
    for (sim::Service* service : {&kovd(), &smbios()})
    {
        if (service->running())
        {
            running.push_back(service);
        }
    }
    rig::settle(observer_, *daemon_, running, patience);
}

} // namespace hwinv_demo
