#pragma once

#include <memory>
#include <string>

#include <QDir>
#include <QImage>
#include <QString>
#include <QTemporaryDir>

#include "proc/IDataVideo.h"

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

} // namespace Quelto::Lumindra::Test
