#pragma once

#include <cstdint>
#include <string>

#include <QImage>

#include "core/IoPath.h"
#include "photocore/IPhotoCore.h"
#include "photocore/ImageSource.h"

namespace Quelto::Lumindra::PhotoCore {

struct CoreCreateOptions {
    // Images with more pixels are decoded at the largest shrink-on-load size under the limit
    // (a quarter of the machine's cache bound at four bytes a pixel).
    static constexpr std::uint64_t kDefaultPixelLimit = 160'000'000;

    // False when a cached core of the file was rejected and the file is read anew.
    bool fresh = true;
    std::uint64_t pixelLimit = kDefaultPixelLimit;
    // Return only once the full-resolution frame is decoded (background preloading); otherwise
    // return after the preview and decode the rest on the core's thread.
    bool waitForFullFrame = false;
    // Registered with the new core before its first event is raised, so that the caller sees the
    // loading events too. Not owned; the caller unregisters them as usual.
    ICoreEventHandler* coreEventHandler = nullptr;
    IDrawerEventHandler* drawerEventHandler = nullptr;
    // Set on the new core before its load starts, so that it hears the full decode's progress.
    boost::intrusive_ptr<Core::IProgressController> progress;
};

// Makes editing cores. Every function throws PhotoCoreException with a message a person can
// read when the image cannot be opened (missing, empty, truncated, not an image, unknown
// format); nothing half-built is returned.
class PhotoCoreFactory {
public:
    // Opens an image file. `key` names a tool or a variant and travels with the core.
    static PhotoCorePtr Create(const ioPath& path, const std::string& key, const CoreCreateOptions& options = {});
    // Opens a picture that has no file (dropped or pasted).
    static PhotoCorePtr Create(const QImage& image, ImageSource source, const CoreCreateOptions& options = {});
    // Rebuilds a core from the folder its serializer wrote out, edits and history included.
    static PhotoCorePtr Restore(const ioPath& folder, const CoreCreateOptions& options = {});
};

} // namespace Quelto::Lumindra::PhotoCore
