#pragma once

#include <QString>

namespace Quelto::Lumindra::Util {

// Look and feel: the user-interface language. Kept in the settings store, so thread-safe as the
// store is.
class LookAndFeelManager {
public:
    static LookAndFeelManager& Instance();
    // BCP-47 style name ("en", "de"): the stored choice, else the system locale's language.
    QString GetLanguage() const;
    // Stores the choice; an empty name forgets it (back to the system locale).
    void SetLanguage(const QString& language);

private:
    LookAndFeelManager() = default;
};

} // namespace Quelto::Lumindra::Util
