/* The binding's object path under one name, whichever namespace its revision keeps it in. */
#pragma once

#include <sdbusplus/message.hpp>

namespace compat
{
using namespace sdbusplus;
using namespace sdbusplus::message;
using ObjectPath = object_path;
} // namespace compat
