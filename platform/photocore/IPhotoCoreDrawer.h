#pragma once

#include <cstdint>
#include <memory>

#include <boost/intrusive_ptr.hpp>

#include "core/RefCounted.h"
#include "photocore/IDebug.h"
#include "photocore/IDrawable.h"
#include "photocore/SettingsCore.h"
#include "proc/EffectSettings.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// The drawing side of an editing core: the frames it has rendered and the edits it applies.
// Frame queries are thread-safe and return immutable frames in the display format
// (Proc::PIX_FMT_BGRA32), or null while nothing is rendered yet. Edits are queued to the core's
// render thread; their results arrive as drawer events.
class IPhotoCoreDrawer : public virtual Core::IRefCounted {
public:
    // The two bytes of the alpha query: whether the image has an alpha channel, and its
    // smallest alpha value (255 = opaque).
    struct AlphaInfo {
        std::uint8_t hasAlpha = 0;
        std::uint8_t alpha = 255;
    };

    // Layer kinds for HasLayerOfKind.
    enum LayerKind { LAYER_SHAPE = 0, LAYER_TEXT = 1 };

    virtual Proc::DataVideoPtr GetVideo() const = 0;         // the current frame without the mask overlay
    virtual Proc::DataVideoPtr GetVideoWithMask() const = 0; // the current frame with the mask overlay
    virtual Proc::DataVideoPtr GetOriginalVideo() const = 0; // the image as opened, before any edit

    // Settings of frame `index`; -1 is the current frame, 0 the image as opened, n the state
    // after the n-th step of the history. An immutable snapshot: it does not follow later
    // changes. Empty settings for an index beyond the history.
    virtual std::shared_ptr<const SettingsCore> GetFrameSettings(int index) const = 0;

    virtual IDebug* GetDebugEngine() const = 0;

    // Applies an edit as one undoable step. Thread-safe; returns at once.
    virtual void ApplyEffect(const boost::intrusive_ptr<Proc::IEffectSettings>& effect) = 0;
    // Shows an edit while a value is being dragged: temporary frames, no history. A later
    // ApplyEffect commits, CancelPreview drops it.
    virtual void PreviewEffect(const boost::intrusive_ptr<Proc::IEffectSettings>& effect) = 0;
    virtual void CancelPreview() = 0;

    virtual AlphaInfo GetAlphaInfo() const = 0;

    // The overlay source asked for when the core flattens or saves; not owned; may be null.
    virtual void SetDrawable(IDrawable* drawable) = 0;
    // Whether the canvas may be drawn as it stands when the overlay is rendered; when not,
    // GetVideoForRendering gives the frame to draw in its place.
    virtual bool MayRenderCanvas() const = 0;
    virtual Proc::DataVideoPtr GetVideoForRendering() const = 0;

    virtual bool HasLayerOfKind(int kind) const = 0;

    // Blocks until the current render (and, while loading, the full-resolution decode) is done
    // or `timeoutMs` passes (-1 waits forever). Returns true when idle.
    virtual bool WaitForIdle(int timeoutMs = -1) const = 0;
};

using PhotoCoreDrawerPtr = boost::intrusive_ptr<IPhotoCoreDrawer>;

} // namespace Quelto::Lumindra::PhotoCore
