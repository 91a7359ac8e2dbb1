#include "util/CustomizationManager.h"

namespace Quelto::Lumindra::Util {

CustomizationManager& CustomizationManager::Instance()
{
    static CustomizationManager instance;
    return instance;
}

QString CustomizationManager::GetProductName() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return productName_;
}

void CustomizationManager::SetProductName(const QString& name)
{
    if (name.trimmed().isEmpty())
        return;
    std::lock_guard<std::mutex> lock(mutex_);
    productName_ = name.trimmed();
}

} // namespace Quelto::Lumindra::Util
