#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

//! [use]
// Takes the fine detail out of luminance: `y` keeps the rest, the result holds half of the difference about 32768, as
// TVelline takes it.
cv::Mat takeDetail(cv::Mat& y) {
    cv::Mat scaled, smooth, detail;
    y.convertTo(scaled, CV_32F, 1.0 / 65535);
    TGuidedFilter filter;
    filter.setup({scaled}, scaled, 4, 0.001f);
    filter.proc({y}, smooth);
    cv::addWeighted(y, 0.5, smooth, -0.5, 32768, detail);
    y = smooth;
    return detail;
}
//! [use]

namespace {

TEST(DocumentedUse, OfFilters) {
    cv::Mat y(40, 60, CV_16UC1);
    for (int r = 0; r < y.rows; ++r)
        for (int c = 0; c < y.cols; ++c)
            y.at<ushort>(r, c) = static_cast<ushort>((c < 30 ? 10000 : 50000) + (r + c) % 2 * 400);
    const cv::Mat before = y.clone(), detail = takeDetail(y);
    EXPECT_NEAR(y.at<ushort>(20, 10), 10200, 60);  // the texture is gone, the edge is not
    EXPECT_NEAR(y.at<ushort>(20, 50), 50200, 60);
    EXPECT_LT(y.at<ushort>(20, 29), 13000);
    for (int c = 0; c < y.cols; ++c)
        EXPECT_NEAR(y.at<ushort>(20, c) + 2 * (detail.at<ushort>(20, c) - 32768), before.at<ushort>(20, c), 2);
}

}  // namespace
