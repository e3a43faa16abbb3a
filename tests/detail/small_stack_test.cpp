#include "tests/support/small_stack.h"

#include "kestrova/kestrova.h"
#include "tests/support/planes.h"

namespace {

constexpr int kWidth = 3000, kHeight = 40;

cv::Mat words(int seed) { return randomPlane(kHeight, kWidth, CV_16UC1, seed); }
cv::Mat halves(int seed) { return randomPlane(kHeight / 2, kWidth / 2, CV_16UC1, 20000, 40000, seed); }

TEST(SmallStackDetails, IsEnoughForPictures) {
    const cv::Mat packed = randomPlane(kHeight, kWidth, CV_8UC4), mask = randomPlane(kHeight, kWidth, CV_8UC1);
    TPImage image;
    TImage y(TImage::IM_Y16U, TSize()), c(TImage::IM_C8U, TSize()), m(TImage::IM_M8U, TSize());
    cv::Mat out(kHeight, kWidth, CV_8UC4), smooth, edge, full;
    onSmallStack([&] {
        image.convertFrom(packed.data, kWidth, kHeight, static_cast<int>(packed.step));
        image.convertTo(out.data, static_cast<int>(out.step));
        smooth = TPImage::MatRoi(image.m_Y, 0, 0, 200, 10, 3, false, true);
        TPImage::provideEdgeTables();
        TPImage::fullToEdge(image.m_Y, image.m_Dr, edge);
        TPImage::edgeToFull(edge, image.m_Dr, image.m_Db, full, 0.1f, 2.0f);
        TImage::bgra8uToTImage(packed.data, static_cast<int>(packed.step), kWidth, kHeight, y, c, m);
        TImage::timageToBgra8u(y, c, m, out.data, static_cast<int>(out.step));
    });
    EXPECT_EQ(full.size(), image.m_Y.size());
    EXPECT_EQ(smooth.size(), cv::Size(200, 10));
}

TEST(SmallStackDetails, IsEnoughForCurvesAndTables) {
    struct Mapped final : TLutYDrDb {
        using TLutYDrDb::TLutYDrDb;
        void mapPixel(ushort&, uchar&, uchar&) override {}
    };
    const cv::Mat y = words(1), dr = randomPlane(kHeight, kWidth, CV_8UC1), db = randomPlane(kHeight, kWidth, CV_8UC1);
    cv::Mat outY, outDr, outDb, out(y.size(), CV_16UC1);
    onSmallStack([&] {
        TLut16U lut;
        lut.setupLinearThreshold(0.5f, 0.5f, 0.1f, 0.1f);
        lut.setupLightAdjust(0.1f, 0.2f, 0.3f, 0.4f);
        lut.apply(y, out);
        TSpline spline(5);
        spline.update();
        Mapped(4).proc(y, dr, db, outY, outDr, outDb);
    });
    EXPECT_EQ(outY.size(), y.size());
}

TEST(SmallStackDetails, IsEnoughForTheDetailEngineAndColour) {
    const cv::Mat planes[] = {words(1), words(2), words(3), words(4)}, dr = halves(5), db = halves(6);
    cv::Mat outDr, outDb;
    TVelline engine;
    TColorAdjVL colour;  // its tables are larger than the stack
    onSmallStack([&] {
        Kestrova::setPrinting(false);
        engine.setup(planes[0], planes[1], planes[2], planes[3], dr, db, nullptr);
        for (int i = 0; i < 9; ++i) engine.m_k[i] = engine.m_t[i] = 0.3f;
        for (int i = 0; i < 6; ++i) engine.m_light[i] = 0.2f;
        for (int i = 0; i < 3; ++i) engine.m_mix[i] = 0.2f;
        for (int level : {1, 3}) engine.proc({3, 5, 300, 10}, level, cv::Mat());
        colour.m_saturation = 0.5f;
        colour.m_bChanged = true;
        colour.proc(planes[0], planes[1], planes[2], planes[3], outDr, outDb);
    });
    EXPECT_EQ(engine.getRoiY().size(), cv::Size(300, 10));
    EXPECT_EQ(outDr.size(), planes[0].size());
}

TEST(SmallStackDetails, IsEnoughForTheMask) {
    TDrawMask mask;
    cv::Mat roi;
    onSmallStack([&] {
        mask.setInImage(randomPlane(200, 300, CV_8UC1), randomPlane(200, 300, CV_16UC1),
                        randomPlane(200, 300, CV_16UC1));
        mask.drawStart(1, 2.0f);
        for (float tolerance : {0.0f, 0.3f}) mask.drawADot({150, 120}, 30, 80, 40, 0.5f, tolerance);
        mask.drawEnd();
        mask.invert();
        mask.proc();
        roi = mask.getMaskRoi({10, 10, 100, 100}, 2);
    });
    EXPECT_FALSE(roi.empty());
}

TEST(SmallStackDetails, LeavesTheHostHalfOfItWhileDotsAreReplayed) {
    TDrawMask mask;
    mask.setInImage(randomPlane(200, 300, CV_8UC1), cv::Mat(), cv::Mat());
    mask.drawStart(1, 2.0f);
    for (int radius : {20, 80, 160, 200}) mask.drawADot({150, 120}, 30, radius, radius / 2, 0.5f, 0);
    mask.drawEnd();
    onSmallStack([&] {
        volatile char frames[32 << 10];
        frames[0] = 1;
        mask.proc();
        EXPECT_EQ(frames[0], 1);
    });
    EXPECT_FALSE(mask.bNeedUpdate());
}

}  // namespace
