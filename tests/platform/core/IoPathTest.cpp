#include <string>

#include <gtest/gtest.h>

#include "core/IoPath.h"

namespace Quelto::Lumindra {
namespace {

struct JoinCase {
    const char* name;
    const char* left;
    const char* right;
    const char* joined;
    friend void PrintTo(const JoinCase& c, std::ostream* os) { *os << c.name; }
};

class IoPathJoin : public ::testing::TestWithParam<JoinCase> {};

TEST_P(IoPathJoin, JoinsWithExactlyOneSeparator)
{
    const JoinCase& c = GetParam();
    EXPECT_EQ((ioPath(c.left) / c.right).utf8string(), c.joined);
}

INSTANTIATE_TEST_SUITE_P(ioPath, IoPathJoin,
                         ::testing::Values(JoinCase {"EmptyLeft", "", "a.jpg", "a.jpg"},
                                           JoinCase {"NoSeparator", "/tmp", "a.jpg", "/tmp/a.jpg"},
                                           JoinCase {"TrailingSeparator", "/tmp/", "a.jpg", "/tmp/a.jpg"},
                                           JoinCase {"NonAscii", "/ph\xc3\xb6tos", "\xc3\xa9t\xc3\xa9.jpg",
                                                     "/ph\xc3\xb6tos/\xc3\xa9t\xc3\xa9.jpg"}),
                         [](const ::testing::TestParamInfo<JoinCase>& info) { return std::string(info.param.name); });

TEST(ioPath, NullTextIsEmptyPath)
{
    EXPECT_TRUE(ioPath(static_cast<const char*>(nullptr)).empty());
}

} // namespace
} // namespace Quelto::Lumindra
