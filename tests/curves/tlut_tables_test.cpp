#include "kestrova/curves/tlut_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "kestrova/image/timage.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

constexpr int kEntries = 65536;

TImage randomImage(TImage::IMTYPE kind, cv::Size size) {
    TImage image(kind, TSize(size.width, size.height));
    for (int row = 0; row < size.height; ++row) {
        const cv::Mat bytes = randomPlane(1, image.step(), CV_8UC1, row + 1);
        std::memcpy(image.dataPtr(row, 0, 0), bytes.data, bytes.total());
    }
    return image;
}

cv::Mat lookedUp(const cv::Mat& plane, const ushort* table) {
    cv::Mat out = plane.clone();
    for (int y = 0; y < out.rows; ++y)
        for (int x = 0; x < out.cols; ++x) out.at<ushort>(y, x) = table[plane.at<ushort>(y, x)];
    return out;
}

void fill(ushort* table, int factor) {
    for (int i = 0; i < kEntries; ++i) table[i] = static_cast<ushort>(i * factor + 12345);
}

void expectLinear(const ushort* table) {
    for (int i = 0; i < kEntries; ++i) ASSERT_EQ(table[i], i);
}

struct Sum final : TLut2D {
    using TLut2D::TLut2D;
    ushort lookUp(int lut, uchar x, uchar y) const override { return static_cast<ushort>(lut + x + y); }
};

// ---- TLutY and TLutC alike

template <class Lut>
class LutOfImageTest : public testing::Test {
protected:
    static Lut make() {
        if constexpr (std::is_same_v<Lut, TLutC>)
            return Lut(3);
        else
            return Lut();
    }
    static ushort* table(Lut& lut) {
        if constexpr (std::is_same_v<Lut, TLutC>)
            return lut.ptr(0);
        else
            return lut.ptr();
    }
    static std::string failure(const char* condition) {
        return std::string("ERROR - ") + (std::is_same_v<Lut, TLutC> ? "TLutC" : "TLutY") + "::apply - " + condition;
    }
};
using LutsOfImages = testing::Types<TLutY, TLutC>;
TYPED_TEST_SUITE(LutOfImageTest, LutsOfImages);

TYPED_TEST(LutOfImageTest, LooksEveryPixelUpInPlace) {
    TypeParam lut = this->make();
    fill(this->table(lut), 40503);
    for (const cv::Size& size : testSizes()) {
        TImage image = randomImage(TImage::IM_Y16U, size);
        const cv::Mat expected = lookedUp(image.toMat(0), this->table(lut));
        lut.apply(image);
        EXPECT_TRUE(samePixels(expected, image.toMat(0))) << size;
    }
}

TYPED_TEST(LutOfImageTest, ThreadsGiveTheSameBits) {
    TypeParam lut = this->make();
    fill(this->table(lut), 40503);
    const TImage in = randomImage(TImage::IM_Y16U, {403, 301});
    const cv::Mat expected = lookedUp(in.toMat(0), this->table(lut));
    withThreadCounts([&](int threads) {
        TImage image(in);
        lut.apply(image);
        EXPECT_TRUE(samePixels(expected, image.toMat(0))) << threads;
    });
}

TYPED_TEST(LutOfImageTest, ALinearTableLeavesTheImageAndItsStamp) {
    TypeParam lut = this->make();
    lut.setLinear();
    expectLinear(this->table(lut));
    TImage image = randomImage(TImage::IM_Y16U, {33, 7});
    const TImage before(image);
    const TUpdateRect stamp = image.updateRect();
    lut.apply(image);
    EXPECT_TRUE(samePixels(before.toMat(0), image.toMat(0)));
    EXPECT_TRUE(stamp == image.updateRect());
}

// The kind is not looked at: as many words of each row are replaced as the image has pixels.
TYPED_TEST(LutOfImageTest, InterleavedRowsAreTakenAsWords) {
    TypeParam lut = this->make();
    fill(this->table(lut), 3);
    for (TImage::IMTYPE kind : {TImage::IM_RGBA8U, TImage::IM_RGBA16U}) {
        TImage image = randomImage(kind, {9, 4});
        const int words = image.pstep() / 2 * 9;
        const cv::Mat before = cv::Mat(4, words, CV_16UC1, image.dataPtr(0, 0, 0), image.step()).clone();
        cv::Mat expected = before.clone();
        lookedUp(before.colRange(0, 9), this->table(lut)).copyTo(expected.colRange(0, 9));
        lut.apply(image);
        EXPECT_TRUE(samePixels(expected, cv::Mat(4, words, CV_16UC1, image.dataPtr(0, 0, 0), image.step())));
    }
}

TYPED_TEST(LutOfImageTest, WhatIsNotOfWordsIsRefusedAndEmptyImagesAreIgnored) {
    TypeParam lut = this->make();
    fill(this->table(lut), 3);
    for (TImage::IMTYPE kind : {TImage::IM_C8U, TImage::IM_M8U}) {
        TImage image = randomImage(kind, {9, 4});
        const TImage before(image);
        EXPECT_FAILURE(lut.apply(image), this->failure("image not of 16-bit words"));
        EXPECT_TRUE(samePixels(before.toMat(0), image.toMat(0)));
    }
    alignas(2) uchar bytes[2 * 13] = {};
    for (const auto& [data, step] : {std::pair{bytes, 13}, {bytes + 1, 12}}) {
        TImage view(TSize(3, 2), data, step, false);
        EXPECT_FAILURE(lut.apply(view), this->failure("image not of 16-bit words"));
    }
    EXPECT_EQ(std::count(bytes, bytes + sizeof bytes, 0), 26);
    for (TImage::IMTYPE kind : {TImage::IM_Y16U, TImage::IM_C8U, TImage::IM_RGBA16U}) {
        TImage image(kind, TSize());
        lut.apply(image);
        EXPECT_TRUE(image.size().isEmpty());
    }
    TImage withoutMemory(TImage::IM_Y16U, TSize(9, 4));
    withoutMemory.m_data[0] = nullptr;
    lut.apply(withoutMemory);
}

TYPED_TEST(LutOfImageTest, CopiesShareTheTableAndTheLastOneReleasesIt) {
    TypeParam kept = this->make();
    const ushort* shared;
    {
        TypeParam lut = this->make(), copy(lut);
        EXPECT_EQ(this->table(copy), this->table(lut));
        kept = lut;
        shared = this->table(lut);
        fill(this->table(lut), 5);
    }
    ASSERT_EQ(this->table(kept), shared);
    TypeParam& same = kept;
    kept = same;
    EXPECT_EQ(this->table(kept)[7], 7 * 5 + 12345);
    TImage image = randomImage(TImage::IM_Y16U, {5, 5});
    const cv::Mat expected = lookedUp(image.toMat(0), this->table(kept));
    kept.apply(image);
    EXPECT_TRUE(samePixels(expected, image.toMat(0)));
}

TYPED_TEST(LutOfImageTest, ViewsFromTheBottomUpAndSingleRowsOfAnyStep) {
    TypeParam lut = this->make();
    fill(this->table(lut), 3);
    for (const auto& [rows, upwards, anyStep] :
         {std::tuple{5, true, false}, std::tuple{1, false, true}, std::tuple{1, true, true}}) {
        cv::Mat words = randomPlane(rows, 4 * 6, CV_16UC1);
        cv::Mat expected = words.clone();
        lookedUp(words.colRange(0, 6), this->table(lut)).copyTo(expected.colRange(0, 6));
        const int step = anyStep ? 3 : static_cast<int>(words.step);
        TImage view(TSize(6, rows), words.ptr<ushort>(upwards ? rows - 1 : 0), upwards ? -step : step, false);
        lut.apply(view);
        EXPECT_TRUE(samePixels(expected, words));
    }
}

// ---- TLutY

TEST(TLutYTest, WithoutATableItFails) {
    TLutY lut;
    lut.m_table_p = nullptr;
    EXPECT_EQ(lut.ptr(), nullptr);
    lut.setLinear();
    TImage image(TImage::IM_Y16U, TSize(2, 2));
    EXPECT_FAILURE(lut.apply(image), "ERROR - TLutY::apply - !m_table_p");
}

// ---- TLutC

TEST(TLutCTest, HoldsAtMost32Tables) {
    for (auto [n, tables] : {std::pair{1, 1}, {5, 5}, {32, 32}, {40, 32}, {INT_MAX, 32}}) {
        TLutC lut(n);
        EXPECT_EQ(lut.m_num, tables);
        lut.setLinear();
        for (int i = 0; i < tables; ++i) {
            EXPECT_EQ(lut.ptr(i)[kEntries - 1], kEntries - 1);
            for (int j = 0; j < i; ++j) EXPECT_NE(lut.ptr(i), lut.ptr(j));
        }
        expectLinear(lut.ptr(tables - 1));
    }
}

TEST(TLutCTest, BelowOneItHoldsNoneAndApplyFails) {
    TImage image(TImage::IM_Y16U, TSize(2, 2));
    for (int n : {0, -3, INT_MIN}) {
        TLutC lut(n);
        EXPECT_EQ(lut.m_num, n);
        lut.setLinear();
        EXPECT_FAILURE(lut.apply(image), "ERROR - TLutC::apply - m_num<1 || !m_tables_p[0]");
    }
}

TEST(TLutCTest, WithoutItsFirstTableItFails) {
    TLutC lut(2);
    lut.m_tables_p[0] = nullptr;
    EXPECT_EQ(lut.ptr(0), nullptr);
    lut.setLinear();
    expectLinear(lut.ptr(1));
    TImage image(TImage::IM_Y16U, TSize(2, 2));
    EXPECT_FAILURE(lut.apply(image), "ERROR - TLutC::apply - m_num<1 || !m_tables_p[0]");
}

TEST(TLutCTest, TheSlotsBeyondItsTablesAreNeverWritten) {
    alignas(TLutC) unsigned char memory[sizeof(TLutC)];
    std::memset(memory, 0xA5, sizeof memory);
    TLutC* const lut = new (memory) TLutC(2);
    std::uintptr_t slot, pattern;
    std::memset(&pattern, 0xA5, sizeof pattern);
    for (int i = 0; i < 32; ++i) {
        std::memcpy(&slot, reinterpret_cast<unsigned char*>(lut->m_tables_p) + i * sizeof slot, sizeof slot);
        if (i < 2)
            EXPECT_NE(slot, pattern);
        else
            EXPECT_EQ(slot, pattern);
    }
    lut->~TLutC();
}

TEST(TLutCTest, CopiesTakeTheTablesThatThereAreAndNoOtherSlot) {
    const TLutC lut(2);
    alignas(TLutC) unsigned char memory[sizeof(TLutC)];
    std::memset(memory, 0xA5, sizeof memory);
    TLutC* const copy = new (memory) TLutC(lut);
    EXPECT_EQ(copy->m_num, 2);
    std::uintptr_t slot, pattern;
    std::memset(&pattern, 0xA5, sizeof pattern);
    for (int i = 0; i < 32; ++i) {
        std::memcpy(&slot, reinterpret_cast<unsigned char*>(copy->m_tables_p) + i * sizeof slot, sizeof slot);
        EXPECT_EQ(slot, i < 2 ? reinterpret_cast<std::uintptr_t>(lut.m_tables_p[i]) : pattern);
    }
    copy->~TLutC();
}

TEST(TLutCTest, OnlyTheFirstTableIsApplied) {
    TLutC lut(2);
    lut.setLinear();
    fill(lut.ptr(1), 7);
    TImage image = randomImage(TImage::IM_Y16U, {9, 9});
    const TImage before(image);
    lut.apply(image);
    EXPECT_TRUE(samePixels(before.toMat(0), image.toMat(0)));
}

TEST(TLutCTest, TheFormOfTwoImagesLeavesBothAsTheyAre) {
    TLutC lut(1);
    fill(lut.ptr(0), 7);
    const TImage in = randomImage(TImage::IM_Y16U, {8, 6}), inBefore(in);
    for (TImage::IMTYPE kind : {TImage::IM_Y16U, TImage::IM_M8U, TImage::IM_RGBA8U}) {
        TImage out = randomImage(kind, {8, 6});
        const TImage before(out);
        const TUpdateRect stamp = out.updateRect();
        lut.apply(in, out);
        EXPECT_TRUE(samePixels(before.toMat(0), out.toMat(0)));
        EXPECT_TRUE(samePixels(inBefore.toMat(0), in.toMat(0)));
        EXPECT_TRUE(stamp == out.updateRect());
    }
}

TEST(TLutCTest, TheFormOfTwoImagesThrowsZeroUnlessTheFirstIsAPlaneOfWords) {
    for (TImage::IMTYPE kind : {TImage::IM_C8U, TImage::IM_M8U, TImage::IM_RGBA8U, TImage::IM_RGBA16U}) {
        TLutC lut(0);
        const TImage in = randomImage(kind, {8, 6});
        TImage out = randomImage(TImage::IM_Y16U, {8, 6});
        const TImage before(out);
        try {
            lut.apply(in, out);
            ADD_FAILURE() << "threw nothing";
        } catch (int thrown) {
            EXPECT_EQ(thrown, 0);
        }
        EXPECT_TRUE(samePixels(before.toMat(0), out.toMat(0)));
    }
}

// ---- TLut2D

TEST(TLut2DTest, TellsTheNumberItWasGivenAndHoldsAtMost16Tables) {
    EXPECT_EQ(Sum().numLuts(), 16);
    for (auto [n, tables] : {std::pair{20, 16}, {16, 16}, {3, 3}, {0, 0}, {-2, 0}, {INT_MAX, 16}, {INT_MIN, 0}}) {
        Sum lut(n);
        EXPECT_EQ(lut.numLuts(), n);
        for (int i = 0; i < 16; ++i) {
            EXPECT_EQ(lut.m_tables_p[i] != nullptr, i < tables);
            if (i < tables) fill(lut.m_tables_p[i], i);
        }
    }
}

TEST(TLut2DTest, CopiesShareTheTablesAndTheLastOneReleasesThem) {
    Sum kept(2);
    const ushort* shared;
    {
        Sum lut(4), copy(lut);
        for (int i = 0; i < 16; ++i) EXPECT_EQ(copy.m_tables_p[i], lut.m_tables_p[i]);
        kept = lut;
        shared = lut.m_tables_p[3];
        fill(lut.m_tables_p[3], 5);
    }
    EXPECT_EQ(kept.numLuts(), 4);
    ASSERT_EQ(kept.m_tables_p[3], shared);
    EXPECT_EQ(shared[7], 7 * 5 + 12345);
}

TEST(TLut2DTest, ItsHooksDoNothing) {
    Sum lut(1);
    fill(lut.m_tables_p[0], 3);
    const cv::Mat in = randomPlane(4, 4, CV_8UC1);
    cv::Mat out0 = randomPlane(4, 4, CV_8UC1, 2), out1;
    const cv::Mat before = out0.clone();
    static_cast<TLut2D&>(lut).apply(in, out0, out1);
    lut.computeLUT();
    EXPECT_TRUE(samePixels(before, out0));
    EXPECT_TRUE(out1.empty());
    EXPECT_EQ(lut.m_tables_p[0][1], 3 + 12345);
}

TEST(TLut2DTest, IsAbstract) {
    EXPECT_TRUE(std::is_abstract_v<TLut2D>);
    EXPECT_FALSE(std::is_polymorphic_v<TLutY>);
    EXPECT_FALSE(std::is_polymorphic_v<TLutC>);
}

}  // namespace
