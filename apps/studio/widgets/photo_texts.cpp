#include "studio/widgets/photo_texts.h"

#include <QCoreApplication>

namespace kestrova::studio {

const std::vector<const char*>& sliderTexts() {
    static const std::vector<const char*> texts = {
        QT_TRANSLATE_NOOP("Slider", "Brightness"),
        QT_TRANSLATE_NOOP("Slider", "Contrast"),
        QT_TRANSLATE_NOOP("Slider", "Highlights"),
        QT_TRANSLATE_NOOP("Slider", "Shadows"),
        QT_TRANSLATE_NOOP("Slider", "Whites"),
        QT_TRANSLATE_NOOP("Slider", "Blacks"),
        QT_TRANSLATE_NOOP("Slider", "Midtones"),
        QT_TRANSLATE_NOOP("Slider", "Shadows threshold"),
        QT_TRANSLATE_NOOP("Slider", "Midtones threshold"),
        QT_TRANSLATE_NOOP("Slider", "Highlights threshold"),
        QT_TRANSLATE_NOOP("Slider", "Red"),
        QT_TRANSLATE_NOOP("Slider", "Green"),
        QT_TRANSLATE_NOOP("Slider", "Blue"),
        QT_TRANSLATE_NOOP("Slider", "Temperature"),
        QT_TRANSLATE_NOOP("Slider", "Tint"),
        QT_TRANSLATE_NOOP("Slider", "Saturation"),
        QT_TRANSLATE_NOOP("Slider", "Vibrance"),
        QT_TRANSLATE_NOOP("Slider", "Luminance"),
        QT_TRANSLATE_NOOP("Slider", "Colour"),
        QT_TRANSLATE_NOOP("Slider", "Lighter or darker; black stays black and white stays white."),
        QT_TRANSLATE_NOOP("Slider", "Spreads the middle tones or brings them together; black and white stay."),
        QT_TRANSLATE_NOOP("Slider", "Lightens or darkens the bright tones."),
        QT_TRANSLATE_NOOP("Slider", "Lightens or darkens the dark tones."),
        QT_TRANSLATE_NOOP("Slider", "Sets where white begins: above 0 the brightest tones become white."),
        QT_TRANSLATE_NOOP("Slider", "Sets where black ends: below 0 the darkest tones become black."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens fine detail, hair and grain, in the shadows."),
        QT_TRANSLATE_NOOP("Slider",
                          "Above 0 lifts faint fine detail, hair and grain, in the shadows, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens fine detail, hair and grain, in the midtones."),
        QT_TRANSLATE_NOOP("Slider",
                          "Above 0 lifts faint fine detail, hair and grain, in the midtones, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens fine detail, hair and grain, in the highlights."),
        QT_TRANSLATE_NOOP("Slider",
                          "Above 0 lifts faint fine detail, hair and grain, in the highlights, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens forms, leaves and folds, in the shadows."),
        QT_TRANSLATE_NOOP("Slider", "Above 0 lifts faint forms, leaves and folds, in the shadows, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens forms, leaves and folds, in the midtones."),
        QT_TRANSLATE_NOOP("Slider", "Above 0 lifts faint forms, leaves and folds, in the midtones, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens forms, leaves and folds, in the highlights."),
        QT_TRANSLATE_NOOP("Slider",
                          "Above 0 lifts faint forms, leaves and folds, in the highlights, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens broad light and shade in the shadows."),
        QT_TRANSLATE_NOOP("Slider", "Above 0 lifts faint broad light and shade in the shadows, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens broad light and shade in the midtones."),
        QT_TRANSLATE_NOOP("Slider", "Above 0 lifts faint broad light and shade in the midtones, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Boosts or softens broad light and shade in the highlights."),
        QT_TRANSLATE_NOOP("Slider", "Above 0 lifts faint broad light and shade in the highlights, below 0 clears it."),
        QT_TRANSLATE_NOOP("Slider", "Lightens or darkens what is red."),
        QT_TRANSLATE_NOOP("Slider", "Lightens or darkens what is neither red nor blue."),
        QT_TRANSLATE_NOOP("Slider", "Lightens or darkens what is blue."),
        QT_TRANSLATE_NOOP("Slider", "Warmer or cooler; black and white stay."),
        QT_TRANSLATE_NOOP("Slider", "Towards magenta or towards green; black and white stay."),
        QT_TRANSLATE_NOOP("Slider", "Stronger or weaker colours; -1 is black and white."),
        QT_TRANSLATE_NOOP("Slider", "Lifts muted colours and spares vivid ones and greys."),
        QT_TRANSLATE_NOOP("Slider", "Takes grain away where there is nothing else."),
        QT_TRANSLATE_NOOP("Slider", "Takes speckles of colour away."),
    };
    return texts;
}

const std::vector<const char*>& presetTexts() {
    static const std::vector<const char*> texts = {
        QT_TRANSLATE_NOOP("Preset", "None"),
        QT_TRANSLATE_NOOP("Preset", "Natural"),
        QT_TRANSLATE_NOOP("Preset", "A little more of what is there: texture, light and colour."),
        QT_TRANSLATE_NOOP("Preset", "Landscape"),
        QT_TRANSLATE_NOOP("Preset", "Clear distance, drawn clouds, living greens."),
        QT_TRANSLATE_NOOP("Preset", "Portrait"),
        QT_TRANSLATE_NOOP("Preset", "Calm skin, open shadows, warm light."),
        QT_TRANSLATE_NOOP("Preset", "Backlight"),
        QT_TRANSLATE_NOOP("Preset", "Opens what stands against the light."),
        QT_TRANSLATE_NOOP("Preset", "Night"),
        QT_TRANSLATE_NOOP("Preset", "Quiet darkness without grain or speckles."),
        QT_TRANSLATE_NOOP("Preset", "Black and white"),
        QT_TRANSLATE_NOOP("Preset", "Black and white with a dark sky, as behind a red glass."),
    };
    return texts;
}

QString presetTitle(const std::string& name) {
    QString title = QString::fromStdString(name).replace('-', ' ');
    title[0] = title[0].toUpper();
    return QCoreApplication::translate("Preset", title.toUtf8().constData());
}

}  // namespace kestrova::studio
