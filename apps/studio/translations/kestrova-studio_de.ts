<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>ExportTargets</name>
    <message>
        <source>There is no folder to export to.</source>
        <translation>Es ist kein Ordner für den Export angegeben.</translation>
    </message>
    <message>
        <source>The folder needs its whole path.</source>
        <translation>Der Ordner braucht seinen vollständigen Pfad.</translation>
    </message>
    <message>
        <source>%1 is no folder.</source>
        <translation>%1 ist kein Ordner.</translation>
    </message>
    <message>
        <source>%1 cannot be written to.</source>
        <translation>In %1 kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>There is no photograph to export.</source>
        <translation>Es gibt kein Foto zu exportieren.</translation>
    </message>
    <message>
        <source>The name is empty.</source>
        <translation>Der Name ist leer.</translation>
    </message>
    <message>
        <source>A name cannot contain a slash.</source>
        <translation>Ein Name kann keinen Schrägstrich enthalten.</translation>
    </message>
    <message>
        <source>%1 and %2 would both become %3; {name} in the name keeps them apart.</source>
        <translation>%1 und %2 würden beide zu %3; {name} im Namen hält sie auseinander.</translation>
    </message>
    <message>
        <source>%1 is an original, which is never replaced.</source>
        <translation>%1 ist ein Original und wird nie ersetzt.</translation>
    </message>
    <message>
        <source>%1 is there already and is no file.</source>
        <translation>%1 gibt es schon und ist keine Datei.</translation>
    </message>
    <message>
        <source>%1 is there already.</source>
        <translation>%1 gibt es schon.</translation>
    </message>
</context>
<context>
    <name>FileTroubles</name>
    <message>
        <source>%1 cannot be written: the disk is full.</source>
        <translation>%1 kann nicht geschrieben werden: Der Datenträger ist voll.</translation>
    </message>
    <message>
        <source>%1 cannot be written: the disk is read-only.</source>
        <translation>%1 kann nicht geschrieben werden: Der Datenträger ist schreibgeschützt.</translation>
    </message>
    <message>
        <source>There is no permission to open %1.</source>
        <translation>Die Berechtigung fehlt, %1 zu öffnen.</translation>
    </message>
    <message>
        <source>%1: there is no such file or folder.</source>
        <translation>%1: Diese Datei oder diesen Ordner gibt es nicht.</translation>
    </message>
    <message>
        <source>%1 cannot be read or written.</source>
        <translation>%1 kann nicht gelesen oder geschrieben werden.</translation>
    </message>
    <message>
        <source>%1 is empty.</source>
        <translation>%1 ist leer.</translation>
    </message>
    <message>
        <source>%1 is not a photograph.</source>
        <translation>%1 ist kein Foto.</translation>
    </message>
    <message>
        <source>%1 has a format that is not supported here.</source>
        <translation>%1 hat ein Format, das hier nicht unterstützt wird.</translation>
    </message>
    <message>
        <source>%1 is too large.</source>
        <translation>%1 ist zu groß.</translation>
    </message>
    <message>
        <source>%1 is the original, which is never replaced.</source>
        <translation>%1 ist das Original, das nie ersetzt wird.</translation>
    </message>
    <message>
        <source>%1 is there already.</source>
        <translation>%1 gibt es schon.</translation>
    </message>
    <message>
        <source>%1 is damaged.</source>
        <translation>%1 ist beschädigt.</translation>
    </message>
    <message>
        <source>%1 is damaged, or of a kind that is not supported here.</source>
        <translation>%1 ist beschädigt oder von einer Art, die hier nicht unterstützt wird.</translation>
    </message>
    <message>
        <source>There is not enough memory for %1.</source>
        <translation>Für %1 reicht der Speicher nicht.</translation>
    </message>
    <message>
        <source>%1 cannot be shown: there is a mistake in this program.</source>
        <translation>%1 kann nicht gezeigt werden: In diesem Programm steckt ein Fehler.</translation>
    </message>
</context>
<context>
    <name>Preset</name>
    <message>
        <source>Natural</source>
        <translation>Natürlich</translation>
    </message>
    <message>
        <source>A little more of what is there: texture, light and colour.</source>
        <translation>Ein wenig mehr von dem, was da ist: Struktur, Licht und Farbe.</translation>
    </message>
    <message>
        <source>Landscape</source>
        <translation>Landschaft</translation>
    </message>
    <message>
        <source>Clear distance, drawn clouds, living greens.</source>
        <translation>Klare Ferne, gezeichnete Wolken, lebendiges Grün.</translation>
    </message>
    <message>
        <source>Portrait</source>
        <translation>Porträt</translation>
    </message>
    <message>
        <source>Calm skin, open shadows, warm light.</source>
        <translation>Ruhige Haut, offene Schatten, warmes Licht.</translation>
    </message>
    <message>
        <source>Backlight</source>
        <translation>Gegenlicht</translation>
    </message>
    <message>
        <source>Opens what stands against the light.</source>
        <translation>Hellt auf, was gegen das Licht steht.</translation>
    </message>
    <message>
        <source>Night</source>
        <translation>Nacht</translation>
    </message>
    <message>
        <source>Quiet darkness without grain or speckles.</source>
        <translation>Ruhiges Dunkel ohne Korn und Farbflecken.</translation>
    </message>
    <message>
        <source>Black and white</source>
        <translation>Schwarzweiß</translation>
    </message>
    <message>
        <source>Black and white with a dark sky, as behind a red glass.</source>
        <translation>Schwarzweiß mit dunklem Himmel, wie durch einen Rotfilter.</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Ohne</translation>
    </message>
</context>
<context>
    <name>ScreenProfile</name>
    <message>
        <source>%1, chosen in the settings</source>
        <translation>%1, in den Einstellungen gewählt</translation>
    </message>
    <message>
        <source>%1, named by KESTROVA_SCREEN_PROFILE</source>
        <translation>%1, durch KESTROVA_SCREEN_PROFILE angegeben</translation>
    </message>
    <message>
        <source>sRGB: no profile of the screen is known</source>
        <translation>sRGB: Vom Bildschirm ist kein Profil bekannt</translation>
    </message>
</context>
<context>
    <name>Slider</name>
    <message>
        <source>Brightness</source>
        <translation>Helligkeit</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>Kontrast</translation>
    </message>
    <message>
        <source>Highlights</source>
        <translation>Lichter</translation>
    </message>
    <message>
        <source>Shadows</source>
        <translation>Schatten</translation>
    </message>
    <message>
        <source>Whites</source>
        <translation>Weiß</translation>
    </message>
    <message>
        <source>Blacks</source>
        <translation>Schwarz</translation>
    </message>
    <message>
        <source>Midtones</source>
        <translation>Mitteltöne</translation>
    </message>
    <message>
        <source>Shadows threshold</source>
        <translation>Schwelle der Schatten</translation>
    </message>
    <message>
        <source>Midtones threshold</source>
        <translation>Schwelle der Mitteltöne</translation>
    </message>
    <message>
        <source>Highlights threshold</source>
        <translation>Schwelle der Lichter</translation>
    </message>
    <message>
        <source>Red</source>
        <translation>Rot</translation>
    </message>
    <message>
        <source>Green</source>
        <translation>Grün</translation>
    </message>
    <message>
        <source>Blue</source>
        <translation>Blau</translation>
    </message>
    <message>
        <source>Temperature</source>
        <translation>Temperatur</translation>
    </message>
    <message>
        <source>Tint</source>
        <translation>Farbton</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>Sättigung</translation>
    </message>
    <message>
        <source>Vibrance</source>
        <translation>Dynamik</translation>
    </message>
    <message>
        <source>Luminance</source>
        <translation>Luminanz</translation>
    </message>
    <message>
        <source>Colour</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>Lighter or darker; black stays black and white stays white.</source>
        <translation>Heller oder dunkler; Schwarz bleibt schwarz und Weiß bleibt weiß.</translation>
    </message>
    <message>
        <source>Spreads the middle tones or brings them together; black and white stay.</source>
        <translation>Spreizt die mittleren Töne oder rückt sie zusammen; Schwarz und Weiß bleiben.</translation>
    </message>
    <message>
        <source>Lightens or darkens the bright tones.</source>
        <translation>Hellt die hellen Töne auf oder dunkelt sie ab.</translation>
    </message>
    <message>
        <source>Lightens or darkens the dark tones.</source>
        <translation>Hellt die dunklen Töne auf oder dunkelt sie ab.</translation>
    </message>
    <message>
        <source>Sets where white begins: above 0 the brightest tones become white.</source>
        <translation>Bestimmt, wo Weiß beginnt: Über 0 werden die hellsten Töne weiß.</translation>
    </message>
    <message>
        <source>Sets where black ends: below 0 the darkest tones become black.</source>
        <translation>Bestimmt, wo Schwarz endet: Unter 0 werden die dunkelsten Töne schwarz.</translation>
    </message>
    <message>
        <source>Boosts or softens fine detail, hair and grain, in the shadows.</source>
        <translation>Verstärkt oder mildert feine Details, Haare und Korn in den Schatten.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint fine detail, hair and grain, in the shadows, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (feine Details, Haare und Korn) in den Schatten, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens fine detail, hair and grain, in the midtones.</source>
        <translation>Verstärkt oder mildert feine Details, Haare und Korn in den Mitteltönen.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint fine detail, hair and grain, in the midtones, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (feine Details, Haare und Korn) in den Mitteltönen, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens fine detail, hair and grain, in the highlights.</source>
        <translation>Verstärkt oder mildert feine Details, Haare und Korn in den Lichtern.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint fine detail, hair and grain, in the highlights, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (feine Details, Haare und Korn) in den Lichtern, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens forms, leaves and folds, in the shadows.</source>
        <translation>Verstärkt oder mildert Formen, Blätter und Falten in den Schatten.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint forms, leaves and folds, in the shadows, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (Formen, Blätter und Falten) in den Schatten, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens forms, leaves and folds, in the midtones.</source>
        <translation>Verstärkt oder mildert Formen, Blätter und Falten in den Mitteltönen.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint forms, leaves and folds, in the midtones, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (Formen, Blätter und Falten) in den Mitteltönen, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens forms, leaves and folds, in the highlights.</source>
        <translation>Verstärkt oder mildert Formen, Blätter und Falten in den Lichtern.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint forms, leaves and folds, in the highlights, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (Formen, Blätter und Falten) in den Lichtern, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens broad light and shade in the shadows.</source>
        <translation>Verstärkt oder mildert breites Licht und Schatten in den Schatten.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint broad light and shade in the shadows, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (breites Licht und Schatten) in den Schatten, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens broad light and shade in the midtones.</source>
        <translation>Verstärkt oder mildert breites Licht und Schatten in den Mitteltönen.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint broad light and shade in the midtones, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (breites Licht und Schatten) in den Mitteltönen, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Boosts or softens broad light and shade in the highlights.</source>
        <translation>Verstärkt oder mildert breites Licht und Schatten in den Lichtern.</translation>
    </message>
    <message>
        <source>Above 0 lifts faint broad light and shade in the highlights, below 0 clears it.</source>
        <translation>Hebt über 0 Schwaches (breites Licht und Schatten) in den Lichtern, nimmt es unter 0 weg.</translation>
    </message>
    <message>
        <source>Lightens or darkens what is red.</source>
        <translation>Hellt auf oder dunkelt ab, was rot ist.</translation>
    </message>
    <message>
        <source>Lightens or darkens what is neither red nor blue.</source>
        <translation>Hellt auf oder dunkelt ab, was weder rot noch blau ist.</translation>
    </message>
    <message>
        <source>Lightens or darkens what is blue.</source>
        <translation>Hellt auf oder dunkelt ab, was blau ist.</translation>
    </message>
    <message>
        <source>Warmer or cooler; black and white stay.</source>
        <translation>Wärmer oder kühler; Schwarz und Weiß bleiben.</translation>
    </message>
    <message>
        <source>Towards magenta or towards green; black and white stay.</source>
        <translation>Zu Magenta oder zu Grün hin; Schwarz und Weiß bleiben.</translation>
    </message>
    <message>
        <source>Stronger or weaker colours; -1 is black and white.</source>
        <translation>Kräftigere oder schwächere Farben; -1 ist schwarzweiß.</translation>
    </message>
    <message>
        <source>Lifts muted colours and spares vivid ones and greys.</source>
        <translation>Hebt matte Farben und schont kräftige und Grautöne.</translation>
    </message>
    <message>
        <source>Takes grain away where there is nothing else.</source>
        <translation>Nimmt Korn weg, wo sonst nichts ist.</translation>
    </message>
    <message>
        <source>Takes speckles of colour away.</source>
        <translation>Nimmt Farbflecken weg.</translation>
    </message>
    <message>
        <source>Light</source>
        <translation>Licht</translation>
    </message>
    <message>
        <source>Fine detail</source>
        <translation>Feine Details</translation>
    </message>
    <message>
        <source>Forms</source>
        <translation>Formen</translation>
    </message>
    <message>
        <source>Light and shade</source>
        <translation>Licht und Schatten</translation>
    </message>
    <message>
        <source>Brightness of colours</source>
        <translation>Helligkeit der Farben</translation>
    </message>
    <message>
        <source>Noise</source>
        <translation>Rauschen</translation>
    </message>
    <message>
        <source>threshold</source>
        <translation>Schwelle</translation>
    </message>
</context>
<context>
    <name>Texts</name>
    <message>
        <source>%1: is no profile of a screen</source>
        <translation>%1: ist kein Profil eines Bildschirms</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::CropBar</name>
    <message>
        <source>Free</source>
        <translation>Frei</translation>
    </message>
    <message>
        <source>Original</source>
        <translation>Original</translation>
    </message>
    <message>
        <source>The ratio of the crop&apos;s sides</source>
        <translation>Das Seitenverhältnis des Ausschnitts</translation>
    </message>
    <message>
        <source>Upright</source>
        <translation>Hochkant</translation>
    </message>
    <message>
        <source>Turns the ratio upright</source>
        <translation>Stellt das Seitenverhältnis hochkant</translation>
    </message>
    <message>
        <source>Turns the photograph clockwise; the corners that this lays bare are cut off</source>
        <translation>Dreht das Foto im Uhrzeigersinn; die Ecken, die dabei leer bleiben, fallen weg</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Takes crop and angle back</source>
        <translation>Nimmt Ausschnitt und Winkel zurück</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Shows the photograph as it is cropped</source>
        <translation>Zeigt das Foto, wie es zugeschnitten ist</translation>
    </message>
    <message>
        <source>Ratio</source>
        <translation>Verhältnis</translation>
    </message>
    <message>
        <source>Angle</source>
        <translation>Winkel</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::CurveView</name>
    <message>
        <source>Tone curve</source>
        <translation>Tonkurve</translation>
    </message>
    <message>
        <source>What becomes of each tone, from black on the left to white on the right</source>
        <translation>Was aus jedem Ton wird, von Schwarz links bis Weiß rechts</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::ExportDialog</name>
    <message>
        <source>Export %1</source>
        <translation>%1 exportieren</translation>
    </message>
    <message numerus="yes">
        <source>Export %n photographs</source>
        <translation>
            <numerusform>%n Foto exportieren</numerusform>
            <numerusform>%n Fotos exportieren</numerusform>
        </translation>
    </message>
    <message>
        <source>exported</source>
        <translation>exportiert</translation>
    </message>
    <message>
        <source>Folder to export to</source>
        <translation>Ordner für den Export</translation>
    </message>
    <message>
        <source>Colour profile</source>
        <translation>Farbprofil</translation>
    </message>
    <message>
        <source>Profiles (*.icc *.icm)</source>
        <translation>Profile (*.icc *.icm)</translation>
    </message>
    <message>
        <source>%1 (from a file…)</source>
        <translation>%1 (aus einer Datei …)</translation>
    </message>
    <message>
        <source>As the photograph</source>
        <translation>Wie das Foto</translation>
    </message>
    <message>
        <source>8 bits a channel</source>
        <translation>8 Bit je Kanal</translation>
    </message>
    <message>
        <source>16 bits a channel</source>
        <translation>16 Bit je Kanal</translation>
    </message>
    <message>
        <source>From 90 on colour is stored in full; WebP at 100 keeps every pixel</source>
        <translation>Ab 90 wird die Farbe voll gespeichert; WebP bewahrt bei 100 jedes Pixel</translation>
    </message>
    <message>
        <source>Longer side at most</source>
        <translation>Längere Seite höchstens</translation>
    </message>
    <message>
        <source> px</source>
        <translation> px</translation>
    </message>
    <message>
        <source>A photograph with fewer pixels is not enlarged</source>
        <translation>Ein Foto mit weniger Pixeln wird nicht vergrößert</translation>
    </message>
    <message>
        <source>From a file…</source>
        <translation>Aus einer Datei …</translation>
    </message>
    <message>
        <source>All</source>
        <translation>Alle</translation>
    </message>
    <message>
        <source>Author and copyright alone</source>
        <translation>Nur Urheber und Copyright</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Keine</translation>
    </message>
    <message>
        <source>{name} stands for the name of each photograph; the ending is added</source>
        <translation>{name} steht für den Namen jedes Fotos; die Endung wird angehängt</translation>
    </message>
    <message>
        <source>Replace files that are there already</source>
        <translation>Vorhandene Dateien ersetzen</translation>
    </message>
    <message>
        <source>Format</source>
        <translation>Format</translation>
    </message>
    <message>
        <source>Bits a channel</source>
        <translation>Bit je Kanal</translation>
    </message>
    <message>
        <source>Quality</source>
        <translation>Qualität</translation>
    </message>
    <message>
        <source>Longer side in pixels</source>
        <translation>Längere Seite in Pixeln</translation>
    </message>
    <message>
        <source>Metadata</source>
        <translation>Metadaten</translation>
    </message>
    <message>
        <source>Folder</source>
        <translation>Ordner</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Choose…</source>
        <translation>Wählen …</translation>
    </message>
    <message>
        <source>&amp;Format</source>
        <translation>&amp;Format</translation>
    </message>
    <message>
        <source>&amp;Quality</source>
        <translation>&amp;Qualität</translation>
    </message>
    <message>
        <source>&amp;Size</source>
        <translation>&amp;Größe</translation>
    </message>
    <message>
        <source>&amp;Colour profile</source>
        <translation>&amp;Farbprofil</translation>
    </message>
    <message>
        <source>&amp;Metadata</source>
        <translation>&amp;Metadaten</translation>
    </message>
    <message>
        <source>F&amp;older</source>
        <translation>&amp;Ordner</translation>
    </message>
    <message>
        <source>&amp;Name</source>
        <translation>&amp;Name</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::ExportPanel</name>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Cancel All</source>
        <translation>Alle abbrechen</translation>
    </message>
    <message>
        <source>Clear Finished</source>
        <translation>Fertige entfernen</translation>
    </message>
    <message>
        <source>Exports</source>
        <translation>Exporte</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::ExportQueue</name>
    <message>
        <source>waiting</source>
        <translation>wartet</translation>
    </message>
    <message>
        <source>stopping</source>
        <translation>wird abgebrochen</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
    <message>
        <source>done</source>
        <translation>fertig</translation>
    </message>
    <message>
        <source>done, with notes</source>
        <translation>fertig, mit Hinweisen</translation>
    </message>
    <message>
        <source>failed: %1</source>
        <translation>fehlgeschlagen: %1</translation>
    </message>
    <message>
        <source>cancelled</source>
        <translation>abgebrochen</translation>
    </message>
    <message>
        <source>Photograph</source>
        <translation>Foto</translation>
    </message>
    <message>
        <source>Target</source>
        <translation>Ziel</translation>
    </message>
    <message>
        <source>State</source>
        <translation>Stand</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::FilmStrip</name>
    <message>
        <source>Film strip</source>
        <translation>Filmstreifen</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::HistogramView</name>
    <message>
        <source>Histogram</source>
        <translation>Histogramm</translation>
    </message>
    <message>
        <source>%1 % of the pixels are black in a channel; click to show them</source>
        <translation>%1 % der Pixel sind in einem Kanal schwarz; ein Klick zeigt sie</translation>
    </message>
    <message>
        <source>%1 % of the pixels are full in a channel; click to show them</source>
        <translation>%1 % der Pixel sind in einem Kanal voll; ein Klick zeigt sie</translation>
    </message>
    <message>
        <source>Red, green and blue of what is seen, over its luminance</source>
        <translation>Rot, Grün und Blau des Sichtbaren, über seiner Luminanz</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::LayerList</name>
    <message>
        <source>Layers</source>
        <translation>Ebenen</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::LayerModel</name>
    <message>
        <source>Whole photograph</source>
        <translation>Ganzes Foto</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::LayerPanel</name>
    <message>
        <source>Layers</source>
        <translation>Ebenen</translation>
    </message>
    <message>
        <source>Add</source>
        <translation>Neu</translation>
    </message>
    <message>
        <source>Adds a layer</source>
        <translation>Fügt eine Ebene hinzu</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopie</translation>
    </message>
    <message>
        <source>Copies the layer with its mask</source>
        <translation>Kopiert die Ebene mit ihrer Maske</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Removes the layer</source>
        <translation>Löscht die Ebene</translation>
    </message>
    <message>
        <source>Up</source>
        <translation>Hoch</translation>
    </message>
    <message>
        <source>Moves the layer up</source>
        <translation>Schiebt die Ebene nach oben</translation>
    </message>
    <message>
        <source>Down</source>
        <translation>Runter</translation>
    </message>
    <message>
        <source>Moves the layer down</source>
        <translation>Schiebt die Ebene nach unten</translation>
    </message>
    <message>
        <source>Fill</source>
        <translation>Füllen</translation>
    </message>
    <message>
        <source>Lets the layer act everywhere</source>
        <translation>Lässt die Ebene überall wirken</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>Lets the layer act nowhere</source>
        <translation>Lässt die Ebene nirgends wirken</translation>
    </message>
    <message>
        <source>Invert</source>
        <translation>Umkehren</translation>
    </message>
    <message>
        <source>Lets the layer act where it did not</source>
        <translation>Lässt die Ebene dort wirken, wo sie es nicht tat</translation>
    </message>
    <message>
        <source>Colour</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>The colour that shows the mask</source>
        <translation>Die Farbe, in der die Maske gezeigt wird</translation>
    </message>
    <message>
        <source>Colour of the mask</source>
        <translation>Farbe der Maske</translation>
    </message>
    <message>
        <source>Paint</source>
        <translation>Malen</translation>
    </message>
    <message>
        <source>The brush adds to the mask; with Ctrl it erases</source>
        <translation>Der Pinsel fügt zur Maske hinzu; mit Strg radiert er</translation>
    </message>
    <message>
        <source>Erase</source>
        <translation>Radieren</translation>
    </message>
    <message>
        <source>The brush takes away from the mask; with Ctrl it adds</source>
        <translation>Der Pinsel nimmt von der Maske weg; mit Strg fügt er hinzu</translation>
    </message>
    <message>
        <source>Brush</source>
        <translation>Pinsel</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Größe</translation>
    </message>
    <message>
        <source>The brush&apos;s radius; also with the keys [ and ].</source>
        <translation>Der Radius des Pinsels; auch mit den Tasten [ und ].</translation>
    </message>
    <message>
        <source>Hardness</source>
        <translation>Härte</translation>
    </message>
    <message>
        <source>The part of the radius that paints in full.</source>
        <translation>Der Teil des Radius, der voll malt.</translation>
    </message>
    <message>
        <source>Opacity</source>
        <translation>Deckkraft</translation>
    </message>
    <message>
        <source>How much one stroke paints at most.</source>
        <translation>Wie viel ein Strich höchstens malt.</translation>
    </message>
    <message>
        <source>Edges</source>
        <translation>Kanten</translation>
    </message>
    <message>
        <source>Above 0 the brush keeps to colours like the one under its middle, the more the higher.</source>
        <translation>Über 0 hält sich der Pinsel an Farben wie die unter seiner Mitte, je höher, desto strenger.</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::MainWindow</name>
    <message>
        <source>Kestrova Studio</source>
        <translation>Kestrova Studio</translation>
    </message>
    <message>
        <source>Open a photograph or a folder, or drop it here.</source>
        <translation>Öffnen Sie ein Foto oder einen Ordner, oder ziehen Sie es hierher.</translation>
    </message>
    <message>
        <source>What the sliders act on</source>
        <translation>Worauf die Regler wirken</translation>
    </message>
    <message>
        <source>Light</source>
        <translation>Licht</translation>
    </message>
    <message>
        <source>Detail</source>
        <translation>Details</translation>
    </message>
    <message>
        <source>Colour</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>Layers</source>
        <translation>Ebenen</translation>
    </message>
    <message>
        <source>Adjust</source>
        <translation>Anpassen</translation>
    </message>
    <message>
        <source>Presets</source>
        <translation>Vorgaben</translation>
    </message>
    <message>
        <source>As opened</source>
        <translation>Wie geöffnet</translation>
    </message>
    <message>
        <source>History</source>
        <translation>Verlauf</translation>
    </message>
    <message>
        <source>Photographs</source>
        <translation>Fotos</translation>
    </message>
    <message>
        <source>Exports</source>
        <translation>Exporte</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Ends the preparation; the preview stays</source>
        <translation>Beendet die Vorbereitung; die Vorschau bleibt</translation>
    </message>
    <message>
        <source>Exported %1</source>
        <translation>%1 exportiert</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>Tools</source>
        <translation>Werkzeuge</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Open…</source>
        <translation>Ö&amp;ffnen …</translation>
    </message>
    <message>
        <source>Opens photographs</source>
        <translation>Öffnet Fotos</translation>
    </message>
    <message>
        <source>Open &amp;folder…</source>
        <translation>&amp;Ordner öffnen …</translation>
    </message>
    <message>
        <source>Ctrl+Shift+O</source>
        <translation>Ctrl+Shift+O</translation>
    </message>
    <message>
        <source>Opens all photographs of a folder</source>
        <translation>Öffnet alle Fotos eines Ordners</translation>
    </message>
    <message>
        <source>&amp;Next photograph</source>
        <translation>&amp;Nächstes Foto</translation>
    </message>
    <message>
        <source>Ctrl+Right</source>
        <translation>Ctrl+Right</translation>
    </message>
    <message>
        <source>Opens the next one of the strip</source>
        <translation>Öffnet das nächste des Streifens</translation>
    </message>
    <message>
        <source>&amp;Previous photograph</source>
        <translation>&amp;Voriges Foto</translation>
    </message>
    <message>
        <source>Ctrl+Left</source>
        <translation>Ctrl+Left</translation>
    </message>
    <message>
        <source>Opens the previous one of the strip</source>
        <translation>Öffnet das vorige des Streifens</translation>
    </message>
    <message>
        <source>&amp;Export…</source>
        <translation>&amp;Exportieren …</translation>
    </message>
    <message>
        <source>Ctrl+E</source>
        <translation>Ctrl+E</translation>
    </message>
    <message>
        <source>Writes the photograph as it is developed</source>
        <translation>Schreibt das Foto, wie es entwickelt ist</translation>
    </message>
    <message>
        <source>Export &amp;selection…</source>
        <translation>&amp;Auswahl exportieren …</translation>
    </message>
    <message>
        <source>Ctrl+Shift+E</source>
        <translation>Ctrl+Shift+E</translation>
    </message>
    <message>
        <source>Writes the photographs that are selected in the strip</source>
        <translation>Schreibt die Fotos, die im Streifen ausgewählt sind</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>Closes the window</source>
        <translation>Schließt das Fenster</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation>&amp;Rückgängig</translation>
    </message>
    <message>
        <source>Takes the latest step back</source>
        <translation>Nimmt den letzten Schritt zurück</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>&amp;Wiederholen</translation>
    </message>
    <message>
        <source>Takes the step again</source>
        <translation>Macht den Schritt noch einmal</translation>
    </message>
    <message>
        <source>&amp;Select all photographs</source>
        <translation>Alle Fotos au&amp;swählen</translation>
    </message>
    <message>
        <source>Those of the strip, to export them or to paste settings</source>
        <translation>Die im Streifen, um sie zu exportieren oder Einstellungen einzufügen</translation>
    </message>
    <message>
        <source>&amp;Copy settings</source>
        <translation>Einstellungen &amp;kopieren</translation>
    </message>
    <message>
        <source>Ctrl+Shift+C</source>
        <translation>Ctrl+Shift+C</translation>
    </message>
    <message>
        <source>For other photographs</source>
        <translation>Für andere Fotos</translation>
    </message>
    <message>
        <source>&amp;Paste settings</source>
        <translation>Einstellungen &amp;einfügen</translation>
    </message>
    <message>
        <source>Ctrl+Shift+V</source>
        <translation>Ctrl+Shift+V</translation>
    </message>
    <message>
        <source>Reset &amp;all</source>
        <translation>&amp;Alles zurücksetzen</translation>
    </message>
    <message>
        <source>Ctrl+Shift+Backspace</source>
        <translation>Ctrl+Shift+Backspace</translation>
    </message>
    <message>
        <source>The photograph as it was</source>
        <translation>Das Foto, wie es war</translation>
    </message>
    <message>
        <source>Rotate &amp;left</source>
        <translation>&amp;Links drehen</translation>
    </message>
    <message>
        <source>Ctrl+L</source>
        <translation>Ctrl+L</translation>
    </message>
    <message>
        <source>Turns by a quarter</source>
        <translation>Dreht um ein Viertel</translation>
    </message>
    <message>
        <source>Rotate &amp;right</source>
        <translation>&amp;Rechts drehen</translation>
    </message>
    <message>
        <source>Ctrl+R</source>
        <translation>Ctrl+R</translation>
    </message>
    <message>
        <source>Detail &amp;filter</source>
        <translation>Detail&amp;filter</translation>
    </message>
    <message>
        <source>Guided</source>
        <translation>Geführt</translation>
    </message>
    <message>
        <source>Fast and free of halos</source>
        <translation>Schnell und frei von Säumen</translation>
    </message>
    <message>
        <source>Bilateral</source>
        <translation>Bilateral</translation>
    </message>
    <message>
        <source>Crisper at faint edges</source>
        <translation>Schärfer an schwachen Kanten</translation>
    </message>
    <message>
        <source>Laplacian</source>
        <translation>Laplace</translation>
    </message>
    <message>
        <source>Deeper light and shade</source>
        <translation>Tieferes Licht und Schatten</translation>
    </message>
    <message>
        <source>Weighted least squares</source>
        <translation>Gewichtete kleinste Quadrate</translation>
    </message>
    <message>
        <source>Slow, for large scales</source>
        <translation>Langsam, für große Skalen</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>&amp;Shortcuts</source>
        <translation>&amp;Tastenkürzel</translation>
    </message>
    <message>
        <source>All keys</source>
        <translation>Alle Tasten</translation>
    </message>
    <message>
        <source>&amp;About</source>
        <translation>Ü&amp;ber</translation>
    </message>
    <message>
        <source>What this is</source>
        <translation>Was dies ist</translation>
    </message>
    <message>
        <source>&amp;Undo: %1</source>
        <translation>&amp;Rückgängig: %1</translation>
    </message>
    <message>
        <source>&amp;Redo: %1</source>
        <translation>&amp;Wiederholen: %1</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Rückgängig</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>Wiederholen</translation>
    </message>
    <message>
        <source>Reset all</source>
        <translation>Alles zurücksetzen</translation>
    </message>
    <message>
        <source>Photograph</source>
        <translation>Foto</translation>
    </message>
    <message>
        <source>Zoom about the pointer</source>
        <translation>Vergrößern um den Zeiger</translation>
    </message>
    <message>
        <source>Wheel, pinch</source>
        <translation>Rad, Spreizgeste</translation>
    </message>
    <message>
        <source>Move</source>
        <translation>Verschieben</translation>
    </message>
    <message>
        <source>Drag, arrow keys; Space or middle button with any tool</source>
        <translation>Ziehen, Pfeiltasten; mit jedem Werkzeug Leertaste oder mittlere Taste</translation>
    </message>
    <message>
        <source>Fit or 1 : 1</source>
        <translation>Einpassen oder 1 : 1</translation>
    </message>
    <message>
        <source>Double click</source>
        <translation>Doppelklick</translation>
    </message>
    <message>
        <source>Back to the hand</source>
        <translation>Zurück zur Hand</translation>
    </message>
    <message>
        <source>Return, Escape</source>
        <translation>Eingabetaste, Esc</translation>
    </message>
    <message>
        <source>Erase instead of paint, and back</source>
        <translation>Radieren statt malen, und umgekehrt</translation>
    </message>
    <message>
        <source>Ctrl with the brush</source>
        <translation>Strg mit dem Pinsel</translation>
    </message>
    <message>
        <source>Sliders</source>
        <translation>Regler</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>By 5</source>
        <translation>Um 5</translation>
    </message>
    <message>
        <source>Arrow keys, wheel on the slider that has the focus</source>
        <translation>Pfeiltasten, Rad auf dem Regler mit dem Fokus</translation>
    </message>
    <message>
        <source>By 1</source>
        <translation>Um 1</translation>
    </message>
    <message>
        <source>The same with Shift</source>
        <translation>Dasselbe mit Umschalt</translation>
    </message>
    <message>
        <source>By 10</source>
        <translation>Um 10</translation>
    </message>
    <message>
        <source>Page keys</source>
        <translation>Bildtasten</translation>
    </message>
    <message>
        <source>&lt;b&gt;Kestrova Studio %1&lt;/b&gt;&lt;p&gt;Develops photographs, and keeps them as they are: what is done to them is stored beside them.&lt;/p&gt;</source>
        <translation>&lt;b&gt;Kestrova Studio %1&lt;/b&gt;&lt;p&gt;Entwickelt Fotos und lässt sie, wie sie sind: Was mit ihnen geschieht, wird neben ihnen gespeichert.&lt;/p&gt;</translation>
    </message>
    <message>
        <source>Another program has changed the photograph.</source>
        <translation>Ein anderes Programm hat das Foto geändert.</translation>
    </message>
    <message>
        <source>There are no photographs in %1.</source>
        <translation>In %1 sind keine Fotos.</translation>
    </message>
    <message>
        <source>Opening %1</source>
        <translation>%1 wird geöffnet</translation>
    </message>
    <message>
        <source>%1 - Kestrova Studio</source>
        <translation>%1 - Kestrova Studio</translation>
    </message>
    <message>
        <source>Open photographs</source>
        <translation>Fotos öffnen</translation>
    </message>
    <message>
        <source>Photographs (%1);;All files (*)</source>
        <translation>Fotos (%1);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>Open a folder</source>
        <translation>Ordner öffnen</translation>
    </message>
    <message>
        <source>Settings copied</source>
        <translation>Einstellungen kopiert</translation>
    </message>
    <message>
        <source>There are no settings to paste</source>
        <translation>Es gibt keine Einstellungen einzufügen</translation>
    </message>
    <message>
        <source>Profile of the screen</source>
        <translation>Profil des Bildschirms</translation>
    </message>
    <message>
        <source>ICC profiles (*.icc *.icm);;All files (*)</source>
        <translation>ICC-Profile (*.icc *.icm);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>The latest settings could not be saved. Close all the same?</source>
        <translation>Die letzten Einstellungen konnten nicht gespeichert werden. Trotzdem schließen?</translation>
    </message>
    <message>
        <source>Photographs are still being exported. Cancel that and close?</source>
        <translation>Es werden noch Fotos exportiert. Abbrechen und schließen?</translation>
    </message>
    <message>
        <source>Not prepared: this is a preview. Open the photograph again to prepare it.</source>
        <translation>Nicht vorbereitet: Dies ist eine Vorschau. Öffnen Sie das Foto noch einmal, um es vorzubereiten.</translation>
    </message>
    <message>
        <source>This photograph cannot be shown.</source>
        <translation>Dieses Foto kann nicht gezeigt werden.</translation>
    </message>
    <message>
        <source>%1, %2    R %3  G %4  B %5</source>
        <translation>%1, %2    R %3  G %4  B %5</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Ansicht</translation>
    </message>
    <message>
        <source>&amp;Fit</source>
        <translation>&amp;Einpassen</translation>
    </message>
    <message>
        <source>F</source>
        <translation>F</translation>
    </message>
    <message>
        <source>Shows all of the photograph</source>
        <translation>Zeigt das ganze Foto</translation>
    </message>
    <message>
        <source>&amp;1 : 1</source>
        <translation>&amp;1 : 1</translation>
    </message>
    <message>
        <source>1</source>
        <translation>1</translation>
    </message>
    <message>
        <source>Shows pixel for pixel</source>
        <translation>Zeigt Pixel für Pixel</translation>
    </message>
    <message>
        <source>Zoom &amp;in</source>
        <translation>Ver&amp;größern</translation>
    </message>
    <message>
        <source>+</source>
        <translation>+</translation>
    </message>
    <message>
        <source>Enlarges</source>
        <translation>Vergrößert</translation>
    </message>
    <message>
        <source>Zoom &amp;out</source>
        <translation>Ver&amp;kleinern</translation>
    </message>
    <message>
        <source>-</source>
        <translation>-</translation>
    </message>
    <message>
        <source>Makes smaller</source>
        <translation>Verkleinert</translation>
    </message>
    <message>
        <source>&amp;Before</source>
        <translation>&amp;Vorher</translation>
    </message>
    <message>
        <source>O</source>
        <translation>O</translation>
    </message>
    <message>
        <source>The photograph without adjustments</source>
        <translation>Das Foto ohne Anpassungen</translation>
    </message>
    <message>
        <source>&amp;Split</source>
        <translation>&amp;Geteilt</translation>
    </message>
    <message>
        <source>Y</source>
        <translation>Y</translation>
    </message>
    <message>
        <source>Before on the left, after on the right of a line that can be dragged</source>
        <translation>Vorher links, nachher rechts einer Linie, die sich ziehen lässt</translation>
    </message>
    <message>
        <source>&amp;Clipping</source>
        <translation>&amp;Clipping</translation>
    </message>
    <message>
        <source>J</source>
        <translation>J</translation>
    </message>
    <message>
        <source>Marks pixels at the end of a channel: red bright, blue dark</source>
        <translation>Markiert Pixel am Ende eines Kanals: rot hell, blau dunkel</translation>
    </message>
    <message>
        <source>&amp;Mask</source>
        <translation>&amp;Maske</translation>
    </message>
    <message>
        <source>M</source>
        <translation>M</translation>
    </message>
    <message>
        <source>Shows where the layer acts</source>
        <translation>Zeigt, wo die Ebene wirkt</translation>
    </message>
    <message>
        <source>&amp;Panels</source>
        <translation>&amp;Bereiche</translation>
    </message>
    <message>
        <source>&amp;Theme</source>
        <translation>&amp;Aussehen</translation>
    </message>
    <message>
        <source>&amp;Dark</source>
        <translation>&amp;Dunkel</translation>
    </message>
    <message>
        <source>&amp;Light</source>
        <translation>&amp;Hell</translation>
    </message>
    <message>
        <source>How the window looks</source>
        <translation>Wie das Fenster aussieht</translation>
    </message>
    <message>
        <source>Screen &amp;profile…</source>
        <translation>Bildschirm&amp;profil …</translation>
    </message>
    <message>
        <source>The ICC profile of the screen</source>
        <translation>Das ICC-Profil des Bildschirms</translation>
    </message>
    <message>
        <source>F&amp;ull screen</source>
        <translation>V&amp;ollbild</translation>
    </message>
    <message>
        <source>The window alone</source>
        <translation>Nur das Fenster</translation>
    </message>
    <message>
        <source>&amp;Tools</source>
        <translation>&amp;Werkzeuge</translation>
    </message>
    <message>
        <source>&amp;Hand</source>
        <translation>&amp;Hand</translation>
    </message>
    <message>
        <source>H</source>
        <translation>H</translation>
    </message>
    <message>
        <source>Moves the photograph</source>
        <translation>Verschiebt das Foto</translation>
    </message>
    <message>
        <source>&amp;Brush</source>
        <translation>&amp;Pinsel</translation>
    </message>
    <message>
        <source>B</source>
        <translation>B</translation>
    </message>
    <message>
        <source>Paints the mask of a layer</source>
        <translation>Malt die Maske einer Ebene</translation>
    </message>
    <message>
        <source>&amp;Crop</source>
        <translation>&amp;Zuschneiden</translation>
    </message>
    <message>
        <source>C</source>
        <translation>C</translation>
    </message>
    <message>
        <source>Cuts the photograph</source>
        <translation>Schneidet das Foto zu</translation>
    </message>
    <message>
        <source>&amp;Straighten</source>
        <translation>&amp;Ausrichten</translation>
    </message>
    <message>
        <source>S</source>
        <translation>S</translation>
    </message>
    <message>
        <source>Makes a line that is drawn level or upright</source>
        <translation>Macht eine gezogene Linie waagrecht oder senkrecht</translation>
    </message>
    <message>
        <source>&amp;Larger brush</source>
        <translation>&amp;Größerer Pinsel</translation>
    </message>
    <message>
        <source>]</source>
        <translation>]</translation>
    </message>
    <message>
        <source>Enlarges the brush</source>
        <translation>Vergrößert den Pinsel</translation>
    </message>
    <message>
        <source>S&amp;maller brush</source>
        <translation>&amp;Kleinerer Pinsel</translation>
    </message>
    <message>
        <source>[</source>
        <translation>[</translation>
    </message>
    <message>
        <source>Makes the brush smaller</source>
        <translation>Verkleinert den Pinsel</translation>
    </message>
    <message>
        <source>&amp;Erase</source>
        <translation>&amp;Radieren</translation>
    </message>
    <message>
        <source>E</source>
        <translation>E</translation>
    </message>
    <message>
        <source>The brush takes away</source>
        <translation>Der Pinsel nimmt weg</translation>
    </message>
    <message>
        <source>&amp;Paint</source>
        <translation>&amp;Malen</translation>
    </message>
    <message>
        <source>P</source>
        <translation>P</translation>
    </message>
    <message>
        <source>The brush adds</source>
        <translation>Der Pinsel fügt hinzu</translation>
    </message>
    <message>
        <source>&amp;New layer</source>
        <translation>&amp;Neue Ebene</translation>
    </message>
    <message>
        <source>Ctrl+Shift+N</source>
        <translation>Ctrl+Shift+N</translation>
    </message>
    <message>
        <source>Adds a layer</source>
        <translation>Fügt eine Ebene hinzu</translation>
    </message>
    <message>
        <source>All but rotation, angle and crop, to the photographs selected in the strip</source>
        <translation>Alles außer Drehung, Winkel und Ausschnitt, in die Fotos, die im Filmstreifen ausgewählt sind</translation>
    </message>
    <message>
        <source>Nothing is exported: the settings of %1 cannot be read. Open it to see what can be done.</source>
        <translation>Nichts wird exportiert: Die Einstellungen von %1 sind nicht lesbar. Öffnen Sie das Foto, um zu sehen, was sich tun lässt.</translation>
    </message>
    <message>
        <source>Settings pasted</source>
        <translation>Einstellungen eingefügt</translation>
    </message>
    <message numerus="yes">
        <source>Settings pasted to %n photographs</source>
        <translation>
            <numerusform>Einstellungen in %n Foto eingefügt</numerusform>
            <numerusform>Einstellungen in %n Fotos eingefügt</numerusform>
        </translation>
    </message>
    <message>
        <source>Nothing is pasted to %1: the settings there cannot be read. Open it to see what can be done.</source>
        <translation>In %1 wird nichts eingefügt: Die Einstellungen dort sind nicht lesbar. Öffnen Sie das Foto, um zu sehen, was sich tun lässt.</translation>
    </message>
    <message>
        <source>Not exported: %1</source>
        <translation>Nicht exportiert: %1</translation>
    </message>
    <message>
        <source>Another program has replaced this photograph, and its file of settings is gone: it is shown without settings. The earlier ones are kept.</source>
        <translation>Ein anderes Programm hat dieses Foto ersetzt, und die Datei mit den Einstellungen des Fotos fehlt: Es wird ohne Einstellungen gezeigt. Die früheren bleiben erhalten.</translation>
    </message>
    <message>
        <source>Another program has changed this photograph. Its settings are kept: if it is another photograph now, reset them.</source>
        <translation>Ein anderes Programm hat dieses Foto geändert. Seine Einstellungen bleiben: Ist es jetzt ein anderes Foto, setzen Sie sie zurück.</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::MessageBar</name>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Hide details</source>
        <translation>Einzelheiten verbergen</translation>
    </message>
    <message>
        <source>Show details</source>
        <translation>Einzelheiten zeigen</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::PhotoView</name>
    <message>
        <source>Photograph</source>
        <translation>Foto</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::PresetStrip</name>
    <message>
        <source>Presets</source>
        <translation>Vorgaben</translation>
    </message>
    <message>
        <source>All sliders at rest</source>
        <translation>Alle Regler in Ruhe</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::Saver</name>
    <message>
        <source>Settings file removed</source>
        <translation>Datei mit den Einstellungen entfernt</translation>
    </message>
    <message>
        <source>Changed by another program</source>
        <translation>Von einem anderen Programm geändert</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::Session</name>
    <message>
        <source>The settings are saved.</source>
        <translation>Die Einstellungen sind gespeichert.</translation>
    </message>
    <message>
        <source>The settings could not be saved: %1</source>
        <translation>Die Einstellungen konnten nicht gespeichert werden: %1</translation>
    </message>
    <message>
        <source>Detail filter</source>
        <translation>Detailfilter</translation>
    </message>
    <message>
        <source>Preset: %1</source>
        <translation>Vorgabe: %1</translation>
    </message>
    <message>
        <source>Paste settings</source>
        <translation>Einstellungen einfügen</translation>
    </message>
    <message>
        <source>Layer %1</source>
        <translation>Ebene %1</translation>
    </message>
    <message>
        <source>Add layer</source>
        <translation>Neue Ebene</translation>
    </message>
    <message>
        <source>%1 copy</source>
        <translation>%1 Kopie</translation>
    </message>
    <message>
        <source>Duplicate layer</source>
        <translation>Ebene kopieren</translation>
    </message>
    <message>
        <source>Remove layer</source>
        <translation>Ebene löschen</translation>
    </message>
    <message>
        <source>Move layer</source>
        <translation>Ebene verschieben</translation>
    </message>
    <message>
        <source>Rename layer</source>
        <translation>Ebene umbenennen</translation>
    </message>
    <message>
        <source>Fill mask</source>
        <translation>Maske füllen</translation>
    </message>
    <message>
        <source>Clear mask</source>
        <translation>Maske leeren</translation>
    </message>
    <message>
        <source>Invert mask</source>
        <translation>Maske umkehren</translation>
    </message>
    <message>
        <source>There are as many layers as there may be.</source>
        <translation>Mehr Ebenen sind nicht möglich.</translation>
    </message>
    <message>
        <source>Brush stroke</source>
        <translation>Pinselstrich</translation>
    </message>
    <message>
        <source>Rotate right</source>
        <translation>Nach rechts drehen</translation>
    </message>
    <message>
        <source>Rotate left</source>
        <translation>Nach links drehen</translation>
    </message>
    <message>
        <source>Crop</source>
        <translation>Zuschnitt</translation>
    </message>
    <message>
        <source>Straighten</source>
        <translation>Ausrichten</translation>
    </message>
    <message>
        <source>The file %1 with the settings of this photograph cannot be opened.</source>
        <translation>Die Datei %1 mit den Einstellungen dieses Fotos lässt sich nicht öffnen.</translation>
    </message>
    <message>
        <source>The file %1 with the settings of this photograph is damaged, or from a newer version.</source>
        <translation>Die Datei %1 mit den Einstellungen dieses Fotos ist beschädigt oder von einer neueren Version.</translation>
    </message>
    <message>
        <source>The photograph is shown as it was left here.</source>
        <translation>Das Foto wird so gezeigt, wie es hier zuletzt war.</translation>
    </message>
    <message>
        <source>The photograph is shown without settings.</source>
        <translation>Das Foto wird ohne Einstellungen gezeigt.</translation>
    </message>
    <message>
        <source>The first change here keeps the file under a name that ends in &quot;.broken&quot;. To use it instead, put a good copy in its place and open the photograph again.</source>
        <translation>Die erste Änderung hier bewahrt die Datei unter einem Namen auf, der auf &quot;.broken&quot; endet. Um sie stattdessen zu verwenden, ersetzen Sie sie durch eine gute Kopie und öffnen Sie das Foto noch einmal.</translation>
    </message>
    <message>
        <source>%1, %2</source>
        <translation>%1, %2</translation>
    </message>
    <message>
        <source>There is not enough memory for the file %1 with the settings of this photograph.</source>
        <translation>Für die Datei %1 mit den Einstellungen dieses Fotos reicht der Speicher nicht.</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::ShortcutsDialog</name>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>Action</source>
        <translation>Aktion</translation>
    </message>
    <message>
        <source>Keys</source>
        <translation>Tasten</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::SliderPanel</name>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Sets all sliders of this group back.</source>
        <translation>Setzt alle Regler dieser Gruppe zurück.</translation>
    </message>
    <message>
        <source>Reset %1</source>
        <translation>%1 zurücksetzen</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::ThumbnailModel</name>
    <message>
        <source>edited</source>
        <translation>bearbeitet</translation>
    </message>
</context>
<context>
    <name>kestrova::studio::Worker</name>
    <message>
        <source>There is not enough memory.</source>
        <translation>Der Speicher reicht nicht.</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Develops photographs in a window.</source>
        <translation>Entwickelt Fotos in einem Fenster.</translation>
    </message>
    <message>
        <source>Shows this text.</source>
        <translation>Zeigt diesen Text.</translation>
    </message>
    <message>
        <source>Shows the version.</source>
        <translation>Zeigt die Version.</translation>
    </message>
    <message>
        <source>Writes the window as it looks to &lt;file&gt;, and exits.</source>
        <translation>Schreibt das Fenster, wie es aussieht, in &lt;file&gt; und endet.</translation>
    </message>
    <message>
        <source>Of the window, in pixels: 1280x720.</source>
        <translation>Des Fensters, in Pixeln: 1280x720.</translation>
    </message>
    <message>
        <source>Shows the panel light, detail, colour or layers.</source>
        <translation>Zeigt den Bereich light, detail, colour oder layers.</translation>
    </message>
    <message>
        <source>Takes the tool hand, brush, crop or straighten.</source>
        <translation>Nimmt das Werkzeug hand, brush, crop oder straighten.</translation>
    </message>
    <message>
        <source>Looks dark or light.</source>
        <translation>Sieht dunkel (dark) oder hell (light) aus.</translation>
    </message>
    <message>
        <source>Photographs, or a folder of them.</source>
        <translation>Fotos oder ein Ordner mit Fotos.</translation>
    </message>
    <message>
        <source>there is no panel &quot;%1&quot;</source>
        <translation>es gibt keinen Bereich „%1“</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is no size</source>
        <translation>„%1“ ist keine Größe</translation>
    </message>
    <message>
        <source>there is no tool &quot;%1&quot;</source>
        <translation>es gibt kein Werkzeug „%1“</translation>
    </message>
</context>
</TS>
