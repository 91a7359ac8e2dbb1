#pragma once

#include <map>
#include <string>

namespace Quelto::Lumindra::Core {

// A small set of named text values describing one thing (a metadata tag, a file).
// Empty means "no such thing": readers test IsEmpty() before reading values.
class Property {
public:
    bool IsEmpty() const { return values_.empty(); }
    bool Has(const std::string& key) const { return values_.count(key) != 0; }
    std::string Get(const std::string& key, const std::string& fallback = {}) const;
    void Set(const std::string& key, std::string value) { values_[key] = std::move(value); }
    void Remove(const std::string& key) { values_.erase(key); }
    const std::map<std::string, std::string>& Values() const { return values_; }

    bool operator==(const Property& o) const { return values_ == o.values_; }

private:
    std::map<std::string, std::string> values_;
};

} // namespace Quelto::Lumindra::Core
