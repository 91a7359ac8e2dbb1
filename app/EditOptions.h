#pragma once

#include <memory>
#include <vector>

#include <QString>

#include "proc/EffectSettings.h"

class QCommandLineParser;

namespace Quelto::Lumindra::App {

// The edit words of the command line, for every option that opens a picture to do something with
// it (a screenshot, an export):
//   --rotate 90|180|270   clockwise
//   --flip h|v            left to right, or top to bottom
//   --crop X,Y,W,H        in pixels of the picture as the edits before it left it
// Each may be given more than once; the edits apply in the order of the command line. Whether a
// crop lies inside the picture is known only when it is applied.
class EditOptions {
public:
    using Edits = std::vector<std::shared_ptr<const Proc::SettingsBase>>;

    static void AddTo(QCommandLineParser& parser);
    // The edits of a processed command line, in order. False, with a message that names the word
    // and what it expects, when one is malformed.
    static bool Read(const QCommandLineParser& parser, Edits& edits, QString& error);
    // One word: `option` without its dashes. Null, with the message, when malformed.
    static std::shared_ptr<const Proc::SettingsBase> Parse(const QString& option, const QString& value, QString& error);
};

} // namespace Quelto::Lumindra::App
