// The edit history on its own: which steps are applied, what Undo and Redo take back, and which
// state counts as saved, through sequences of requests.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "photocore/EditHistory.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

std::shared_ptr<const Proc::SettingsBase> Turn(int quarterTurns)
{
    return std::make_shared<Proc::SettingsRotate>(quarterTurns);
}

std::string Describe(const EditHistory& history)
{
    std::string text;
    for (const EditStep& step : history.GetApplied())
        text += std::to_string(static_cast<const Proc::SettingsRotate&>(*step.settings).quarterTurns);
    return text + " undo " + std::to_string(history.GetUndoCount()) + " redo "
        + std::to_string(history.GetRedoCount()) + (history.IsSaved() ? " saved" : " changed");
}

// Requests: digits push a turn of that many quarters, 'u' undoes, 'r' redoes, 's' marks saved,
// 'x' and a digit erase the step pushed that many pushes in (an edit that could not be rendered),
// 'f' marks the source file replaced.
EditHistory Play(const char* requests)
{
    EditHistory history;
    for (const char* r = requests; *r; ++r) {
        if (*r == 'u')
            history.Undo();
        else if (*r == 'r')
            history.Redo();
        else if (*r == 's')
            history.MarkSaved();
        else if (*r == 'f')
            history.MarkSourceReplaced();
        else if (*r == 'x' && r[1])
            history.Erase(std::uint64_t(*++r - '0'));
        else
            history.Push(Turn(*r - '0'));
    }
    return history;
}

TEST(EditHistory, RequestSequencesGiveTheExpectedStepsCountsAndSavedState)
{
    struct Case {
        const char* requests;
        const char* expected;
    };
    const Case cases[] = {
        {"", " undo 0 redo 0 saved"},
        {"u", " undo 0 redo 0 saved"},             // nothing to undo: no change
        {"r", " undo 0 redo 0 saved"},
        {"12", "12 undo 2 redo 0 changed"},
        {"12u", "1 undo 1 redo 1 changed"},
        {"12uu", " undo 0 redo 2 saved"},          // back at the opened state, which is saved
        {"12uur", "1 undo 1 redo 1 changed"},
        {"12uurrr", "12 undo 2 redo 0 changed"},   // a redo past the end does nothing
        {"12s", "12 undo 2 redo 0 saved"},
        {"12su", "1 undo 1 redo 1 changed"},
        {"12sur", "12 undo 2 redo 0 saved"},       // redo reaches the saved state again
        {"12su3", "13 undo 2 redo 0 changed"},     // a new step drops the redoable one
        {"12su3uur", "1 undo 1 redo 1 changed"},
        {"12sus3uurr", "13 undo 2 redo 0 changed"},
        {"12suu3u", " undo 0 redo 1 changed"},     // the saved state was overwritten: unreachable
        {"1x1", " undo 0 redo 0 saved"},           // as if the edit had never been asked for
        {"12x2", "1 undo 1 redo 0 changed"},
        {"12x1", "2 undo 1 redo 0 changed"},       // a later step stays, one position down
        {"12ux2", "1 undo 1 redo 0 changed"},      // a redoable one goes from the redo side
        {"1s2x2", "1 undo 1 redo 0 saved"},        // back at the saved state
        {"12sx1", "2 undo 1 redo 0 changed"},      // the saved state held it: unreachable
        {"1x2", "1 undo 1 redo 0 changed"},        // an unknown step: nothing changes
    };
    for (const Case& c : cases) {
        const EditHistory history = Play(c.requests);
        EXPECT_EQ(Describe(history), c.expected) << c.requests;
    }
}

// Which state the source file holds after a save replaced it follows undo, redo and new steps,
// and survives a write-out and restore of the state.
TEST(EditHistory, TheStateTheSourceFileHoldsIsFollowedThroughTheHistory)
{
    struct Case {
        const char* requests;
        int expected;
    };
    const Case cases[] = {
        {"12", 0},     // never replaced: the file as opened
        {"12f", 2},
        {"12fu", 2},   // undone, still in the history (redoable)
        {"12fu3", -1}, // the state the file holds was dropped
        {"1f2f", 2},
        {"1f2u3", 1},  // only the steps after the file's state were dropped
        {"f12", 0},    // replaced with the state as opened
        {"12fx1", -1}, // a step the file holds was erased
        {"12fx2", -1},
        {"1f2x2", 1},  // a later one was
    };
    for (const Case& c : cases) {
        const EditHistory history = Play(c.requests);
        EXPECT_EQ(history.GetSourcePosition(), c.expected) << c.requests;
        EditHistory restored;
        restored.Restore(history.GetState());
        EXPECT_EQ(restored.GetSourcePosition(), c.expected) << c.requests << " restored";
    }
}

TEST(EditHistory, UndoAndRedoSayWhetherTheyDidSomethingAndNameTheStep)
{
    EditHistory history;
    EXPECT_FALSE(history.Undo());
    history.Push(Turn(1));
    EXPECT_EQ(history.GetUndoName(), Proc::SettingsRotate(1).GetDisplayName());
    EXPECT_TRUE(history.GetRedoName().empty());
    EXPECT_TRUE(history.Undo());
    EXPECT_EQ(history.GetRedoName(), Proc::SettingsRotate(1).GetDisplayName());
    EXPECT_FALSE(history.Undo());
    EXPECT_TRUE(history.Redo());
    EXPECT_FALSE(history.Redo());
}

// A restored history is clamped to what it holds, and its steps get ids that never repeat one
// handed out before (renders compare ids to reuse frames).
TEST(EditHistory, RestoreClampsPositionsAndGivesFreshIds)
{
    struct Case {
        int position, savedPosition;
        const char* expected;
    };
    const Case cases[] = {
        {1, 1, "1 undo 1 redo 1 saved"},
        {9, 0, "12 undo 2 redo 0 changed"},
        {-3, 0, " undo 0 redo 2 saved"},
        {2, 7, "12 undo 2 redo 0 changed"}, // an unreachable saved state stays unreachable
        {0, -1, " undo 0 redo 2 changed"},
    };
    for (const Case& c : cases) {
        EditHistory history;
        history.Push(Turn(3));
        const std::uint64_t oldId = history.GetApplied().front().id;
        history.Restore({{Turn(1), Turn(2)}, c.position, c.savedPosition});
        EXPECT_EQ(Describe(history), c.expected) << c.position << "/" << c.savedPosition;
        for (const EditStep& step : history.GetSteps())
            EXPECT_NE(step.id, oldId);
        const HistoryState state = history.GetState();
        EXPECT_EQ(state.steps.size(), 2u);
        EXPECT_EQ(state.position, history.GetUndoCount());
    }
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore
