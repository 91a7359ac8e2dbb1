#include "support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <glog/logging.h>
#include <gtest/gtest.h>

namespace Quelto::Lumindra::Test {

QString TestDataPath(const QString& relative)
{
    const QString root = QStringLiteral(LUMINDRA_SOURCE_DIR);
    const QString path = QDir(root).absoluteFilePath(QStringLiteral("../shared/testdata/") + relative);
    const QString clean = QDir::cleanPath(path);
    if (!QFileInfo::exists(clean))
        ADD_FAILURE() << "missing test data: " << clean.toStdString();
    return clean;
}

std::string TestDataPathUtf8(const QString& relative)
{
    return TestDataPath(relative).toUtf8().toStdString();
}

Sandbox::Sandbox()
{
    EXPECT_TRUE(dir_.isValid());
}

QString Sandbox::CopyTestData(const QString& relative, const QString& newName) const
{
    const QString source = TestDataPath(relative);
    const QString target = FilePath(newName.isEmpty() ? QFileInfo(source).fileName() : newName);
    QFile::remove(target);
    EXPECT_TRUE(QFile::copy(source, target)) << target.toStdString();
    QFile(target).setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    return target;
}

QString Sandbox::Touch(const QString& name) const
{
    QFile file(FilePath(name));
    EXPECT_TRUE(file.open(QIODevice::Append)) << file.fileName().toStdString();
    return file.fileName();
}

double Psnr(const QImage& a, const QImage& b)
{
    if (a.size() != b.size() || a.isNull())
        return 0.0;
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    double sum = 0.0;
    for (int row = 0; row < x.height(); ++row) {
        const QRgb* p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        const QRgb* q = reinterpret_cast<const QRgb*>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            const int dr = qRed(p[col]) - qRed(q[col]);
            const int dg = qGreen(p[col]) - qGreen(q[col]);
            const int db = qBlue(p[col]) - qBlue(q[col]);
            sum += dr * dr + dg * dg + db * db;
        }
    }
    const double mse = sum / (3.0 * x.width() * x.height());
    if (mse <= 0.0)
        return 99.0;
    return 10.0 * std::log10(255.0 * 255.0 / mse);
}

int MaxChannelDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return -1;
    const QImage x = a.convertToFormat(QImage::Format_ARGB32);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32);
    int worst = 0;
    for (int row = 0; row < x.height(); ++row) {
        const QRgb* p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        const QRgb* q = reinterpret_cast<const QRgb*>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            worst = std::max({worst, std::abs(qRed(p[col]) - qRed(q[col])), std::abs(qGreen(p[col]) - qGreen(q[col])),
                              std::abs(qBlue(p[col]) - qBlue(q[col])), std::abs(qAlpha(p[col]) - qAlpha(q[col]))});
        }
    }
    return worst;
}

QColor MeanColor(const QImage& image, const QRect& rect)
{
    const QImage x = image.convertToFormat(QImage::Format_ARGB32);
    const QRect r = rect.intersected(x.rect());
    if (r.isEmpty())
        return QColor();
    double sr = 0, sg = 0, sb = 0, sa = 0;
    for (int row = r.top(); row <= r.bottom(); ++row) {
        const QRgb* p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        for (int col = r.left(); col <= r.right(); ++col) {
            sr += qRed(p[col]);
            sg += qGreen(p[col]);
            sb += qBlue(p[col]);
            sa += qAlpha(p[col]);
        }
    }
    const double n = double(r.width()) * r.height();
    return QColor(qRound(sr / n), qRound(sg / n), qRound(sb / n), qRound(sa / n));
}

Proc::DataVideoPtr MakeSolidFrame(int width, int height, QColor color)
{
    Proc::DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {width, height, 1.0}, Proc::PIX_FMT_BGRA32);
    for (int row = 0; row < height; ++row) {
        std::uint8_t* p = frame->GetMutableData() + std::size_t(row) * frame->GetStride();
        for (int col = 0; col < width; ++col) {
            p[4 * col + 0] = std::uint8_t(color.blue());
            p[4 * col + 1] = std::uint8_t(color.green());
            p[4 * col + 2] = std::uint8_t(color.red());
            p[4 * col + 3] = std::uint8_t(color.alpha());
        }
    }
    frame->SetOpaque(color.alpha() == 255);
    return frame;
}

QImage MakeTestImage(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int row = 0; row < height; ++row) {
        QRgb* p = reinterpret_cast<QRgb*>(image.scanLine(row));
        for (int col = 0; col < width; ++col) {
            const double fx = double(col) / std::max(1, width - 1);
            const double fy = double(row) / std::max(1, height - 1);
            const int detail = ((col / 7 + row / 5) % 2) * 24;
            p[col] = qRgb(int(40 + 180 * fx) + detail / 2, int(30 + 200 * fy), int(200 - 150 * fx * fy) + detail / 3);
        }
    }
    return image;
}

bool WaitUntil(const std::function<bool()>& done, int timeoutMs)
{
    // Short slices keep the loop responsive to both posted events and other threads' progress.
    constexpr int kSliceMs = 5;
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return done();
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents(QEventLoop::AllEvents, kSliceMs);
        QThread::yieldCurrentThread();
    }
    return true;
}

ScopedEnv::ScopedEnv(const char* name, const QByteArray& value)
    : name_(name), old_(qgetenv(name)), hadOld_(qEnvironmentVariableIsSet(name))
{
    qputenv(name, value);
}

ScopedEnv::ScopedEnv(const char* name, std::nullptr_t)
    : name_(name), old_(qgetenv(name)), hadOld_(qEnvironmentVariableIsSet(name))
{
    qunsetenv(name);
}

ScopedEnv::~ScopedEnv()
{
    if (hadOld_)
        qputenv(name_.constData(), old_);
    else
        qunsetenv(name_.constData());
}

ScopedAlertAnswer::ScopedAlertAnswer(QDialogButtonBox::StandardButton answer)
    : previous_(LumindraAlertBox::GetTestHook())
{
    LumindraAlertBox::SetTestHook([this, answer](LumindraAlertBox& box) {
        texts_ << box.GetText();
        levels_.push_back(box.GetLevel());
        return answer;
    });
}

ScopedAlertAnswer::~ScopedAlertAnswer()
{
    LumindraAlertBox::SetTestHook(previous_);
}

class LogCapture::Sink : public google::LogSink {
public:
    void send(google::LogSeverity severity, const char*, const char*, int, const google::LogMessageTime&,
              const char* message, size_t length) override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        messages_.emplace_back(message, length);
        if (severity >= google::GLOG_WARNING)
            ++problems_;
    }

    std::vector<std::string> Messages() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return messages_;
    }

    int Problems() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return problems_;
    }

private:
    mutable std::mutex mutex_; // guards messages_ and problems_
    std::vector<std::string> messages_;
    int problems_ = 0;
};

LogCapture::LogCapture(int verboseLevel)
    : sink_(std::make_unique<Sink>())
{
    if (verboseLevel >= 0 && FLAGS_v < verboseLevel) {
        oldVerbose_ = FLAGS_v;
        changedVerbose_ = true;
        FLAGS_v = std::max(FLAGS_v, verboseLevel);
    }
    google::AddLogSink(sink_.get());
}

LogCapture::~LogCapture()
{
    google::RemoveLogSink(sink_.get());
    if (changedVerbose_)
        FLAGS_v = oldVerbose_;
}

std::vector<std::string> LogCapture::Messages() const
{
    return sink_->Messages();
}

int LogCapture::Count(const std::string& part) const
{
    const std::vector<std::string> all = Messages();
    return int(std::count_if(all.begin(), all.end(),
                             [&](const std::string& m) { return m.find(part) != std::string::npos; }));
}

int LogCapture::ProblemCount() const
{
    return sink_->Problems();
}

} // namespace Quelto::Lumindra::Test
