#include <QImage>
#include <cmath>

#include "program.h"

namespace {

class FiltersTest : public ProgramTest {
protected:
    void expectRefusal(const QStringList& arguments, const QByteArray& reason) {
        const Outcome outcome = runProgram(KESTROVA_FILTERS, arguments);
        EXPECT_EQ(outcome.code, 2);
        EXPECT_TRUE(outcome.err.startsWith("kestrova-filters: ")) << outcome.err.toStdString();
        EXPECT_TRUE(outcome.err.contains(reason)) << outcome.err.toStdString();
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

}  // namespace

TEST_F(FiltersTest, WlsEvensSurfacesAndKeepsTheEdge) {
    QImage noisyStep(96, 64, QImage::Format_RGB32);
    unsigned random = 1;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            random = random * 1664525u + 1013904223u;
            const int grey = (x < 48 ? 60 : 190) + static_cast<int>(random >> 28) - 8;
            noisyStep.setPixel(x, y, qRgb(grey, grey, grey));
        }
    }
    const Outcome outcome =
        runProgram(KESTROVA_FILTERS, {"wls", saved(noisyStep, "in.png"), scratch("out.png"), "--lambda", "1"});
    ASSERT_EQ(outcome.code, 0) << outcome.err.toStdString();
    const QImage smooth(scratch("out.png"));
    EXPECT_LT(roughness(smooth, 2, 46), roughness(noisyStep, 2, 46) / 4);
    EXPECT_LT(roughness(smooth, 50, 94), roughness(noisyStep, 50, 94) / 4);
    EXPECT_GT(qGray(smooth.pixel(50, 32)) - qGray(smooth.pixel(45, 32)), 110) << "of 130";
}

TEST_F(FiltersTest, ZeroLambdaGivesThePhotographBack) {
    const Outcome outcome =
        runProgram(KESTROVA_FILTERS, {"wls", photo("u76c0g_bliznaca_srgb8.png"), scratch("out.png"), "--lambda", "0"});
    ASSERT_EQ(outcome.code, 0) << outcome.err.toStdString();
    EXPECT_GT(psnrOfLuminance(QImage(scratch("out.png")), QImage(photo("u76c0g_bliznaca_srgb8.png"))), 60);
}

TEST_F(FiltersTest, ErrorsAreOneLineAndWriteNothing) {
    const QString in = photo("u76c0g_bliznaca_srgb8.png"), out = scratch("out.png");
    expectRefusal({"wls", in}, "FILTER, IN and OUT are needed");
    expectRefusal({"blur", in, out}, "unknown filter 'blur'");
    expectRefusal({"wls", in, out, "--radius", "3"}, "unknown parameter '--radius'");
    expectRefusal({"wls", in, out, "--lambda"}, "--lambda needs a value");
    expectRefusal({"wls", in, out, "--alpha", "nan"}, "'nan' is no number from 0 to 4");
    expectRefusal({"wls", in, out, "--lambda", "1x"}, "'1x' is no number");
    expectRefusal({"wls", scratch("none.png"), out}, "none.png");
    expectRefusal({"wls", in, scratch("out.tga")}, "out.tga");
    expectRefusal({"wls", photo("dandelion_5312x2988.jpg"), out}, "4 megapixels");
}

TEST_F(FiltersTest, HelpNamesFiltersAndParameters) {
    const Outcome outcome = runProgram(KESTROVA_FILTERS, {"--help"});
    EXPECT_EQ(outcome.code, 0);
    for (const char* word : {"wls", "--lambda", "--alpha"}) EXPECT_TRUE(outcome.out.contains(word)) << word;
}
