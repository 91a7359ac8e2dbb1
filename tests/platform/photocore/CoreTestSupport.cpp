#include "CoreTestSupport.h"

#include <QDir>

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

int ThreadCount()
{
    return int(QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

} // namespace Quelto::Lumindra::Test
