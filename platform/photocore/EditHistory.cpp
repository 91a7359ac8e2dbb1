#include "photocore/EditHistory.h"

#include <algorithm>

namespace Quelto::Lumindra::PhotoCore {

void EditHistory::Push(std::shared_ptr<const Proc::SettingsBase> settings)
{
    steps_.resize(std::size_t(position_));
    if (savedPosition_ > position_)
        savedPosition_ = -1; // the saved state was undone and is now overwritten
    steps_.push_back({nextId_++, std::move(settings)});
    ++position_;
}

bool EditHistory::Undo()
{
    if (position_ == 0)
        return false;
    --position_;
    return true;
}

bool EditHistory::Redo()
{
    if (position_ >= int(steps_.size()))
        return false;
    ++position_;
    return true;
}

bool EditHistory::Erase(std::uint64_t id)
{
    const auto found = std::find_if(steps_.begin(), steps_.end(), [id](const EditStep& step) { return step.id == id; });
    if (found == steps_.end())
        return false;
    const int index = int(found - steps_.begin());
    if (index < GetSourcePosition())
        sourceStepId_ = kLostStep; // the file holds the erased step
    steps_.erase(found);
    if (index < position_)
        --position_;
    if (index < savedPosition_)
        savedPosition_ = -1;
    return true;
}

void EditHistory::Restore(const HistoryState& state)
{
    steps_.clear();
    for (const auto& settings : state.steps)
        steps_.push_back({nextId_++, settings});
    position_ = std::clamp(state.position, 0, int(steps_.size()));
    savedPosition_ = state.savedPosition >= 0 && state.savedPosition <= int(steps_.size()) ? state.savedPosition : -1;
    if (state.sourcePosition > 0 && state.sourcePosition <= int(steps_.size()))
        sourceStepId_ = steps_[std::size_t(state.sourcePosition - 1)].id;
    else
        sourceStepId_ = state.sourcePosition == 0 ? 0 : kLostStep;
}

int EditHistory::GetSourcePosition() const
{
    if (sourceStepId_ == 0)
        return 0;
    for (std::size_t i = 0; i < steps_.size(); ++i)
        if (steps_[i].id == sourceStepId_)
            return int(i) + 1;
    return -1;
}

HistoryState EditHistory::GetState() const
{
    HistoryState state;
    for (const auto& step : steps_)
        state.steps.push_back(step.settings);
    state.position = position_;
    state.savedPosition = savedPosition_;
    state.sourcePosition = GetSourcePosition();
    return state;
}

std::vector<EditStep> EditHistory::GetApplied() const
{
    return {steps_.begin(), steps_.begin() + position_};
}

std::vector<std::string> EditHistory::GetAppliedNames() const
{
    std::vector<std::string> names;
    for (int i = 0; i < position_; ++i)
        names.push_back(steps_[std::size_t(i)].settings->GetDisplayName());
    return names;
}

std::string EditHistory::GetUndoName() const
{
    return position_ > 0 ? steps_[std::size_t(position_ - 1)].settings->GetDisplayName() : std::string();
}

std::string EditHistory::GetRedoName() const
{
    return position_ < int(steps_.size()) ? steps_[std::size_t(position_)].settings->GetDisplayName() : std::string();
}

} // namespace Quelto::Lumindra::PhotoCore
