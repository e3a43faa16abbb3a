#include <QColorSpace>
#include <QImage>
#include <cmath>

#include "program.h"

namespace {

class FiltersTest : public ProgramTest {
protected:
    void expectRefusal(const QStringList& arguments, const QByteArray& reason,
                       const QProcessEnvironment& environment = programEnvironment()) {
        const Outcome outcome = runProgram(KESTROVA_FILTERS, arguments, environment);
        EXPECT_EQ(outcome.code, 2);
        EXPECT_TRUE(outcome.err.startsWith("kestrova-filters: ")) << outcome.err.toStdString();
        EXPECT_TRUE(outcome.err.contains(reason)) << outcome.err.toStdString();
        EXPECT_EQ(outcome.err.count('\n'), 1) << outcome.err.toStdString();
        EXPECT_FALSE(files().contains("out.png"));
    }

    // Mean absolute difference of horizontal neighbours in columns [from, to).
    static double roughness(const QImage& image, int from, int to) {
        double sum = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = from; x + 1 < to; ++x)
                sum += std::abs(qGray(image.pixel(x, y)) - qGray(image.pixel(x + 1, y)));
        return sum / image.height() / (to - from - 1);
    }
};

/// A dark and a bright half with a little noise.
QImage noisyStep() {
    QImage image(96, 64, QImage::Format_RGB32);
    unsigned random = 1;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            random = random * 1664525u + 1013904223u;
            const int grey = (x < 48 ? 60 : 190) + static_cast<int>(random >> 28) - 8;
            image.setPixel(x, y, qRgb(grey, grey, grey));
        }
    }
    return image;
}

}  // namespace

TEST_F(FiltersTest, EveryFilterEvensSurfacesAndKeepsTheEdge) {
    const QImage in = noisyStep();
    const QString path = saved(in, "in.png");
    for (const QStringList& filter :
         {QStringList{"guided", "--eps", "0.005"},
          QStringList{"guided", "--radius", "16", "--eps", "0.005", "--reduce", "2"},
          QStringList{"rgb-guided", "--eps", "0.005"}, QStringList{"bilateral"}, QStringList{"laplacian"},
          QStringList{"wls"}, QStringList{"pyramid", "--threshold", "0.1"}}) {
        SCOPED_TRACE(filter.join(' ').toStdString());
        const QString out = scratch("out.png");
        const Outcome outcome = runProgram(KESTROVA_FILTERS, QStringList{filter[0], path, out} + filter.mid(1));
        ASSERT_EQ(outcome.code, 0) << outcome.err.toStdString();
        const QImage smooth(out);
        EXPECT_LT(roughness(smooth, 2, 40), roughness(in, 2, 40) / 3);
        EXPECT_LT(roughness(smooth, 56, 94), roughness(in, 56, 94) / 3);
        EXPECT_GT(qGray(smooth.pixel(50, 32)) - qGray(smooth.pixel(45, 32)), 110) << "of 130";
        EXPECT_NEAR(qGray(smooth.pixel(20, 32)), 60, 6);
        EXPECT_NEAR(qGray(smooth.pixel(76, 32)), 190, 6);
    }
}

TEST_F(FiltersTest, ParametersWithoutEffectGiveThePhotographBack) {
    const QImage in(photo("u76c0g_bliznaca_srgb8.png"));
    for (const QStringList& filter :
         {QStringList{"guided", "--radius", "0"}, QStringList{"rgb-guided", "--eps", "0.000001", "--radius", "1"},
          QStringList{"laplacian", "--amplitude", "0"}, QStringList{"wls", "--lambda", "0"},
          QStringList{"pyramid", "--threshold", "0"}}) {
        SCOPED_TRACE(filter.join(' ').toStdString());
        const Outcome outcome =
            runProgram(KESTROVA_FILTERS,
                       QStringList{filter[0], photo("u76c0g_bliznaca_srgb8.png"), scratch("out.png")} + filter.mid(1));
        ASSERT_EQ(outcome.code, 0) << outcome.err.toStdString();
        EXPECT_GT(psnrOfLuminance(QImage(scratch("out.png")), in), filter[0] == "rgb-guided" ? 45 : 60);
    }
}

TEST_F(FiltersTest, NoneDarkensOrLightensThePhotograph) {
    const auto meanOf = [](const QImage& image) {
        double sum = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) sum += qGray(image.pixel(x, y));
        return sum / image.width() / image.height();
    };
    const double before = meanOf(QImage(photo("u76c0g_bliznaca_srgb8.png")));
    for (const char* filter : {"guided", "rgb-guided", "bilateral", "laplacian"}) {
        const Outcome outcome =
            runProgram(KESTROVA_FILTERS, {filter, photo("u76c0g_bliznaca_srgb8.png"), scratch("out.png")});
        ASSERT_EQ(outcome.code, 0) << outcome.err.toStdString();
        EXPECT_NEAR(meanOf(QImage(scratch("out.png"))), before, 0.5) << filter;
    }
}

TEST_F(FiltersTest, ParametersChangeTheResultTheirWay) {
    const QImage in = noisyStep();
    const QString path = saved(in, "in.png");
    const auto roughnessAfter = [&](const QStringList& filter) {
        const Outcome outcome =
            runProgram(KESTROVA_FILTERS, QStringList{filter[0], path, scratch("out.png")} + filter.mid(1));
        EXPECT_EQ(outcome.code, 0) << outcome.err.toStdString();
        return roughness(QImage(scratch("out.png")), 2, 36);
    };
    const struct {
        QStringList smoother, rougher;
    } pairs[] = {
        {{"guided", "--radius", "4", "--eps", "0.01"}, {"guided", "--radius", "1", "--eps", "0.01"}},
        {{"guided", "--eps", "0.01"}, {"guided", "--eps", "0.0001"}},
        {{"rgb-guided", "--eps", "0.01"}, {"rgb-guided", "--eps", "0.0001"}},
        {{"bilateral", "--range", "0.5", "--sampling", "6"}, {"bilateral", "--range", "0.5", "--sampling", "2"}},
        {{"bilateral", "--range", "0.2"}, {"bilateral", "--range", "0.01"}},
        {{"laplacian", "--amplitude", "0.1"}, {"laplacian", "--amplitude", "-0.1"}},
        {{"laplacian", "--levels", "4"}, {"laplacian", "--levels", "1", "--amplitude", "0"}},
        {{"wls", "--lambda", "1"}, {"wls", "--lambda", "0.001"}},
        {{"pyramid", "--threshold", "0.05"}, {"pyramid", "--threshold", "0.01"}},
    };
    for (const auto& pair : pairs) {
        SCOPED_TRACE(pair.smoother.join(' ').toStdString());
        EXPECT_LT(roughnessAfter(pair.smoother), 0.9 * roughnessAfter(pair.rougher));
    }
}

// The two halves differ by few levels of luminance, and much in colour.
TEST_F(FiltersTest, AnEdgeOfColourAloneHoldsUnderTheColourGuide) {
    QImage in(96, 64, QImage::Format_RGB32);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 96; ++x) in.setPixel(x, y, x < 48 ? qRgb(180, 66, 66) : qRgb(70, 136, 70));
    const QString path = saved(in, "in.png");
    const auto step = [&](const char* filter) {
        const Outcome outcome = runProgram(KESTROVA_FILTERS, {filter, path, scratch("out.png")});
        EXPECT_EQ(outcome.code, 0) << outcome.err.toStdString();
        const QImage out(scratch("out.png"));
        const auto luminance = [&](int x) {
            const QRgb p = out.pixel(x, 32);
            return 0.299 * qRed(p) + 0.587 * qGreen(p) + 0.114 * qBlue(p);
        };
        return std::abs(luminance(45) - luminance(50));
    };
    EXPECT_GT(step("rgb-guided"), 2 * step("guided"));
}

TEST_F(FiltersTest, TheDepthOfThePhotographStays) {
    const Outcome outcome =
        runProgram(KESTROVA_FILTERS, {"guided", photo("dandelion_768x512_16bit.png"), scratch("out.png")});
    ASSERT_EQ(outcome.code, 0) << outcome.err.toStdString();
    EXPECT_EQ(QImage(scratch("out.png")).format(), QImage::Format_RGBX64);
}

TEST_F(FiltersTest, PicturesOfASinglePixelRowOrColumnAreTaken) {
    for (const QSize size : {QSize(1, 1), QSize(1, 17), QSize(17, 1)}) {
        QImage in(size, QImage::Format_RGB32);
        in.fill(qRgb(90, 90, 90));
        const QString path = saved(in, "in.png");
        for (const char* filter : {"guided", "rgb-guided", "bilateral", "laplacian", "wls", "pyramid"}) {
            const Outcome outcome = runProgram(KESTROVA_FILTERS, {filter, path, scratch("out.png")});
            EXPECT_EQ(outcome.code, 0) << filter << ": " << outcome.err.toStdString();
            QImage result(scratch("out.png"));
            result.setColorSpace(in.colorSpace());  // the result says which it is in
            EXPECT_EQ(result, in) << filter << " " << size.width() << "x" << size.height();
        }
    }
}

TEST_F(FiltersTest, ErrorsAreOneLineAndWriteNothing) {
    const QString in = photo("u76c0g_bliznaca_srgb8.png"), out = scratch("out.png");
    expectRefusal({}, "FILTER, IN and OUT are needed");
    expectRefusal({"wls", in}, "FILTER, IN and OUT are needed");
    expectRefusal({"blur", in, out}, "unknown filter 'blur'");
    expectRefusal({"wls", in, out, "--radius", "3"}, "unknown parameter '--radius' of wls");
    expectRefusal({"guided", in, out, "radius", "3"}, "unknown parameter 'radius' of guided");
    expectRefusal({"wls", in, out, "--lambda"}, "--lambda needs a value");
    expectRefusal({"wls", in, out, "--alpha", "nan"}, "--alpha: \"nan\" is not a number");
    expectRefusal({"wls", in, out, "--lambda", "1x"}, "\"1x\" is not a number");
    expectRefusal({"wls", in, out, "--lambda", ""}, "\"\" is not a number");
    expectRefusal({"guided", in, out, "--radius", "501"}, "--radius: \"501\" is not within 0 to 500");
    expectRefusal({"guided", in, out, "--radius", "2.5"}, "\"2.5\" is not a number");
    expectRefusal({"guided", in, out, "--eps", "0"}, "--eps: \"0\" is not within 1e-06 to 1.0");
    expectRefusal({"guided", in, out, "--reduce", "3"}, "--reduce is one of 1, 2, 4, 8 and 16");
    expectRefusal({"bilateral", in, out, "--sampling", "1"}, "\"1\" is not within 2 to 1000");
    expectRefusal({"laplacian", in, out, "--amplitude", "-0.5"}, "\"-0.5\" is not within -0.4 to 0.4");
    expectRefusal({"wls", in, out, "--lambda", "101"}, "\"101\" is not within 0.0 to 100.0");
    expectRefusal({"wls", scratch("none.png"), out}, "none.png");
    expectRefusal({"wls", in, scratch("out.tga")}, "out.tga");
    expectRefusal({"wls", photo("dandelion_5312x2988.jpg"), out}, "4 megapixels");
}

TEST_F(FiltersTest, ASolverWithoutMemoryEndsWithOneLine) {
    const QString in = photo("u76c0g_bliznaca_srgb8.png"), out = scratch("out.png");
    QProcessEnvironment environment = programEnvironment();
    environment.insert("LD_PRELOAD", KESTROVA_FAILING_LIBRARY);
    environment.insert("ASAN_OPTIONS", "verify_asan_link_order=0");
    expectRefusal({"wls", in, out}, ": there is not enough memory\n", environment);
}

TEST_F(FiltersTest, HelpNamesFiltersAndParameters) {
    const Outcome outcome = runProgram(KESTROVA_FILTERS, {"--help"});
    EXPECT_EQ(outcome.code, 0);
    for (const char* word :
         {"guided", "rgb-guided", "bilateral", "laplacian", "wls", "pyramid", "--radius", "--eps", "--reduce",
          "--sampling", "--range", "--amplitude", "--blur", "--levels", "--lambda", "--alpha", "--threshold"})
        EXPECT_TRUE(outcome.out.contains(word)) << word;
    for (const QByteArray& line : outcome.out.split('\n')) EXPECT_LE(line.size(), 120) << line.toStdString();
}
