#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kestrova/detail/block_processor.h"
#include "kestrova/detail/domain_transform_workspace.h"
#include "tests/detail/domain_transform_reference.h"
#include "tests/support/failures.h"
#include "tests/support/regions.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

TEST(DomainTransform, PairIsTheSameBitsAsInterleavingConvertingAndFiltering) {
    for (const float sigmaS : {4.0f, 8.0f, 32.0f}) {
        const auto filter = quietFilter(sigmaS);
        for (const double contrast : {65535.0, 3000.0}) {
            for (const cv::Size& s : testSizes()) {
                if (sigmaS != kSigmaS && s.width > 64) continue;
                const cv::Mat first = randomPlane(s.height, s.width, CV_16UC1, 65535 - contrast, 65535, 5);
                const cv::Mat second = randomPlane(s.height, s.width, CV_16UC1, 0, contrast, 6);
                cv::Mat expectedFirst = first.clone(), expectedSecond = second.clone();
                reference::filterPair(expectedFirst, expectedSecond, sigmaS, kSigmaR);
                cv::Mat actualFirst = asSubPlane(first), actualSecond = asSubPlane(second);
                EXPECT_TRUE(filter->filterPair(actualFirst, actualSecond));
                EXPECT_TRUE(samePixels(expectedFirst, actualFirst));
                EXPECT_TRUE(samePixels(expectedSecond, actualSecond));
            }
        }
    }
}

TEST(DomainTransform, PairDoesNotDependOnThreads) {
    const auto filter = quietFilter();
    const cv::Mat first = randomPlane(301, 227, CV_16UC1, 5), second = randomPlane(301, 227, CV_16UC1, 6);
    cv::Mat expectedFirst = first.clone(), expectedSecond = second.clone();
    reference::filterPair(expectedFirst, expectedSecond, kSigmaS, kSigmaR);
    withThreadCounts([&](int) {
        cv::Mat actualFirst = first.clone(), actualSecond = second.clone();
        filter->filterPair(actualFirst, actualSecond);
        EXPECT_TRUE(samePixels(expectedFirst, actualFirst));
        EXPECT_TRUE(samePixels(expectedSecond, actualSecond));
    });
}

TEST(DomainTransform, PairKeepsItsPlanesAndTables) {
    const auto filter = quietFilter();
    cv::Mat first = randomPlane(200, 300, CV_16UC1, 5), second = randomPlane(200, 300, CV_16UC1, 6);
    filter->filterPair(first, second);
    const auto kept = [&] {
        const DomainTransformFilter::Workspace& w = *filter->m_workspace;
        return std::vector<const void*>{w.smoothings[0].m_image.row(0), w.smoothings[0].m_sumX.lows.row(0),
                                        w.scratch[0].m_lines.row(0), w.tables[0].data()};
    };
    const std::vector<const void*> before = kept();
    filter->filterPair(first, second);
    EXPECT_EQ(before, kept());
}

TEST(DomainTransform, ABlockIsOneRegion) {
    if (!kRegionsAreCounted) GTEST_SKIP() << "not libgomp";
    const KeepThreadSettings keep;
    omp_set_num_threads(4);
    const auto filter = quietFilter();
    cv::Mat first = randomPlane(200, 300, CV_16UC1, 5), second = randomPlane(200, 300, CV_16UC1, 6);
    EXPECT_EQ(regionsOf([&] { filter->filterPair(first, second); }).count, 1);
}

TEST(DomainTransform, BlocksAtOnceGetWhatEachGetsAlone) {
    const cv::Size size(75, 90);
    std::vector<cv::Mat> first, second, expectedFirst, expectedSecond;
    for (int i = 0; i < 7; ++i) {
        first.push_back(randomPlane(size.height, size.width, CV_16UC1, 10 + i));
        second.push_back(randomPlane(size.height, size.width, CV_16UC1, 30 + i));
        expectedFirst.push_back(first.back().clone());
        expectedSecond.push_back(second.back().clone());
        reference::filterPair(expectedFirst.back(), expectedSecond.back(), kSigmaS, kSigmaR);
    }
    withThreadCounts([&](int threads) {
        const auto filter = quietFilter();
        for (const int count : {1, 2, 7}) {
            std::vector<PlacedBlock> blocks;
            std::vector<cv::Mat> out;
            for (int i = 0; i < count; ++i) {
                for (int p = 0; p < 2; ++p) out.emplace_back(size, CV_16UC1);
                blocks.push_back({size, 0, {first[i], second[i]}, {{}, {}}, {out[2 * i], out[2 * i + 1]}, {}});
            }
            filter->filterPairs(blocks);
            for (int i = 0; i < count; ++i) {
                EXPECT_TRUE(samePixels(expectedFirst[i], out[2 * i])) << threads << " threads, " << count << " blocks";
                EXPECT_TRUE(samePixels(expectedSecond[i], out[2 * i + 1]));
            }
        }
    });
}

// A block as large as its planes and larger, with columns that the block before has too.
TEST(DomainTransform, ABlockGoesToItsPlacesAndNowhereElse) {
    const auto filter = quietFilter();
    for (const cv::Size& planes : {cv::Size(40, 33), cv::Size(48, 48), cv::Size(3, 1)}) {
        const cv::Size size(48, 48);
        const cv::Mat first = randomPlane(planes.height, planes.width, CV_16UC1, 5);
        const cv::Mat second = randomPlane(planes.height, planes.width, CV_16UC1, 6);
        cv::Mat whole[2];
        const cv::Mat real[2] = {first, second};
        for (int p = 0; p < 2; ++p)
            cv::copyMakeBorder(real[p], whole[p], 0, size.height - planes.height, 0, size.width - planes.width,
                               cv::BORDER_REPLICATE);
        reference::filterPair(whole[0], whole[1], kSigmaS, kSigmaR);
        for (const int shared : {0, 1, 16, 17, 38}) {
            if (shared >= planes.width) continue;
            std::vector<cv::Mat> left, own, margins;
            for (int p = 0; p < 2; ++p) {
                left.emplace_back(size.height, shared, CV_16UC1, cv::Scalar(7));
                margins.emplace_back(planes.height + 2, planes.width - shared + 2, CV_16UC1, cv::Scalar(7));
                own.push_back(margins[p](cv::Rect(1, 1, planes.width - shared, planes.height)));
            }
            const std::vector<float> weights(static_cast<std::size_t>(shared), 0.5f);
            filter->filterPairs({{size, 0, {first, second}, left, own, weights}});
            for (int p = 0; p < 2; ++p) {
                const cv::Mat expected = whole[p].rowRange(0, planes.height);
                EXPECT_TRUE(samePixels(expected.colRange(shared, planes.width).clone(), own[p])) << shared;
                if (shared > 0) {
                    EXPECT_TRUE(samePixels(expected.colRange(0, shared).clone(), left[p].rowRange(0, planes.height)));
                }
                cv::Mat outside(margins[p].size(), CV_8UC1, cv::Scalar(1));
                outside(cv::Rect(1, 1, planes.width - shared, planes.height)).setTo(0);
                EXPECT_EQ(cv::countNonZero((margins[p] != 7) & (outside != 0)), 0) << shared;
            }
        }
    }
}

TEST(DomainTransform, PairRefusesPlanesThatDoNotFit) {
    const auto filter = quietFilter();
    cv::Mat plane = randomPlane(4, 5, CV_16UC1), other = randomPlane(5, 4, CV_16UC1), bytes(4, 5, CV_8UC1);
    const cv::Mat before = plane.clone();
    EXPECT_FAILURE(filter->filterPair(plane, bytes),
                   "ERROR - DomainTransformFilter::filterPair - first.type()!=CV_16UC1 || second.type()!=CV_16UC1");
    EXPECT_FAILURE(filter->filterPair(bytes, plane),
                   "ERROR - DomainTransformFilter::filterPair - first.type()!=CV_16UC1 || second.type()!=CV_16UC1");
    EXPECT_FAILURE(filter->filterPair(plane, other),
                   "ERROR - DomainTransformFilter::filterPair - first.size()!=second.size()");
    EXPECT_TRUE(samePixels(before, plane));
}
