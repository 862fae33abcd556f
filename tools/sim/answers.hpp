#pragma once

// The replies of a simulated service: what it answers to Properties, ObjectManager and
// Introspectable calls, from an inventory. REQUIRES: the thread that owns the connection.

#include "sim/inventory.hpp"
#include "sim/sdbus.hpp"

#include <functional>
#include <string>

namespace sim
{

/** An error reply to a method call. */
class MethodError : public Error
{
  public:
    MethodError(std::string name, const std::string& text) : Error(text), name_(std::move(name)) {}
    const std::string& name() const
    {
        return name_;
    }

  private:
    std::string name_;
};

/** The body of a Properties.Set. */
struct SetRequest
{
    std::string path;
    std::string interface;
    std::string property;
    Value value;
};

/** Reads a Set call; throws MethodError when its body has another type. */
SetRequest readSet(sd_bus_message* request);

/** Throws MethodError unless the service lets others set this property to a value of this type. */
void checkSettable(const Inventory& inventory, const SetRequest& set);

/** The complete reply to any call but Set; throws MethodError. */
Message answer(const Inventory& inventory, sd_bus_message* request);

void appendProperties(sd_bus_message* message, const Properties& properties);
void appendInterfaces(sd_bus_message* message, const Interfaces& interfaces);
void appendText(sd_bus_message* message, char type, const std::string& text);

} // namespace sim
