#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "kestrova/filters/free_filters.h"
#include "kestrova/frame/tprogress.h"
#include "kestrova/image/timage.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

int planesOf(TImage::IMTYPE kind) { return kind == TImage::IM_C8U ? 2 : 1; }

TImage randomImage(TImage::IMTYPE kind, cv::Size size, std::uint32_t seed = 1) {
    TImage image(kind, TSize(size.width, size.height));
    for (int plane = 0; plane < planesOf(kind); ++plane) {
        cv::Mat pixels = image.toMat(plane);
        randomPlane(size.height, size.width, pixels.type(), seed + plane).copyTo(pixels);
    }
    return image;
}

template <class Element>
cv::Mat boxMeans(const cv::Mat& plane, int r) {
    cv::Mat bordered, means(plane.size(), plane.type());
    cv::copyMakeBorder(plane, bordered, r, r, r, r, cv::BORDER_REFLECT_101);
    const std::int64_t area = std::int64_t{2 * r + 1} * (2 * r + 1);
    cv::Mat sums;
    cv::integral(bordered, sums, CV_64F);
    for (int y = 0; y < means.rows; ++y) {
        for (int x = 0; x < means.cols; ++x) {
            const int below = y + 2 * r + 1, right = x + 2 * r + 1;
            const auto sum = static_cast<std::int64_t>(sums.at<double>(below, right) - sums.at<double>(y, right) -
                                                       sums.at<double>(below, x) + sums.at<double>(y, x));
            means.at<Element>(y, x) = static_cast<Element>((2 * sum + area) / (2 * area));
        }
    }
    return means;
}

cv::Mat blurred(const cv::Mat& plane, int radius, int iterations) {
    const int f = 1 + static_cast<int>(static_cast<float>(radius) * 0.018518519f);
    cv::Mat current = plane.clone();
    if (f > 1) cv::resize(plane, current, {plane.cols / f, plane.rows / f}, 0, 0, cv::INTER_LINEAR);
    for (int i = 0; i < iterations; ++i)
        current =
            plane.type() == CV_8UC1 ? boxMeans<uchar>(current, radius / f) : boxMeans<ushort>(current, radius / f);
    cv::Mat result = current;
    if (f > 1) cv::resize(current, result, plane.size(), 0, 0, cv::INTER_LINEAR);
    return result;
}

void expectBlurred(const TImage& in, const TImage& out, int radius, int iterations) {
    for (int plane = 0; plane < planesOf(in.type()); ++plane)
        EXPECT_TRUE(samePixels(blurred(in.toMat(plane), radius, iterations), out.toMat(plane)))
            << in.size().width << "x" << in.size().height << " radius " << radius << " x " << iterations;
}

/// A host that counts and answers.
struct Host {
    int calls = 0;
    int firstTrue = INT_MAX;  ///< the call from which on it answers true
    std::vector<int> reports;

    TProgress progress() { return TProgress(answer, this); }
    static bool answer(int value, void* user) {
        Host& host = *static_cast<Host*>(user);
        host.reports.push_back(value);
        return host.calls++ >= host.firstTrue;
    }
};

const TImage::IMTYPE kKinds[] = {TImage::IM_Y16U, TImage::IM_C8U};

TEST(FilterBoxOfImageTest, BlursEveryPlaneByRepeatedMeansOverMirroredEdges) {
    for (TImage::IMTYPE kind : kKinds) {
        for (const cv::Size& size : testSizes()) {
            const TImage in = randomImage(kind, size);
            for (int radius : {1, 2, 10, 53}) {
                for (int iterations : {1, 2, 5}) {
                    TImage out(kind, in.size());
                    EXPECT_FALSE(tFilterBox(&in, &out, radius, iterations, nullptr));
                    expectBlurred(in, out, radius, iterations);
                }
            }
        }
    }
}

TEST(FilterBoxOfImageTest, ARadiusAbove53WorksOnAReducedCopy) {
    for (TImage::IMTYPE kind : kKinds) {
        for (cv::Size size : {cv::Size(130, 77), cv::Size(41, 20), cv::Size(20, 201)}) {
            const TImage in = randomImage(kind, size);
            for (int radius : {53, 54, 107, 108, 300, 1000}) {
                for (int iterations : {1, 3}) {
                    TImage out(kind, in.size());
                    EXPECT_FALSE(tFilterBox(&in, &out, radius, iterations, nullptr));
                    expectBlurred(in, out, radius, iterations);
                }
            }
        }
    }
}

// 53 keeps single pixels apart; from 54 on the blurred plane is one of half the size, enlarged.
TEST(FilterBoxOfImageTest, TheReductionBeginsAt54) {
    const TImage in = randomImage(TImage::IM_Y16U, {60, 60});
    TImage out(TImage::IM_Y16U, in.size());
    tFilterBox(&in, &out, 53, 1, nullptr);
    EXPECT_TRUE(samePixels(boxMeans<ushort>(in.toMat(0), 53), out.toMat(0)));
    tFilterBox(&in, &out, 54, 1, nullptr);
    cv::Mat half, whole;
    cv::resize(in.toMat(0), half, {30, 30}, 0, 0, cv::INTER_LINEAR);
    cv::resize(boxMeans<ushort>(half, 27), whole, {60, 60}, 0, 0, cv::INTER_LINEAR);
    EXPECT_TRUE(samePixels(whole, out.toMat(0)));
}

TEST(FilterBoxOfImageTest, ProgressDoesNotChangeTheResult) {
    for (TImage::IMTYPE kind : kKinds) {
        const TImage in = randomImage(kind, {90, 50});
        for (int radius : {4, 60}) {
            Host host;
            TProgress progress = host.progress();
            TImage out(kind, in.size());
            EXPECT_FALSE(tFilterBox(&in, &out, radius, 3, &progress));
            expectBlurred(in, out, radius, 3);
        }
    }
}

TEST(FilterBoxOfImageTest, WorksInPlace) {
    for (TImage::IMTYPE kind : kKinds) {
        const TImage in = randomImage(kind, {90, 50});
        for (int radius : {4, 60}) {
            for (int iterations : {1, 2}) {
                TImage image(in);
                tFilterBox(&image, &image, radius, iterations, nullptr);
                expectBlurred(in, image, radius, iterations);
            }
        }
    }
}

TEST(FilterBoxOfImageTest, ThreadsGiveTheSameBits) {
    const TImage in = randomImage(TImage::IM_Y16U, {403, 301});
    withThreadCounts([&](int) {
        TImage out(TImage::IM_Y16U, in.size());
        tFilterBox(&in, &out, 9, 2, nullptr);
        expectBlurred(in, out, 9, 2);
    });
}

TEST(FilterBoxOfImageTest, TheStampStaysTheCallersToRenew) {
    const TImage in = randomImage(TImage::IM_Y16U, {20, 10});
    TImage out(TImage::IM_Y16U, in.size());
    const TUpdateRect before = out.updateRect();
    tFilterBox(&in, &out, 3, 1, nullptr);
    EXPECT_TRUE(before == out.updateRect());
}

// ---- Progress

TEST(FilterBoxOfImageTest, ReportsAfterEveryPassAndAtTheEnd) {
    for (TImage::IMTYPE kind : kKinds) {
        const TImage in = randomImage(kind, {20, 10});
        TImage out(kind, in.size());
        Host host;
        TProgress progress = host.progress();
        EXPECT_FALSE(tFilterBox(&in, &out, 2, 3, &progress));
        ASSERT_EQ(host.calls, 3 * planesOf(kind) + 1);
        for (int i = 0; i < host.calls; ++i) EXPECT_EQ(host.reports[i], 10 * (i + 1));
    }
}

TEST(FilterBoxOfImageTest, ATrueAnswerStopsAtOnceAndLeavesThePlaneUntouched) {
    const TImage in = randomImage(TImage::IM_Y16U, {20, 10}), before = randomImage(TImage::IM_Y16U, {20, 10}, 7);
    for (int radius : {2, 60}) {
        for (int stop : {0, 1, 2}) {
            TImage out(before);
            Host host;
            host.firstTrue = stop;
            TProgress progress = host.progress();
            EXPECT_TRUE(tFilterBox(&in, &out, radius, 3, &progress));
            EXPECT_EQ(host.calls, stop + 1);
            EXPECT_TRUE(samePixels(before.toMat(0), out.toMat(0)));
        }
    }
}

TEST(FilterBoxOfImageTest, StoppedInTheSecondPlaneItKeepsTheFirst) {
    const TImage in = randomImage(TImage::IM_C8U, {20, 10}), before = randomImage(TImage::IM_C8U, {20, 10}, 7);
    TImage out(before);
    Host host;
    host.firstTrue = 2;
    TProgress progress = host.progress();
    EXPECT_TRUE(tFilterBox(&in, &out, 2, 2, &progress));
    EXPECT_EQ(host.calls, 3);
    EXPECT_TRUE(samePixels(blurred(in.toMat(0), 2, 2), out.toMat(0)));
    EXPECT_TRUE(samePixels(before.toMat(1), out.toMat(1)));
}

TEST(FilterBoxOfImageTest, TheLastAnswerIsTheResultOfWorkThatIsWhole) {
    const TImage in = randomImage(TImage::IM_Y16U, {20, 10});
    TImage out(TImage::IM_Y16U, in.size());
    Host host;
    host.firstTrue = 3;
    TProgress progress = host.progress();
    EXPECT_TRUE(tFilterBox(&in, &out, 2, 3, &progress));
    EXPECT_EQ(host.calls, 4);
    expectBlurred(in, out, 2, 3);
}

TEST(FilterBoxOfImageTest, AProgressWithoutCallbackAnswersTrueAndStops) {
    const TImage in = randomImage(TImage::IM_Y16U, {20, 10}), before = randomImage(TImage::IM_Y16U, {20, 10}, 7);
    TImage out(before);
    TProgress silent;
    EXPECT_TRUE(tFilterBox(&in, &out, 2, 3, &silent));
    EXPECT_TRUE(samePixels(before.toMat(0), out.toMat(0)));
}

// ---- No blur

TEST(FilterBoxOfImageTest, NoRadiusOrNoPassCopiesEveryKind) {
    struct {
        int radius, iterations;
    } const cases[] = {{0, 3}, {-5, 3}, {3, 0}, {3, -1}, {INT_MIN, INT_MIN}, {INT_MAX, 0}};
    for (TImage::IMTYPE kind :
         {TImage::IM_Y16U, TImage::IM_C8U, TImage::IM_M8U, TImage::IM_RGBA8U, TImage::IM_RGBA16U}) {
        TImage in(kind, TSize(7, 5));
        for (int plane = 0; plane < planesOf(kind); ++plane) {
            cv::Mat pixels = in.toMat(plane);
            cv::randu(pixels, 0, 255);
        }
        for (const auto& c : cases) {
            TImage out(kind, TSize(2, 2));
            EXPECT_FALSE(tFilterBox(&in, &out, c.radius, c.iterations, nullptr));
            for (int plane = 0; plane < planesOf(kind); ++plane) {
                EXPECT_TRUE(samePixels(in.toMat(plane), out.toMat(plane))) << kind;
                EXPECT_NE(in.toMat(plane).data, out.toMat(plane).data) << kind;
            }
        }
    }
}

TEST(FilterBoxOfImageTest, NoRadiusAnswersWithOneReport) {
    const TImage in = randomImage(TImage::IM_M8U, {7, 5});
    for (int firstTrue : {0, 1}) {
        TImage out(TImage::IM_M8U, TSize());
        Host host;
        host.firstTrue = firstTrue;
        TProgress progress = host.progress();
        EXPECT_EQ(tFilterBox(&in, &out, 0, 1, &progress), firstTrue == 0);
        EXPECT_EQ(host.calls, 1);
        EXPECT_TRUE(samePixels(in.toMat(0), out.toMat(0)));
    }
}

TEST(FilterBoxOfImageTest, NoRadiusInPlaceKeepsThePixels) {
    const TImage in = randomImage(TImage::IM_Y16U, {7, 5});
    TImage image(in);
    tFilterBox(&image, &image, 0, 1, nullptr);
    EXPECT_TRUE(samePixels(in.toMat(0), image.toMat(0)));
}

// ---- Failures

TEST(FilterBoxOfImageTest, FailsForDifferentKindsBeforeAllElse) {
    const TImage in = randomImage(TImage::IM_Y16U, {7, 5});
    TImage out(TImage::IM_C8U, in.size());
    EXPECT_FAILURE(tFilterBox(&in, &out, 3, 1, nullptr), "tFilterBox - in_p->type() != out_p->type()");
    EXPECT_FAILURE(tFilterBox(&in, &out, 0, 0, nullptr), "tFilterBox - in_p->type() != out_p->type()");
}

TEST(FilterBoxOfImageTest, FailsForKindsItDoesNotBlur) {
    for (TImage::IMTYPE kind : {TImage::IM_M8U, TImage::IM_RGBA8U, TImage::IM_RGBA16U}) {
        const TImage in(kind, TSize(7, 5)), empty(kind, TSize());
        TImage out(kind, TSize(7, 5));
        EXPECT_FAILURE(tFilterBox(&in, &out, 3, 1, nullptr), "tFilterBox - type not supported");
        EXPECT_FAILURE(tFilterBox(&empty, &out, 3000, 1, nullptr), "tFilterBox - type not supported");
    }
}

TEST(FilterBoxOfImageTest, FailsForImagesSmallerThanTheReductionFactor) {
    const char* const text = "ERROR - tFilterBox - image smaller than reduction factor";
    for (TImage::IMTYPE kind : kKinds) {
        for (cv::Size size : {cv::Size(1, 9), cv::Size(9, 1), cv::Size(0, 0)}) {
            const TImage in = randomImage(kind, size), before = randomImage(kind, {9, 9});
            TImage out(before);
            Host host;
            TProgress progress = host.progress();
            EXPECT_FAILURE(tFilterBox(&in, &out, 54, 1, &progress), text);
            EXPECT_FAILURE(tFilterBox(&in, &out, INT_MAX, 1, &progress), text);
            EXPECT_EQ(host.calls, 0);
            EXPECT_TRUE(samePixels(before.toMat(0), out.toMat(0)));
        }
        const TImage two = randomImage(kind, {2, 3});
        TImage out(kind, two.size());
        EXPECT_FALSE(tFilterBox(&two, &out, 54, 1, nullptr));
        expectBlurred(two, out, 54, 1);
        EXPECT_FAILURE(tFilterBox(&two, &out, 108, 1, nullptr), text);
        const TImage empty(kind, TSize());
        EXPECT_FAILURE(tFilterBox(&empty, &out, 1, 1, nullptr), text);
    }
}

TEST(FilterBoxOfImageTest, FailsForAnOutputOfAnotherSizeAfterThePassesOfTheFirstPlane) {
    for (TImage::IMTYPE kind : kKinds) {
        const TImage in = randomImage(kind, {20, 10}), before = randomImage(kind, {10, 20});
        for (int radius : {2, 60}) {
            TImage out(before);
            Host host;
            TProgress progress = host.progress();
            EXPECT_FAILURE(tFilterBox(&in, &out, radius, 2, &progress), "ERROR - TImage::copyFrom - size is not equal");
            EXPECT_EQ(host.calls, 2);
            EXPECT_FAILURE(tFilterBox(&in, &out, radius, 2, nullptr), "ERROR - TImage::copyFrom - size is not equal");
            for (int plane = 0; plane < planesOf(kind); ++plane)
                EXPECT_TRUE(samePixels(before.toMat(plane), out.toMat(plane)));
        }
    }
}

TEST(FilterBoxOfImageTest, FailsForAnImageThatGotNoMemory) {
    for (int plane : {0, 1}) {
        TImage in = randomImage(TImage::IM_C8U, {9, 9});
        TImage out = in;
        in.m_data[plane] = nullptr;
        EXPECT_FAILURE(tFilterBox(&in, &out, 3, 1, nullptr), "ERROR - tFilterBox - in_p has no pixels");
        EXPECT_FAILURE(tFilterBox(&out, &in, 3, 1, nullptr), "ERROR - tFilterBox - out_p has no pixels");
    }
}

TEST(FilterBoxOfImageTest, FailsWithoutAnImage) {
    TImage image(TImage::IM_Y16U, TSize(3, 3));
    EXPECT_FAILURE(tFilterBox(nullptr, &image, 1, 1, nullptr), "ERROR - tFilterBox - !in_p || !out_p");
    EXPECT_FAILURE(tFilterBox(&image, nullptr, 0, 1, nullptr), "ERROR - tFilterBox - !in_p || !out_p");
}

}  // namespace
