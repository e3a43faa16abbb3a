#include <kestrova/kestrova.h>

#include <QColorSpace>
#include <QFile>
#include <QImageWriter>

#include "develop.h"

namespace {

// Peak signal to noise ratios in dB of pictures that come back, against what is documented to be lost. The light
// curve's table, read between its samples, lowers neutral luminance by 9 of 65535: 77 dB. Rounding red, green and blue
// to bytes leaves 62.4 dB of luminance; colours that are clamped because their chroma is their neighbour's leave less.
constexpr double kDeepLuminance = 77;
constexpr double kByteLuminance = 60;
constexpr double kOneByteLevel = 48;
// Chroma at half size is the greater loss, in the library's own conversions as in the program, which adds next to none.
constexpr double kHalfSizeChroma = 41;
constexpr double kLossOfEngine = 0.1;

/// The photograph through the picture's own conversions and back, without the engine.
QImage throughPicture(const QImage& image) {
    const QImage in = image.convertToFormat(QImage::Format_ARGB32);
    TPImage picture;
    picture.convertFrom(in.constBits(), in.width(), in.height(), static_cast<int>(in.bytesPerLine()));
    QImage out(in.size(), QImage::Format_RGB32);
    picture.convertTo(out.bits(), static_cast<int>(out.bytesPerLine()));
    return out;
}

QImage throughDeepPicture(const QImage& image) {
    const QImage in = image.convertToFormat(QImage::Format_RGBA64).rgbSwapped();
    TPImage picture;
    picture.convertFrom(reinterpret_cast<const ushort*>(in.constBits()), in.width(), in.height(),
                        static_cast<int>(in.bytesPerLine() / 2));
    cv::Mat planes[3];
    for (cv::Mat& plane : planes) plane.create(in.height(), in.width(), CV_16UC1);
    ushort* const pointers[] = {planes[0].ptr<ushort>(), planes[1].ptr<ushort>(), planes[2].ptr<ushort>()};
    picture.convertTopRGB(pointers, static_cast<int>(planes[0].step));
    QImage out(in.size(), QImage::Format_RGBX64);
    for (int y = 0; y < in.height(); ++y)
        for (int x = 0; x < in.width(); ++x)
            reinterpret_cast<QRgba64*>(out.scanLine(y))[x] =
                qRgba64(planes[0].at<ushort>(y, x), planes[1].at<ushort>(y, x), planes[2].at<ushort>(y, x), 65535);
    return out;
}

}  // namespace

TEST_F(DevelopTest, NeutralParametersGiveEightBitPhotographsBack) {
    for (const char* name : {"dandelion_768x512.png", "tmshre_riaphotographs_srgb8.png", "u76c0g_bliznaca_srgb8.png"}) {
        SCOPED_TRACE(name);
        const QImage in(photo(name)), out = developed(photo(name), {});
        const double conversions = psnr(in, throughPicture(in));
        EXPECT_GT(conversions, kHalfSizeChroma);
        EXPECT_GT(psnr(in, out), conversions - kLossOfEngine);
        EXPECT_GT(psnrOfLuminance(in, out), kByteLuminance);
    }
}

TEST_F(DevelopTest, NeutralParametersGiveDeepPhotographsBack) {
    const QString name = photo("dandelion_768x512_16bit.png");
    const QImage in(name), out = developed(name, {});
    const double conversions = psnr(in, throughDeepPicture(in));
    EXPECT_GT(conversions, kHalfSizeChroma);
    EXPECT_GT(psnr(in, out), conversions - kLossOfEngine);
    EXPECT_GT(psnrOfLuminance(in, out), kDeepLuminance);
}

TEST_F(DevelopTest, FlatPicturesHaveNoDetailToBoost) {
    for (const QSize size : {QSize(1, 1), QSize(31, 1), QSize(64, 48), QSize(101, 67)}) {
        const QImage flat = patch(size.width(), size.height(), qRgb(90, 90, 90));
        EXPECT_EQ(developed(flat, {"--small", "1.5", "--medium", "1.5", "--large", "1.5"}), flat);
    }
}

// Blurs that were off the picture by part of a pixel, or unlike each other at opposite edges, would tell left from
// right.
TEST_F(DevelopTest, DetailKnowsNoDirection) {
    const QStringList boost = {"--small", "0.5", "--medium", "0.5", "--large", "0.5", "--saturation", "-1"};
    const QImage in = crop().copy(0, 0, 225, 161);
    const QImage mirrored = developed(in.mirrored(true, true), boost).mirrored(true, true);
    EXPECT_GT(psnrOfLuminance(developed(in, boost), mirrored), 40);
}

TEST_F(DevelopTest, NeutralParametersGiveGreyPhotographsBackExactly) {
    const QImage grey = QImage(photo("u76c0g_bliznaca_srgb8.png"))
                            .convertToFormat(QImage::Format_Grayscale8)
                            .convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(developed(grey, {}), grey);
}

TEST_F(DevelopTest, PicturesOfEverySizeComeBackInTheirSize) {
    const QImage eight = crop(), deep = deepCrop();
    for (const QSize size : {QSize(1, 1), QSize(1, 2), QSize(2, 1), QSize(1, 9), QSize(9, 1), QSize(2, 2), QSize(3, 2),
                             QSize(2, 3), QSize(5, 7), QSize(17, 1), QSize(33, 65), QSize(127, 43)}) {
        for (const QImage& whole : {eight, deep}) {
            const QImage in = whole.copy(QRect(QPoint(0, 0), size)), out = developed(in, {});
            SCOPED_TRACE(testing::Message() << size.width() << "x" << size.height() << " of " << in.depth() << " bits");
            EXPECT_EQ(out.size(), size);
            EXPECT_EQ(out.depth(), in.depth());
            EXPECT_GT(psnrOfLuminance(in, out), kOneByteLevel);
            EXPECT_EQ(developed(in, {"--small=1,0.5", "--medium=1", "--large=1", "--light=shadows=1,whites=1",
                                     "--vibrance=1", "--mix=1,0,-1"})
                          .size(),
                      size);
        }
    }
}

TEST_F(DevelopTest, ResultsHaveTheDepthOfTheirFile) {
    EXPECT_EQ(developed(crop(), {}, "out.png").format(), QImage::Format_RGB32);
    EXPECT_EQ(developed(crop(), {}, "out.jpg").format(), QImage::Format_RGB32);
    EXPECT_EQ(developed(deepCrop(), {}, "out.png").format(), QImage::Format_RGBX64);
    EXPECT_EQ(developed(deepCrop(), {}, "out.JPEG").format(), QImage::Format_RGB32);
}

TEST_F(DevelopTest, DeepPicturesBecomeJpegOnTheirOwnScale) {
    QImage white(40, 30, QImage::Format_RGBX64);
    white.fill(QColor::fromRgba64(0x8080, 0x8080, 0x8080));
    EXPECT_EQ(developed(white, {}, "out.jpg").pixel(20, 15), qRgb(0x80, 0x80, 0x80));
}

TEST_F(DevelopTest, QualityDecidesTheSizeOfJpeg) {
    const QString in = saved(crop(), "in.png");
    developed(in, {"--quality", "20"}, "low.jpg");
    developed(in, {"--quality", "95"}, "high.jpg");
    EXPECT_LT(2 * bytesOf(scratch("low.jpg")).size(), bytesOf(scratch("high.jpg")).size());
}

TEST_F(DevelopTest, ReadsPhotographsOfEveryKind) {
    const QImage colour = crop();
    const auto expectLikeness = [&](const QImage& in, const QString& name, const QImage& expected) {
        SCOPED_TRACE(name.toStdString());
        EXPECT_GT(psnrOfLuminance(developed(saved(in, name), {}), expected), kOneByteLevel);
    };
    const QImage grey = colour.convertToFormat(QImage::Format_Grayscale8);
    expectLikeness(grey, "grey.png", grey);
    expectLikeness(grey, "grey.jpg", QImage(saved(grey, "grey.jpg")));
    const QImage deepGrey = deepCrop().convertToFormat(QImage::Format_Grayscale16);
    expectLikeness(deepGrey, "grey16.png", deepGrey);
    const QImage indexed = colour.convertToFormat(QImage::Format_Indexed8);
    expectLikeness(indexed, "indexed.png", indexed);
    const QImage bits = colour.convertToFormat(QImage::Format_Mono);
    expectLikeness(bits, "bits.png", bits);
}

TEST_F(DevelopTest, DropsTransparencyAndKeepsTheColourBeneath) {
    QImage opaque = crop().convertToFormat(QImage::Format_ARGB32), veiled = opaque;
    for (int y = 0; y < veiled.height(); ++y)
        for (int x = 0; x < veiled.width(); ++x)
            veiled.setPixel(x, y, (veiled.pixel(x, y) & 0xffffff) | uint(x & 255) << 24);
    const QImage out = developed(veiled, {}, "veiled-out.png");
    EXPECT_FALSE(out.hasAlphaChannel());
    EXPECT_EQ(out, developed(opaque, {}));
}

TEST_F(DevelopTest, TurnsPhotographsAsTheCameraSays) {
    QImageWriter writer(scratch("turned.jpg"));
    writer.setTransformation(QImageIOHandler::TransformationRotate90);
    writer.setQuality(100);
    ASSERT_TRUE(writer.write(crop()));
    const QImage out = developed(scratch("turned.jpg"), {});
    EXPECT_EQ(out.size(), crop().size().transposed());
    EXPECT_GT(psnrOfLuminance(out, crop().transformed(QTransform().rotate(90))), 40);
}

TEST_F(DevelopTest, KeepsTheColourSpaceAndTheResolution) {
    QImage in = crop();
    in.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
    in.setDotsPerMeterX(11811);
    in.setDotsPerMeterY(11811);
    for (const char* name : {"out.png", "out.jpg"}) {
        const QImage out = developed(in, {}, name);
        EXPECT_EQ(out.colorSpace(), in.colorSpace()) << name;
        EXPECT_EQ(out.dotsPerMeterX(), 11811) << name;
    }
}

TEST_F(DevelopTest, ComparesThePhotographWithTheResultSideBySide) {
    const QString in = saved(crop(), "in.png");
    const QStringList dark = {"--light", "brightness=-0.5", "--view", "20,10,200,100"};
    const QImage both = developed(in, dark + QStringList{"--compare", "200"}), after = developed(in, dark, "after.png");
    EXPECT_EQ(both.size(), QSize(404, 100));
    EXPECT_EQ(both.copy(0, 0, 200, 100), crop().convertToFormat(QImage::Format_RGB32).copy(20, 10, 200, 100));
    EXPECT_EQ(both.copy(204, 0, 200, 100), after);
    EXPECT_EQ(both.pixel(202, 50), qRgb(255, 255, 255));
    EXPECT_EQ(developed(in, {"--compare", "50", "--step", "2"}).size(), QSize(101, 38));
}

TEST_F(DevelopTest, DevelopsAFileInPlace) {
    const QString path = saved(crop(), "same.png");
    const QImage out = developed(path, {"--saturation", "-1"}, "same.png");
    EXPECT_LT(meanChroma(out), 0.1 * meanChroma(crop()));
    EXPECT_EQ(files(), QStringList{"same.png"});
}

TEST_F(DevelopTest, TheLibrarysLinesGoToStandardOutputAndTheBarToStandardError) {
    const Outcome run = runProgram(KESTROVA_DEVELOP, {saved(crop(), "in.png"), scratch("out.png")});
    EXPECT_EQ(run.code, 0);
    EXPECT_TRUE(run.out.contains("system has ")) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains("tvelline -- proc ------- rYE16U size: 0X0  m_rDS size: 0X0\n"))
        << run.out.toStdString();
    EXPECT_TRUE(run.out.contains("time to compute LUT for color adj: ")) << run.out.toStdString();
    EXPECT_TRUE(run.err.startsWith("\r[")) << run.err.toStdString();
    EXPECT_TRUE(run.err.endsWith("100 %\n")) << run.err.toStdString();
}

TEST_F(DevelopTest, AViewIsThatPartOfTheWhole) {
    const QStringList look = {"--small", "0.7,0.2", "--large", "0.5", "--light", "contrast=0.3", "--vibrance", "0.5"};
    const QString in = saved(crop(), "in.png");
    const QImage whole = developed(in, look);
    for (const QRect view : {QRect(0, 0, 240, 180), QRect(37, 21, 111, 99), QRect(239, 179, 1, 1)}) {
        const QString value = QString("%1,%2,%3,%4").arg(view.x()).arg(view.y()).arg(view.width()).arg(view.height());
        EXPECT_EQ(developed(in, look + QStringList{"--view", value}, "view.png"), whole.copy(view));
    }
}

TEST_F(DevelopTest, AStepDividesTheSizeOfTheView) {
    const QString in = saved(crop(), "in.png");
    EXPECT_EQ(developed(in, {"--step", "1"}).size(), QSize(240, 180));
    EXPECT_EQ(developed(in, {"--step", "2"}).size(), QSize(120, 90));
    EXPECT_EQ(developed(in, {"--step", "7"}).size(), QSize(34, 25));
    EXPECT_EQ(developed(in, {"--step", "180"}).size(), QSize(1, 1));
    EXPECT_EQ(developed(in, {"--view", "100,80,140,100", "--step", "3"}).size(), QSize(46, 33));
    const QImage half = crop().scaled(120, 90, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    EXPECT_NEAR(meanLuminance(developed(in, {"--step", "2"})), meanLuminance(half), 0.01 * meanLuminance(half));
    EXPECT_NEAR(meanChroma(developed(in, {"--step", "2"})), meanChroma(half), 0.1 * meanChroma(half));
}
