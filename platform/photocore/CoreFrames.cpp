#include "photocore/CoreFrames.h"

#include <algorithm>

namespace Quelto::Lumindra::PhotoCore {

void AddDistinctFrame(std::vector<const Proc::IDataVideo*>& seen, const Proc::IDataVideo* frame)
{
    if (frame && std::find(seen.begin(), seen.end(), frame) == seen.end())
        seen.push_back(frame);
}

void CoreFrames::SetPreview(Proc::DataVideoPtr preview, int minAlpha)
{
    std::lock_guard<std::mutex> lock(mutex_);
    preview_ = std::move(preview);
    minAlpha_ = minAlpha;
}

void CoreFrames::SetFull(Proc::DataVideoPtr working, Proc::DataVideoPtr display, bool scaledForMemory, int minAlpha)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        originalWorking_ = currentWorking_ = std::move(working);
        originalDisplay_ = currentDisplay_ = std::move(display);
        preview_.reset();
        renderedIds_.clear();
        scaledForMemory_ = scaledForMemory;
        minAlpha_ = minAlpha;
        fullReady_ = true;
    }
    fullChanged_.notify_all();
}

void CoreFrames::SetFailed(std::string error)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        loadFailed_ = true;
        loadError_ = std::move(error);
    }
    fullChanged_.notify_all();
}

void CoreFrames::SetCurrent(Proc::DataVideoPtr working, Proc::DataVideoPtr display, const std::vector<EditStep>& steps,
                            int minAlpha)
{
    std::lock_guard<std::mutex> lock(mutex_);
    currentWorking_ = std::move(working);
    currentDisplay_ = std::move(display);
    renderedIds_.clear();
    for (const auto& step : steps)
        renderedIds_.push_back(step.id);
    minAlpha_ = minAlpha;
}

void CoreFrames::Stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    fullChanged_.notify_all();
}

CoreFrames::RenderBase CoreFrames::GetRenderBase(const std::vector<EditStep>& steps) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const bool prefix = renderedIds_.size() <= steps.size()
        && std::equal(renderedIds_.begin(), renderedIds_.end(), steps.begin(),
                      [](std::uint64_t id, const EditStep& step) { return id == step.id; });
    if (prefix)
        return {currentWorking_, renderedIds_.size()};
    return {originalWorking_, 0};
}

Proc::DataVideoPtr CoreFrames::GetDisplay() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return currentDisplay_ ? currentDisplay_ : preview_;
}

Proc::DataVideoPtr CoreFrames::GetOriginalDisplay() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return originalDisplay_ ? originalDisplay_ : preview_;
}

Proc::DataVideoPtr CoreFrames::GetWorking() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return currentWorking_;
}

Proc::DataVideoPtr CoreFrames::GetOriginalWorking() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return originalWorking_;
}

Proc::DataVideoPtr CoreFrames::GetWorkingOrPreview() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return currentWorking_ ? currentWorking_ : preview_;
}

std::vector<std::uint64_t> CoreFrames::GetRenderedIds() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return renderedIds_;
}

int CoreFrames::GetMinAlpha() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return minAlpha_;
}

bool CoreFrames::IsFullReady() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return fullReady_;
}

bool CoreFrames::IsLoadFailed() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return loadFailed_;
}

bool CoreFrames::IsScaledForMemory() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return scaledForMemory_;
}

bool CoreFrames::WaitForFull(std::string* error) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    fullChanged_.wait(lock, [&] { return fullReady_ || loadFailed_ || stopped_; });
    if (fullReady_)
        return true;
    if (error)
        *error = loadFailed_ ? loadError_ : std::string("The image was closed while it was being opened");
    return false;
}

void CoreFrames::CollectFrames(std::vector<const Proc::IDataVideo*>& seen) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Proc::DataVideoPtr* frame : {&preview_, &originalWorking_, &originalDisplay_, &currentWorking_, &currentDisplay_})
        AddDistinctFrame(seen, frame->get());
}

} // namespace Quelto::Lumindra::PhotoCore
