#pragma once

#include <atomic>
#include <string>

#include "core/RefCounted.h"

namespace Quelto::Lumindra::Core {

// Receives progress of long work (opening, saving) from whichever thread does it.
// Implementations must be thread-safe: the editing core calls them on its own threads.
class IProgressController : public virtual IRefCounted {
public:
    // A new piece of work starts; `title` is user-visible.
    virtual void Begin(const std::string& title) = 0;
    // Fraction done, 0..1.
    virtual void SetProgress(double fraction) = 0;
    virtual void End() = 0;
    // Work polls this between steps and stops early when it is true.
    virtual bool IsCancelRequested() const = 0;
};

// Thread-safe controller that only records the state; UI code subclasses it or polls it.
class ProgressController : public RefCounted, public IProgressController {
public:
    void Begin(const std::string&) override { active_ = true; progress_ = 0.0; }
    void SetProgress(double fraction) override { progress_ = fraction; }
    void End() override { active_ = false; progress_ = 1.0; }
    bool IsCancelRequested() const override { return cancel_; }

    void RequestCancel() { cancel_ = true; }
    double GetProgress() const { return progress_; }
    bool IsActive() const { return active_; }

private:
    std::atomic<double> progress_ {0.0};
    std::atomic<bool> active_ {false};
    std::atomic<bool> cancel_ {false};
};

} // namespace Quelto::Lumindra::Core
