#include <gtest/gtest.h>

#include <cstring>

#include "kestrova/image/timage.h"
#include "tests/image/timage_planes.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

TEST(TImagePixels, FromMatCopiesIntoThePlaneOfItsType) {
    for (const cv::Size& s : testSizes()) {
        const cv::Mat words = asSubPlane(randomPlane(s.height, s.width, CV_16UC1));
        const cv::Mat bytes = asSubPlane(randomPlane(s.height, s.width, CV_8UC1)), more = ~bytes;
        const TSize size(s.width, s.height);
        TImage y(TImage::IM_Y16U, size), c(TImage::IM_C8U, size), m(TImage::IM_M8U, size);
        const TUpdateRect stamp = y.updateRect();
        y.fromMat(words, 3);
        EXPECT_TRUE(samePixels(words, y.toMat(0)));
        EXPECT_TRUE(y.updateRect() == stamp);
        c.fromMat(bytes, 0);
        c.fromMat(more, 1);
        EXPECT_TRUE(samePixels(bytes, c.toMat(0)));
        EXPECT_TRUE(samePixels(more, c.toMat(1)));
        c.fromMat(bytes, 7);
        EXPECT_TRUE(samePixels(bytes, c.toMat(1)));
        m.fromMat(more, -2);
        EXPECT_TRUE(samePixels(more, m.toMat(0)));
    }
}

TEST(TImagePixels, FromMatRefusesOtherSizesFirstAndThenOtherTypes) {
    const char* const size = "ERROR - TImage::copyFrom - size is not equal";
    const char* const type = "ERROR - TImage::copyFrom - type not match";
    TImage y(TImage::IM_Y16U, TSize(4, 3)), c(TImage::IM_C8U, TSize(4, 3)), m(TImage::IM_M8U, TSize(4, 3));
    TImage rgba8(TImage::IM_RGBA8U, TSize(4, 3)), rgba16(TImage::IM_RGBA16U, TSize(4, 3));
    EXPECT_FAILURE(y.fromMat(cv::Mat(4, 3, CV_8UC1), 0), size);
    EXPECT_FAILURE(y.fromMat(cv::Mat(3, 5, CV_16UC1), 0), size);
    EXPECT_FAILURE(y.fromMat(cv::Mat(4, 4, CV_16UC1), 0), size);
    EXPECT_FAILURE(y.fromMat(cv::Mat(3, 4, CV_8UC1), 0), type);
    EXPECT_FAILURE(y.fromMat(cv::Mat(3, 4, CV_32FC1), 0), type);
    EXPECT_FAILURE(y.fromMat(cv::Mat(3, 4, CV_16SC1), 0), type);
    EXPECT_FAILURE(y.fromMat(cv::Mat(3, 4, CV_16UC3), 0), type);
    EXPECT_FAILURE(c.fromMat(cv::Mat(3, 4, CV_8UC3), 0), type);
    EXPECT_FAILURE(m.fromMat(cv::Mat(3, 4, CV_8UC2), 0), type);
    EXPECT_FAILURE(c.fromMat(cv::Mat(3, 4, CV_16UC1), 0), type);
    EXPECT_FAILURE(m.fromMat(cv::Mat(3, 4, CV_16UC1), 0), type);
    EXPECT_FAILURE(rgba8.fromMat(cv::Mat(3, 4, CV_8UC4), 0), type);
    EXPECT_FAILURE(rgba8.fromMat(cv::Mat(3, 4, CV_8UC1), 0), type);
    EXPECT_FAILURE(rgba16.fromMat(cv::Mat(3, 4, CV_16UC1), 0), type);
    EXPECT_FAILURE(c.fromMat(cv::Mat(3, 4, CV_8UC1), -1), "ERROR - TImage - plane<0");
}

TEST(TImagePixels, ToMatIsAHeaderOnThePixels) {
    for (TImage::IMTYPE type : kKinds) {
        const TImage image(type, TSize(5, 3));
        const cv::Mat mat = image.toMat(0);
        EXPECT_EQ(mat.type(), matTypeOf(type));
        EXPECT_EQ(mat.size(), cv::Size(5, 3));
        EXPECT_EQ(mat.step, static_cast<std::size_t>(image.step()));
        EXPECT_EQ(static_cast<const void*>(mat.data), image.dataPtr(0, 0, 0));
        EXPECT_EQ(mat.u, nullptr);
        EXPECT_EQ(static_cast<const void*>(image.toMat(5).data), image.dataPtr(0, 0, planeCountOf(type) - 1));
        if (type == TImage::IM_C8U)
            EXPECT_FAILURE(image.toMat(-1), "ERROR - TImage - plane<0");
        else
            EXPECT_EQ(image.toMat(-1).data, mat.data);
    }
}

TEST(TImagePixels, UnknownKindHasNoPixels) {
    const TImage image(static_cast<TImage::IMTYPE>(7), TSize(5, 3));
    EXPECT_EQ(image.m_data[0], nullptr);
    EXPECT_TRUE(image.toMat(0).empty());
    TImage other = randomImage(TImage::IM_RGBA8U, 5, 3);
    other.m_type = static_cast<TImage::IMTYPE>(7);
    EXPECT_TRUE(other.toMat(0).empty());
    EXPECT_EQ(other.toMat(0).size(), cv::Size());
    EXPECT_EQ(other.toMat(0).type(), cv::Mat().type());
}

TEST(TImagePixels, FromMatIntoAnImageWithoutMemoryIsAFailure) {
    TImage image(TImage::IM_C8U, TSize(4, 3));
    image.m_data[1] = nullptr;
    EXPECT_FAILURE(image.fromMat(cv::Mat(3, 4, CV_8UC1, cv::Scalar(0)), 1), "ERROR - TImage - plane==NULL");
    cv::Mat none(3, 4, CV_8UC1);
    none.data = nullptr;
    EXPECT_FAILURE(image.fromMat(none, 0), "ERROR - TImage::fromMat - m.data==NULL");
}

TEST(TImagePixels, DataPtrGoesBySteps) {
    for (TImage::IMTYPE type : kKinds) {
        TImage image(type, TSize(70, 30));
        for (int p = 0; p < planeCountOf(type); ++p) {
            EXPECT_EQ(image.dataPtr(0, 0, p), image.m_data[p]);
            EXPECT_EQ(image.dataPtr(29, 69, p), image.m_data[p] + 29 * image.step() + 69 * pixelBytesOf(type));
            EXPECT_EQ(static_cast<const TImage&>(image).dataPtr(2, 3, p), image.dataPtr(2, 3, p));
        }
    }
}

TEST(TImagePixels, OffsetsOfPixelsAreOf32Bits) {
    uchar pixel[4] = {};
    TImage view(TSize(1, 1), pixel, 1 << 30, false);
    EXPECT_EQ(view.dataPtr(4, 1 << 30, 0), reinterpret_cast<char*>(pixel));
}

TEST(TImagePixels, RedAndBlueChangePlacesInPlace) {
    for (const cv::Size& s : testSizes())
        for (TImage::IMTYPE type : {TImage::IM_RGBA8U, TImage::IM_RGBA16U})
            withThreadCounts([&](int) {
                TImage image = randomImage(type, s.width, s.height);
                const cv::Mat before = image.toMat(0).clone();
                const TUpdateRect stamp = image.updateRect();
                image.swapC4RBCannel();
                EXPECT_TRUE(samePixels(swapped(before), image.toMat(0)));
                EXPECT_TRUE(image.updateRect() == stamp);
            });
}

TEST(TImagePixels, RedAndBlueOfAViewChangePlacesWithinItsRowsAlone) {
    cv::Mat whole = randomPlane(6, 9, CV_16UC4);
    cv::Mat part = whole(cv::Rect(2, 1, 5, 4));
    cv::Mat expected = whole.clone();
    swapped(part).copyTo(expected(cv::Rect(2, 1, 5, 4)));
    TImage(TSize(5, 4), part.ptr<ushort>(), static_cast<int>(part.step), false).swapC4RBCannel();
    EXPECT_TRUE(samePixels(expected, whole));
}

TEST(TImagePixels, PixelsWhoseNumberDoesNotFitIn32BitsStayInPlace) {
    for (const TSize& size : {TSize(1 << 16, 1 << 16), TSize(1 << 16, 1 << 15)}) {
        uchar pixel[4] = {1, 2, 3, 4};
        const TImage view(size, pixel, 1 << 18, true);
        EXPECT_EQ(pixel[0], 1);
        EXPECT_EQ(pixel[2], 3);
        EXPECT_TRUE(view.size() == size);
    }
}

TEST(TImagePixels, OnlyInterleavedKindsHaveRedAndBlue) {
    for (TImage::IMTYPE type : {TImage::IM_Y16U, TImage::IM_C8U, TImage::IM_M8U}) {
        EXPECT_FAILURE(TImage(type, TSize(2, 2)).swapC4RBCannel(), "ERROR -  TImage::swapC4RBCannel() - wrong type");
        EXPECT_NO_THROW(TImage(type, TSize()).swapC4RBCannel());
    }
}

TEST(TImagePixels, HalfSizesRoundUp) {
    EXPECT_TRUE(TImage::dec2Size(TSize(0, 1)) == TSize(0, 1));
    EXPECT_TRUE(TImage::dec2Size(TSize(5, 4)) == TSize(3, 2));
    EXPECT_TRUE(TImage::dec2Size(TSize(-5, -4)) == TSize(-2, -2));
    EXPECT_TRUE(TImage::dec2Size(TSize(2147483647, 2147483646)) == TSize(1 << 30, 1073741823));
}

TEST(TImagePixels, HalvedLuminanceIsTheTruncatedMeanOfWholeBlocks) {
    for (const cv::Size& s : testSizes())
        withThreadCounts([&](int) {
            const TImage y = randomImage(TImage::IM_Y16U, s.width, s.height);
            const cv::Mat words = y.toMat(0);
            cv::Mat expected(s.height / 2, s.width / 2, CV_8UC1);
            for (int i = 0; i < s.height / 2; ++i)
                for (int j = 0; j < s.width / 2; ++j) {
                    int sum = 0;
                    for (int k = 0; k < 4; ++k) sum += words.at<ushort>(2 * i + k / 2, 2 * j + k % 2);
                    expected.at<uchar>(i, j) = static_cast<uchar>(sum >> 10);
                }
            const cv::Mat half = y.halfY8U();
            ASSERT_EQ(half.type(), CV_8UC1);
            ASSERT_EQ(half.size(), cv::Size((s.width + 1) / 2, (s.height + 1) / 2));
            if (expected.empty()) return;
            EXPECT_TRUE(samePixels(expected, half(cv::Rect(0, 0, s.width / 2, s.height / 2))));
        });
}

// Fills new pixels, so that those which nobody writes are seen.
class FillingAllocator : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step, cv::AccessFlag flags,
                           cv::UMatUsageFlags usage) const override {
        cv::UMatData* u = m_standard->allocate(dims, sizes, type, data, step, flags, usage);
        if (!data) std::memset(u->data, 0xa5, u->size);
        return u;
    }
    bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
        return m_standard->allocate(data, flags, usage);
    }
    void deallocate(cv::UMatData* data) const override { m_standard->deallocate(data); }

private:
    cv::MatAllocator* m_standard = cv::Mat::getStdAllocator();
};

TEST(TImagePixels, LastRowAndColumnOfAnOddHalfStayUnwritten) {
    static FillingAllocator filling;
    cv::MatAllocator* const before = cv::Mat::getDefaultAllocator();
    cv::Mat::setDefaultAllocator(&filling);
    TImage y(TImage::IM_Y16U, TSize(5, 3));
    for (int r = 0; r < 3; ++r) std::memset(y.dataPtr(r, 0, 0), 0, 10);
    const cv::Mat half = y.halfY8U().clone();
    cv::Mat::setDefaultAllocator(before);
    EXPECT_TRUE(samePixels((cv::Mat_<uchar>(2, 3) << 0, 0, 0xa5, 0xa5, 0xa5, 0xa5), half));
}

TEST(TImagePixels, OnlyLuminanceCanBeHalved) {
    for (TImage::IMTYPE type : kKinds) {
        if (type == TImage::IM_Y16U) continue;
        try {
            TImage(type, TSize(4, 4)).halfY8U();
            ADD_FAILURE() << "nothing thrown";
        } catch (int thrown) {
            EXPECT_EQ(thrown, 0);
        }
    }
    EXPECT_TRUE(TImage(TImage::IM_Y16U, TSize()).halfY8U().empty());
}

}  // namespace
