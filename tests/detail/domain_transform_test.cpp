#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "kestrova/detail/domain_transform_workspace.h"
#include "tests/detail/domain_transform_reference.h"
#include "tests/support/failures.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

TEST(DomainTransform, ConstructorSettlesTheThreadsAndPrintsTheCores) {
    const int threads = omp_get_max_threads();
    for (int construction = 0; construction < 2; ++construction) {
        omp_set_num_threads(1);
        omp_set_nested(0);
        omp_set_dynamic(1);
        testing::internal::CaptureStdout();
        const DomainTransformFilter filter(3.5f, 100.0f);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "system has " + std::to_string(omp_get_num_procs()) + " cores\n");
        EXPECT_EQ(omp_get_max_threads(), omp_get_num_procs());
        EXPECT_TRUE(omp_get_nested());
        EXPECT_FALSE(omp_get_dynamic());
        EXPECT_EQ(filter.m_sigmaS, 3.5f);
        EXPECT_EQ(filter.m_sigmaR, 100.0f);
    }
    omp_set_num_threads(threads);
}

TEST(DomainTransform, DifferencesLeaveTheLastColumnUnwritten) {
    const auto filter = quietFilter();
    for (const Size& s : imageSizes()) {
        const cv::Mat in = asSubPlane(testImage(s));
        cv::Mat dx = testImage(s, 9), dy = dx.clone();
        const cv::Mat unwritten = dx.clone();
        EXPECT_TRUE(filter->diffX(in, dx));
        EXPECT_TRUE(filter->diffY(in, dy));
        for (int y = 0; y < s.rows; ++y) {
            for (int x = 0; x < s.cols; ++x) {
                for (int c = 0; c < s.channels; ++c) {
                    const bool lastColumn = x == s.cols - 1, lastRow = y == s.rows - 1;
                    ASSERT_EQ(at(dx, y, x, c),
                              lastColumn ? at(unwritten, y, x, c) : at(in, y, x + 1, c) - at(in, y, x, c));
                    ASSERT_EQ(at(dy, y, x, c),
                              lastColumn || lastRow ? at(unwritten, y, x, c) : at(in, y + 1, x, c) - at(in, y, x, c));
                }
            }
        }
    }
}

TEST(DomainTransform, DifferencesTakeSizeAndTypeOfTheImage) {
    const auto filter = quietFilter();
    const cv::Mat in = testImage({6, 9, 3});
    cv::Mat dx, dy(2, 2, CV_8UC1);
    filter->diffX(in, dx);
    filter->diffY(in, dy);
    EXPECT_EQ(dx.size(), in.size());
    EXPECT_EQ(dx.type(), CV_32FC3);
    EXPECT_EQ(dy.size(), in.size());
    EXPECT_EQ(dy.type(), CV_32FC3);
}

TEST(DomainTransform, SumsOfDifferencesAreZeroInTheLastRowAndColumn) {
    const auto filter = quietFilter();
    for (const Size& s : imageSizes()) {
        const cv::Mat d = asSubPlane(randomPlane(s.rows, s.cols, CV_32FC(s.channels), 4));
        cv::Mat sum(s.rows, s.cols, CV_32FC1, cv::Scalar(5));
        EXPECT_TRUE(filter->sumAbs(d, sum));
        ASSERT_EQ(sum.type(), CV_32FC1);
        for (int y = 0; y < s.rows; ++y) {
            for (int x = 0; x < s.cols; ++x) {
                float expected = 0;
                if (y < s.rows - 1 && x < s.cols - 1)
                    for (int c = 0; c < s.channels; ++c) expected += std::fabs(at(d, y, x, c));
                ASSERT_EQ(at(sum, y, x, 0), expected) << y << ' ' << x;
            }
        }
    }
}

TEST(DomainTransform, RecursivePassRunsForwardThenBackAlongEachRow) {
    const auto filter = quietFilter();
    for (const Size& s : imageSizes()) {
        const cv::Mat image = testImage(s);
        const cv::Mat D = randomPlane(s.rows, s.cols, CV_32FC1, 1, 6, 8);
        cv::Mat expected = image.clone();
        reference::recursivePass(expected, D, 2.5f);
        withThreadCounts([&](int) {
            cv::Mat actual = asSubPlane(image);
            EXPECT_TRUE(filter->recursivePass(actual, asSubPlane(D), 2.5f));
            EXPECT_TRUE(samePixels(expected, actual));
        });
    }
}

// The distance of the step from column 1 to 2 stands at index 1, where the step from column 0 to 1 reads it.
TEST(DomainTransform, ADistanceActsOnTheStepBeforeTheOneThatItMeasures) {
    const auto filter = quietFilter();
    cv::Mat image(1, 3, CV_32FC1), D(1, 3, CV_32FC1, cv::Scalar(1));
    const float pixels[] = {0, 0, 65535};
    for (int x = 0; x < 3; ++x) image.at<float>(0, x) = pixels[x];
    D.at<float>(0, 1) = 1e6f;
    filter->recursivePass(image, D, 8.0f);
    const float v = std::exp(-std::sqrt(2.0f) / 8.0f);
    const float last = 65535 - 65535 * v;
    EXPECT_NEAR(image.at<float>(0, 2), last, 0.1f);
    EXPECT_NEAR(image.at<float>(0, 1), last * v, 0.1f);
    EXPECT_EQ(image.at<float>(0, 0), 0.0f);
}

TEST(DomainTransform, RecursiveFilterIsTheSameBitsAsItsDefinition) {
    const auto filter = quietFilter();
    for (const Size& s : imageSizes()) {
        const cv::Mat in = testImage(s);
        cv::Mat out;
        EXPECT_TRUE(filter->filter(in, out, 0));
        EXPECT_TRUE(samePixels(reference::filterRF(in, kSigmaS, kSigmaR), out))
            << s.rows << "x" << s.cols << "x" << s.channels;
    }
}

TEST(DomainTransform, RecursiveFilterTakesItsWidthsFromItsArguments) {
    const auto filter = quietFilter();
    const cv::Mat in = testImage({64, 48, 2});
    for (const float sigmaS : {4.0f, 11.3f, 32.0f}) {
        for (const float sigmaR : {500.0f, 65535.0f}) {
            cv::Mat out;
            EXPECT_TRUE(filter->filterRF(in, out, sigmaS, sigmaR));
            EXPECT_TRUE(samePixels(reference::filterRF(in, sigmaS, sigmaR), out));
        }
    }
}

TEST(DomainTransform, DistancesOfTheLastRowAndColumnAreThoseOfAFlatStep) {
    const cv::Mat in = testImage({6, 7, 2});
    for (const float sigmaR : {kSigmaR, 0.0f}) {
        const auto filter = quietFilter(kSigmaS, sigmaR);
        cv::Mat out;
        filter->filter(in, out, 0);
        const cv::Mat dH = reference::distances(in, 0, 1, kSigmaS, sigmaR);
        const cv::Mat dV = reference::distances(in, 1, 0, kSigmaS, sigmaR);
        for (int y = 0; y < in.rows; ++y) {
            for (int x = 0; x < in.cols; ++x) {
                const float h = at(filter->m_workspace->dH, y, x, 0), v = at(filter->m_workspace->dV, y, x, 0);
                const bool noNumber = sigmaR == 0 && (y == in.rows - 1 || x == in.cols - 1);  // infinity times 0
                EXPECT_TRUE(noNumber ? std::isnan(h) : h == at(dH, y, x, 0)) << x << ", " << y;
                EXPECT_TRUE(noNumber ? std::isnan(v) : v == at(dV, y, x, 0)) << x << ", " << y;
            }
        }
    }
}

TEST(DomainTransform, RecursiveFilterFollowsEdgesOfModerateContrast) {
    const auto filter = quietFilter();
    const cv::Mat in = randomPlane(40, 70, CV_32FC2, 32000, 33000, 6);
    cv::Mat out;
    filter->filter(in, out, 0);
    EXPECT_TRUE(samePixels(reference::filterRF(in, kSigmaS, kSigmaR), out));
}

TEST(DomainTransform, ResultsDoNotDependOnThreads) {
    const auto filter = quietFilter();
    const cv::Mat in = testImage({227, 301, 2});
    const cv::Mat recursive = reference::filterRF(in, kSigmaS, kSigmaR);
    const cv::Mat convolution = reference::filterNC(in, kSigmaS, kSigmaR);
    withThreadCounts([&](int) {
        cv::Mat out;
        filter->filter(in, out, 0);
        EXPECT_TRUE(samePixels(recursive, out));
        filter->filter(in, out, 1);
        EXPECT_TRUE(samePixels(convolution, out));
    });
}

TEST(DomainTransform, FiltersInPlaceWithTheSameResult) {
    const auto filter = quietFilter();
    for (int mode : {0, 1}) {
        const cv::Mat in = testImage({48, 64, 3});
        cv::Mat out, same = asSubPlane(in);
        filter->filter(in, out, mode);
        filter->filter(same, same, mode);
        EXPECT_TRUE(samePixels(out, same));
    }
}

TEST(DomainTransform, OutputThatFitsKeepsItsPixelsInPlace) {
    const auto filter = quietFilter();
    for (int mode : {0, 1}) {
        const cv::Mat in = asSubPlane(testImage({17, 33, 2}));
        cv::Mat expected, out = asSubPlane(testImage({17, 33, 2}, 9));
        filter->filter(in, expected, mode);
        const uchar* data = out.data;
        filter->filter(in, out, mode);
        EXPECT_EQ(out.data, data);
        EXPECT_TRUE(samePixels(expected, out));
    }
}

TEST(DomainTransform, ConstantImageStaysAsItIs) {
    const auto filter = quietFilter();
    const cv::Mat in(30, 40, CV_32FC2, cv::Scalar(12345.678, 40000.1));
    cv::Mat out;
    filter->filter(in, out, 0);
    EXPECT_TRUE(samePixels(in, out));
}

TEST(DomainTransform, SigmasOfTheRoundsAreProductsOfThoseBefore) {
    const auto filter = quietFilter();
    const cv::Mat in = randomPlane(1, 64, CV_32FC1, 0, 65535, 2);
    cv::Mat out, expected = in.clone();
    filter->filter(in, out, 0);
    const cv::Mat flat(1, 64, CV_32FC1, cv::Scalar(1));
    for (double sigma : {8 * 0.872872, 8 * 0.872872 * 0.436436, 8 * 0.872872 * 0.436436 * 0.218218})
        reference::recursivePass(expected, flat, static_cast<float>(sigma));
    // The widths above are rounded to six digits.
    EXPECT_TRUE(closePixels(expected, out, 0.2));
    EXPECT_NEAR(8 * 0.872872, 6.98, 0.01);
    EXPECT_NEAR(8 * 0.872872 * 0.436436, 3.05, 0.01);
    EXPECT_NEAR(8 * 0.872872 * 0.436436 * 0.218218, 0.665, 0.001);
}

TEST(DomainTransform, OneColumnIsFilteredAlongItsLength) {
    const auto filter = quietFilter();
    const cv::Mat column = randomPlane(64, 1, CV_32FC2, 0, 65535, 2);
    cv::Mat out, outOfRow;
    filter->filter(column, out, 0);
    filter->filter(reference::transposed(column), outOfRow, 0);
    EXPECT_TRUE(samePixels(reference::transposed(outOfRow), out));
    EXPECT_FALSE(samePixels(column, out));
}

TEST(DomainTransform, OneRowIgnoresItsEdges) {
    const auto filter = quietFilter(8.0f, 1e-3f);
    const auto blind = quietFilter(8.0f, 1e9f);
    const cv::Mat row = randomPlane(1, 64, CV_32FC2, 0, 65535, 2);
    cv::Mat out, plain;
    filter->filter(row, out, 0);
    blind->filter(row, plain, 0);
    EXPECT_TRUE(samePixels(plain, out));
}

TEST(DomainTransform, OtherModesDoNothing) {
    const auto filter = quietFilter();
    const cv::Mat in = testImage({5, 6, 2});
    for (int mode : {2, 3, -1}) {
        cv::Mat out = randomPlane(3, 4, CV_8UC1);
        const cv::Mat before = out.clone();
        EXPECT_TRUE(filter->filter(in, out, mode));
        EXPECT_TRUE(samePixels(before, out));
        EXPECT_TRUE(filter->filter(cv::Mat(2, 2, CV_8UC1), out, mode));
    }
}

TEST(DomainTransform, EmptyImagesAreLeftAlone) {
    const auto filter = quietFilter();
    for (int mode : {0, 1}) {
        cv::Mat empty(0, 0, CV_32FC2), out;
        EXPECT_TRUE(filter->filter(empty, out, mode));
        EXPECT_TRUE(out.empty());
    }
    cv::Mat none(0, 5, CV_32FC2), noDistances(0, 5, CV_32FC1), noColumns(5, 0, CV_32FC1);
    EXPECT_TRUE(filter->recursivePass(none, noDistances, 3.0f));
    EXPECT_TRUE(filter->recursivePass(noColumns, noColumns, 3.0f));
    EXPECT_TRUE(filter->boxPass(none, noDistances, 3.0f));
    EXPECT_TRUE(filter->boxPass(noColumns, noColumns, 3.0f));
    cv::Mat d, first(0, 0, CV_16UC1), second(0, 0, CV_16UC1);
    EXPECT_TRUE(filter->diffX(noColumns, d) && filter->diffY(noColumns, d) && filter->sumAbs(noColumns, d));
    EXPECT_TRUE(filter->diffX(none, d) && filter->diffY(none, d) && filter->sumAbs(none, d));
    EXPECT_TRUE(filter->filterPair(first, second));
}

TEST(DomainTransform, FilterRefusesWhatIsNotFloat) {
    const auto filter = quietFilter();
    const cv::Mat in = randomPlane(4, 5, CV_16UC2);
    cv::Mat out;
    const char* text = "ERROR - DomainTransformFilter::filter - in.depth()!=CV_32F";
    EXPECT_FAILURE(filter->filter(in, out, 0), text);
    EXPECT_FAILURE(filter->filter(in, out, 1), text);
    EXPECT_FAILURE(filter->diffX(in, out), text);
    EXPECT_FAILURE(filter->diffY(in, out), text);
    EXPECT_FAILURE(filter->sumAbs(in, out), text);
    const int sizes[] = {2, 3, 4};
    EXPECT_FAILURE(filter->filter(cv::Mat(3, sizes, CV_32FC1), out, 0), "ERROR - plane - dims>2");
    EXPECT_FAILURE(filter->filter(randomPlane(4, 5, CV_32FC(5)), out, 1),
                   "ERROR - DomainTransformFilter::filterNC - in.channels()>4");
    EXPECT_TRUE(out.empty());
}

TEST(DomainTransform, PassesRefuseDistancesThatDoNotFit) {
    const auto filter = quietFilter();
    cv::Mat image = testImage({4, 5, 2});
    const cv::Mat before = image.clone();
    for (const cv::Mat& wrong : {cv::Mat(4, 4, CV_32FC1), cv::Mat(3, 5, CV_32FC1), cv::Mat(4, 5, CV_32FC2)}) {
        EXPECT_FAILURE(filter->recursivePass(image, wrong, 2.0f),
                       "ERROR - DomainTransformFilter::recursivePass - D does not fit the image");
        EXPECT_FAILURE(filter->boxPass(image, wrong, 2.0f),
                       "ERROR - DomainTransformFilter::boxPass - ct does not fit the image");
    }
    EXPECT_TRUE(samePixels(before, image));
}

TEST(DomainTransform, SigmasThatMakeNoSenseAreHarmless) {
    const cv::Mat in = testImage({9, 13, 3});
    for (float sigmaS : {0.0f, -1.0f, 1e-30f, 3e38f, INFINITY, std::nanf("")}) {
        for (float sigmaR : {0.0f, -1.0f, 1e-30f, 3e38f, INFINITY, std::nanf("")}) {
            const auto filter = quietFilter(sigmaS, sigmaR);
            for (int mode : {0, 1}) {
                cv::Mat out;
                EXPECT_TRUE(filter->filter(in, out, mode));
                EXPECT_EQ(out.size(), in.size());
            }
            cv::Mat first = randomPlane(9, 13, CV_16UC1, 5), second = randomPlane(9, 13, CV_16UC1, 6);
            EXPECT_TRUE(filter->filterPair(first, second));
        }
    }
}
