#include "studio/widgets/preset_strip.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

#include "photo/development.h"
#include "photo/write.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/tile_delegate.h"
#include "tests/photo/files.h"
#include "tests/studio/widgets/hand.h"

namespace kestrova::studio {
namespace {

QImage pictureOf(const PresetStrip& strip, int row) {
    return strip.item(row)->data(Qt::DecorationRole).value<QImage>();
}

TEST(PresetStrip, HasATileForNoneAndForEachPreset) {
    const PresetStrip strip;
    ASSERT_EQ(strip.count(), static_cast<int>(photo::presets().size()) + 1);
    EXPECT_EQ(strip.item(0)->text(), "None");
    EXPECT_EQ(strip.item(6)->text(), "Black and white");
    EXPECT_EQ(strip.item(6)->toolTip(), photo::presets()[5].tip.c_str());
}

TEST(PresetStrip, ItsTilesFillTheWidth) {
    PresetStrip strip;
    strip.show();
    for (const int width : {150, 190, 260, 330, 500}) {
        strip.resize(width, 900);
        QCoreApplication::processEvents();
        int right = 0;
        for (int row = 0; row < strip.count(); ++row) {
            const QRect tile = strip.visualItemRect(strip.item(row));
            EXPECT_LE(tile.right(), strip.viewport()->width());
            right = std::max(right, tile.right());
        }
        EXPECT_GT(right, strip.viewport()->width() - 32) << width;
        EXPECT_EQ(strip.visualItemRect(strip.item(1)).top(), strip.visualItemRect(strip.item(0)).top()) << width;
    }
}

TEST(PresetStrip, ShowsThePhotographAsEachPresetMakesIt) {
    PresetStrip strip;
    QSignalSpy ready(&strip, &PresetStrip::previewsReady);
    const photo::Photograph photograph = photo::colourful(150, 100);
    photo::Settings settings;
    settings.rotate = 90;
    settings.light.contrast = 1;
    strip.setPhotograph(photograph, settings);
    ASSERT_TRUE(waitUntil([&] { return ready.size() == 1; }));
    for (int row = 0; row < strip.count(); ++row) {
        photo::Development development(photograph);
        photo::Settings expected =
            row ? photo::presets()[static_cast<std::size_t>(row - 1)].settings : photo::Settings();
        expected.rotate = 90;
        expected.size = PresetStrip::kLongEdge;
        development.set(expected);
        EXPECT_EQ(pictureOf(strip, row), toImage(development.render().pixels)) << row;
    }
    EXPECT_EQ(pictureOf(strip, 0).size(), QSize(100, 150));
    strip.clearPictures();
    EXPECT_TRUE(pictureOf(strip, 0).isNull());
}

TEST(PresetStrip, TheNewestPhotographWins) {
    PresetStrip strip;
    QSignalSpy ready(&strip, &PresetStrip::previewsReady);
    for (int width = 50; width < 60; ++width) strip.setPhotograph(photo::colourful(width, 40));
    ASSERT_TRUE(waitUntil([&] { return ready.size() == 1; }));
    QTest::qWait(50);
    EXPECT_EQ(ready.size(), 1);
    for (int row = 0; row < strip.count(); ++row) EXPECT_EQ(pictureOf(strip, row).width(), 59);
}

TEST(PresetStrip, ReadsAFileItselfAndHasNoPicturesOfABadOne) {
    const photo::Scratch scratch;
    photo::writePhotograph(photo::colourful(150, 100), scratch / "a.png");
    photo::writeBytes(scratch / "bad.png", {1, 2, 3});
    PresetStrip strip;
    QSignalSpy ready(&strip, &PresetStrip::previewsReady);
    strip.setFile(fileName(scratch / "bad.png"), {});
    strip.setFile(fileName(scratch / "a.png"), {});
    strip.setFile(fileName(scratch / "a.png"), {});
    ASSERT_TRUE(waitUntil([&] { return ready.size() == 1; }));
    EXPECT_EQ(pictureOf(strip, 3).size(), QSize(150, 100));
    strip.setFile(fileName(scratch / "bad.png"), {});
    EXPECT_TRUE(pictureOf(strip, 3).isNull());
}

TEST(PresetStrip, AnotherCropOrRotationIsSeenInThePreviewsAndAnotherSliderChangesNone) {
    const photo::Scratch scratch;
    photo::writePhotograph(photo::colourful(150, 100), scratch / "a.png");
    PresetStrip strip;
    QSignalSpy ready(&strip, &PresetStrip::previewsReady);
    photo::Settings settings;
    strip.setFile(fileName(scratch / "a.png"), settings);
    settings.crop = {0, 0, 0.5, 1};
    strip.setGeometry(settings);  // while they are made
    ASSERT_TRUE(waitUntil([&] { return ready.size() == 1; }));
    EXPECT_EQ(pictureOf(strip, 3).size(), QSize(75, 100));
    settings.rotate = 90;
    strip.setGeometry(settings);
    EXPECT_FALSE(pictureOf(strip, 3).isNull()) << "those that are there stay until then";
    ASSERT_TRUE(waitUntil([&] { return ready.size() == 2; }));
    EXPECT_EQ(pictureOf(strip, 3).size(), QSize(50, 150));
    settings.light.contrast = 1;
    const auto work = strip.m_work;
    strip.setGeometry(settings);
    EXPECT_EQ(strip.m_work, work);
}

TEST(PresetStrip, HighlightsThePresetThatTheSettingsAreAndNoOtherOne) {
    PresetStrip strip;
    strip.showChosen(photo::Settings());
    EXPECT_EQ(strip.currentRow(), 0);
    EXPECT_EQ(strip.selectedItems().size(), 1);
    photo::Settings settings = photo::presets()[2].settings;
    settings.rotate = 90;
    strip.showChosen(settings);
    EXPECT_EQ(strip.currentRow(), 3);
    EXPECT_EQ(strip.selectedItems(), QList<QListWidgetItem*>{strip.item(3)});
    settings.light.contrast += 0.01f;
    strip.showChosen(settings);
    EXPECT_EQ(strip.currentRow(), -1);
    EXPECT_TRUE(strip.selectedItems().isEmpty());
}

TEST(PresetStrip, CanBeClosedWhileItRenders) {
    PresetStrip strip;
    strip.setPhotograph(photo::colourful(900, 600));
}

TEST(PresetStrip, ClickAndEnterChooseAPreset) {
    PresetStrip strip;
    strip.resize(strip.sizeHint());
    strip.show();
    QSignalSpy chosen(&strip, &PresetStrip::presetChosen);
    QTest::mouseClick(strip.viewport(), Qt::LeftButton, {}, strip.visualItemRect(strip.item(2)).center());
    EXPECT_EQ(chosen.takeLast(), QVariantList{"landscape"});
    strip.setCurrentRow(0);
    QTest::keyClick(&strip, Qt::Key_Return);
    EXPECT_EQ(chosen.takeLast(), QVariantList{""});
}

}  // namespace
}  // namespace kestrova::studio
