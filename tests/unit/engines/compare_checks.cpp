#include "compare_checks.hpp"

#include "doubles/recorded_log.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/match.hpp"

#include <gtest/gtest.h>

using Lines = std::vector<std::string>;

namespace
{

void expectEachNeeded(const PropertyMap& properties, const auto& compared)
{
    for (const auto& [name, rightValue] : properties)
    {
        SCOPED_TRACE(std::string_view(name));
        recorded_log::clear();
        EXPECT_FALSE(compared(sample::without(properties, name)));
        EXPECT_EQ(recorded_log::summary(), Lines{});
        for (const PropertyValue& value : sample::everyType())
        {
            if (value.index() == rightValue.index())
            {
                continue;
            }
            SCOPED_TRACE(testing::Message() << "alternative " << value.index());
            recorded_log::clear();
            EXPECT_FALSE(compared(sample::with(properties, name, value)));
            EXPECT_EQ(recorded_log::summary(), Lines{compare_checks::badAccess});
        }
    }
}

} // namespace

std::vector<std::string> compare_checks::ownLines()
{
    Lines own;
    for (const std::string& line : recorded_log::summary())
    {
        if (line.find(" CompareAssociationProperties: ") == 1)
        {
            own.push_back(line);
        }
    }
    return own;
}

void compare_checks::expectEachPropertyNeeded(const PropertyMap& smbios, const PropertyMap& kovd,
                                              int type)
{
    SCOPED_TRACE(testing::Message() << "type " << type);
    ASSERT_TRUE(CompareAssociationProperties(smbios, kovd, type));
    expectEachNeeded(smbios, [&](const PropertyMap& changed)
                     { return CompareAssociationProperties(changed, kovd, type); });
    expectEachNeeded(kovd, [&](const PropertyMap& changed)
                     { return CompareAssociationProperties(smbios, changed, type); });
}
