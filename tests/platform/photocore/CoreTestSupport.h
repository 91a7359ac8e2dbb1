#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <QImage>
#include <QString>

#include "photocore/ICoreEventHandler.h"
#include "photocore/IDrawerEventHandler.h"
#include "photocore/IPhotoCore.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Test {

// Records every core and drawer event with the thread it arrived on. Thread-safe.
class EventRecorder : public PhotoCore::ICoreEventHandler, public PhotoCore::IDrawerEventHandler {
public:
    struct Entry {
        std::string kind;  // "undo", "frame", "save", "temporary", "loaded", "state", "throw"
        int value = 0;     // reason, stage, count or save flag
        std::thread::id thread;
        Proc::DataVideoPtr frame;
        std::string text;
    };

    void HandleUndo(const DrawerEventUndo& e) override { Add("undo", e.value, nullptr, e.detail); }
    void HandleFrame(const DrawerEventFrame& e) override { Add("frame", e.reason, nullptr, e.detail); }
    void HandleChangeToSave(const DrawerEventChangeToSave& e) override { Add("save", e.value, nullptr, e.detail); }
    void HandleFrameTemporary(const DrawerEventFrameTemporary& e) override { Add("temporary", e.value, e.frame, e.detail); }
    void HandleLoaded(const CoreEventLoaded& e) override { Add("loaded", e.stage, nullptr, e.text); }
    void HandleStateChanged(const CoreEventStateChanged& e) override { Add("state", e.undoCount, nullptr, e.description); }
    void HandleThrow(const ThrowEvent& e) override { Add("throw", e.code, nullptr, e.text); }

    std::vector<Entry> Entries() const;
    int Count(const std::string& kind) const;
    // Kinds in arrival order, e.g. "temporary frame undo".
    std::string Sequence() const;

private:
    void Add(const char* kind, int value, Proc::DataVideoPtr frame, const std::string& text);
    mutable std::mutex mutex_; // guards entries_
    std::vector<Entry> entries_;
};

// A frame as a deep-copied ARGB32 image (for comparisons).
QImage FrameImage(const Proc::DataVideoPtr& frame);
// The core's current display frame once it is idle.
QImage CurrentImage(PhotoCore::IPhotoCore& core);
// Writes a photo-like JPEG of the size (quality 90) and returns its path.
QString WriteJpeg(const QString& path, int width, int height);
// Threads of this process that a core could leave behind. The process-wide ones that live on
// by design are not counted: the pools that keep their threads between tasks (ours, and GLib's
// that libvips uses, started as the load needs them) and the settings writer.
int ThreadCount();
// Their names, for a failure message.
QString ThreadNames();

} // namespace Quelto::Lumindra::Test
