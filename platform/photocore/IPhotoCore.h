#pragma once

#include <cstdint>
#include <string>

#include <boost/intrusive_ptr.hpp>

#include "core/IProgressController.h"
#include "photocore/ICoreEventSource.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "photocore/IPhotoCoreIO.h"
#include "photocore/IPhotoCoreProcessing.h"
#include "photocore/IPhotoCoreTracker.h"
#include "photocore/IPhotoCoreUndoBase.h"
#include "photoutil/Serializer.h"
#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::PhotoCore {

// One open image in the editing core: its pixels, its edits with their history, its files.
// The core object is its own drawer and undo engine. It renders on a thread of its own and
// raises core and drawer events there through its event source. Every operation is
// thread-safe unless it says otherwise; the core dies with its last reference, after its render
// thread has stopped.
class IPhotoCore : public virtual IPhotoCoreDrawer, public virtual IPhotoCoreUndoBase {
public:
    virtual IPhotoCoreIO& GetIOEngine() = 0;
    virtual const IPhotoCoreIO& GetIOEngine() const = 0;
    virtual IPhotoCoreTracker& GetTrackerEngine() = 0;
    virtual IPhotoCoreProcessing& GetProcessing() = 0;
    virtual const IPhotoCoreProcessing& GetProcessing() const = 0;
    virtual ICoreEventSource& GetEventSource() = 0;
    // Text conversions and the write-out of the core's whole state to its session folder, from
    // which PhotoCoreFactory::Restore rebuilds it.
    virtual boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializer() = 0;

    // The working pixel formats, in order of preference.
    virtual void SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter& settings) = 0;
    virtual void SetLanguage(const std::string& language) = 0;
    virtual void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress) = 0;

    // The two check questions of a cached core: whether it holds edits that are not saved, and
    // whether it has an edit history or its file changed on disk since it was read.
    virtual bool HasUnsavedChanges() const = 0;
    virtual bool HasHistoryOrFileChanged() const = 0;

    // Exact bytes of every frame and buffer the core holds.
    virtual std::uint64_t GetMemorySize() const = 0;
};

using PhotoCorePtr = boost::intrusive_ptr<IPhotoCore>;

} // namespace Quelto::Lumindra::PhotoCore
