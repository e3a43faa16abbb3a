#include "kestrova/primitives/memory.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>

namespace {

template <class Element>
void expectRows(Element* (*allocate)(int, int, int*), int pixelBytes) {
    for (int width : {1, 7, 8, 15, 16, 31, 32, 33, 1000}) {
        int step = -1;
        Element* plane = allocate(width, 3, &step);
        ASSERT_NE(plane, nullptr);
        EXPECT_EQ(step, (width * pixelBytes + 31) / 32 * 32) << width;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(plane) % 32, 0u);
        std::memset(plane, 0xab, static_cast<std::size_t>(step) * 3);
        ippiFree(plane);
    }
}

TEST(MemoryTest, RowsAreRoundedUpTo32Bytes) {
    expectRows(ippiMalloc_8u_C1, 1);
    expectRows(ippiMalloc_16u_C1, 2);
    expectRows(ippiMalloc_8u_C4, 4);
    expectRows(ippiMalloc_16u_C4, 8);
}

TEST(MemoryTest, OneByteTakesAStepOf32) {
    int step = 0;
    uchar* plane = ippiMalloc_8u_C1(1, 1, &step);
    EXPECT_EQ(step, 32);
    ippiFree(plane);
}

TEST(MemoryTest, SizesThatAreNotPositiveGiveNothing) {
    for (int bad : {0, -1, INT_MIN}) {
        int step = 99;
        EXPECT_EQ(ippiMalloc_8u_C1(bad, 1, &step), nullptr);
        EXPECT_EQ(step, 0);
        step = 99;
        EXPECT_EQ(ippiMalloc_16u_C1(1, bad, &step), nullptr);
        EXPECT_EQ(step, 0);
        step = 99;
        EXPECT_EQ(ippiMalloc_8u_C4(bad, bad, &step), nullptr);
        EXPECT_EQ(step, 0);
        step = 99;
        EXPECT_EQ(ippiMalloc_16u_C4(bad, 1, &step), nullptr);
        EXPECT_EQ(step, 0);
        EXPECT_EQ(ippsMalloc_8u(bad), nullptr);
        EXPECT_EQ(ippsMalloc_16u(bad), nullptr);
    }
}

TEST(MemoryTest, RowsBeyondAnIntGiveNothing) {
    int step = 99;
    EXPECT_EQ(ippiMalloc_16u_C4(INT_MAX, 1, &step), nullptr);
    EXPECT_EQ(step, 0);
    EXPECT_EQ(ippiMalloc_8u_C1(INT_MAX, 1, &step), nullptr);
}

TEST(MemoryTest, NowhereToPutTheStepGivesNothing) { EXPECT_EQ(ippiMalloc_8u_C1(1, 1, nullptr), nullptr); }

TEST(MemoryTest, VectorsHoldTheirElements) {
    uchar* bytes = ippsMalloc_8u(33);
    ASSERT_NE(bytes, nullptr);
    std::memset(bytes, 1, 33);
    ippsFree(bytes);
    ushort* words = ippsMalloc_16u(65536);
    ASSERT_NE(words, nullptr);
    std::memset(words, 1, 65536 * sizeof(ushort));
    ippsFree(words);
}

TEST(MemoryTest, NullIsReleasedQuietly) {
    ippiFree(nullptr);
    ippsFree(nullptr);
}

}  // namespace
