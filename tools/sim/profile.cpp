#include "sim/profile.hpp"

#include "sim/names.hpp"

namespace sim
{

Profile smbiosProfile()
{
    return {names::smbiosService, {names::smbiosRoot}, {}};
}

Profile kovdProfile()
{
    const Properties definitions{{names::associations, Value::associations({})}};
    return {names::kovdService,
            {names::boardRoot, names::chassisRoot},
            {{names::associationDefinitions, definitions}}};
}

} // namespace sim
