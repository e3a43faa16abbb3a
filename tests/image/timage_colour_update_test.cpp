#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kestrova/image/timage.h"
#include "tests/image/timage_planes.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

// Rounded and clamped; NaN is 0.
int rounded(double v, int top) { return static_cast<int>(std::fmin(std::fmax(std::nearbyint(v), 0.0), top)); }
uchar byte(float v) { return static_cast<uchar>(rounded(static_cast<double>(v), 255)); }

const float kPer255 = fromBits(0x3b808081u), kPer65535 = fromBits(0x37800080u);

// The mean of the pixels that a block holds: whole blocks have four, those that an odd size adds two or one.
int halfMean(const cv::Mat& y, int i, int j) {
    int sum = 0;
    for (int k = 0; k < 4; ++k)
        sum += y.at<ushort>(std::min(2 * i + k / 2, y.rows - 1), std::min(2 * j + k % 2, y.cols - 1));
    return sum >> 10;
}

void updated(float before, float after, uchar c0, uchar c1, float k, uchar& out0, uchar& out1) {
    const float k255 = k * 255.0f;
    const float yf = before * kPer255;
    const float r = (static_cast<float>(c0) - 128.0f) * 0.0078125f + yf;
    const float b = (static_cast<float>(c1) - 128.0f) * 0.0078125f + yf;
    float g = yf - r * k299;
    g = g - b * k114;
    g = g * k17035775;
    const float ratio = (k255 + after) / (before + k255);
    const float r2 = ratio * r, b2 = ratio * b, g2 = ratio * g;
    float y2 = g2 * k587;
    y2 = y2 + r2 * k299;
    y2 = y2 + b2 * k114;
    out0 = byte((r2 - y2) * k1284 + 128.0f);
    out1 = byte((b2 - y2) * k1284 + 128.0f);
}

TImage updatedImage(const TImage& yOld, const TImage& cOld, const TImage& yNew, float k) {
    const cv::Mat before = yOld.toMat(0), after = yNew.toMat(0), c0 = cOld.toMat(0), c1 = cOld.toMat(1);
    cv::Mat out0 = c0.clone(), out1 = c1.clone();
    for (int i = 0; i < c0.rows; ++i)
        for (int j = 0; j < c0.cols; ++j)
            updated(static_cast<float>(halfMean(before, i, j)), static_cast<float>(halfMean(after, i, j)),
                    c0.at<uchar>(i, j), c1.at<uchar>(i, j), k, out0.at<uchar>(i, j), out1.at<uchar>(i, j));
    return imageOf(TImage::IM_C8U, out0, out1);
}

void expectSameColour(const TImage& expected, const TImage& actual) {
    EXPECT_TRUE(samePixels(expected.toMat(0), actual.toMat(0)));
    EXPECT_TRUE(samePixels(expected.toMat(1), actual.toMat(1)));
}

TEST(TImageColourUpdate, ColourFollowsTheRatioOfLuminances) {
    for (const cv::Size& s : testSizes())
        for (float k : {0.1f, 0.0f, 3.0f}) {
            const Ycm old(TSize(s.width, s.height)), changed(TSize(s.width, s.height), 11);
            const TImage expected = updatedImage(old.y, old.c, changed.y, k);
            withThreadCounts([&](int) {
                TImage out(TImage::IM_C8U, old.c.size());
                TImage::updateCfromYChange(old.y, old.c, changed.y, out, k);
                expectSameColour(expected, out);
            });
        }
}

TEST(TImageColourUpdate, ColourMayBeChangedInPlace) {
    Ycm old(TSize(1000, 70));
    const Ycm changed(TSize(1000, 70), 11);
    const TImage expected = updatedImage(old.y, old.c, changed.y, 0.05f);
    TImage::updateCfromYChange(old.y, old.c, changed.y, old.c, 0.05f);
    expectSameColour(expected, old.c);
}

// Every difference under dark, middle and bright luminances.
TEST(TImageColourUpdate, EveryDifferenceFollows) {
    cv::Mat c0(256, 256, CV_8UC1), c1(256, 256, CV_8UC1);
    for (int i = 0; i < 256; ++i)
        for (int j = 0; j < 256; ++j)
            c0.at<uchar>(i, j) = static_cast<uchar>(i), c1.at<uchar>(i, j) = static_cast<uchar>(j);
    const TImage c = imageOf(TImage::IM_C8U, c0, c1);
    for (int before : {0, 1, 100, 255})
        for (int after : {0, 77, 255}) {
            const TImage yOld = imageOf(TImage::IM_Y16U, cv::Mat(512, 512, CV_16UC1, cv::Scalar(before * 257)));
            const TImage yNew = imageOf(TImage::IM_Y16U, cv::Mat(512, 512, CV_16UC1, cv::Scalar(after * 257)));
            TImage out(TImage::IM_C8U, TSize(256, 256));
            TImage::updateCfromYChange(yOld, c, yNew, out, 0.02f);
            expectSameColour(updatedImage(yOld, c, yNew, 0.02f), out);
        }
}

// Blocks that come out differently if green or luminance is summed in another order, if the differences are scaled in
// double, or if the ratio is a product with a reciprocal.
TEST(TImageColourUpdate, SumsAreTakenInOrderAndInFloat) {
    struct Block {
        int before, after, c0, c1;
    };
    const Block blocks[] = {{27, 62, 96, 227},    {135, 112, 148, 160}, {135, 162, 137, 32}, {28, 27, 234, 96},
                            {28, 67, 160, 11},    {200, 125, 187, 135}, {242, 87, 32, 64},   {135, 182, 87, 96},
                            {148, 154, 247, 157}, {138, 247, 96, 20},   {105, 47, 32, 44}};
    for (const Block& block : blocks) {
        const auto y = [](int v) { return imageOf(TImage::IM_Y16U, cv::Mat(2, 2, CV_16UC1, cv::Scalar(256 * v))); };
        const auto c = [](int v) { return cv::Mat(1, 1, CV_8UC1, cv::Scalar(v)); };
        const TImage yOld = y(block.before), yNew = y(block.after);
        const TImage cOld = imageOf(TImage::IM_C8U, c(block.c0), c(block.c1));
        TImage out(TImage::IM_C8U, TSize(1, 1));
        TImage::updateCfromYChange(yOld, cOld, yNew, out, 0.1f);
        expectSameColour(updatedImage(yOld, cOld, yNew, 0.1f), out);
    }
}

TEST(TImageColourUpdate, GreyStaysGrey) {
    const Ycm old(TSize(64, 48)), changed(TSize(64, 48), 11);
    const cv::Mat grey(24, 32, CV_8UC1, cv::Scalar(128));
    TImage out(TImage::IM_C8U, TSize(32, 24));
    TImage::updateCfromYChange(old.y, imageOf(TImage::IM_C8U, grey, grey), changed.y, out, 0.1f);
    expectSameColour(imageOf(TImage::IM_C8U, grey, grey), out);
}

TEST(TImageColourUpdate, SameLuminanceChangesColourByTheScalesAlone) {
    const Ycm old(TSize(64, 48));
    TImage out(TImage::IM_C8U, TSize(32, 24));
    TImage::updateCfromYChange(old.y, old.c, old.y, out, 0.1f);
    for (int p : {0, 1}) {
        cv::Mat expected = old.c.toMat(p).clone();
        for (uchar& v : cv::Mat_<uchar>(expected))
            v = byte((static_cast<float>(v) - 128.0f) * (128.4f / 128.0f) + 128.0f);
        EXPECT_TRUE(closePixels(expected, out.toMat(p), 1));  // of rounding
    }
}

TEST(TImageColourUpdate, LargerImagesServeWithTheirTopLeft) {
    const Ycm old(TSize(9, 7)), larger(TSize(14, 12), 5);
    TImage out = randomImage(TImage::IM_C8U, 7, 6, 3);
    const TImage before(out);
    TImage::updateCfromYChange(old.y, larger.c, larger.y, out, 0.1f);
    const cv::Rect part(0, 0, 5, 4);
    const auto top = [](const cv::Mat& plane, int width, int height) { return plane(cv::Rect(0, 0, width, height)); };
    const TImage c = imageOf(TImage::IM_C8U, top(larger.c.toMat(0), 5, 4), top(larger.c.toMat(1), 5, 4));
    const TImage y = imageOf(TImage::IM_Y16U, top(larger.y.toMat(0), 10, 8));
    const TImage expected = updatedImage(old.y, c, y, 0.1f);
    for (int p : {0, 1}) {
        cv::Mat whole = before.toMat(p).clone();
        expected.toMat(p).copyTo(whole(part));
        EXPECT_TRUE(samePixels(whole, out.toMat(p)));
    }
}

TEST(TImageColourUpdate, OtherKindsOfLuminanceThrowZero) {
    const Ycm old(TSize(6, 4));
    TImage out = randomImage(TImage::IM_C8U, 3, 2);
    const TImage rgba(TImage::IM_RGBA8U, TSize(6, 4));
    for (const auto& [before, after] : {std::pair(&rgba, &old.y), std::pair(&old.y, &rgba)}) {
        try {
            TImage::updateCfromYChange(*before, old.c, *after, out, 0.1f);
            ADD_FAILURE() << "nothing thrown";
        } catch (int thrown) {
            EXPECT_EQ(thrown, 0);
        }
    }
    expectSameColour(randomImage(TImage::IM_C8U, 3, 2), out);
}

TEST(TImageColourUpdate, OtherKindsAndSmallerImagesAreRefused) {
    const char* const kind = "ERROR - TImage::updateCfromYChange - cOld.type()!=IM_C8U || cNew.type()!=IM_C8U";
    const char* const size = "ERROR - TImage::updateCfromYChange - cOld, yNew or cNew is smaller than yOld needs";
    const Ycm old(TSize(6, 4)), small(TSize(4, 4));
    TImage out = randomImage(TImage::IM_C8U, 3, 2), smallOut = randomImage(TImage::IM_C8U, 3, 1);
    TImage mask = randomImage(TImage::IM_M8U, 3, 2);
    EXPECT_FAILURE(TImage::updateCfromYChange(old.y, old.m, old.y, out, 0.1f), kind);
    EXPECT_FAILURE(TImage::updateCfromYChange(old.y, old.c, old.y, mask, 0.1f), kind);
    EXPECT_FAILURE(TImage::updateCfromYChange(old.y, small.c, old.y, out, 0.1f), size);
    EXPECT_FAILURE(TImage::updateCfromYChange(old.y, old.c, small.y, out, 0.1f), size);
    EXPECT_FAILURE(TImage::updateCfromYChange(old.y, old.c, old.y, smallOut, 0.1f), size);
    expectSameColour(randomImage(TImage::IM_C8U, 3, 2), out);
    const Ycm empty;
    TImage::updateCfromYChange(empty.y, empty.c, empty.y, mask, 0.1f);
    EXPECT_THROW(TImage::updateCfromYChange(empty.m, empty.c, empty.y, mask, 0.1f), int);
    EXPECT_THROW(TImage::updateCfromYChange(empty.y, empty.c, empty.m, mask, 0.1f), int);
}

// Components about 0..1 with its borders, and far beyond.
const std::vector<float> kComponents = {-70000.0f, -1.5f, -0.5f, -0.0f, 0.0f, 1e-6f, 0.1f,    0.25f,
                                        0.5f,      0.75f, 0.99f, 1.0f,  1.2f, 2.0f,  70000.0f};

template <class Work>
void forColours(const Work& work) {
    for (float r : kComponents)
        for (float g : kComponents)
            for (float b : kComponents) work(r, g, b);
    // These come out differently where luminance is scaled in float or summed in another order, or where a difference
    // is scaled in double.
    work(0x1.f282dap-1f, 0x1.ac5338p-2f, 0x1.cf0802p-1f);
    work(0x1.c5becep-1f, 0x1.b33fbap-1f, 0x1.e1715p-1f);
    work(0x1.4715cap-1f, 0x1.3d401p-4f, 0x1.27edap-4f);
    work(0x1.8b7526p-1f, 0x1.e33c2p-2f, 0x1.377928p-2f);
    work(0x1.f6bf8p-1f, 0x1.00d638p-1f, 0x1.485bp-8f);
    work(0x1.c40ee8p-3f, 0x1.b3b994p-2f, 0x1.fe700cp-2f);
    // These where the scale of a difference is a neighbouring float, or that of a byte of luminance is rounded to
    // float.
    work(0x1.8f65p-3f, 0x1.5b9b5cp-1f, 0x1.7ca696p-1f);
    work(0x1.51a426p-1f, 0x1.91c4c4p-1f, 0x1.04aff8p-2f);
    work(0x1.aed47cp-2f, 0x1.d3f888p-1f, 0x1.c55408p-2f);
    work(0x1.a027ccp-1f, 0x1.5cc7b8p-3f, 0x1.292abep-1f);
    const cv::Mat random = randomPlane(20000, 3, CV_32FC1, -0.2, 1.2);
    for (int i = 0; i < random.rows; ++i) work(random.at<float>(i, 0), random.at<float>(i, 1), random.at<float>(i, 2));
}

TEST(TImageColourUpdate, OneColourGoesInWithoutAGamutStep) {
    forColours([](float r, float g, float b) {
        float yf = r * k299;
        yf = yf + g * k587;
        yf = yf + b * k114;
        const uchar u = byte((r - yf) * k1284 + 128.0f), v = byte((b - yf) * k1284 + 128.0f);
        uchar y8, u8, v8, u16, v16;
        ushort y16;
        TImage::RGB2YUV(r, g, b, y8, u8, v8);
        TImage::RGB2YUV(r, g, b, y16, u16, v16);
        ASSERT_EQ(y8, rounded(static_cast<double>(yf) * 255.4, 255)) << r << ' ' << g << ' ' << b;
        ASSERT_EQ(y16, rounded(static_cast<double>(yf) * 65535.4, 65535)) << r << ' ' << g << ' ' << b;
        ASSERT_EQ(u8, u) << r << ' ' << g << ' ' << b;
        ASSERT_EQ(v8, v) << r << ' ' << g << ' ' << b;
        ASSERT_EQ(u16, u) << r << ' ' << g << ' ' << b;
        ASSERT_EQ(v16, v) << r << ' ' << g << ' ' << b;
    });
}

TEST(TImageColourUpdate, OneColourComesOutUnclamped) {
    for (int y = 0; y < 256; y += 5)
        for (int u = 0; u < 256; u += 3)
            for (int v = 0; v < 256; v += 3) {
                const uchar u8 = static_cast<uchar>(u), v8 = static_cast<uchar>(v);
                for (float yf : {static_cast<float>(y) * kPer255, static_cast<float>(y * 250) * kPer65535}) {
                    const float r = (static_cast<float>(u) - 128.0f) * 0.0078125f + yf;
                    const float b = (static_cast<float>(v) - 128.0f) * 0.0078125f + yf;
                    float g = yf - r * k299;
                    g = g - b * k114;
                    g = g * k17035775;
                    float outR, outG, outB;
                    if (yf == static_cast<float>(y) * kPer255)
                        TImage::YUV2RGB(static_cast<uchar>(y), u8, v8, outR, outG, outB);
                    else
                        TImage::YUV2RGB(static_cast<ushort>(y * 250), u8, v8, outR, outG, outB);
                    ASSERT_EQ(outR, r);
                    ASSERT_EQ(outG, g);
                    ASSERT_EQ(outB, b);
                }
            }
}

}  // namespace
