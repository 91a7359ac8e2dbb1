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
        <source>Save Picture As</source>
        <translation>Bild speichern unter</translation>
    </message>
    <message>
        <source>Saved “%1”</source>
        <translation>„%1“ gespeichert</translation>
    </message>
    <message>
        <source>“%1” could not be saved.</source>
        <translation>„%1“ konnte nicht gespeichert werden.</translation>
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
        <source>%1 – %2</source>
        <translation>%1 – %2</translation>
    </message>
    <message>
        <source>&amp;Compare with Original</source>
        <translation>Mit dem Original &amp;vergleichen</translation>
    </message>
    <message>
        <source>The comparison cannot be shown: the original picture is not available</source>
        <translation>Der Vergleich kann nicht gezeigt werden: Das Originalbild ist nicht verfügbar</translation>
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
