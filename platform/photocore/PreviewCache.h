#pragma once

#include <memory>
#include <mutex>

#include "proc/EffectSettings.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// The result of the last preview of an edit (the frame it was made on, its settings, the frame
// it gave), kept so that committing the same settings on the same frame reuses it instead of
// rendering again. Thread-safe.
class PreviewCache {
public:
    struct Entry {
        Proc::DataVideoPtr base;
        std::shared_ptr<const Proc::SettingsBase> settings;
        Proc::DataVideoPtr frame;
    };

    void Store(Entry entry);
    void Clear();
    // Hands the entry out and forgets it (a commit uses it once); null when none.
    std::unique_ptr<Entry> Take();
    // The frame it holds, for the memory count; null when none.
    Proc::DataVideoPtr GetFrame() const;

private:
    mutable std::mutex mutex_; // guards entry_
    std::unique_ptr<Entry> entry_;
};

} // namespace Quelto::Lumindra::PhotoCore
