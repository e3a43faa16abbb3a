#include "kestrova/frame/geometry.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <type_traits>
#include <utility>

namespace {

static_assert(sizeof(TSize) == 8 && sizeof(TPoint) == 8 && sizeof(TRect) == 16 && sizeof(TUpdateRect) == 20);
static_assert(!std::is_polymorphic_v<TSize> && !std::is_polymorphic_v<TPoint> && !std::is_polymorphic_v<TRect> &&
              !std::is_polymorphic_v<TUpdateRect> && !std::is_polymorphic_v<TImRegion>);

template <class T, class = void>
constexpr bool kHasNotEqual = false;
template <class T>
constexpr bool kHasNotEqual<T, std::void_t<decltype(std::declval<const T&>() != std::declval<const T&>())>> = true;
static_assert(kHasNotEqual<TSize> && kHasNotEqual<TPoint> && kHasNotEqual<TRect> && !kHasNotEqual<TUpdateRect>);

TEST(TSizeTest, IsEmptyIfEitherSideIsBelowOne) {
    EXPECT_TRUE(TSize().isEmpty());
    EXPECT_TRUE(TSize(0, 5).isEmpty());
    EXPECT_TRUE(TSize(5, 0).isEmpty());
    EXPECT_TRUE(TSize(-1, 5).isEmpty());
    EXPECT_FALSE(TSize(1, 1).isEmpty());
}

TEST(TSizeTest, ComparesFieldByField) {
    EXPECT_TRUE(TSize(2, 3) == TSize(2, 3));
    EXPECT_TRUE(TSize(2, 3) != TSize(3, 3));
    EXPECT_TRUE(TSize(2, 3) != TSize(2, 4));
    EXPECT_FALSE(TSize(2, 3) != TSize(2, 3));
}

TEST(TPointTest, ComparesFieldByField) {
    EXPECT_TRUE(TPoint() == TPoint(0, 0));
    EXPECT_TRUE(TPoint(1, 2) != TPoint(1, 3));
    EXPECT_TRUE(TPoint(1, 2) != TPoint(0, 2));
    EXPECT_FALSE(TPoint(1, 2) == TPoint(2, 1));
}

TEST(TRectTest, IsMadeOfOriginAndSize) {
    const TRect rect(TPoint(1, 2), TSize(3, 4));
    EXPECT_TRUE(rect == TRect(1, 2, 3, 4));
    EXPECT_TRUE(rect.origin() == TPoint(1, 2));
    EXPECT_TRUE(rect.size() == TSize(3, 4));
    EXPECT_TRUE(TRect() == TRect(0, 0, 0, 0));
}

TEST(TRectTest, ComparesAllFourFields) {
    const TRect rect(1, 2, 3, 4);
    EXPECT_TRUE(rect != TRect(0, 2, 3, 4));
    EXPECT_TRUE(rect != TRect(1, 0, 3, 4));
    EXPECT_TRUE(rect != TRect(1, 2, 0, 4));
    EXPECT_TRUE(rect != TRect(1, 2, 3, 0));
}

TEST(TUpdateRectTest, FreshObjectHasAnEmptyRectangleAndAStampOfItsOwn) {
    const TUpdateRect first, second, third;
    EXPECT_TRUE(first.rect() == TRect());
    // One collision of rand() is accepted, two in a row would mean that the stamp is no random number.
    EXPECT_FALSE(first == second && second == third);
}

TEST(TUpdateRectTest, StampIsTheNextRandomNumber) {
    std::srand(5);
    const int first = std::rand(), second = std::rand(), third = std::rand();
    std::srand(5);
    TUpdateRect update;
    EXPECT_EQ(update.m_stamp, first);
    update.setChanged();
    EXPECT_EQ(update.m_stamp, second);
    update.setChanged(TRect(1, 2, 3, 4));
    EXPECT_EQ(update.m_stamp, third);
}

TEST(TUpdateRectTest, SetChangedGivesANewStampAndKeepsTheRectangle) {
    TUpdateRect update;
    update.setChanged(TRect(1, 2, 3, 4));
    const TUpdateRect seen = update;
    EXPECT_TRUE(seen == update);
    for (int tries = 0; tries < 3 && seen == update; ++tries) update.setChanged();
    EXPECT_FALSE(seen == update);
    EXPECT_TRUE(update.rect() == TRect(1, 2, 3, 4));
}

TEST(TUpdateRectTest, ComparesRectangleAndStamp) {
    TUpdateRect one, other;
    one.m_stamp = other.m_stamp = 7;
    EXPECT_TRUE(one == other);
    other.m_rect.width = 1;
    EXPECT_FALSE(one == other);
    other = one;
    other.m_stamp = 8;
    EXPECT_FALSE(one == other);
}

TEST(TImRegionTest, StartsAsOnePixelWideAndEmptyAndIsCopiedWhole) {
    const TImRegion region;
    EXPECT_TRUE(region.m_rect == TRect(0, 0, 1, 0));
    EXPECT_EQ(region.m_value, 0);
    static_assert(sizeof(TImRegion) == 20, "five words");
    TImRegion changed, copy;
    changed.m_rect = TRect(1, 2, 3, 4);
    changed.m_value = 5;
    copy = changed;
    EXPECT_TRUE(copy.m_rect == changed.m_rect);
    EXPECT_EQ(copy.m_value, 5);
}

}  // namespace
