#include <gtest/gtest.h>
#include <kestrova/kestrova.h>

#include <string>
#include <vector>

//! [use]
// Halves planes under one progress bar. A failure is a thrown text, a cancel a false result.
bool halve(std::vector<cv::Mat>& planes, bool (*report)(int thousandths, void* host), void* host) try {
    TProgress progress(report, host);
    for (int done = 0, all = static_cast<int>(planes.size()); done < all;) {
        cv::Mat& plane = planes[done];
        cv::Mat half(TPImage::half(plane.rows), TPImage::half(plane.cols), plane.type());
        downSize2X(plane, half, kInterpCubic);
        plane = half;
        if (!progress.prog(++done, all)) return false;
    }
    return true;
} catch (const char* text) {
    char where[] = "halve";
    Kestrova::toQDebug(where, __LINE__, text);  // to the hook of Kestrova::setQDebugFunc
    return false;
}
//! [use]

namespace {

std::string traced;

TEST(DocumentedUse, OfTheFrame) {
    std::vector<cv::Mat> planes(2, cv::Mat(5, 8, CV_16UC1, cv::Scalar(7)));
    int last = 0;
    const auto report = [](int thousandths, void* host) {
        *static_cast<int*>(host) = thousandths;
        return true;
    };
    EXPECT_TRUE(halve(planes, report, &last));
    EXPECT_EQ(last, 1000);
    EXPECT_EQ(planes[1].size(), cv::Size(4, 3));

    int calls = 0;
    const auto cancel = [](int, void* host) { return ++*static_cast<int*>(host) < 1; };
    EXPECT_FALSE(halve(planes, cancel, &calls));
    EXPECT_EQ(calls, 1);

    Kestrova::setQDebugFunc([](const char* text) { traced = text; });
    planes[0] = cv::Mat(4, 4, CV_32SC1, cv::Scalar(0));
    EXPECT_FALSE(halve(planes, report, &last));
    Kestrova::setQDebugFunc(nullptr);
    EXPECT_NE(traced.find("halve : ERROR - down2X - type"), std::string::npos);
}

}  // namespace
