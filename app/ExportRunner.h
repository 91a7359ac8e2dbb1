#pragma once

#include <QCoreApplication>
#include <QString>

#include "EditOptions.h"
#include "SaveChoices.h"

class QCommandLineParser;

namespace Quelto::Lumindra::App {

// Drives `lumindra --export OUT [--quality Q] [--author TEXT] [--comment TEXT] [--strip-metadata]
// [--strip-gps] [EDITS] FILE`, for scripts and batch work: opens FILE through the workspace module
// as the editor does (provider, controller), applies the edit words in order, gives the metadata
// choices to the image and saves it to OUT through the controller, with no window. OUT's extension
// picks the format; transparency that the format cannot keep becomes white, and a note says so.
// The person's settings are not touched: the run keeps its own settings store.
//
// Exit codes: 0 written; 1 the command line is wrong (a bad value, OUT in no format that can be
// written, not exactly one FILE); 2 FILE cannot be opened; 3 an edit does not fit the picture;
// 4 OUT cannot be written (the old OUT, if any, is left as it was).
// UI thread of a QApplication.
class ExportRunner {
    Q_DECLARE_TR_FUNCTIONS(ExportRunner)
public:
    enum Exit { ExitWritten = 0, ExitUsage = 1, ExitOpenFailed = 2, ExitEditFailed = 3, ExitSaveFailed = 4 };

    struct Options {
        QString input;
        SaveChoices choices; // fileName is OUT; author and comment count only when given
        bool authorGiven = false;
        bool commentGiven = false;
        EditOptions::Edits edits;
    };
    struct Result {
        int code = ExitWritten;
        QString message; // for standard error: the reason of a failure, or notes; may be empty
    };

    static void AddTo(QCommandLineParser& parser);
    static bool IsRequested(const QCommandLineParser& parser);
    // The options of a processed command line whose `files` are the positional arguments. False,
    // with a message naming the option and what it expects, when one is wrong.
    static bool Read(const QCommandLineParser& parser, const QStringList& files, Options& options, QString& error);
    static Result Run(const Options& options);
};

} // namespace Quelto::Lumindra::App
