#pragma once

#include <QString>
#include <QStringList>

namespace Quelto::Lumindra {
class IWorkspaceController;
class WorkspaceMetadata;
} // namespace Quelto::Lumindra

namespace Quelto::Lumindra::App {

// What a person chooses for one save: the file (its extension picks the format), the quality
// where the format has one, the author and the comment, and whether to strip the metadata and the
// GPS positions. The save window edits it and the export reads it from the command line; both
// give it to the open image's WorkspaceMetadata, which keeps it for as long as the image is open.
// The settings store keeps the last choices as the defaults of images opened later (the remove
// flags and the qualities at once, the author when the person opens the save window).
// A value type; the functions that touch settings or metadata run on the UI thread.
struct SaveChoices {
    QString fileName;
    int quality = 0; // 1..100; 0 leaves the format's own
    QString author;
    QString comment;
    bool removeMetadata = false;
    bool removeGps = false;

    // The extensions offered for saving, the usual one of each writable format, in the order
    // shown: JPEG, PNG, TIFF, WebP, HEIF, AVIF.
    static QStringList SaveExtensions();
    // Whether the format of `extension` has a quality (JPEG, WebP, HEIF, AVIF).
    static bool HasQuality(const QString& extension);
    // Whether the format of `extension` carries the metadata (HEIF and AVIF files do not).
    static bool KeepsMetadata(const QString& extension);
    // Whether pictures can be saved under `extension` at all.
    static bool IsWritable(const QString& extension);

    // The choices the open image holds now: its file, the quality its replacement settings give
    // that file's format, its author and comment, its remove flags.
    static SaveChoices Of(const IWorkspaceController& controller, const QString& fileName);
    // Gives the choices to the image: author and comment into its metadata (an empty text removes
    // the tag), the remove flags, and the quality as the replacement settings of the file's format.
    void ApplyTo(WorkspaceMetadata& metadata) const;

    // The defaults of the settings store (the last choices): remove flags and qualities, for a
    // newly opened image.
    static void ApplyDefaults(WorkspaceMetadata& metadata);
    // The author the person gave last; empty when none.
    static QString DefaultAuthor();
    // Keeps these choices as the defaults.
    void StoreAsDefaults() const;
};

} // namespace Quelto::Lumindra::App
