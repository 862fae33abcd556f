#pragma once

// What `hwinv_sim` does to a running simulator: each function is one request to its remote control.
//
// Every function throws sim::UsageError naming the argument that is wrong, or sim::Error (with the
// simulator's own words where it refused), and prints its result, if it has one, on standard
// output. `service` may be empty where the path says enough. Main thread only.

#include "sim/value.hpp"

#include <string>
#include <vector>

namespace hwinv_sim
{

class Client
{
  public:
    /** `address` is empty for the system bus. */
    explicit Client(std::string address);

    /** Adds an object from JSON text: its interfaces, or a whole capture that holds the path.
     *  `name` stands for the text in errors. */
    void add(const std::string& service, const std::string& path, const std::string& text,
             const std::string& name);

    /** The same from a file. */
    void addFromFile(const std::string& service, const std::string& path, const std::string& file);

    /** `value` is plain text for a text type, else JSON. */
    void set(const std::string& service, const std::string& path, const std::string& interface,
             const std::string& property, const std::string& type, const std::string& value);

    void remove(const std::string& service, const std::string& path,
                const std::vector<std::string>& interfaces);

    void emitSignal(const std::string& service, const std::string& path,
                    const std::string& interface, const std::string& member,
                    const std::string& signature, const std::string& body);

    void start(const std::string& service);
    void stop(const std::string& service);
    void addFault(const std::string& kind, const std::string& text);
    void clearFaults();

    /** Prints the services with their objects and what is associated with them. */
    void list();

    /** Prints every Properties.Set that a service received. */
    void listSets(const std::string& service);

  private:
    void addInterfaces(const std::string& service, const std::string& path,
                       const sim::Json& interfaces) const;

    std::string address_;
};

} // namespace hwinv_sim
