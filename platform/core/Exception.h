#pragma once

#include <exception>
#include <string>

namespace Quelto::Lumindra::Core {

// The in-house exception: a description a person can read and a numeric code.
class Exception : public std::exception {
public:
    explicit Exception(std::string description, int code = 0);
    ~Exception() override;

    const std::string& GetDescription() const { return description_; }
    int GetCode() const { return code_; }
    const char* what() const noexcept override { return description_.c_str(); }

private:
    std::string description_;
    int code_ = 0;
};

} // namespace Quelto::Lumindra::Core
