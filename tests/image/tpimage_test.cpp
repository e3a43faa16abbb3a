#include "kestrova/image/tpimage.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>

#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

TPImage randomImage(int width, int height) {
    TPImage image(width, height);
    randomPlane(height, width, CV_16UC1, 1).copyTo(image.m_Y);
    randomPlane(image.hHeight(), image.hWidth(), CV_16UC1, 2).copyTo(image.m_Dr);
    randomPlane(image.hHeight(), image.hWidth(), CV_16UC1, 3).copyTo(image.m_Db);
    randomPlane(image.hHeight(), image.hWidth(), CV_8UC1, 4).copyTo(image.m_mask);
    return image;
}

std::vector<cv::Mat> planesOf(const TPImage& image) { return {image.m_Y, image.m_Dr, image.m_Db, image.m_mask}; }

TEST(TPImageTest, StartsEmpty) {
    const TPImage image;
    EXPECT_TRUE(image.bEmpty());
    EXPECT_EQ(image.width(), 0);
    EXPECT_EQ(image.height(), 0);
    EXPECT_EQ(image.hWidth(), 0);
    EXPECT_EQ(image.hHeight(), 0);
    for (const cv::Mat& plane : planesOf(image)) EXPECT_TRUE(plane.empty());
    EXPECT_TRUE(TPImage(0, 0).bEmpty());
}

TEST(TPImageTest, HalfRoundsUpAndTruncatesBelowZero) {
    EXPECT_EQ(TPImage::half(7), 4);
    EXPECT_EQ(TPImage::half(8), 4);
    EXPECT_EQ(TPImage::half(1), 1);
    EXPECT_EQ(TPImage::half(0), 0);
    EXPECT_EQ(TPImage::half(-1), 0);
    EXPECT_EQ(TPImage::half(-3), -1);
    EXPECT_EQ(TPImage::half(-4), -2);
    EXPECT_EQ(TPImage::half(INT_MAX), 1 << 30);
}

TEST(TPImageTest, AnOddSizeHasHalfPlanesRoundedUp) {
    const TPImage image(7, 5);
    EXPECT_FALSE(image.bEmpty());
    EXPECT_EQ(image.m_Y.size(), cv::Size(7, 5));
    EXPECT_EQ(image.m_Y.type(), CV_16UC1);
    for (const cv::Mat* plane : {&image.m_Dr, &image.m_Db}) {
        EXPECT_EQ(plane->size(), cv::Size(4, 3));
        EXPECT_EQ(plane->type(), CV_16UC1);
    }
    EXPECT_EQ(image.m_mask.size(), cv::Size(4, 3));
    EXPECT_EQ(image.m_mask.type(), CV_8UC1);
    EXPECT_EQ(image.hWidth(), 4);
    EXPECT_EQ(image.hHeight(), 3);
}

TEST(TPImageTest, EmptinessIsTheProductAsA32BitNumber) {
    TPImage image;
    ushort pixel = 0;
    // A plane of one pixel repeated: there are no 65536 rows without a step, so the header lies about its size.
    image.m_Y = cv::Mat(1, 1, CV_16UC1, &pixel);
    EXPECT_FALSE(image.bEmpty());
    image.m_Y.rows = image.m_Y.cols = 65536;
    EXPECT_TRUE(image.bEmpty());
    image.m_Y.rows = image.m_Y.cols = 46341;
    EXPECT_TRUE(image.bEmpty());
    image.m_Y.rows = image.m_Y.cols = 46340;
    EXPECT_FALSE(image.bEmpty());
    image.m_Y.rows = image.m_Y.cols = 1;
}

TEST(TPImageTest, CreateWithAnUnchangedSizeLooksAtNothingElse) {
    TPImage image(8, 6);
    image.m_Dr.release();
    image.m_Db.release();
    image.m_mask.release();
    const uchar* data = image.m_Y.data;
    image.create(8, 6, true);
    EXPECT_EQ(image.m_Y.data, data);
    EXPECT_TRUE(image.m_Dr.empty());
    EXPECT_TRUE(image.m_Db.empty());
    EXPECT_TRUE(image.m_mask.empty());
    image.create(8, 7, false);
    EXPECT_EQ(image.m_Y.size(), cv::Size(8, 7));
    EXPECT_EQ(image.m_Dr.size(), cv::Size(4, 4));
    EXPECT_EQ(image.m_Db.size(), cv::Size(4, 4));
    EXPECT_EQ(image.m_mask.size(), cv::Size(4, 4));
}

TEST(TPImageTest, CreateKeepsHalfPlanesThatHaveTheirSize) {
    TPImage image(8, 6);
    const uchar* data = image.m_Dr.data;
    image.m_Dr.setTo(5);
    image.create(7, 5, true);
    EXPECT_EQ(image.m_Dr.data, data);
    EXPECT_EQ(image.m_Dr.at<ushort>(2, 3), 5);
}

TEST(TPImageTest, ANegativeSizeIsOpenCVsFailure) {
    const int count = TPImage::m_count;
    EXPECT_THROW(TPImage(-3, 5), cv::Exception);
    EXPECT_EQ(TPImage::m_count, count);
}

TEST(TPImageTest, IdentityIsTheNumberOfLiveImagesTimes512) {
    const int before = TPImage::m_count;
    int first;
    {
        const TPImage a, b(3, 3), c(b);
        EXPECT_EQ(TPImage::m_count, before + 3);
        EXPECT_EQ(a.uid(), (before + 1) << 9);
        EXPECT_EQ(b.uid(), (before + 2) << 9);
        EXPECT_EQ(c.uid(), (before + 3) << 9);
        first = a.uid();
    }
    EXPECT_EQ(TPImage::m_count, before);
    EXPECT_EQ(TPImage().uid(), first);
}

TEST(TPImageTest, UpdatingCountsInTheIdentity) {
    TPImage image;
    const int uid = image.uid();
    image.updateUid();
    image.updateUid();
    EXPECT_EQ(image.uid(), uid + 2);
    EXPECT_EQ(image.m_uid, uid + 2);
}

TEST(TPImageTest, CopyAndAssignmentSharePixels) {
    TPImage image = randomImage(7, 5);
    const TPImage copy(image);
    TPImage assigned(2, 2);
    const int uid = assigned.uid();
    const TPImage& result = (assigned = image);
    EXPECT_EQ(&result, &assigned);
    EXPECT_EQ(assigned.uid(), uid);
    EXPECT_NE(copy.uid(), image.uid());
    for (std::size_t p = 0; p < 4; ++p) {
        EXPECT_EQ(planesOf(copy)[p].data, planesOf(image)[p].data);
        EXPECT_EQ(planesOf(assigned)[p].data, planesOf(image)[p].data);
    }
    image.m_Dr.at<ushort>(1, 1) = 4711;
    EXPECT_EQ(assigned.m_Dr.at<ushort>(1, 1), 4711);
}

TEST(TPImageTest, ReleaseLetsGoOfThePlanesOnly) {
    TPImage image = randomImage(7, 5);
    const TPImage other(image);
    const int uid = image.uid();
    image.release();
    EXPECT_TRUE(image.bEmpty());
    for (const cv::Mat& plane : planesOf(image)) EXPECT_TRUE(plane.empty());
    EXPECT_EQ(image.uid(), uid);
    for (const cv::Mat& plane : planesOf(other)) EXPECT_FALSE(plane.empty());
}

TEST(TPImageTest, CloneIsPrivateAndLeavesLuminanceOutOnRequest) {
    const TPImage image = randomImage(7, 5);
    const int count = TPImage::m_count;
    const TPImage whole = image.clone(true), chroma = image.clone(false);
    EXPECT_EQ(whole.uid(), (count + 1) << 9);
    EXPECT_EQ(chroma.uid(), (count + 2) << 9);
    for (std::size_t p = 0; p < 4; ++p) {
        EXPECT_TRUE(samePixels(planesOf(image)[p], planesOf(whole)[p]));
        EXPECT_NE(planesOf(image)[p].data, planesOf(whole)[p].data);
        if (p == 0) continue;
        EXPECT_TRUE(samePixels(planesOf(image)[p], planesOf(chroma)[p]));
    }
    EXPECT_TRUE(chroma.bEmpty());
}

TEST(TPImageTest, CopyToIsPrivateAndKeepsTheIdentity) {
    const TPImage image = randomImage(7, 5);
    TPImage whole, chroma(9, 9);
    const int uid = whole.uid();
    image.copyTo(whole, true);
    image.copyTo(chroma, false);
    EXPECT_EQ(whole.uid(), uid);
    for (std::size_t p = 0; p < 4; ++p) {
        EXPECT_TRUE(samePixels(planesOf(image)[p], planesOf(whole)[p]));
        EXPECT_NE(planesOf(image)[p].data, planesOf(whole)[p].data);
        if (p == 0) continue;
        EXPECT_TRUE(samePixels(planesOf(image)[p], planesOf(chroma)[p]));
    }
    EXPECT_EQ(chroma.width(), 9);
}

// A rectangle, step by step.

// ---- Hosts of several threads, and planes without memory

TEST(TPImageTest, SeveralThreadsMakeAndDestroyImages) {
    const int before = TPImage::m_count;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([before] {
            for (int i = 0; i < 20000; ++i) {
                TPImage image;
                const TPImage copy(image);
                const int uid = image.uid();
                EXPECT_EQ(uid & 511, 0);
                EXPECT_GT(uid, before << 9);
                image.updateUid();
                EXPECT_EQ(image.uid(), uid + 1);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(TPImage::m_count, before);
}

TEST(TPImageTest, AnImageWhoseLuminanceHasNoMemoryIsEmptyAndCreatedAnew) {
    TPImage image;
    image.m_Y.create(4, 6, CV_16UC1);
    image.m_Y.data = nullptr;
    EXPECT_TRUE(image.bEmpty());
    image.create(6, 4);
    EXPECT_FALSE(image.bEmpty());
    EXPECT_EQ(image.m_Dr.size(), cv::Size(3, 2));
    image.m_Y.at<ushort>(3, 5) = 1;
}

}  // namespace
