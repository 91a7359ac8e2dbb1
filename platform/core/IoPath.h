#pragma once

#include <string>
#include <utility>

namespace Quelto::Lumindra {

// The file-path type of every boundary with the editing core: a path held as UTF-8,
// whatever the platform's own encoding is.
class ioPath {
public:
    ioPath() = default;
    explicit ioPath(std::string utf8) : utf8_(std::move(utf8)) {}
    explicit ioPath(const char* utf8) : utf8_(utf8 ? utf8 : "") {}

    const std::string& utf8string() const { return utf8_; }
    bool empty() const { return utf8_.empty(); }

    // Joins with one separator; an empty left side yields the right side as it is.
    ioPath operator/(const std::string& child) const;

    bool operator==(const ioPath& o) const { return utf8_ == o.utf8_; }
    bool operator!=(const ioPath& o) const { return utf8_ != o.utf8_; }
    bool operator<(const ioPath& o) const { return utf8_ < o.utf8_; }

private:
    std::string utf8_;
};

} // namespace Quelto::Lumindra
