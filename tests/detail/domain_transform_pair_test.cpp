#include <gtest/gtest.h>

#include "kestrova/detail/domain_transform_passes.h"
#include "tests/detail/domain_transform_reference.h"
#include "tests/support/failures.h"
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
    const DomainTransformFilter::Workspace& w = *filter->m_workspace;
    const std::vector<const void*> before = {w.pair.data, w.sumX.data, w.sumY.data, w.V.data, w.tables[0].data()};
    filter->filterPair(first, second);
    const std::vector<const void*> after = {w.pair.data, w.sumX.data, w.sumY.data, w.V.data, w.tables[0].data()};
    EXPECT_EQ(before, after);
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
