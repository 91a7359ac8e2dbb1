#include "photocore/PhotoCoreFactory.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <glog/logging.h>

#include "core/PhotoCoreException.h"
#include "photocore/CoreEngine.h"
#include "photocore/CoreSessionState.h"
#include "photocore/EditingCore.h"
#include "photocore/ImageDecoder.h"
#include "photoutil/FormatHelper.h"
#include "photoutil/ImageUtils.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

using Clock = std::chrono::steady_clock;
using EditingCorePtr = boost::intrusive_ptr<EditingCore>;

constexpr double kInchesPerMetre = 0.0254;

QString FromUtf8(const std::string& s)
{
    return QString::fromUtf8(s.data(), int(s.size()));
}

std::string ToUtf8(const QString& s)
{
    return s.toUtf8().toStdString();
}

// The reasons a person reads when a picture cannot be opened are translatable.
std::string Tr(const char* text)
{
    return QCoreApplication::translate("PhotoCore", text).toStdString();
}

PhotoCoreException OpenError(const std::string& path, const std::string& reason)
{
    return PhotoCoreException(QCoreApplication::translate("PhotoCore", "Cannot open “%1”: %2")
                                  .arg(FromUtf8(path), FromUtf8(reason))
                                  .toStdString());
}

std::string NewSessionId()
{
    return ToUtf8(QUuid::createUuid().toString(QUuid::WithoutBraces));
}

// The checks that need no decoder, with the plainest message for each.
QFileInfo CheckFile(const std::string& path)
{
    if (path.empty())
        throw PhotoCoreException(Tr(QT_TRANSLATE_NOOP("PhotoCore", "Cannot open an image: no file name was given")));
    const QFileInfo info(FromUtf8(path));
    if (!info.exists())
        throw OpenError(path, Tr(QT_TRANSLATE_NOOP("PhotoCore", "the file does not exist")));
    if (info.isDir())
        throw OpenError(path, Tr(QT_TRANSLATE_NOOP("PhotoCore", "it is a folder, not an image file")));
    if (!info.isReadable())
        throw OpenError(path, Tr(QT_TRANSLATE_NOOP("PhotoCore", "the file cannot be read (no permission)")));
    if (info.size() == 0)
        throw OpenError(path, Tr(QT_TRANSLATE_NOOP("PhotoCore", "the file is empty")));
    const std::string extension = ToUtf8(info.suffix().toLower());
    if (extension.empty())
        throw OpenError(path, Tr(QT_TRANSLATE_NOOP("PhotoCore", "the file name has no extension, so its type is unknown")));
    if (!PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(extension, false).second.readable)
        throw OpenError(path, ToUtf8(QCoreApplication::translate("PhotoCore", "files of type “.%1” are not supported")
                                         .arg(FromUtf8(extension))));
    return info;
}

// `readFrom` is where the bytes are (the file itself, or its kept original), `path` the file.
MetadataSettings ReadMetadata(const std::string& path, const std::string& readFrom, const std::string& codec,
                              const QFileInfo& info)
{
    MetadataSettings settings;
    try {
        settings.SetMetadata(Proc::ReadImageMetadata(readFrom));
    } catch (const std::exception& e) {
        LOG(WARNING) << "Metadata of " << path << " cannot be read and is left out: " << e.what();
    }
    settings.SetFormatSettings({PhotoUtil::CreateFormatSettings(codec)});
    Core::Property fileInfo;
    fileInfo.Set("path", path);
    fileInfo.Set("size", std::to_string(info.size()));
    fileInfo.Set("modified", ToUtf8(info.lastModified().toUTC().toString(Qt::ISODate)));
    const std::string name = PhotoUtil::FormatHelper::GetFormatNameForExtension(ToUtf8(info.suffix().toLower()));
    fileInfo.Set("format", name.empty() ? codec : name);
    settings.SetFileInfo(fileInfo);
    return settings;
}

SettingsSave MakeSaveSettings(const std::string& path, const std::string& extension, const std::string& codec,
                              const MetadataSettings& metadata)
{
    SettingsSave save;
    save.SetFileName(path);
    save.SetFileExt(extension);
    save.SetCodecID(codec);
    save.SetFormatSettings(metadata.GetFormatSettings());
    save.SetMetadataSettings(metadata);
    return save;
}

// Builds the core around a prepared engine and starts its work; with waitForFullFrame, returns
// only once the full frame is decoded.
EditingCorePtr Assemble(const std::shared_ptr<CoreEngine>& engine, MetadataSettings metadata, SettingsSave save,
                        const CoreCreateOptions& options)
{
    engine->RegisterCoreEventHandler(options.coreEventHandler);
    engine->RegisterDrawerEventHandler(options.drawerEventHandler);
    EditingCorePtr core(new EditingCore(engine, std::move(metadata), std::move(save)));
    if (options.progress)
        engine->SetProgressController(options.progress);
    engine->PostLoad();
    if (options.waitForFullFrame) {
        std::string error;
        if (!engine->WaitForFullFrame(&error))
            throw PhotoCoreException(error); // the core, and its thread, end here
    }
    return core;
}

// `pixelFile`: where the picture is read from when not from `path` (its kept original).
EditingCorePtr CreateFromFile(const ioPath& path, const ioPath& pixelFile, const std::string& key,
                              const CoreCreateOptions& options, const std::string& sessionId)
{
    const auto start = Clock::now();
    const std::string utf8 = path.utf8string();
    const std::string readFrom = pixelFile.empty() ? utf8 : pixelFile.utf8string();
    VLOG(30) << "Opening " << utf8 << (options.fresh ? "" : " anew") << (pixelFile.empty() ? "" : " from " + readFrom);
    const QFileInfo info = CheckFile(readFrom);
    ImageHeader header;
    ImageDecoder::Result first;
    try {
        header = ImageDecoder::ReadHeader(readFrom);
        if (!options.waitForFullFrame) {
            DecodeOptions decode;
            decode.pixelLimit = options.pixelLimit;
            first = ImageDecoder::DecodePreview(readFrom, header, decode);
        }
    } catch (const std::exception& e) {
        throw OpenError(utf8, e.what());
    }

    CoreSource source;
    source.path = path;
    source.pixelFile = pixelFile;
    source.key = key;
    source.source = ImageSourceFile;
    source.header = header;
    source.fileSize = std::uint64_t(info.size());
    source.fileModifiedMs = info.lastModified().toMSecsSinceEpoch();
    MetadataSettings metadata = ReadMetadata(utf8, readFrom, header.codec, info);
    SettingsSave save = MakeSaveSettings(utf8, ToUtf8(info.suffix().toLower()), header.codec, metadata);

    auto engine = std::make_shared<CoreEngine>(std::move(source), sessionId, options.pixelLimit);
    engine->SetInitialFrame(first);
    EditingCorePtr core = Assemble(engine, std::move(metadata), std::move(save), options);
    VLOG(30) << "Core " << sessionId << " for " << utf8 << " ready in "
             << std::chrono::duration<double, std::milli>(Clock::now() - start).count() << " ms"
             << (first.frame && !first.full ? " (preview)" : "");
    return core;
}

EditingCorePtr CreateFromFrame(Proc::DataVideoPtr frame, bool hasAlpha, double dpi, ImageSource imageSource,
                               const CoreCreateOptions& options, const std::string& sessionId)
{
    // A picture above the pixel limit is reduced by the load job, on the core's thread.
    ImageDecoder::Result first;
    first.full = true;
    const Conf::FrameInfo info = frame->GetFrameInfo();
    first.frame = frame;

    CoreSource source;
    source.source = imageSource;
    source.header.width = info.width;
    source.header.height = info.height;
    source.header.hasAlpha = hasAlpha;
    source.header.sixteenBit = frame->GetPixFmt() == Proc::PIX_FMT_RGBA64;
    source.header.dpi = dpi;

    MetadataSettings metadata;
    // A picture without a file is saved as PNG when it has transparency, else as JPEG.
    metadata.SetFormatSettings({PhotoUtil::CreateFormatSettings("png"), PhotoUtil::CreateFormatSettings("jpeg")});
    SettingsSave save = MakeSaveSettings({}, {}, {}, metadata);

    auto engine = std::make_shared<CoreEngine>(std::move(source), sessionId, options.pixelLimit);
    engine->SetInitialFrame(first);
    EditingCorePtr core = Assemble(engine, std::move(metadata), std::move(save), options);
    VLOG(30) << "Core " << sessionId << " made for a picture of " << info.width << "x" << info.height;
    return core;
}

// The history of a picture whose file a save replaced without keeping its original, made to
// start from what the file holds now: the steps the file holds are dropped, and what undoing
// them would give is lost. Left as it is when that state is no longer in the history.
HistoryState StartingFromTheFile(const HistoryState& history)
{
    const int held = history.sourcePosition;
    if (held <= 0 || held > int(history.steps.size()) || history.position < held)
        return history;
    HistoryState rebased;
    rebased.steps.assign(history.steps.begin() + held, history.steps.end());
    rebased.position = history.position - held;
    rebased.savedPosition = history.savedPosition >= held ? history.savedPosition - held : -1;
    rebased.sourcePosition = 0;
    LOG(WARNING) << "The original of the picture was not kept: " << held << " edits cannot be undone any more";
    return rebased;
}

} // namespace

PhotoCorePtr PhotoCoreFactory::Create(const ioPath& path, const std::string& key, const CoreCreateOptions& options)
{
    return CreateFromFile(path, ioPath(), key, options, NewSessionId());
}

PhotoCorePtr PhotoCoreFactory::Create(const QImage& image, ImageSource source, const CoreCreateOptions& options)
{
    if (image.isNull() || image.width() <= 0 || image.height() <= 0)
        throw PhotoCoreException("Cannot open the picture: it is empty");
    // The conversion to the working layout is the only pixel work done on the calling thread.
    Proc::DataVideoPtr frame = PhotoUtil::ImageUtils::ImageToWorkingFrame(image);
    if (!frame)
        throw PhotoCoreException("Cannot open the picture: there is not enough memory to take it over");
    const bool hasAlpha = image.hasAlphaChannel();
    const double dpi = image.dotsPerMeterX() > 0 ? image.dotsPerMeterX() * kInchesPerMetre : ImageHeader::kDefaultDpi;
    return CreateFromFrame(frame, hasAlpha, std::round(dpi * 100.0) / 100.0, source, options, NewSessionId());
}

PhotoCorePtr PhotoCoreFactory::Restore(const ioPath& folder, const CoreCreateOptions& options)
{
    const std::string stateFile = (folder / CoreSessionState::kStateFile).utf8string();
    auto fail = [&](const std::string& reason) {
        return PhotoCoreException("Cannot restore the session in \"" + folder.utf8string() + "\": " + reason);
    };
    QFile file(FromUtf8(stateFile));
    if (!file.open(QIODevice::ReadOnly))
        throw fail("its state file cannot be read");
    const QByteArray text = file.readAll();
    CoreSessionState state;
    try {
        PhotoUtil::CreateStringSerializer()->DeserializeFromString(text.toStdString(), state);
    } catch (const std::exception& e) {
        throw fail(e.what());
    }

    EditingCorePtr core;
    if (!state.sourcePath.empty()) {
        ioPath pixelFile;
        if (!state.originalFile.empty()) {
            pixelFile = folder / state.originalFile;
            if (!QFileInfo(FromUtf8(pixelFile.utf8string())).isFile())
                throw fail("the original of its picture, kept when a save replaced the file, is missing");
        } else if (state.history.sourcePosition != 0) {
            state.history = StartingFromTheFile(state.history);
            if (state.history.sourcePosition != 0)
                throw fail("a save replaced its file without keeping the original, and the picture on screen cannot be "
                           "rebuilt from what the file holds now");
        }
        core = CreateFromFile(ioPath(state.sourcePath), pixelFile, state.key, options, state.sessionId);
        core->GetEngine().SetFileBaseline(state.fileSize, state.fileModifiedMs);
    } else {
        const std::string picture = (folder / CoreSessionState::kPictureFile).utf8string();
        if (!QFileInfo::exists(FromUtf8(picture)))
            throw fail("the picture of the session is missing");
        Proc::DataVideoPtr frame;
        bool hasAlpha = false;
        try {
            const ImageHeader header = ImageDecoder::ReadHeader(picture);
            hasAlpha = header.hasAlpha;
            frame = ImageDecoder::DecodeFull(picture, header, DecodeOptions {}).frame;
        } catch (const std::exception& e) {
            throw fail(std::string("its picture cannot be read: ") + e.what());
        }
        CoreCreateOptions pictureOptions = options;
        pictureOptions.pixelLimit = 0; // it was reduced, if at all, when it was first taken over
        core = CreateFromFrame(frame, hasAlpha, ImageHeader::kDefaultDpi, ImageSource(state.imageSource), pictureOptions,
                               state.sessionId);
    }
    if (!state.fileName.empty())
        core->GetEngine().SetFileName(state.fileName);
    core->GetEngine().RestoreHistory(state.history);
    VLOG(30) << "Core " << state.sessionId << " restored from " << folder.utf8string() << " with "
             << state.history.steps.size() << " edits";
    return core;
}

} // namespace Quelto::Lumindra::PhotoCore
