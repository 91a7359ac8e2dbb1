#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::PhotoCore {

// One step of the edit history. Immutable once made; shared between the history and the jobs
// that render it.
struct EditStep {
    std::uint64_t id = 0;
    std::shared_ptr<const Proc::SettingsBase> settings;
};

// The history as it can be written out and restored.
struct HistoryState {
    std::vector<std::shared_ptr<const Proc::SettingsBase>> steps; // applied and redoable, oldest first
    int position = 0;      // steps applied
    int savedPosition = 0; // position of the saved state; -1 when it can no longer be reached
    // Position of the state the source file holds (a save may have replaced it and its original
    // could not be kept); -1 when it can no longer be reached.
    int sourcePosition = 0;
};

// The undo/redo history of one picture and which of its states is saved. A plain value: no
// threads, no locks (the core that owns it guards it).
class EditHistory {
public:
    // Applies `settings` as a new step after the applied ones; the redoable steps are dropped,
    // and a saved state among them can no longer be reached.
    void Push(std::shared_ptr<const Proc::SettingsBase> settings);
    // False when there is nothing to undo or redo.
    bool Undo();
    bool Redo();
    // Takes the step out wherever it is, as if it had never been pushed (an edit that could not
    // be rendered); a saved state that held it can no longer be reached. False when unknown.
    bool Erase(std::uint64_t id);
    // Replaces the history; positions out of range are clamped (an unreachable saved state
    // becomes -1).
    void Restore(const HistoryState& state);
    HistoryState GetState() const;

    // The applied steps, oldest first.
    std::vector<EditStep> GetApplied() const;
    std::vector<std::string> GetAppliedNames() const;
    // Display name of the step an Undo would take back / a Redo would apply; empty when none.
    std::string GetUndoName() const;
    std::string GetRedoName() const;
    // Applied and redoable steps, oldest first.
    const std::vector<EditStep>& GetSteps() const { return steps_; }

    int GetUndoCount() const { return position_; }
    int GetRedoCount() const { return int(steps_.size()) - position_; }
    bool IsEmpty() const { return steps_.empty(); }
    bool IsSaved() const { return position_ == savedPosition_; }
    void MarkSaved() { savedPosition_ = position_; }
    // A save replaced the source file with the current state.
    void MarkSourceReplaced() { sourceStepId_ = position_ > 0 ? steps_[std::size_t(position_ - 1)].id : 0; }
    // The position of the state the source file holds; -1 when that state was dropped.
    int GetSourcePosition() const;

private:
    static constexpr std::uint64_t kLostStep = ~std::uint64_t(0);

    std::vector<EditStep> steps_;
    int position_ = 0;
    int savedPosition_ = 0;
    std::uint64_t nextId_ = 1;
    // The last step applied in the state the source file holds (0: the file as opened). A step
    // id rather than a position, so that dropping the steps after it needs no bookkeeping.
    std::uint64_t sourceStepId_ = 0;
};

} // namespace Quelto::Lumindra::PhotoCore
