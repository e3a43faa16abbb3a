#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

#include <vector>

//! [use]
// Darkens a packed 8-bit picture (B, G, R, A) by one stop, its colours staying what they are.
void darken(unsigned char* pixels, int width, int height, int step) {
    TPImage picture;
    picture.convertFrom(pixels, width, height, step);
    picture.m_Y.convertTo(picture.m_Y, -1, 0.5);
    picture.m_Dr.convertTo(picture.m_Dr, -1, 0.5, 16384);  // zero stays at 32768
    picture.m_Db.convertTo(picture.m_Db, -1, 0.5, 16384);
    picture.convertTo(pixels, step);
}
//! [use]

//! [edges]
// Changes luminance at half size, and puts the detail back that only the full size has.
class HalfSizeWork : TPImage {
public:
    static cv::Mat flatten(const cv::Mat& full) {
        provideEdgeTables();
        cv::Mat half(TPImage::half(full.rows), TPImage::half(full.cols), CV_16UC1), edges, changed, out;
        downSize2X(full, half, kPyramidStep);
        fullToEdge(full, half, edges);
        half.convertTo(changed, CV_16UC1, 0.5, 16384);
        edgeToFull(edges, half, changed, out, 0.001f, 2.0f);  // detail follows what became of the gradients
        return out;
    }
};
//! [edges]

namespace {

TEST(DocumentedUse, OfThePicture) {
    std::vector<unsigned char> pixels;
    for (int i = 0; i < 12 * 8; ++i) pixels.insert(pixels.end(), {200, 120, 60, 255});
    darken(pixels.data(), 12, 8, 12 * 4);
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
        EXPECT_NEAR(pixels[i], 100, 2);
        EXPECT_NEAR(pixels[i + 1], 60, 2);
        EXPECT_NEAR(pixels[i + 2], 30, 2);
        EXPECT_EQ(pixels[i + 3], 255);
    }
}

TEST(DocumentedUse, OfEdgeMaps) {
    cv::Mat full(40, 60, CV_16UC1);
    for (int y = 0; y < full.rows; ++y)
        for (int x = 0; x < full.cols; ++x) full.at<ushort>(y, x) = static_cast<ushort>(20000 + 300 * x + x % 2 * 400);
    const cv::Mat flat = HalfSizeWork::flatten(full);
    // Half the slope, and half of the stripes, which the half-size plane does not have.
    EXPECT_NEAR(flat.at<ushort>(20, 40) - flat.at<ushort>(20, 20), 20 * 150, 60);
    EXPECT_NEAR(flat.at<ushort>(20, 31) - flat.at<ushort>(20, 30), 150 + 200, 60);
}

}  // namespace
