#include "photocore/CoreIO.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QUuid>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <glog/logging.h>

#include "core/PhotoCoreException.h"
#include "photocore/CoreEngine.h"
#include "photocore/CoreSessionState.h"
#include "photocore/FrameOps.h"
#include "photocore/ImageDecoder.h"
#include "photocore/ImageEncoder.h"
#include "photoutil/FormatHelper.h"
#include "proc/AlphaRange.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

QString FromUtf8(const std::string& s)
{
    return QString::fromUtf8(s.data(), int(s.size()));
}

std::string ToUtf8(const QString& s)
{
    return s.toUtf8().toStdString();
}

// The formats whose metadata the metadata library can write into.
bool MetadataWritable(const std::string& codec)
{
    return codec == "jpeg" || codec == "png" || codec == "tiff" || codec == "webp";
}

// Writes through a temporary file next to `target` and renames it over; on failure nothing
// of the temporary file remains and `target` is as it was.
void WriteFrameAtomically(const Proc::IDataVideo& frame, const std::string& target)
{
    const std::string temporary = target + ".part";
    try {
        ImageEncoder::Write(frame, "png", {}, ImageHeader::kDefaultDpi, temporary);
    } catch (...) {
        QFile::remove(FromUtf8(temporary));
        throw;
    }
    if (std::rename(temporary.c_str(), target.c_str()) != 0) {
        QFile::remove(FromUtf8(temporary));
        throw PhotoCoreException("Cannot write " + target + ": " + std::strerror(errno));
    }
}

QString Tr(const char* text)
{
    return QCoreApplication::translate("PhotoCore", text);
}

// Why `target` cannot be written through a temporary file beside it; empty when it can. The
// folder must take a new file even when the target exists, as the target is replaced by a rename.
QString WhyNotWritable(const QFileInfo& target)
{
    const QString folder = QDir::toNativeSeparators(target.absolutePath());
    const QFileInfo folderInfo(target.absolutePath());
    if (!folderInfo.exists())
        return Tr(QT_TRANSLATE_NOOP("PhotoCore", "the folder “%1” does not exist")).arg(folder);
    if (!folderInfo.isDir())
        return Tr(QT_TRANSLATE_NOOP("PhotoCore", "“%1” is not a folder")).arg(folder);
    if (target.isDir())
        return Tr(QT_TRANSLATE_NOOP("PhotoCore", "“%1” is a folder")).arg(target.fileName());
    if (target.exists() && !target.isFile())
        return Tr(QT_TRANSLATE_NOOP("PhotoCore", "“%1” is not a regular file")).arg(target.fileName());
    if (target.exists() && !target.isWritable())
        return Tr(QT_TRANSLATE_NOOP("PhotoCore", "“%1” is read-only")).arg(target.fileName());
    if (!folderInfo.isWritable())
        return Tr(QT_TRANSLATE_NOOP("PhotoCore", "the folder “%1” is read-only")).arg(folder);
    return QString();
}

// Keeps the source file as the core read it in the session folder, before a save replaces it,
// so that a restore of the session starts from it and can undo past the save. True when it is
// kept (now or by an earlier save). Render thread.
bool KeepOriginal(CoreEngine& engine)
{
    const std::string source = engine.GetSource().path.utf8string();
    try {
        const QString kept =
            FromUtf8((engine.EnsureSessionFolder() / CoreSessionState::OriginalFileName(source)).utf8string());
        if (QFileInfo(kept).isFile())
            return true;
        // Only the bytes that were read are the original: not those of a file changed since,
        // nor those of an earlier save that could not keep it.
        const QFileInfo current(FromUtf8(source));
        const auto [size, modified] = engine.GetFileBaseline();
        if (engine.GetHistoryState().sourcePosition != 0 || std::uint64_t(current.size()) != size
            || current.lastModified().toMSecsSinceEpoch() != modified)
            throw PhotoCoreException("the file is no longer the one that was read");
        const QString part = kept + QStringLiteral(".part");
        QFile::remove(part);
        if (!QFile::copy(FromUtf8(source), part) || std::rename(ToUtf8(part).c_str(), ToUtf8(kept).c_str()) != 0) {
            QFile::remove(part);
            throw PhotoCoreException("it cannot be copied to " + ToUtf8(kept));
        }
        return true;
    } catch (const std::exception& e) {
        LOG(WARNING) << "The original of " << source << " is not kept (" << e.what()
                     << "); a restored session starts from the saved file";
        return false;
    }
}

} // namespace

CoreIO::CoreIO(std::shared_ptr<CoreEngine> engine, MetadataSettings metadata, SettingsSave saveSettings,
               boost::intrusive_ptr<PhotoUtil::ISerializer> serializer)
    : engine_(std::move(engine)), metadata_(std::move(metadata)), saveSettings_(std::move(saveSettings)),
      serializer_(std::move(serializer))
{
}

ioPath CoreIO::GetFilePath() const
{
    return engine_->GetSource().path;
}

std::string CoreIO::GetSessionId() const
{
    return engine_->GetSessionId();
}

ioPath CoreIO::GetSessionFolder() const
{
    return engine_->GetSessionFolder();
}

std::uint64_t CoreIO::StartSave(const SettingsSave& settings)
{
    const auto refuse = [this](SaveResult result, const std::string& target, const QString& reason) {
        LOG(ERROR) << "Saving " << target << " failed: " << ToUtf8(reason);
        return engine_->StartJob(ICoreEventHandler::CoreEventJobDone::JOB_SAVE, target,
                                 [result, reason = ToUtf8(reason)] {
                                     CoreJobs::Outcome outcome;
                                     outcome.success = false;
                                     outcome.code = int(result);
                                     outcome.text = "Not saved";
                                     outcome.reason = reason;
                                     return outcome;
                                 });
    };
    std::string target = settings.GetFileName();
    if (target.empty())
        return refuse(SaveResultFailed, target, Tr(QT_TRANSLATE_NOOP("PhotoCore", "no file name was given")));
    const QString suffix = QFileInfo(FromUtf8(target)).suffix();
    const std::string extension = settings.GetFileExt().empty() ? ToUtf8(suffix.toLower()) : settings.GetFileExt();
    const auto description = PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(extension, true);
    const std::string codec = settings.GetCodecID().empty() ? description.second.codecId : settings.GetCodecID();
    if (codec.empty() || !ImageEncoder::CanWrite(codec))
        return refuse(SaveResultFormatRefused, target,
                      extension.empty()
                          ? Tr(QT_TRANSLATE_NOOP("PhotoCore", "the file name has no extension, so the format is unknown"))
                          : Tr(QT_TRANSLATE_NOOP("PhotoCore", "“.%1” is not a format pictures can be saved in"))
                                .arg(FromUtf8(extension)));
    if (suffix.isEmpty() && settings.GetForceSuffix() && !description.second.extensions.empty())
        target += "." + description.second.extensions.front();

    const QFileInfo targetInfo(FromUtf8(target));
    const QString problem = WhyNotWritable(targetInfo);
    if (!problem.isEmpty())
        return refuse(SaveResultNotWritable, target, problem);
    const QFileInfo folderInfo(targetInfo.absolutePath());

    Proc::DataVideoPtr overlay;
    try {
        overlay = engine_->RenderOverlay();
    } catch (const std::exception& e) {
        return refuse(SaveResultFailed, target, FromUtf8(e.what()));
    }
    const auto progress = engine_->GetProgressController();
    if (progress)
        progress->Begin("Saving " + ToUtf8(targetInfo.fileName()));
    MetadataSettings metadata = settings.GetMetadataSettings();
    // The pixels are upright, so the orientation must say so.
    metadata.GetMetadata().SetTag(Proc::IImageMetadata::EXIF, Proc::IImageMetadata::BLOCK_IMAGE,
                                  Proc::IImageMetadata::TAG_ORIENTATION,
                                  Proc::IImageMetadata::VAL_ORIENTATION_NORMAL);
    const double dpi = engine_->GetFrameSettings(-1)->GetPassThrough().GetResolution();
    const std::string temporary = ToUtf8(folderInfo.absoluteFilePath() + QStringLiteral("/.") + targetInfo.fileName()
                                         + QLatin1Char('.')
                                         + QUuid::createUuid().toString(QUuid::Id128).left(12)
                                         + QStringLiteral(".part"));
    const std::shared_ptr<CoreEngine> engine = engine_;
    const PhotoUtil::FormatSettingsList formatSettings = settings.GetFormatSettings();
    const boost::intrusive_ptr<PhotoUtil::ISerializer> serializer = serializer_;
    return engine_->StartJob(ICoreEventHandler::CoreEventJobDone::JOB_SAVE, target, [=]() mutable {
        CoreJobs::Outcome outcome;
        const std::string& source = engine->GetSource().path.utf8string();
        const bool replacesSource = !source.empty() && QFileInfo(FromUtf8(source)) == QFileInfo(FromUtf8(target));
        bool originalKept = true;
        try {
            // On the render thread, after the renders asked for before the save.
            Proc::DataVideoPtr frame = engine->GetWorkingFrame();
            if (!frame)
                throw PhotoCoreException(
                    ToUtf8(Tr(QT_TRANSLATE_NOOP("PhotoCore", "the full picture could not be read from its file"))));
            if (overlay && !Proc::AlphaRange::Of(*overlay).IsInvisible())
                frame = FrameOps::CompositeOver(*frame, *overlay);
            ImageEncoder::Write(*frame, codec, formatSettings, dpi, temporary);
            if (MetadataWritable(codec) && !metadata.GetMetadata().IsEmpty())
                metadata.GetMetadata().WriteToFile(temporary);
            if (QFileInfo::exists(FromUtf8(target)))
                QFile::setPermissions(FromUtf8(temporary), QFile::permissions(FromUtf8(target)));
            if (replacesSource)
                originalKept = KeepOriginal(*engine);
            if (std::rename(temporary.c_str(), target.c_str()) != 0)
                throw PhotoCoreException(
                    ToUtf8(Tr(QT_TRANSLATE_NOOP("PhotoCore", "the file cannot be replaced: %1"))
                               .arg(QString::fromLocal8Bit(std::strerror(errno)))));
        } catch (const std::exception& e) {
            QFile::remove(FromUtf8(temporary));
            LOG(ERROR) << "Saving " << target << " failed: " << e.what();
            if (progress)
                progress->End();
            outcome.success = false;
            outcome.code = int(SaveResultFailed);
            outcome.text = "Not saved";
            outcome.reason = e.what();
            return outcome;
        }
        if (replacesSource && !originalKept)
            engine->MarkSourceReplaced();
        engine->MarkSaved(target);
        if (replacesSource) {
            const QFileInfo written(FromUtf8(target)); // the core wrote it: not a change from outside
            engine->SetFileBaseline(std::uint64_t(written.size()), written.lastModified().toMSecsSinceEpoch());
        }
        // A session already written out would otherwise describe the file as it was until the
        // next autosave; a run that ends before it must still restore what the file now holds.
        if (QFileInfo::exists(FromUtf8((engine->GetSessionFolder() / CoreSessionState::kStateFile).utf8string())))
            serializer->WriteOut();
        if (progress)
            progress->End();
        VLOG(30) << "Saved " << target << " as " << codec;
        outcome.code = int(SaveResultSuccess);
        outcome.text = "Saved";
        return outcome;
    });
}

IPhotoCoreIO::SaveResult CoreIO::Save(const SettingsSave& settings)
{
    const ICoreEventHandler::CoreEventJobDone done = WaitForJob(StartSave(settings));
    if (done.success)
        return SaveResultSuccess;
    return done.code != int(SaveResultSuccess) ? SaveResult(done.code) : SaveResultFailed;
}

ICoreEventHandler::CoreEventJobDone CoreIO::WaitForJob(std::uint64_t id)
{
    return engine_->WaitForJob(id);
}

std::uint64_t CoreIO::SaveSession()
{
    const boost::intrusive_ptr<PhotoUtil::ISerializer> serializer = serializer_;
    const std::string sessionId = engine_->GetSessionId();
    return engine_->StartJob(ICoreEventHandler::CoreEventJobDone::JOB_SNAPSHOT, engine_->GetSource().path.utf8string(),
                             [serializer, sessionId] {
                                 CoreJobs::Outcome outcome;
                                 outcome.text = "Session saved";
                                 if (!serializer->WriteOut()) {
                                     LOG(ERROR) << "Session of " << sessionId << " could not be saved";
                                     outcome.success = false;
                                     outcome.reason = "The session could not be written to the temporary folder";
                                 }
                                 return outcome;
                             });
}

bool CoreIO::IsSaved() const
{
    return engine_->IsSaved();
}

std::string CoreIO::SelectionFileName(const ioPath& key)
{
    const QByteArray digest = QCryptographicHash::hash(QByteArray::fromStdString(key.utf8string()),
                                                       QCryptographicHash::Md5);
    return "selection-" + digest.toHex().toStdString() + ".png";
}

void CoreIO::StoreSelection(const ioPath& key, const Proc::DataVideoPtr& selection)
{
    engine_->GetSelections().Store(key.utf8string(), selection);
    const std::shared_ptr<CoreEngine> engine = engine_;
    const std::string file = SelectionFileName(key);
    // The file is written on the render thread: a selection may be as large as the picture.
    engine_->PostTask([engine, selection, file] {
        try {
            const std::string path = (engine->EnsureSessionFolder() / file).utf8string();
            if (selection)
                WriteFrameAtomically(*selection, path);
            else
                QFile::remove(FromUtf8(path));
        } catch (const std::exception& e) {
            LOG(WARNING) << "Selection not kept in the session folder: " << e.what();
        }
    });
}

Proc::DataVideoPtr CoreIO::LoadSelection(const ioPath& key)
{
    if (Proc::DataVideoPtr selection = engine_->GetSelections().Find(key.utf8string()))
        return selection;
    // The file of a released selection is removed on the render thread; until then it must not
    // come back from the disk.
    if (engine_->GetSelections().IsReleased(key.utf8string()))
        return nullptr;
    // A restored session finds its selections in the folder only.
    const std::string path = (engine_->GetSessionFolder() / SelectionFileName(key)).utf8string();
    if (!QFileInfo::exists(FromUtf8(path)))
        return nullptr;
    // Decoded on the render thread; the window keeps painting while the caller waits.
    auto selection = std::make_shared<Proc::DataVideoPtr>();
    const auto done = WaitForJob(engine_->StartJob(ICoreEventHandler::CoreEventJobDone::JOB_OPEN, path, [path, selection] {
        const ImageHeader header = ImageDecoder::ReadHeader(path);
        DecodeOptions options;
        options.allowSixteenBit = false;
        *selection = ImageDecoder::DecodeFull(path, header, options).frame;
        CoreJobs::Outcome outcome;
        outcome.text = "Selection loaded";
        return outcome;
    }));
    if (!done.success || !*selection) {
        LOG(WARNING) << "Selection " << path << " cannot be read: " << done.reason;
        return nullptr;
    }
    engine_->GetSelections().Store(key.utf8string(), *selection);
    return *selection;
}

void CoreIO::ReleaseSelection(const ioPath& key)
{
    engine_->GetSelections().Release(key.utf8string());
    const std::shared_ptr<CoreEngine> engine = engine_;
    const std::string file = SelectionFileName(key);
    engine_->PostTask([engine, file] { QFile::remove(FromUtf8((engine->GetSessionFolder() / file).utf8string())); });
}

void CoreIO::MarkOpened()
{
    boost::property_tree::ptree description;
    description.put("sessionId", engine_->GetSessionId());
    description.put("source", engine_->GetSource().path.utf8string());
    description.put("key", engine_->GetSource().key);
    description.put("opened", ToUtf8(QDateTime::currentDateTimeUtc().toString(Qt::ISODate)));
    // Written on the core's thread: the commit syncs to disk, which at every step through a
    // folder would hold up the window.
    engine_->PostTask([engine = engine_, description] {
        try {
            const ioPath folder = engine->EnsureSessionFolder();
            std::ostringstream text;
            boost::property_tree::write_json(text, description);
            QSaveFile file(FromUtf8((folder / CoreSessionState::kDescriptionFile).utf8string()));
            const std::string bytes = text.str();
            if (!file.open(QIODevice::WriteOnly)
                || file.write(bytes.data(), qint64(bytes.size())) != qint64(bytes.size()) || !file.commit())
                throw PhotoCoreException(file.errorString().toStdString());
            VLOG(30) << "Session " << engine->GetSessionId() << " opened in " << folder.utf8string();
        } catch (const std::exception& e) {
            LOG(ERROR) << "The session description could not be written: " << e.what();
        }
    });
}

} // namespace Quelto::Lumindra::PhotoCore
