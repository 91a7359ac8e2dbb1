#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QByteArray>
#include <QDialogButtonBox>
#include <QDir>
#include <QImage>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include "proc/IDataVideo.h"
#include "util/AlertBox.h"

namespace Quelto::Lumindra::Test {

// Absolute path of a file under ../shared/testdata (relative to the project root).
// Fails the current test (and returns an empty string) when the file is missing.
QString TestDataPath(const QString& relative);
std::string TestDataPathUtf8(const QString& relative);

// A fresh folder for one test, removed with the object. Tests write only here.
class Sandbox {
public:
    Sandbox();
    QString Path() const { return dir_.path(); }
    QString FilePath(const QString& name) const { return dir_.filePath(name); }
    std::string FilePathUtf8(const QString& name) const { return FilePath(name).toStdString(); }
    // Copies a test-data file into the sandbox and returns the copy's path.
    QString CopyTestData(const QString& relative, const QString& newName = QString()) const;
    // Creates an empty file (an existing one is left as it is) and returns its path.
    QString Touch(const QString& name) const;

private:
    QTemporaryDir dir_;
};

// Peak signal-to-noise ratio of two images of one size over R, G and B (dB; 99 when identical).
double Psnr(const QImage& a, const QImage& b);
// Largest per-channel difference of two images of one size (R, G, B, A); -1 when sizes differ.
int MaxChannelDifference(const QImage& a, const QImage& b);
// The mean colour of a rectangle of the image.
QColor MeanColor(const QImage& image, const QRect& rect);

// A frame of one flat colour (BGRA32).
Proc::DataVideoPtr MakeSolidFrame(int width, int height, QColor color);
// A photo-like test image: smooth gradients with some detail, RGB32.
QImage MakeTestImage(int width, int height);

// Long enough for a loaded 2-core CI machine, short enough that a broken test fails in seconds.
inline constexpr int kDefaultWaitMs = 10000;

// Processes Qt events (posted events included) until `done` answers true or the deadline passes;
// returns the last answer. Use it instead of sleeping when waiting for another thread or for
// queued work.
bool WaitUntil(const std::function<bool()>& done, int timeoutMs = kDefaultWaitMs);

// Sets an environment variable (or removes it, for a null value) for the object's life, then
// puts back what was there.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const QByteArray& value);
    ScopedEnv(const char* name, std::nullptr_t);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    QByteArray name_;
    QByteArray old_;
    bool hadOld_ = false;
};

// Answers every LumindraAlertBox with `answer` for the object's life, recording what was asked;
// then puts back the previous hook (the test main answers Ok to everything).
class ScopedAlertAnswer {
public:
    explicit ScopedAlertAnswer(QDialogButtonBox::StandardButton answer);
    ~ScopedAlertAnswer();
    ScopedAlertAnswer(const ScopedAlertAnswer&) = delete;
    ScopedAlertAnswer& operator=(const ScopedAlertAnswer&) = delete;

    int Count() const { return int(texts_.size()); }
    const QStringList& Texts() const { return texts_; }
    const std::vector<int>& Levels() const { return levels_; }

private:
    LumindraAlertBox::TestHook previous_;
    QStringList texts_;
    std::vector<int> levels_;
};

// The verbose level of the progress messages tests look for.
inline constexpr int kCapturedVerboseLevel = 30;

// Records the glog messages logged while it lives, from any thread. With `verboseLevel` >= 0 the
// verbose level is raised to it meanwhile, so that VLOG(30) progress messages are recorded too.
class LogCapture {
public:
    explicit LogCapture(int verboseLevel = -1);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> Messages() const;
    // Number of recorded messages that contain `part`.
    int Count(const std::string& part) const;
    bool Contains(const std::string& part) const { return Count(part) > 0; }
    // Number of warnings and errors recorded.
    int ProblemCount() const;

private:
    class Sink;
    std::unique_ptr<Sink> sink_;
    int oldVerbose_ = 0;
    bool changedVerbose_ = false;
};

} // namespace Quelto::Lumindra::Test
