#pragma once

#include <atomic>

#include "core/RefCounted.h"
#include "proc/IEffect.h"

namespace Quelto::Lumindra::Test {

// Wraps a canvas's resizer to count its work, and can be told to fail.
class CountingResizer : public Core::RefCounted, public Proc::IOneInputEffectVideo {
public:
    explicit CountingResizer(boost::intrusive_ptr<Proc::IOneInputEffectVideo> inner) : inner_(std::move(inner)) {}

    void Reset() override
    {
        ++resets;
        if (inner_)
            inner_->Reset();
    }
    void SetSettings(const Proc::SettingsBase& settings) override
    {
        if (inner_)
            inner_->SetSettings(settings);
    }
    bool Process(Proc::DataVideoPtr& frame) override
    {
        ++processed;
        if (fail || !inner_) {
            frame.reset();
            return false;
        }
        return inner_->Process(frame);
    }

    int processed = 0;
    int resets = 0;
    bool fail = false;

private:
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> inner_;
};

} // namespace Quelto::Lumindra::Test
