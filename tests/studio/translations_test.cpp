#include "studio/translations.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QCoreApplication>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>

#include "studio/main_window.h"
#include "studio/session.h"
#include "studio/widgets/photo_texts.h"
#include "studio/widgets/slider_texts.h"
#include "tests/studio/home.h"

namespace kestrova::studio {
namespace {

bool contains(const std::vector<const char*>& texts, const QString& text) {
    return std::any_of(texts.begin(), texts.end(), [&](const char* one) { return text == one; });
}

TEST(Translations, KnowEveryTextOfThePhotoLayer) {
    for (const photo::Slider& slider : photo::sliders()) {
        EXPECT_TRUE(contains(sliderTexts(), sliderLabel(slider))) << sliderLabel(slider).toStdString();
        EXPECT_TRUE(contains(sliderTexts(), slider.tip)) << slider.tip;
        EXPECT_NE(sliderGroupTitle(slider.group), slider.group) << "has no title";
    }
    for (const photo::Preset& preset : photo::presets()) {
        EXPECT_TRUE(contains(presetTexts(), presetTitle(preset.name))) << preset.name;
        EXPECT_TRUE(contains(presetTexts(), QString::fromStdString(preset.tip))) << preset.tip;
    }
    EXPECT_TRUE(contains(presetTexts(), presetTitle(kNoPreset)));
}

TEST(Translations, AreComplete) {
    QFile file(KESTROVA_TRANSLATION_FILES "/kestrova-studio_de.ts");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    EXPECT_GT(text.count("<source>"), 300);
    EXPECT_EQ(text.count("type=\"unfinished\""), 0);
    // Values that are put in stand in both.
    QRegularExpression message("<source>(.*?)</source>.*?<translation>(.*?)</translation>",
                               QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression value("%[1-9n]|\\{name\\}");
    for (auto i = message.globalMatch(text); i.hasNext();) {
        const QRegularExpressionMatch m = i.next();
        QStringList before, after;
        for (auto v = value.globalMatch(m.captured(1)); v.hasNext();) before << v.next().captured();
        for (auto v = value.globalMatch(m.captured(2)); v.hasNext();) after << v.next().captured();
        before.removeDuplicates();
        after.removeDuplicates();
        before.sort();
        after.sort();
        EXPECT_EQ(before, after) << m.captured(1).toStdString();
    }
}

class TranslatedWindow : public Home {};

TEST_F(TranslatedWindow, SpeaksTheLanguageOfTheLocaleAndEnglishWhereThereIsNone) {
    if (!QFile::exists(KESTROVA_BUILT_TRANSLATIONS "/kestrova-studio_de.qm")) GTEST_SKIP() << "built without lrelease";
    const auto menus = [](const QLocale& locale) {
        const Translations translations(locale, KESTROVA_BUILT_TRANSLATIONS);
        const MainWindow window;
        QStringList texts;
        for (const QAction* action : window.findChildren<QAction*>()) texts << action->text().remove('&');
        return texts;
    };
    const QStringList english = menus(QLocale(QLocale::Icelandic)), german = menus(QLocale(QLocale::German));
    EXPECT_TRUE(english.contains("Rotate left"));
    EXPECT_TRUE(german.contains("Links drehen"));
    EXPECT_FALSE(german.contains("Rotate left"));
    EXPECT_EQ(menus(QLocale(QLocale::English)), english) << "also once another language was there";
    const Translations translations(QLocale(QLocale::German), KESTROVA_BUILT_TRANSLATIONS);
    EXPECT_EQ(sliderFullName(photo::slider("small-midtones")), QString::fromUtf8("Feine Details: Mitteltöne"));
}

TEST_F(TranslatedWindow, NamesPresetsInTheHistoryAsOnTheirTiles) {
    if (!QFile::exists(KESTROVA_BUILT_TRANSLATIONS "/kestrova-studio_de.qm")) GTEST_SKIP() << "built without lrelease";
    const Translations translations(QLocale(QLocale::German), KESTROVA_BUILT_TRANSLATIONS);
    Session session(dataFolder());
    session.open(photograph());
    session.applyPreset(photo::preset("black-and-white"));
    EXPECT_EQ(session.history()->undoText(), QString::fromUtf8("Vorgabe: Schwarzweiß"));
    session.applyPreset({kNoPreset, {}, {}});
    EXPECT_EQ(session.history()->undoText(), "Vorgabe: Ohne");
}

}  // namespace
}  // namespace kestrova::studio
