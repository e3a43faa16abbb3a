#include "studio/widgets/slider_texts.h"

#include <QCoreApplication>

namespace kestrova::studio {

namespace {

struct GroupTitle {
    const char* group;
    const char* title;
};

constexpr GroupTitle kGroupTitles[] = {
    {"light", QT_TRANSLATE_NOOP("Slider", "Light")},
    {"small", QT_TRANSLATE_NOOP("Slider", "Fine detail")},
    {"medium", QT_TRANSLATE_NOOP("Slider", "Forms")},
    {"large", QT_TRANSLATE_NOOP("Slider", "Light and shade")},
    {"mix", QT_TRANSLATE_NOOP("Slider", "Brightness of colours")},
    {"colour", QT_TRANSLATE_NOOP("Slider", "Colour")},
    {"noise", QT_TRANSLATE_NOOP("Slider", "Noise")},
};

QString translated(const char* text) { return QCoreApplication::translate("Slider", text); }

}  // namespace

QString sliderLabel(const photo::Slider& slider) {
    QString label = QString::fromUtf8(slider.name);
    const QString prefix = QString::fromUtf8(slider.group) + '-';
    if (label.startsWith(prefix)) label.remove(0, prefix.size());
    label.replace('-', ' ');
    label[0] = label[0].toUpper();
    return translated(label.toUtf8().constData());
}

QString sliderRowLabel(const photo::Slider& slider) {
    const bool threshold = QString::fromUtf8(slider.name).endsWith("-threshold");
    return threshold ? "    " + translated(QT_TRANSLATE_NOOP("Slider", "threshold")) : sliderLabel(slider);
}

QString sliderFullName(const photo::Slider& slider) {
    return sliderGroupTitle(QString::fromUtf8(slider.group)) + ": " + sliderLabel(slider);
}

QString sliderTip(const photo::Slider& slider) { return translated(slider.tip); }

QString sliderGroupTitle(const QString& group) {
    for (const GroupTitle& entry : kGroupTitles)
        if (group == entry.group) return translated(entry.title);
    return group;
}

}  // namespace kestrova::studio
