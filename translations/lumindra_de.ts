<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>CommandLineFiles</name>
    <message>
        <source>“%1” is not a file on this computer; only local files can be opened.</source>
        <translation>„%1“ ist keine Datei auf diesem Computer; nur lokale Dateien können geöffnet werden.</translation>
    </message>
</context>
<context>
    <name>EditOptions</name>
    <message>
        <source>Turn the picture clockwise by 90, 180 or 270 degrees.</source>
        <translation>Das Bild im Uhrzeigersinn um 90, 180 oder 270 Grad drehen.</translation>
    </message>
    <message>
        <source>Flip the picture: h (left to right) or v (top to bottom).</source>
        <translation>Das Bild spiegeln: h (links und rechts) oder v (oben und unten).</translation>
    </message>
    <message>
        <source>Cut the picture to the rectangle X,Y,W,H in pixels.</source>
        <translation>Das Bild auf das Rechteck X,Y,W,H (in Pixeln) zuschneiden.</translation>
    </message>
</context>
<context>
    <name>ExportRunner</name>
    <message>
        <source>Save FILE, edited, as &lt;file&gt; (the format from its extension) without a window, then quit.</source>
        <translation>FILE bearbeitet als &lt;file&gt; speichern (das Format nach der Endung), ohne Fenster, dann beenden.</translation>
    </message>
    <message>
        <source>With --export: quality 1 to 100 (JPEG, WebP, HEIF, AVIF).</source>
        <translation>Mit --export: Qualität 1 bis 100 (JPEG, WebP, HEIF, AVIF).</translation>
    </message>
    <message>
        <source>With --export: the author written into the file.</source>
        <translation>Mit --export: der Autor, der in die Datei geschrieben wird.</translation>
    </message>
    <message>
        <source>With --export: the comment written into the file.</source>
        <translation>Mit --export: der Kommentar, der in die Datei geschrieben wird.</translation>
    </message>
    <message>
        <source>With --export: leave out the metadata (the author, the comment and the GPS data stay).</source>
        <translation>Mit --export: die Metadaten weglassen (Autor, Kommentar und GPS-Daten bleiben).</translation>
    </message>
    <message>
        <source>With --export: leave out the GPS data.</source>
        <translation>Mit --export: die GPS-Daten weglassen.</translation>
    </message>
    <message>
        <source>--%1 goes with --export</source>
        <translation>--%1 gehört zu --export</translation>
    </message>
    <message>
        <source>--export &quot;%1&quot;: the name needs an extension that names the format (.%2)</source>
        <translation>--export &quot;%1&quot;: Der Name braucht eine Endung, die das Format nennt (.%2)</translation>
    </message>
    <message>
        <source>--export &quot;%1&quot;: “.%2” is not a format pictures can be saved in (.%3)</source>
        <translation>--export &quot;%1&quot;: „.%2“ ist kein Format, in dem Bilder gespeichert werden können (.%3)</translation>
    </message>
    <message>
        <source>Invalid --quality &quot;%1&quot;: expected a whole number from 1 to 100</source>
        <translation>Ungültige --quality &quot;%1&quot;: erwartet wird eine ganze Zahl von 1 bis 100</translation>
    </message>
    <message>
        <source>--quality does not apply to “.%1” files</source>
        <translation>--quality gilt nicht für „.%1“-Dateien</translation>
    </message>
    <message>
        <source>--export needs the picture to export</source>
        <translation>--export braucht das Bild, das exportiert werden soll</translation>
    </message>
    <message>
        <source>--export takes one picture</source>
        <translation>--export nimmt genau ein Bild</translation>
    </message>
    <message>
        <source>“%1” could not be read in full</source>
        <translation>„%1“ konnte nicht vollständig gelesen werden</translation>
    </message>
    <message>
        <source>“%1” cannot be applied: %2</source>
        <translation>„%1“ kann nicht angewendet werden: %2</translation>
    </message>
    <message>
        <source>“%1” could not be saved: %2</source>
        <translation>„%1“ konnte nicht gespeichert werden: %2</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::App::AdjustPanel</name>
    <message>
        <source>Exposure</source>
        <translation>Belichtung</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>Kontrast</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>Sättigung</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::App::MainWindow</name>
    <message>
        <source>Adjust</source>
        <translation>Anpassen</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>&amp;Image</source>
        <translation>B&amp;ild</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Ansicht</translation>
    </message>
    <message>
        <source>Tools</source>
        <translation>Werkzeuge</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>&amp;Open...</source>
        <translation>Ö&amp;ffnen...</translation>
    </message>
    <message>
        <source>Save &amp;As...</source>
        <translation>Speichern &amp;unter...</translation>
    </message>
    <message>
        <source>&amp;Next Picture</source>
        <translation>&amp;Nächstes Bild</translation>
    </message>
    <message>
        <source>&amp;Previous Picture</source>
        <translation>&amp;Vorheriges Bild</translation>
    </message>
    <message>
        <source>&amp;Close Picture</source>
        <translation>Bild &amp;schließen</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation>&amp;Rückgängig</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>&amp;Wiederholen</translation>
    </message>
    <message>
        <source>&amp;Paste Picture</source>
        <translation>Bild &amp;einfügen</translation>
    </message>
    <message>
        <source>Rotate &amp;Left</source>
        <translation>Nach &amp;links drehen</translation>
    </message>
    <message>
        <source>Rotate &amp;Right</source>
        <translation>Nach &amp;rechts drehen</translation>
    </message>
    <message>
        <source>Flip &amp;Horizontally</source>
        <translation>&amp;Horizontal spiegeln</translation>
    </message>
    <message>
        <source>Flip &amp;Vertically</source>
        <translation>&amp;Vertikal spiegeln</translation>
    </message>
    <message>
        <source>&amp;Crop...</source>
        <translation>&amp;Zuschneiden...</translation>
    </message>
    <message>
        <source>&amp;Fit to Window</source>
        <translation>An Fenster &amp;anpassen</translation>
    </message>
    <message>
        <source>&amp;Actual Size (100 %)</source>
        <translation>&amp;Originalgröße (100 %)</translation>
    </message>
    <message>
        <source>Zoom &amp;In</source>
        <translation>Ver&amp;größern</translation>
    </message>
    <message>
        <source>Zoom &amp;Out</source>
        <translation>Ver&amp;kleinern</translation>
    </message>
    <message>
        <source>This is the last picture of the folder</source>
        <translation>Dies ist das letzte Bild des Ordners</translation>
    </message>
    <message>
        <source>This is the first picture of the folder</source>
        <translation>Dies ist das erste Bild des Ordners</translation>
    </message>
    <message>
        <source>“%1” has edits that are not saved. Discard them?</source>
        <translation>„%1“ hat Änderungen, die nicht gespeichert sind. Verwerfen?</translation>
    </message>
    <message>
        <source>The full picture could not be read; showing the preview</source>
        <translation>Das vollständige Bild konnte nicht gelesen werden; die Vorschau wird angezeigt</translation>
    </message>
    <message>
        <source>The picture could not be opened.

%1</source>
        <translation>Das Bild konnte nicht geöffnet werden.

%1</translation>
    </message>
    <message>
        <source>“%1” could not be opened.

%2</source>
        <translation>„%1“ konnte nicht geöffnet werden.

%2</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
    <message>
        <source>Open Picture</source>
        <translation>Bild öffnen</translation>
    </message>
    <message>
        <source>Saved “%1”</source>
        <translation>„%1“ gespeichert</translation>
    </message>
    <message>
        <source>The clipboard holds no picture</source>
        <translation>Die Zwischenablage enthält kein Bild</translation>
    </message>
    <message>
        <source>Drag over the picture, then press Enter to crop or Escape to cancel</source>
        <translation>Ziehen Sie einen Rahmen über das Bild, dann drücken Sie die Eingabetaste zum Zuschneiden oder Escape zum Abbrechen</translation>
    </message>
    <message>
        <source>Cropping as soon as the full picture is loaded</source>
        <translation>Wird zugeschnitten, sobald das vollständige Bild geladen ist</translation>
    </message>
    <message>
        <source>Open a picture, drop one here, or paste one</source>
        <translation>Öffnen Sie ein Bild, ziehen Sie eines hierher oder fügen Sie eines ein</translation>
    </message>
    <message>
        <source> (edited)</source>
        <translation> (bearbeitet)</translation>
    </message>
    <message>
        <source>%1 × %2 px</source>
        <translation>%1 × %2 px</translation>
    </message>
    <message>
        <source>&amp;Compare with Original</source>
        <translation>Mit dem Original &amp;vergleichen</translation>
    </message>
    <message>
        <source>The comparison cannot be shown: the original picture is not available</source>
        <translation>Der Vergleich kann nicht gezeigt werden: Das Originalbild ist nicht verfügbar</translation>
    </message>
    <message>
        <source>Saving</source>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>&amp;Save</source>
        <translation>S&amp;peichern</translation>
    </message>
    <message>
        <source>Finishing the save of “%1”...</source>
        <translation>Das Speichern von „%1“ wird abgeschlossen...</translation>
    </message>
    <message>
        <source>A save of this picture is still running; try again when it is done</source>
        <translation>Dieses Bild wird noch gespeichert; versuchen Sie es erneut, wenn das Speichern beendet ist</translation>
    </message>
    <message>
        <source>Saving “%1”...</source>
        <translation>„%1“ wird gespeichert...</translation>
    </message>
    <message>
        <source>Not saved</source>
        <translation>Nicht gespeichert</translation>
    </message>
    <message>
        <source>“%1” cannot be saved in its own format; choose another</source>
        <translation>„%1“ kann nicht in seinem eigenen Format gespeichert werden; wählen Sie ein anderes</translation>
    </message>
    <message>
        <source>“%1” could not be saved: %2.</source>
        <translation>„%1“ konnte nicht gespeichert werden: %2.</translation>
    </message>
    <message>
        <source>%1[*] – %2</source>
        <translation>%1[*] – %2</translation>
    </message>
    <message>
        <source>The edits of “%1” could not be restored; the picture is shown as its file holds it.</source>
        <translation>Die Änderungen an „%1“ konnten nicht wiederhergestellt werden; das Bild wird gezeigt, wie seine Datei es enthält.</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::App::RestoreOffer</name>
    <message>
        <source>Restore Session – %1</source>
        <translation>Sitzung wiederherstellen – %1</translation>
    </message>
    <message>
        <source>No preview</source>
        <translation>Keine Vorschau</translation>
    </message>
    <message>
        <source>%1 did not close properly the last time.

“%2”, autosaved on %3, has edits that were not saved to its file.

Restore it with its edits and their history?</source>
        <translation>%1 wurde beim letzten Mal nicht ordnungsgemäß beendet.

„%2“, automatisch gesichert am %3, hat Änderungen, die nicht in seiner Datei gespeichert sind.

Mit den Änderungen und ihrem Verlauf wiederherstellen?</translation>
    </message>
    <message>
        <source>&amp;Restore</source>
        <translation>&amp;Wiederherstellen</translation>
    </message>
    <message>
        <source>&amp;Discard</source>
        <translation>&amp;Verwerfen</translation>
    </message>
</context>
<context>
    <name>Quelto::Lumindra::App::SaveDialog</name>
    <message>
        <source>Save Picture As</source>
        <translation>Bild speichern unter</translation>
    </message>
    <message>
        <source>&amp;Browse...</source>
        <translation>&amp;Durchsuchen...</translation>
    </message>
    <message>
        <source>%1 (.%2)</source>
        <translation>%1 (.%2)</translation>
    </message>
    <message>
        <source>File &amp;name:</source>
        <translation>Datei&amp;name:</translation>
    </message>
    <message>
        <source>&amp;Format:</source>
        <translation>&amp;Format:</translation>
    </message>
    <message>
        <source>&amp;Quality:</source>
        <translation>&amp;Qualität:</translation>
    </message>
    <message>
        <source>Metadata</source>
        <translation>Metadaten</translation>
    </message>
    <message>
        <source>&amp;Remove metadata (camera, date, settings); author and comment stay</source>
        <translation>Metadaten &amp;entfernen (Kamera, Datum, Einstellungen); Autor und Kommentar bleiben</translation>
    </message>
    <message>
        <source>Remove &amp;GPS location</source>
        <translation>&amp;GPS-Standort entfernen</translation>
    </message>
    <message>
        <source>&amp;Author:</source>
        <translation>&amp;Autor:</translation>
    </message>
    <message>
        <source>&amp;Comment:</source>
        <translation>&amp;Kommentar:</translation>
    </message>
    <message>
        <source>HEIF and AVIF files are saved without metadata.</source>
        <translation>HEIF- und AVIF-Dateien werden ohne Metadaten gespeichert.</translation>
    </message>
    <message>
        <source>%1 pictures (*.%2)</source>
        <translation>%1-Bilder (*.%2)</translation>
    </message>
    <message>
        <source>Enter a file name.</source>
        <translation>Geben Sie einen Dateinamen ein.</translation>
    </message>
    <message>
        <source>Pictures cannot be saved as “.%1” files. Choose a format, or end the name with one of %2.</source>
        <translation>Bilder können nicht als „.%1“-Dateien gespeichert werden. Wählen Sie ein Format, oder beenden Sie den Namen mit einer dieser Endungen: %2.</translation>
    </message>
    <message>
        <source>The folder “%1” does not exist.</source>
        <translation>Der Ordner „%1“ existiert nicht.</translation>
    </message>
    <message>
        <source>“%1” is a folder.</source>
        <translation>„%1“ ist ein Ordner.</translation>
    </message>
    <message>
        <source>“%1” already exists. Replace it?</source>
        <translation>„%1“ existiert bereits. Ersetzen?</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Lumindra photo editor</source>
        <translation>Lumindra-Fotoeditor</translation>
    </message>
    <message>
        <source>Write a picture of the window to &lt;file&gt; once the photo is shown, then quit.</source>
        <translation>Schreibt ein Bild des Fensters nach &lt;file&gt;, sobald das Foto angezeigt wird, und beendet sich dann.</translation>
    </message>
    <message>
        <source>Window size, WIDTHxHEIGHT.</source>
        <translation>Fenstergröße als BREITExHÖHE.</translation>
    </message>
    <message>
        <source>The pictures to open: files or file:// URLs.</source>
        <translation>Die zu öffnenden Bilder: Dateien oder file://-URLs.</translation>
    </message>
    <message>
        <source>With --screenshot: show the original beside the edited picture.</source>
        <translation>Mit --screenshot: das Original neben dem bearbeiteten Bild zeigen.</translation>
    </message>
</context>
</TS>
