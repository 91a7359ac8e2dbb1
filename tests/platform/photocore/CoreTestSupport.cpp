#include "CoreTestSupport.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "util/ImageUtils.h"

namespace Quelto::Lumindra::Test {

std::vector<EventRecorder::Entry> EventRecorder::Entries() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_;
}

int EventRecorder::Count(const std::string& kind) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    int n = 0;
    for (const auto& e : entries_)
        n += e.kind == kind ? 1 : 0;
    return n;
}

std::string EventRecorder::Sequence() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::string out;
    for (const auto& e : entries_)
        out += (out.empty() ? "" : " ") + e.kind;
    return out;
}

void EventRecorder::Add(const char* kind, int value, Proc::DataVideoPtr frame, const std::string& text)
{
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.push_back({kind, value, std::this_thread::get_id(), std::move(frame), text});
}

QImage FrameImage(const Proc::DataVideoPtr& frame)
{
    if (!frame)
        return {};
    return Util::ImageUtils().FrameToImage(frame).convertToFormat(QImage::Format_ARGB32).copy();
}

QImage CurrentImage(PhotoCore::IPhotoCore& core)
{
    EXPECT_TRUE(core.WaitForIdle(kDefaultWaitMs));
    return FrameImage(core.GetVideo());
}

QString WriteJpeg(const QString& path, int width, int height)
{
    EXPECT_TRUE(MakeTestImage(width, height).save(path, "JPG", 90)) << path.toStdString();
    return path;
}

namespace {

QStringList CountedThreadNames()
{
    QStringList names;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        const QString name = comm.open(QIODevice::ReadOnly) ? QString::fromUtf8(comm.readAll().trimmed()) : QString();
        if (name == QLatin1String("lumindra-pool") || name == QLatin1String("lumindra-store")
            || name.startsWith(QLatin1String("pool-")))
            continue;
        names << name;
    }
    return names;
}

} // namespace

int ThreadCount()
{
    return int(CountedThreadNames().size());
}

QString ThreadNames()
{
    return CountedThreadNames().join(QStringLiteral(", "));
}

} // namespace Quelto::Lumindra::Test
