#pragma once

#include <cctype>
#include <string>

namespace Quelto::Lumindra::Test {

// A parameterised case's description as a test name ("one byte over" -> "OneByteOver"), so that
// CTest lists readable, stable names.
inline std::string CaseName(const char* what)
{
    std::string name;
    bool upper = true;
    for (const char* c = what; *c; ++c) {
        if (std::isalnum(static_cast<unsigned char>(*c))) {
            name += upper ? static_cast<char>(std::toupper(static_cast<unsigned char>(*c))) : *c;
            upper = false;
        } else {
            upper = true;
        }
    }
    return name;
}

// Names the cases of INSTANTIATE_TEST_SUITE_P after their `what` field.
struct CaseNamer {
    template <class Info>
    std::string operator()(const Info& info) const
    {
        return CaseName(info.param.what);
    }
};

} // namespace Quelto::Lumindra::Test
