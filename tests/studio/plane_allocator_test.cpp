#include "studio/plane_allocator.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace kestrova::studio {
namespace {

class Planes : public testing::Test {
protected:
    Planes() : before(cv::Mat::getDefaultAllocator()) { cv::Mat::setDefaultAllocator(&planes); }
    ~Planes() override { cv::Mat::setDefaultAllocator(before); }

    PlaneAllocator planes;
    cv::MatAllocator* before;
};

TEST_F(Planes, OfAnySizeHoldWhatIsWritten) {
    for (const cv::Size& size :
         {cv::Size(1, 1), cv::Size(1023, 341), cv::Size(1024, 256), cv::Size(2001, 999), cv::Size(4000, 3000)}) {
        cv::Mat plane(size, CV_32SC1);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plane.data) % 64, 0u);
        EXPECT_TRUE(plane.isContinuous());
        for (int y = 0; y < plane.rows; ++y)
            for (int x = 0; x < plane.cols; ++x) plane.at<int>(y, x) = y * plane.cols + x;
        const cv::Mat shared = plane, copy = plane.clone();
        plane.release();
        EXPECT_EQ(shared.at<int>(size.height - 1, size.width - 1), size.area() - 1);
        EXPECT_EQ(cv::norm(shared, copy, cv::NORM_INF), 0);
    }
}

TEST_F(Planes, OfSeveralDimensionsHaveTheirSteps) {
    const int sizes[] = {70, 60, 500};
    const cv::Mat plane(3, sizes, CV_16UC1);
    EXPECT_EQ(plane.step[0], 60 * 500 * sizeof(ushort));
    EXPECT_EQ(plane.step[1], 500 * sizeof(ushort));
    EXPECT_EQ(plane.step[2], sizeof(ushort));
}

TEST_F(Planes, OverMemoryOfOthersLeaveItToThem) {
    std::vector<uchar> own(4 << 20, 7);
    cv::Mat(2048, 2048, CV_8UC1, own.data()).setTo(8);
    EXPECT_EQ(own.back(), 8);
}

TEST_F(Planes, BelowTheLargeOnesAreKeptForTheNext) {
    cv::Mat plane(2048, 2048, CV_8UC1);
    const uchar* const data = plane.data;
    plane.release();
    EXPECT_EQ(planes.m_keptBytes, 4u << 20);
    plane.create(2048, 2000, CV_8UC1);
    EXPECT_EQ(plane.data, data);
    EXPECT_EQ(planes.m_keptBytes, 0u);
}

TEST_F(Planes, AreKeptUpToABound) {
    std::vector<cv::Mat> many;
    for (int i = 0; i < 20; ++i) many.emplace_back(2048, 4096, CV_8UC1);
    many.clear();
    EXPECT_EQ(planes.m_keptBytes, PlaneAllocator::kMostKept);
    cv::Mat(4096, 4096, CV_8UC1).release();
    EXPECT_EQ(planes.m_keptBytes, PlaneAllocator::kMostKept);
}

TEST_F(Planes, OfOtherSizesMakeRoomForThoseThatAreWanted) {
    std::vector<cv::Mat> many;
    for (int i = 0; i < 20; ++i) many.emplace_back(2048, 4096, CV_8UC1);
    many.clear();
    cv::Mat wanted(1024, 7168, CV_8UC1);
    const uchar* data = wanted.data;
    wanted.release();
    EXPECT_EQ(planes.m_keptBytes, PlaneAllocator::kMostKept - (1 << 20));
    EXPECT_EQ(cv::Mat(1024, 7168, CV_8UC1).data, data);
}

TEST_F(Planes, ThatTheSystemRefusesFailAsOpenCvDoes) {
    try {
        cv::Mat(1 << 30, 1 << 30, CV_8UC4);
        FAIL();
    } catch (const cv::Exception& exception) {
        EXPECT_EQ(exception.code, cv::Error::StsNoMem);
    }
    EXPECT_NO_THROW(cv::Mat(4096, 4096, CV_8UC1));
}

}  // namespace
}  // namespace kestrova::studio
