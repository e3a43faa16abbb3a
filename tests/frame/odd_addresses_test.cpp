#include <gtest/gtest.h>

#include <vector>

#include "kestrova/kestrova.h"
#include "tests/support/failures.h"

// Pixels and numbers that a host hands over by address; those in planes are in no_planes_test.

namespace {

template <class Element>
Element* at(std::vector<uchar>& room, std::size_t shift) {
    return reinterpret_cast<Element*>(room.data() + shift);
}

TEST(OddAddresses, OfThePixelsThatAHostHandsOverAreRefused) {
    std::vector<uchar> room(8 * 8 * 8 + 1, 7);
    const std::vector<uchar> before = room;
    ushort* const odd = at<ushort>(room, 1);
    ushort* const even = at<ushort>(room, 0);
    TPImage image(8, 8);
    for (const int i : {0, 1, 2}) {
        ushort* planes[3] = {even, even, even};
        planes[i] = odd;
        EXPECT_FAILURE(image.convertFrompRGB(planes, 8, 8, 16), "ERROR - TPImage::convertFrompRGB - plane%2");
        EXPECT_FAILURE(image.convertFrompRGB15U(planes, 8, 8, 16), "ERROR - TPImage::convertFrompRGB - plane%2");
        EXPECT_FAILURE(image.convertTopRGB(planes, 16), "ERROR - TPImage::convertTopRGB - plane%2");
        EXPECT_FAILURE(image.convertTopRGB15U(planes, 16), "ERROR - TPImage::convertTopRGB - plane%2");
    }
    EXPECT_FAILURE(image.convertFrom(odd, 8, 8, 32), "ERROR - TPImage::convertFrom - src%2");
    EXPECT_FAILURE(TImage(TSize(8, 8), odd, 64, false), "ERROR - TImage::TImage - data%2");
    EXPECT_EQ(before, room);
}

TEST(OddAddresses, OfFloatsAndIndicesAreRefusedByTheWeightedSmootherAndItsSolver) {
    std::vector<uchar> room(64, 7);
    const std::vector<uchar> before = room;
    float plane[4] = {0.1f, 0.2f, 0.3f, 0.4f};
    int index[3] = {1, 2, 2};
    const char* const ofProc = "ERROR - TWLSFilter::Proc - inOut%4 || guide%4";
    const char* const ofSolver = "ERROR - pardisoSolver - a%4 || ia%4 || ja%4 || b%4 || x%4";
    for (const std::size_t shift : {1, 2, 3}) {
        float* const odd = at<float>(room, shift);
        int* const oddIndex = at<int>(room, shift);
        EXPECT_FAILURE(TWLSFilter().Proc(odd, 2, 2, 1.0f, 1.2f, plane, true), ofProc);
        EXPECT_FAILURE(TWLSFilter().Proc(plane, 2, 2, 1.0f, 1.2f, odd, true), ofProc);
        EXPECT_FAILURE(pardisoSolver(1, odd, index, index, plane, plane, 1, 2), ofSolver);
        EXPECT_FAILURE(pardisoSolver(1, plane, oddIndex, index, plane, plane, 1, 2), ofSolver);
        EXPECT_FAILURE(pardisoSolver(1, plane, index, oddIndex, plane, plane, 1, 2), ofSolver);
        EXPECT_FAILURE(pardisoSolver(1, plane, index, index, odd, plane, 1, 2), ofSolver);
        EXPECT_FAILURE(pardisoSolver(1, plane, index, index, plane, odd, 1, 2), ofSolver);
    }
    EXPECT_EQ(before, room);
    EXPECT_EQ(plane[0], 0.1f);
}

}  // namespace
