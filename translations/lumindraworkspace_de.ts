<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>FormatHelper</name>
    <message>
        <source>Images (%1)</source>
        <translation>Bilder (%1)</translation>
    </message>
</context>
<context>
    <name>PhotoCore</name>
    <message>
        <source>the file is not an image this application can read, or it is damaged</source>
        <translation>die Datei ist kein Bild, das dieses Programm lesen kann, oder sie ist beschädigt</translation>
    </message>
    <message>
        <source>images of this kind (%1) are not supported</source>
        <translation>Bilder dieser Art (%1) werden nicht unterstützt</translation>
    </message>
    <message>
        <source>the image has no pixels</source>
        <translation>das Bild enthält keine Pixel</translation>
    </message>
    <message>
        <source>Cannot open “%1”: %2</source>
        <translation>„%1“ kann nicht geöffnet werden: %2</translation>
    </message>
    <message>
        <source>Cannot open an image: no file name was given</source>
        <translation>Kein Bild geöffnet: Es wurde kein Dateiname angegeben</translation>
    </message>
    <message>
        <source>the file does not exist</source>
        <translation>die Datei existiert nicht</translation>
    </message>
    <message>
        <source>it is a folder, not an image file</source>
        <translation>es ist ein Ordner, keine Bilddatei</translation>
    </message>
    <message>
        <source>the file cannot be read (no permission)</source>
        <translation>die Datei kann nicht gelesen werden (keine Berechtigung)</translation>
    </message>
    <message>
        <source>the file is empty</source>
        <translation>die Datei ist leer</translation>
    </message>
    <message>
        <source>the file name has no extension, so its type is unknown</source>
        <translation>der Dateiname hat keine Endung, daher ist der Dateityp unbekannt</translation>
    </message>
    <message>
        <source>files of type “.%1” are not supported</source>
        <translation>Dateien vom Typ „.%1“ werden nicht unterstützt</translation>
    </message>
    <message>
        <source>the drawn items could not be drawn (not enough memory)</source>
        <translation>die gezeichneten Elemente konnten nicht gezeichnet werden (nicht genug Speicher)</translation>
    </message>
    <message>
        <source>the drawn items could not be placed on the picture while it is still changing; try again in a moment</source>
        <translation>die gezeichneten Elemente konnten nicht auf das Bild gelegt werden, solange es sich noch ändert; versuchen Sie es gleich noch einmal</translation>
    </message>
    <message>
        <source>the file could not be written: %1</source>
        <translation>die Datei konnte nicht geschrieben werden: %1</translation>
    </message>
    <message>
        <source>the picture could not be encoded: %1</source>
        <translation>das Bild konnte nicht kodiert werden: %1</translation>
    </message>
    <message>
        <source>the folder “%1” does not exist</source>
        <translation>der Ordner „%1“ existiert nicht</translation>
    </message>
    <message>
        <source>“%1” is not a folder</source>
        <translation>„%1“ ist kein Ordner</translation>
    </message>
    <message>
        <source>“%1” is a folder</source>
        <translation>„%1“ ist ein Ordner</translation>
    </message>
    <message>
        <source>“%1” is not a regular file</source>
        <translation>„%1“ ist keine gewöhnliche Datei</translation>
    </message>
    <message>
        <source>“%1” is read-only</source>
        <translation>„%1“ ist schreibgeschützt</translation>
    </message>
    <message>
        <source>the folder “%1” is read-only</source>
        <translation>der Ordner „%1“ ist schreibgeschützt</translation>
    </message>
    <message>
        <source>no file name was given</source>
        <translation>es wurde kein Dateiname angegeben</translation>
    </message>
    <message>
        <source>the file name has no extension, so the format is unknown</source>
        <translation>der Dateiname hat keine Endung, daher ist das Format unbekannt</translation>
    </message>
    <message>
        <source>“.%1” is not a format pictures can be saved in</source>
        <translation>„.%1“ ist kein Format, in dem Bilder gespeichert werden können</translation>
    </message>
    <message>
        <source>the full picture could not be read from its file</source>
        <translation>das vollständige Bild konnte nicht aus seiner Datei gelesen werden</translation>
    </message>
    <message>
        <source>the file cannot be replaced: %1</source>
        <translation>die Datei kann nicht ersetzt werden: %1</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::CompareButton</name>
    <message>
        <source>Compare</source>
        <translation>Vergleichen</translation>
    </message>
    <message>
        <source>Compare the edited picture with the original</source>
        <translation>Das bearbeitete Bild mit dem Original vergleichen</translation>
    </message>
    <message>
        <source>Compare &amp;Mode</source>
        <translation>Vergleichs&amp;modus</translation>
    </message>
    <message>
        <source>&amp;Side by Side</source>
        <translation>&amp;Nebeneinander</translation>
    </message>
    <message>
        <source>S&amp;plit</source>
        <translation>&amp;Geteilt</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::DragTipController</name>
    <message>
        <source>Hold &lt;b&gt;Space&lt;/b&gt; or press &lt;b&gt;both mouse buttons&lt;/b&gt; and drag to move the picture</source>
        <translation>Halten Sie die &lt;b&gt;Leertaste&lt;/b&gt; oder &lt;b&gt;beide Maustasten&lt;/b&gt; gedrückt und ziehen Sie, um das Bild zu verschieben</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::WorkspaceController</name>
    <message>
        <source>Image_%1.%2</source>
        <translation>Bild_%1.%2</translation>
    </message>
    <message>
        <source>Your image will be saved with a white background, as %1 format does not support transparency. To retain transparent areas of the image, save the image to one of the following formats: %2.</source>
        <translation>Ihr Bild wird mit weißem Hintergrund gespeichert, da das Format %1 keine Transparenz unterstützt. Um transparente Bereiche des Bildes zu erhalten, speichern Sie es in einem der folgenden Formate: %2.</translation>
    </message>
    <message>
        <source>Continue</source>
        <translation>Fortfahren</translation>
    </message>
    <message>
        <source>pictures cannot be saved over a “.%1” file; use Save As</source>
        <translation>Bilder können nicht über eine „.%1“-Datei gespeichert werden; verwenden Sie „Speichern unter“</translation>
    </message>
    <message>
        <source>Autosave failed: %1. Recent edits would be lost if the editor stopped unexpectedly.</source>
        <translation>Automatisches Sichern fehlgeschlagen: %1. Die letzten Änderungen gingen verloren, wenn der Editor unerwartet beendet würde.</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::WorkspaceControllerHelper</name>
    <message>
        <source>No file to open</source>
        <translation>Keine Datei zum Öffnen angegeben</translation>
    </message>
    <message>
        <source>The picture is empty</source>
        <translation>Das Bild ist leer</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::WorkspaceControllerProvider</name>
    <message>
        <source>The edits of “%1” could not be written to the temporary folder. They are kept in memory, but would be lost if the editor stopped unexpectedly.</source>
        <translation>Die Änderungen an „%1“ konnten nicht in den temporären Ordner geschrieben werden. Sie bleiben im Speicher, gingen aber verloren, wenn der Editor unerwartet beendet würde.</translation>
    </message>
</context>
<context>
    <name>WorkspaceControllerProvider</name>
    <message>
        <source>Due to memory limitation image was resized for processing</source>
        <translation>Wegen begrenzten Arbeitsspeichers wurde das Bild für die Bearbeitung verkleinert</translation>
    </message>
</context>
</TS>
