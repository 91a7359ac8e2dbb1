#include "FuzzHarness.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <typeinfo>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "LumindraWorkspace/SessionStore.h"
#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "core/PhotoCoreException.h"
#include "photocore/CoreSessionState.h"
#include "photocore/PhotoCoreFactory.h"
#include "photocore/Settings.h"
#include "photocore/SettingsCodec.h"
#include "photoutil/Settings.h"
#include "proc/IImageMetadata.h"
#include "util/Paths.h"
#include "util/SettingsManager.h"

namespace Quelto::Lumindra::Test {

namespace {

namespace pt = boost::property_tree;
using Outcome = FuzzHarness::Outcome;
using PhotoCore::PhotoCorePtr;

// Small enough that a decode takes milliseconds, so the fuzzer tries many inputs a second; the
// reduction below the limit runs the same code as the default limit does.
constexpr std::uint64_t kPixelLimit = 1'000'000;
// Far above any decode of kPixelLimit pixels: a core still busy then is hanging.
constexpr int kIdleTimeoutMs = 60'000;

// Folders of the process, made by Init; the temporary folder is what the editor calls its own.
struct Folders {
    QTemporaryDir root;
    QString temp;
    QString work;
};
Folders* folders = nullptr;

QString WorkPath(const QString& name)
{
    return folders->work + QLatin1Char('/') + name;
}

void WriteFile(const QString& path, const std::uint8_t* data, std::size_t size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(reinterpret_cast<const char*>(data), qint64(size)) != qint64(size))
        throw std::runtime_error("cannot write the fuzz input to " + path.toStdString());
}

bool StartsWith(const std::uint8_t* data, std::size_t size, std::size_t at, const char* magic)
{
    const std::size_t n = std::char_traits<char>::length(magic);
    return size >= at + n && std::equal(magic, magic + n, reinterpret_cast<const char*>(data) + at);
}

// The extension a camera or a phone would give the bytes; anything else goes under ".jpg", as a
// file with the wrong extension would.
QString ExtensionOf(const std::uint8_t* data, std::size_t size)
{
    if (StartsWith(data, size, 0, "\x89PNG"))
        return QStringLiteral("png");
    if (StartsWith(data, size, 0, "II*") || StartsWith(data, size, 0, "MM\0*"))
        return QStringLiteral("tif");
    if (StartsWith(data, size, 0, "RIFF") && StartsWith(data, size, 8, "WEBP"))
        return QStringLiteral("webp");
    if (StartsWith(data, size, 0, "GIF8"))
        return QStringLiteral("gif");
    if (StartsWith(data, size, 4, "ftypavif"))
        return QStringLiteral("avif");
    if (StartsWith(data, size, 4, "ftyp"))
        return QStringLiteral("heic");
    return QStringLiteral("jpg");
}

QString WriteInput(const std::uint8_t* data, std::size_t size)
{
    const QString path = WorkPath(QStringLiteral("input.") + ExtensionOf(data, size));
    WriteFile(path, data, size);
    return path;
}

// By the names alone: a folder that lies outside must not be made to see where it would be.
bool IsInside(const QString& path, const QString& folder)
{
    const QString clean = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    return clean.startsWith(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()) + QLatin1Char('/'));
}

Outcome Refused(const std::string& error)
{
    Outcome outcome;
    outcome.error = error;
    if (error.empty())
        outcome.violation = "refused without a reason";
    return outcome;
}

Outcome Violation(const std::string& what)
{
    Outcome outcome;
    outcome.violation = what;
    return outcome;
}

// What every core handed out promises, whatever it was built from.
Outcome CheckCore(const PhotoCorePtr& core)
{
    if (!core)
        return Violation("a null core was returned");
    if (!core->WaitForIdle(kIdleTimeoutMs))
        return Violation("the core was still busy after " + std::to_string(kIdleTimeoutMs) + " ms");
    if (!core->GetVideo())
        return Violation("the core has no frame");
    // Autosaves and write-outs go to the session folder: it must never point elsewhere.
    const QString session = QString::fromStdString(core->GetIOEngine().GetSessionFolder().utf8string());
    if (!IsInside(session, folders->temp))
        return Violation("the session folder " + session.toStdString() + " lies outside the temporary folder");
    Outcome outcome;
    outcome.accepted = true;
    return outcome;
}

PhotoCore::CoreCreateOptions FuzzOptions()
{
    PhotoCore::CoreCreateOptions options;
    options.waitForFullFrame = true;
    options.pixelLimit = kPixelLimit;
    return options;
}

Outcome OpenImage(const std::uint8_t* data, std::size_t size)
{
    const QString path = WriteInput(data, size);
    try {
        return CheckCore(PhotoCore::PhotoCoreFactory::Create(ioPath(path.toStdString()), "fuzz", FuzzOptions()));
    } catch (const PhotoCore::PhotoCoreException& e) {
        Outcome outcome = Refused(e.what());
        // A person is told which file could not be opened.
        if (outcome.violation.empty() && !QString::fromStdString(e.what()).contains(QFileInfo(path).fileName()))
            outcome.violation = std::string("the refusal does not name the file: ") + e.what();
        return outcome;
    }
}

Outcome ReadMetadata(const std::uint8_t* data, std::size_t size)
{
    using Meta = Proc::IImageMetadata;
    const QString path = WriteInput(data, size);
    // Never throws: metadata that cannot be read is left out.
    const Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(path.toStdString());
    if (!metadata)
        return Violation("no metadata object was returned");
    for (const std::string& key : metadata->GetKeys()) {
        const QStringList parts = QString::fromStdString(key).split(QLatin1Char('.'));
        if (parts.size() < 3)
            continue;
        const Meta::Standard standard = parts[0] == QLatin1String("Xmp") ? Meta::XMP
                                      : parts[0] == QLatin1String("Iptc") ? Meta::IPTC
                                                                          : Meta::EXIF;
        metadata->GetTag(standard, parts[1].toStdString(), parts.mid(2).join(QLatin1Char('.')).toStdString());
    }
    PhotoCore::MetadataSettings settings;
    settings.SetMetadata(metadata);
    WorkspaceMetadata::GetAuthor(settings);
    WorkspaceMetadata::GetComment(settings);

    // Saving copies what was read into the written file, stripped as a person may choose.
    const Proc::ImageMetadataPtr stripped = metadata->Clone();
    stripped->Clear({"Exif.Image.Artist", "Exif.Photo.UserComment", "Exif.GPSInfo"});
    const QString written = WorkPath(QStringLiteral("written.jpg"));
    QFile::remove(written);
    if (!QFile::copy(WorkPath(QStringLiteral("target.jpg")), written))
        throw std::runtime_error("cannot copy the metadata target");
    Outcome outcome;
    outcome.accepted = !metadata->IsEmpty();
    for (const Proc::ImageMetadataPtr& copy : {metadata, stripped}) {
        try {
            copy->WriteToFile(written.toStdString());
        } catch (const Core::Exception& e) {
            outcome = Refused(e.what());
        }
    }
    Proc::ReadImageMetadata(written.toStdString());
    return outcome;
}

Outcome ReadCacheList(const std::uint8_t* data, std::size_t size)
{
    const QString key = PhotoUtil::Settings::Name(PhotoCore::Settings::SESSION, PhotoCore::Settings::ID_LIST);
    Util::SettingsManager::Instance().SetValue(key, QString::fromUtf8(reinterpret_cast<const char*>(data), int(size)));
    SessionStore store(true);
    Outcome outcome;
    for (const std::string& name : store.GetDumpedNames()) {
        outcome.accepted = true;
        // The folder is restored from, and removed later: it must be one of the editor's own.
        const QString folder = QString::fromStdString(store.TakeDumpFolder(name));
        if (!IsInside(folder, folders->temp))
            return Violation("the listed folder " + folder.toStdString() + " lies outside the temporary folder");
    }
    return outcome;
}

Outcome RestoreSession(const std::uint8_t* data, std::size_t size)
{
    const QString folder = WorkPath(QStringLiteral("restore"));
    WriteFile(folder + QLatin1Char('/') + QLatin1String(PhotoCore::CoreSessionState::kStateFile), data, size);
    try {
        return CheckCore(PhotoCore::PhotoCoreFactory::Restore(ioPath(folder.toStdString()), FuzzOptions()));
    } catch (const PhotoCore::PhotoCoreException& e) {
        return Refused(e.what());
    }
}

std::string ToJson(const pt::ptree& tree)
{
    std::ostringstream out;
    pt::write_json(out, tree, false);
    return out.str();
}

Outcome DecodeSettings(const std::uint8_t* data, std::size_t size)
{
    pt::ptree tree;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    try {
        pt::read_json(in, tree);
    } catch (const pt::json_parser_error& e) {
        return Refused(e.what()); // not the codec's to judge
    }
    std::unique_ptr<Proc::SettingsBase> settings;
    try {
        settings = PhotoCore::SettingsCodec::FromTree(tree);
    } catch (const Core::Exception& e) {
        return Refused(e.what());
    }
    if (!settings)
        return Violation("the codec returned no settings and no error");
    // What was accepted is written into the history and must read back as the same edit.
    pt::ptree again;
    std::istringstream text(ToJson(PhotoCore::SettingsCodec::ToTree(*settings)));
    pt::read_json(text, again);
    if (!PhotoCore::SettingsCodec::Equal(*settings, *PhotoCore::SettingsCodec::FromTree(again)))
        return Violation("the settings read back differ from those written: " + ToJson(tree));
    Outcome outcome;
    outcome.accepted = true;
    return outcome;
}

Outcome Dispatch(FuzzHarness::Target target, const std::uint8_t* data, std::size_t size)
{
    switch (target) {
    case FuzzHarness::Target::OpenImage: return OpenImage(data, size);
    case FuzzHarness::Target::Metadata: return ReadMetadata(data, size);
    case FuzzHarness::Target::CacheList: return ReadCacheList(data, size);
    case FuzzHarness::Target::SessionRestore: return RestoreSession(data, size);
    case FuzzHarness::Target::SettingsCodec: return DecodeSettings(data, size);
    }
    return Violation("unknown target");
}

} // namespace

void FuzzHarness::Init()
{
    if (folders)
        return;
    folders = new Folders; // lives as long as the process: cores may still write there at exit
    if (!folders->root.isValid())
        throw std::runtime_error("cannot create the fuzzing folder");
    folders->temp = folders->root.filePath(QStringLiteral("temp"));
    folders->work = folders->root.filePath(QStringLiteral("work"));
    QDir().mkpath(folders->temp);
    QDir().mkpath(folders->work + QStringLiteral("/restore"));
    qputenv("LUMINDRA_TEMP_DIR", folders->temp.toUtf8());
    Util::SettingsManager::Instance().SetStoreFile(folders->root.filePath(QStringLiteral("settings.ini")));

    // Folders the saved list of the corpus names, so that its entries are taken up.
    for (const char* sid : {"s1", "s2", "sessions/s3"})
        QDir().mkpath(folders->temp + QLatin1Char('/') + QLatin1String(sid));
    // The picture of a session restored without a file, and a photo to write metadata into.
    QImage picture(16, 12, QImage::Format_ARGB32);
    picture.fill(QColor(200, 120, 40, 180));
    if (!picture.save(WorkPath(QStringLiteral("restore/")) + QLatin1String(PhotoCore::CoreSessionState::kPictureFile))
        || !picture.convertToFormat(QImage::Format_RGB32).save(WorkPath(QStringLiteral("target.jpg"))))
        throw std::runtime_error("cannot write the fuzzing pictures");
}

FuzzHarness::Outcome FuzzHarness::Run(Target target, const std::uint8_t* data, std::size_t size)
{
    Outcome outcome;
    try {
        outcome = Dispatch(target, data, size);
    } catch (const std::exception& e) {
        outcome = Violation(std::string("unexpected exception ") + typeid(e).name() + ": " + e.what());
    } catch (...) {
        outcome = Violation("unexpected exception of no standard type");
    }
    // Events the cores posted to this thread are delivered here, as the UI thread's loop would.
    if (QCoreApplication::instance())
        QCoreApplication::processEvents();
    return outcome;
}

std::vector<FuzzHarness::Target> FuzzHarness::AllTargets()
{
    return {Target::OpenImage, Target::Metadata, Target::CacheList, Target::SessionRestore, Target::SettingsCodec};
}

std::string FuzzHarness::NameOf(Target target)
{
    switch (target) {
    case Target::OpenImage: return "open_image";
    case Target::Metadata: return "metadata";
    case Target::CacheList: return "cache_list";
    case Target::SessionRestore: return "session_restore";
    case Target::SettingsCodec: return "settings_codec";
    }
    return "unknown";
}

} // namespace Quelto::Lumindra::Test
