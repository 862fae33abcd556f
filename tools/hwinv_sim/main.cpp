// hwinv_sim: plays the two source services on a bus, and talks to a running one.

#include "bus_choice.hpp"
#include "client.hpp"
#include "inventory_folder.hpp"
#include "program/program.hpp"
#include "serve.hpp"
#include "simulator.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <iostream>
#include <string>
#include <vector>

namespace
{

using hwinv_sim::Client;

constexpr const char* name = "hwinv_sim";

/** Everything that the command line can say. */
struct Options
{
    hwinv_sim::BusChoice bus;
    std::string service;
    hwinv_sim::ServeOptions serve;
    std::vector<std::string> failures;
    std::vector<std::string> hangs;
    std::vector<std::string> delays;
    std::string path;
    std::string file;
    std::string json;
    std::string interface;
    std::string property;
    std::string type;
    std::string value;
    std::string member;
    std::vector<std::string> interfaces;
};

constexpr const char* faultHelp =
    "FAULT is [SERVICE:]MEMBER[@PATH][*TIMES][=VALUE]: which calls of which service (both when "
    "not\n"
    "said) at which path (any), how many of them (all); VALUE is the error name or the "
    "milliseconds.\n"
    "kovd:Set*2=org.freedesktop.DBus.Error.Failed spoils the platform's next two Set calls.";

/** A subcommand that runs `work` after the command line has been read. */
CLI::App* command(CLI::App& app, std::function<int()>& chosen, const std::string& verb,
                  const std::string& help, std::function<int()> work)
{
    CLI::App* sub = app.add_subcommand(verb, help);
    sub->callback([&chosen, work = std::move(work)] { chosen = work; });
    return sub;
}

/** One that asks a running simulator for something. */
CLI::App* request(CLI::App& app, std::function<int()>& chosen, Options& options,
                  const std::string& verb, const std::string& help,
                  std::function<void(Client&)> work)
{
    return command(app, chosen, verb, help,
                   [&options, work = std::move(work)]
                   {
                       Client client(chooseBus(options.bus));
                       work(client);
                       return 0;
                   });
}

int serveWith(Options& options)
{
    options.serve.address = chooseBus(options.bus);
    for (const auto& [kind, texts] : {std::pair{"fail", &options.failures},
                                      {"hang", &options.hangs},
                                      {"delay", &options.delays}})
    {
        for (const std::string& text : *texts)
        {
            options.serve.faults.emplace_back(kind, text);
        }
    }
    return hwinv_sim::serve(options.serve);
}

void addServeCommands(CLI::App& app, std::function<int()>& chosen, Options& o)
{
    const CLI::IsMember services(hwinv_sim::Simulator::serviceNames());
    CLI::App* serve = command(app, chosen, "serve", "Play the services until a signal to stop",
                              [&o] { return serveWith(o); });
    serve
        ->add_option("--inventory", o.serve.inventory,
                     "Name of an inventory, or a folder of captures")
        ->required();
    serve->add_option("--only", o.serve.only, "Play just this service")->check(services);
    serve->add_option("--stopped", o.serve.stopped, "Wait with this service for `hwinv_sim start`")
        ->check(services);
    serve->add_option("--fail", o.failures, "Answer an error to the calls that FAULT names");
    serve->add_option("--hang", o.hangs, "Never answer them");
    serve->add_option("--delay", o.delays, "Answer them late");
    serve->footer(faultHelp);
    for (CLI::Option* list : serve->get_options())
    {
        list->allow_extra_args(false);
    }
    command(app, chosen, "bus", "Run a private bus until a signal to stop, and print its address",
            [] { return hwinv_sim::runBus(); });
    command(app, chosen, "inventories", "List the inventories that have a name",
            []
            {
                for (const std::string& known : hwinv_sim::knownInventories())
                {
                    std::cout << known << "\n";
                }
                return 0;
            });
}

void addObjectCommands(CLI::App& app, std::function<int()>& chosen, Options& o)
{
    const CLI::IsMember services(hwinv_sim::Simulator::serviceNames());
    const auto onObject = [&](CLI::App* sub)
    {
        sub->add_option("PATH", o.path, "Object path")->required();
        sub->add_option("--service", o.service, "Whose object, where the path leaves that open")
            ->check(services);
        return sub;
    };
    CLI::App* add = onObject(
        request(app, chosen, o, "add", "Add an object, or interfaces to one (InterfacesAdded)",
                [&o](Client& client)
                {
                    o.json.empty() ? client.addFromFile(o.service, o.path, o.file)
                                   : client.add(o.service, o.path, o.json, "--json");
                }));
    CLI::Option_group* source = add->add_option_group("source");
    source->add_option("--from", o.file,
                       "File with the interfaces, or a capture that has the object");
    source->add_option("--json", o.json,
                       R"({"INTERFACE": {"PROPERTY": {"type": "s", "data": "..."}}})");
    source->require_option(1);

    CLI::App* set = onObject(
        request(app, chosen, o, "set", "Change a property (PropertiesChanged)",
                [&o](Client& client)
                { client.set(o.service, o.path, o.interface, o.property, o.type, o.value); }));
    set->add_option("INTERFACE", o.interface)->required();
    set->add_option("PROPERTY", o.property)->required();
    set->add_option("TYPE", o.type, "D-Bus type, e.g. q")->required();
    set->add_option("VALUE", o.value, "Plain text for a text type, else JSON")->required();

    onObject(request(app, chosen, o, "remove", "Remove an object or interfaces (InterfacesRemoved)",
                     [&o](Client& client) { client.remove(o.service, o.path, o.interfaces); }))
        ->add_option("INTERFACE", o.interfaces, "All interfaces when none is given");
}

void addServiceCommands(CLI::App& app, std::function<int()>& chosen, Options& o)
{
    const CLI::IsMember services(hwinv_sim::Simulator::serviceNames());
    const auto onService = [&](CLI::App* sub)
    {
        sub->add_option("SERVICE", o.service, "smbios or kovd")->required()->check(services);
        return sub;
    };
    onService(request(app, chosen, o, "start", "Put a stopped service on the bus",
                      [&o](Client& client) { client.start(o.service); }));
    onService(request(app, chosen, o, "stop", "Take a service off the bus; its objects stay",
                      [&o](Client& client) { client.stop(o.service); }));
    onService(request(app, chosen, o, "sets", "List the Properties.Set calls that came in",
                      [&o](Client& client) { client.listSets(o.service); }));
    CLI::App* emit = onService(
        request(app, chosen, o, "emit", "Emit any signal; no object changes",
                [&o](Client& client)
                { client.emitSignal(o.service, o.path, o.interface, o.member, o.type, o.value); }));
    emit->add_option("PATH", o.path)->required();
    emit->add_option("INTERFACE", o.interface)->required();
    emit->add_option("MEMBER", o.member)->required();
    emit->add_option("SIGNATURE", o.type)->required();
    emit->add_option("BODY", o.value, "JSON list with a value for each type")->required();
    request(app, chosen, o, "list", "List the services, their objects and associations",
            [](Client& client) { client.list(); });
}

void addFaultCommands(CLI::App& app, std::function<int()>& chosen, Options& o)
{
    const auto spoil = [&](const std::string& kind, const std::string& help)
    {
        CLI::App* sub = request(app, chosen, o, kind, help,
                                [&o, kind](Client& client) { client.addFault(kind, o.value); });
        sub->add_option("FAULT", o.value)->required();
        sub->footer(faultHelp);
    };
    spoil("fail", "Answer an error to the next calls");
    spoil("hang", "Never answer the next calls");
    spoil("delay", "Answer the next calls late");
    request(app, chosen, o, "heal", "Forget all faults",
            [](Client& client) { client.clearFaults(); });
}

int run(int argc, char** argv)
{
    CLI::App app("Simulates the SMBIOS service and the platform's inventory service on a bus.",
                 name);
    Options options;
    std::function<int()> chosen;
    CLI::Option* address = app.add_option("--address", options.bus.address,
                                          "Bus address; else DBUS_SYSTEM_BUS_ADDRESS");
    app.add_flag("--system", options.bus.system, "This machine's own bus")->excludes(address);
    app.require_subcommand(1);
    app.fallthrough();
    addServeCommands(app, chosen, options);
    addObjectCommands(app, chosen, options);
    addServiceCommands(app, chosen, options);
    addFaultCommands(app, chosen, options);
    const auto answered = program::readCommandLine(app, argc, argv);
    return answered ? *answered : chosen();
}

} // namespace

int main(int argc, char** argv)
{
    return program::run(name, [&] { return run(argc, argv); });
}
