#include "photocore/CoreSerializer.h"

#include <cstdio>

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <glog/logging.h>

#include "core/PhotoCoreException.h"
#include "photocore/CoreEngine.h"
#include "photocore/CoreSessionState.h"
#include "photocore/ImageEncoder.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

QString FromUtf8(const std::string& s)
{
    return QString::fromUtf8(s.data(), int(s.size()));
}

void WriteText(const std::string& utf8Path, const std::string& text)
{
    QSaveFile file(FromUtf8(utf8Path));
    if (!file.open(QIODevice::WriteOnly) || file.write(text.data(), qint64(text.size())) != qint64(text.size())
        || !file.commit())
        throw PhotoCoreException("Cannot write " + utf8Path + ": " + file.errorString().toStdString());
}

} // namespace

CoreSerializer::CoreSerializer(std::weak_ptr<CoreEngine> engine)
    : engine_(std::move(engine)), text_(PhotoUtil::CreateStringSerializer())
{
}

std::string CoreSerializer::SerializeToString(const PhotoUtil::ISerializable& object) const
{
    return text_->SerializeToString(object);
}

void CoreSerializer::DeserializeFromString(const std::string& text, PhotoUtil::ISerializable& object) const
{
    text_->DeserializeFromString(text, object);
}

bool CoreSerializer::WriteOut()
{
    const std::shared_ptr<CoreEngine> engine = engine_.lock();
    if (!engine)
        return false;
    try {
        const ioPath folder = engine->EnsureSessionFolder();
        CoreSessionState state;
        const CoreSource& source = engine->GetSource();
        state.sessionId = engine->GetSessionId();
        state.sourcePath = source.path.utf8string();
        state.key = source.key;
        state.imageSource = int(source.source);
        state.fileName = engine->GetFrameSettings(-1)->GetGeneral().GetFileName();
        const auto [size, modified] = engine->GetFileBaseline();
        state.fileSize = size;
        state.fileModifiedMs = modified;
        state.history = engine->GetHistoryState();
        if (!source.path.empty()) {
            const std::string original = CoreSessionState::OriginalFileName(state.sourcePath);
            if (QFileInfo(FromUtf8((folder / original).utf8string())).isFile())
                state.originalFile = original;
        } else {
            // The picture exists nowhere else; it never changes, so once written it stays.
            const ioPath picture = folder / CoreSessionState::kPictureFile;
            if (!QFileInfo::exists(FromUtf8(picture.utf8string()))) {
                const Proc::DataVideoPtr original = engine->GetOriginalWorkingFrame();
                if (!original)
                    throw PhotoCoreException("The picture is not loaded");
                const std::string temporary = picture.utf8string() + ".part";
                engine->RunOnRenderThread(
                    [&] { ImageEncoder::Write(*original, "png", {}, source.header.dpi, temporary); });
                if (std::rename(temporary.c_str(), picture.utf8string().c_str()) != 0) {
                    QFile::remove(FromUtf8(temporary));
                    throw PhotoCoreException("Cannot write " + picture.utf8string());
                }
            }
        }
        WriteText((folder / CoreSessionState::kStateFile).utf8string(), text_->SerializeToString(state));
        VLOG(30) << "Core written out to " << folder.utf8string();
        return true;
    } catch (const std::exception& e) {
        LOG(ERROR) << "Writing out the core failed: " << e.what();
        return false;
    }
}

} // namespace Quelto::Lumindra::PhotoCore
