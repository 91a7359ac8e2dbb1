#pragma once

#include <mutex>

#include <QString>

namespace Quelto::Lumindra::Util {

// Product configuration: the names a person sees (the product name written into saved files'
// metadata and shown in window titles). Thread-safe.
class CustomizationManager {
public:
    static CustomizationManager& Instance();
    QString GetProductName() const;
    // An empty name is ignored: the product always has one.
    void SetProductName(const QString& name);

private:
    CustomizationManager() = default;

    mutable std::mutex mutex_; // guards productName_
    QString productName_ = QStringLiteral("Lumindra");
};

} // namespace Quelto::Lumindra::Util
