#include "studio/widgets/film_strip.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSignalSpy>
#include <QTextDocument>
#include <filesystem>

#include "photo/error.h"
#include "photo/settings.h"
#include "photo/write.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/thumbnail_model.h"
#include "studio/widgets/tile_delegate.h"
#include "tests/photo/files.h"
#include "tests/studio/widgets/hand.h"

namespace kestrova::studio {
namespace {

namespace fs = std::filesystem;

class Thumbnails : public testing::Test {
protected:
    QString make(const std::string& name, int width = 60, int height = 40) {
        photo::writePhotograph(photo::colourful(width, height), scratch / name);
        return path(name);
    }
    QString path(const std::string& name) const { return fileName(scratch / name); }
    QString cacheFolder() const { return path("cache"); }
    ThumbnailCache cache(qint64 most = ThumbnailCache::kMostBytes) const { return ThumbnailCache(cacheFolder(), most); }
    QStringList cached() const { return QDir(cacheFolder()).entryList(QDir::Files); }

    static QVariant get(const ThumbnailModel& model, int row, int role) { return model.index(row).data(role); }
    // As a view does: asks, waits, asks again.
    static QImage imageOf(const ThumbnailModel& model, int row) {
        waitUntil(
            [&] { return !get(model, row, Qt::DecorationRole).isNull() || get(model, row, FailedRole).toBool(); });
        return get(model, row, Qt::DecorationRole).value<QImage>();
    }

    photo::Scratch scratch;
};

TEST_F(Thumbnails, AppearInTheBackground) {
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({make("wide.jpg", 900, 600), make("tall.png", 300, 700), make("small.png", 30, 20)});
    QSignalSpy changed(&model, &ThumbnailModel::dataChanged);
    EXPECT_TRUE(get(model, 0, Qt::DecorationRole).isNull());
    EXPECT_EQ(imageOf(model, 0).size(), QSize(256, 171));
    EXPECT_GE(changed.size(), 1);
    EXPECT_EQ(imageOf(model, 1).size(), QSize(110, 256));
    EXPECT_EQ(imageOf(model, 2).size(), QSize(30, 20));
    EXPECT_EQ(get(model, 1, Qt::DisplayRole), "tall.png");
}

TEST_F(Thumbnails, AreNotMadeUnlessAskedFor) {
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({make("a.jpg"), make("b.jpg")});
    imageOf(model, 0);
    EXPECT_EQ(cached().size(), 1);
}

TEST_F(Thumbnails, AreMadeInTheOrderInWhichTheyAreAskedFor) {
    ThumbnailModel model(cache(), nullptr);
    QStringList paths;
    for (int i = 0; i < 80; ++i) paths << make(std::to_string(i) + ".png", 6, 4);
    model.setPaths(paths);
    QList<int> order;
    QObject::connect(&model, &ThumbnailModel::dataChanged, [&](const QModelIndex& first) { order << first.row(); });
    for (int row = 0; row < 80; ++row) get(model, row, Qt::DecorationRole);
    ASSERT_TRUE(waitUntil([&] { return order.contains(79); }));
    // The first one is under way at once; of the others the latest 64 are made.
    QList<int> expected = {0};
    for (int row = 16; row < 80; ++row) expected << row;
    EXPECT_EQ(order, expected);
    EXPECT_FALSE(imageOf(model, 5).isNull());
}

TEST_F(Thumbnails, ComeFromTheCacheTheNextTime) {
    const QString photograph = make("a.jpg", 400, 300);
    {
        ThumbnailModel model(cache(), nullptr);
        model.setPaths({photograph});
        imageOf(model, 0);
    }
    ASSERT_EQ(cached().size(), 1);
    QImage marked(8, 8, QImage::Format_RGB32);
    marked.fill(Qt::magenta);
    ASSERT_TRUE(marked.save(cacheFolder() + '/' + cached()[0]));
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({photograph});
    EXPECT_EQ(imageOf(model, 0).pixelColor(4, 4), QColor(Qt::magenta));
}

TEST_F(Thumbnails, OfAChangedFileAreMadeAnew) {
    const QString photograph = make("a.png", 60, 40);
    const auto found = [&] { return cache().find(ThumbnailCache::keyOf(photograph)); };
    EXPECT_TRUE(found().isNull());
    cache().store(ThumbnailCache::keyOf(photograph), QImage(10, 10, QImage::Format_RGB32));
    EXPECT_FALSE(found().isNull());
    fs::last_write_time(scratch / "a.png", fs::last_write_time(scratch / "a.png") + std::chrono::seconds(1));
    EXPECT_TRUE(found().isNull());
}

TEST_F(Thumbnails, OfOtherSettingsAreMadeAnew) {
    const QString photograph = make("a.png", 60, 40);
    photo::Settings turned;
    turned.rotate = 90;
    for (const photo::Settings& settings : {photo::Settings(), turned, photo::Settings()}) {
        ThumbnailModel model(cache(), nullptr);
        model.setSettingsReader([&](const std::string&) { return settings; });
        model.setPaths({photograph});
        EXPECT_EQ(imageOf(model, 0).size(), settings == turned ? QSize(40, 60) : QSize(60, 40));
    }
}

TEST_F(Thumbnails, OfAFileThatChangesWhileItsThumbnailIsMadeAreMadeAgain) {
    ThumbnailModel model(cache(), nullptr);
    const QString photograph = make("a.png", 60, 40);
    model.setPaths({photograph});
    get(model, 0, Qt::DecorationRole);
    model.m_pool.waitForDone();  // its result waits for the event loop
    make("a.png", 30, 20);
    model.renew(photograph);
    EXPECT_EQ(imageOf(model, 0).size(), QSize(30, 20));
}

TEST_F(Thumbnails, TheirTipsShowNamesOfFilesThatLookLikeMarkup) {
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({path("<b>bold.jpg"), path("plain.jpg")});
    EXPECT_TRUE(get(model, 0, Qt::ToolTipRole).toString().endsWith("&lt;b&gt;bold.jpg"));
    EXPECT_TRUE(Qt::mightBeRichText(get(model, 0, Qt::ToolTipRole).toString())) << "so that it is decoded";
    EXPECT_EQ(get(model, 1, Qt::ToolTipRole).toString(), path("plain.jpg"));
}

TEST_F(Thumbnails, ADamagedCacheIsMadeAnew) {
    const QString photograph = make("a.png");
    cache().store(ThumbnailCache::keyOf(photograph), QImage(10, 10, QImage::Format_RGB32));
    photo::writeBytes(fileName(cacheFolder() + '/' + cached()[0]), {1, 2, 3});
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({photograph});
    EXPECT_EQ(imageOf(model, 0).size(), QSize(60, 40));
}

TEST_F(Thumbnails, TheCacheStaysWithinItsBoundAndKeepsTheNewest) {
    QImage image(64, 64, QImage::Format_RGB32);
    image.fill(Qt::red);
    QStringList paths;
    for (int i = 0; i < 6; ++i) paths << make(std::to_string(i) + ".png", 10 + i, 10);
    cache().store(ThumbnailCache::keyOf(paths[0]), image);
    const qint64 each = QFileInfo(cacheFolder() + '/' + cached()[0]).size();
    ThumbnailCache bounded = cache(3 * each);
    for (int i = 1; i < 6; ++i) {
        // Those that are there are older, the first ones most of all.
        for (const QString& name : cached()) {
            const std::string file = fileName(cacheFolder() + '/' + name);
            fs::last_write_time(file, fs::last_write_time(file) - std::chrono::seconds(10));
        }
        bounded.store(ThumbnailCache::keyOf(paths[i]), image);
    }
    EXPECT_EQ(cached().size(), 3);
    EXPECT_FALSE(bounded.find(ThumbnailCache::keyOf(paths[5])).isNull());
    EXPECT_TRUE(bounded.find(ThumbnailCache::keyOf(paths[0])).isNull());
}

TEST_F(Thumbnails, ACacheThatCannotBeWrittenIsDoneWithout) {
    ThumbnailModel model(ThumbnailCache("/dev/null/thumbnails"), nullptr);
    model.setPaths({make("a.png")});
    EXPECT_EQ(imageOf(model, 0).size(), QSize(60, 40));
}

TEST_F(Thumbnails, ABadFileSaysWhyAndTheOthersAppear) {
    photo::writeBytes(scratch / "bad.jpg", {0xff, 0xd8, 0xff, 0xe0, 1, 2, 3});
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({path("bad.jpg"), path("missing.jpg"), make("good.jpg")});
    EXPECT_TRUE(imageOf(model, 0).isNull());
    EXPECT_TRUE(get(model, 0, FailedRole).toBool());
    EXPECT_TRUE(get(model, 0, Qt::ToolTipRole).toString().contains("bad.jpg"));
    EXPECT_NE(get(model, 0, Qt::ToolTipRole), path("bad.jpg"));
    EXPECT_TRUE(imageOf(model, 1).isNull());
    EXPECT_TRUE(get(model, 1, FailedRole).toBool());
    EXPECT_FALSE(imageOf(model, 2).isNull());
    EXPECT_FALSE(get(model, 2, FailedRole).toBool());
}

TEST_F(Thumbnails, AreInSrgbWhateverTheProfile) {
    photo::Photograph photograph = photo::colourful(8, 8);
    photograph.pixels.setTo(cv::Scalar(10000, 40000, 30000, 65535));
    photograph.profile = photograph.outputProfile = photo::Profile::adobeRgb();
    photo::writePhotograph(photograph, scratch / "adobe.png");
    cv::Mat expected;
    photo::ColourTransform(photo::Profile::adobeRgb(), photo::Profile::srgb()).applyTo8(photograph.pixels, expected, 1);
    const QColor colour = makeThumbnail(path("adobe.png"), 8).pixelColor(3, 3);
    const cv::Vec4b e = expected.at<cv::Vec4b>(3, 3);
    EXPECT_LE(std::abs(colour.red() - e[2]), 1);  // the file holds 8 bits
    EXPECT_LE(std::abs(colour.green() - e[1]), 1);
    EXPECT_LE(std::abs(colour.blue() - e[0]), 1);
    EXPECT_GT(std::abs(colour.red() - 30000 / 257), 3);
}

TEST_F(Thumbnails, CancelWhenTheModelGoes) {
    const std::string large = std::string(KESTROVA_PHOTOS) + "/dandelion_5312x2988.jpg";
    photo::Control cancelled;
    cancelled.cancel();
    EXPECT_THROW(makeThumbnail(fileName(large), 256, {}, &cancelled), photo::Error);
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({fileName(large)});
    get(model, 0, Qt::DecorationRole);
}

TEST_F(Thumbnails, MarkThePhotographsWhoseSettingsChangeThem) {
    const QString edited = make("a.png"), plain = make("b.png"), undone = make("c.png"), unreadable = make("d.png");
    const auto sidecarOf = [](const QString& photograph) { return photo::Settings::sidecarOf(fileName(photograph)); };
    photo::Settings settings;
    settings.light.contrast = 0.1f;
    settings.save(sidecarOf(edited));
    photo::Settings().save(sidecarOf(undone));
    photo::writeBytes(sidecarOf(unreadable), {'{'});
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({edited, plain, undone, unreadable, edited});
    EXPECT_EQ(model.rowCount(), 4);
    for (int row = 0; row < 4; ++row) EXPECT_FALSE(imageOf(model, row).isNull());
    EXPECT_TRUE(get(model, 0, EditedRole).toBool());
    EXPECT_FALSE(get(model, 1, EditedRole).toBool());
    EXPECT_FALSE(get(model, 2, EditedRole).toBool());
    EXPECT_TRUE(get(model, 3, EditedRole).toBool());
    model.setEdited(plain, true);
    EXPECT_TRUE(get(model, 1, EditedRole).toBool());
}

TEST_F(Thumbnails, ShowWhatTheSettingsMakeOfThePhotograph) {
    const QString photograph = make("a.png", 400, 200);
    const QImage plain = makeThumbnail(photograph, 256);
    photo::Settings settings;
    settings.light.brightness = 0.5f;
    settings.rotate = 90;
    settings.crop = {0, 0, 0.5, 0.5};
    const std::string sidecar = photo::Settings::sidecarOf(fileName(photograph));
    settings.save(sidecar);
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({photograph});
    const QImage edited = imageOf(model, 0);
    EXPECT_EQ(edited.size(), QSize(100, 200));
    const auto meanGreen = [](const QImage& image) {
        double sum = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) sum += image.pixelColor(x, y).green();
        return sum / image.height() / image.width();
    };
    settings.light = {};
    const double unlit = meanGreen(makeThumbnail(photograph, 256, settings));
    EXPECT_GT(meanGreen(edited), unlit + 10);

    photo::Settings().save(sidecar);
    fs::last_write_time(sidecar, fs::last_write_time(sidecar) + std::chrono::seconds(1));
    model.renew(photograph);
    EXPECT_EQ(imageOf(model, 0), edited) << "the old one is shown until there is a new one";
    EXPECT_TRUE(waitUntil([&] { return imageOf(model, 0) == plain; }));
    EXPECT_EQ(cached().size(), 2);
}

TEST_F(Thumbnails, MarkEditedPhotographsAgainWhenTheyComeBack) {
    const QString edited = make("a.png"), plain = make("b.png");
    photo::Settings settings;
    settings.light.contrast = 0.1f;
    settings.save(photo::Settings::sidecarOf(fileName(edited)));
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({edited});
    EXPECT_FALSE(imageOf(model, 0).isNull());
    model.setPaths({plain});
    model.setPaths({edited});
    EXPECT_TRUE(
        waitUntil([&] { return !get(model, 0, Qt::DecorationRole).isNull() && get(model, 0, EditedRole).toBool(); }));
}

TEST_F(Thumbnails, WhatTheWindowSaysOfSettingsIsNewerThanTheDisk) {
    ThumbnailModel model(cache(), nullptr);
    model.setPaths({make("a.png")});
    model.setEdited(path("a.png"), true);
    EXPECT_FALSE(imageOf(model, 0).isNull());
    EXPECT_TRUE(get(model, 0, EditedRole).toBool());
}

TEST_F(Thumbnails, AFolderIsListedByNumberAndName) {
    for (const char* name : {"img10.jpg", "img2.jpg", "b.PNG", "notes.txt"}) photo::writeBytes(scratch / name, {1});
    fs::create_directory(scratch / "deep.jpg");
    QStringList names;
    for (const QString& photograph : ThumbnailModel::photographsIn(path(".")))
        names << QFileInfo(photograph).fileName();
    EXPECT_EQ(names, QStringList({"b.PNG", "img2.jpg", "img10.jpg"}));
}

class FilmStripTest : public Thumbnails {
protected:
    FilmStripTest() : model(cache(), nullptr), strip(&model), chosen(&strip, &FilmStrip::photographChosen) {
        for (int i = 0; i < 4; ++i) paths << make(std::to_string(i) + ".png");
        model.setPaths(paths);
        strip.resize(700, strip.sizeHint().height());
        strip.show();
    }

    ThumbnailModel model;
    FilmStrip strip;
    QSignalSpy chosen;
    QStringList paths;
};

TEST_F(FilmStripTest, KeysAndClicksChooseAPhotograph) {
    strip.setCurrentPath(paths[1]);
    EXPECT_EQ(chosen.size(), 0);
    QTest::keyClick(&strip, Qt::Key_Right);
    EXPECT_EQ(chosen.takeLast(), QVariantList({paths[2]}));
    QTest::mouseClick(strip.viewport(), Qt::LeftButton, {}, strip.visualRect(model.index(0)).center());
    EXPECT_EQ(chosen.takeLast(), QVariantList({paths[0]}));
    strip.goToPrevious();
    EXPECT_EQ(chosen.size(), 0);
    strip.goToNext();
    EXPECT_EQ(strip.currentPath(), paths[1]);
}

TEST_F(FilmStripTest, SeveralCanBeSelected) {
    strip.setCurrentPath(paths[2]);
    QTest::mouseClick(strip.viewport(), Qt::LeftButton, Qt::ControlModifier, strip.visualRect(model.index(0)).center());
    EXPECT_EQ(strip.selectedPaths(), QStringList({paths[0], paths[2]}));
}

TEST_F(FilmStripTest, TheOneThatIsOpenIsSelectedAsItIsDrawn) {
    strip.setCurrentPath(paths[0]);
    const auto clickWithCtrl = [&](int row) {
        QTest::mouseClick(strip.viewport(), Qt::LeftButton, Qt::ControlModifier,
                          strip.visualRect(model.index(row)).center());
    };
    clickWithCtrl(2);
    clickWithCtrl(2);  // takes it back; it is open
    EXPECT_EQ(strip.currentPath(), paths[2]);
    EXPECT_EQ(strip.selectedPaths(), QStringList({paths[0], paths[2]}));
}

TEST_F(FilmStripTest, TheNextAndThePreviousOneAreSelectedAloneThoughCtrlIsHeld) {
    strip.setCurrentPath(paths[0]);
    QTest::keyPress(strip.windowHandle(), Qt::Key_Control, Qt::ControlModifier);
    ASSERT_EQ(QGuiApplication::keyboardModifiers(), Qt::ControlModifier);
    strip.goToNext();
    strip.goToNext();
    EXPECT_EQ(strip.selectedPaths(), QStringList{paths[2]});
    strip.goToPrevious();
    EXPECT_EQ(strip.selectedPaths(), QStringList{paths[1]});
    strip.setCurrentPath(paths[3]);
    EXPECT_EQ(strip.selectedPaths(), QStringList{paths[3]});
    QTest::keyRelease(strip.windowHandle(), Qt::Key_Control);
}

TEST_F(FilmStripTest, ShowsThumbnailsOnceTheyAreMade) {
    const QRect tile = strip.visualRect(model.index(0));
    const QImage before = strip.viewport()->grab(tile).toImage();
    ASSERT_FALSE(imageOf(model, 0).isNull());
    EXPECT_NE(strip.viewport()->grab(tile).toImage(), before);
}

}  // namespace
}  // namespace kestrova::studio
