#include "kestrova/curves/tlut1d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const char kTypeText[] = "ERROR - TLut1D::TLut1D - type";
const char kSmallText[] = "ERROR - TLut1D::apply - in.elemSize()<elemSize of m_inType";

int entriesOf(const TLut1D& lut) { return lut.m_inType == CV_8UC1 ? 256 : 65536; }

// Fills the table with scattered values, and gives them as ints.
std::vector<int> fillTable(TLut1D& lut, unsigned seed = 3) {
    const int n = entriesOf(lut);
    const cv::Mat values = randomPlane(1, n, lut.m_outType, seed);
    std::vector<int> table(n);
    for (int i = 0; i < n; ++i) {
        if (lut.m_outType == CV_8UC1)
            table[i] = lut.lut8U()[i] = values.at<uchar>(i);
        else
            table[i] = lut.lut16U()[i] = values.at<ushort>(i);
    }
    return table;
}

// The rows of `in` read as elements of `inType`, whatever its own type.
cv::Mat naiveApply(const cv::Mat& in, int inType, const std::vector<int>& table, int outType) {
    cv::Mat out(in.rows, in.cols, outType);
    for (int y = 0; y < in.rows; ++y) {
        for (int x = 0; x < in.cols; ++x) {
            int index = inType == CV_8UC1 ? in.ptr<uchar>(y)[x] : in.ptr<ushort>(y)[x];
            if (inType == CV_16UC1 && outType == CV_8UC1) index &= 0xFF;
            if (outType == CV_8UC1)
                out.ptr<uchar>(y)[x] = static_cast<uchar>(table[index]);
            else
                out.ptr<ushort>(y)[x] = static_cast<ushort>(table[index]);
        }
    }
    return out;
}

struct Form {
    int in, out;
};
const Form kForms[] = {{CV_8UC1, CV_8UC1}, {CV_8UC1, CV_16UC1}, {CV_16UC1, CV_16UC1}, {CV_16UC1, CV_8UC1}};

TEST(TLut1DTest, TheDefaultIsATableFrom8To8Bits) {
    const TLut1D lut;
    EXPECT_EQ(lut.m_inType, 0);
    EXPECT_EQ(lut.m_outType, 0);
    EXPECT_NE(lut.m_lut_p, nullptr);
}

TEST(TLut1DTest, OtherTypesAreRefused) {
    for (int type : {-1, 1, 3, 5, static_cast<int>(CV_8UC3), static_cast<int>(CV_16UC4)}) {
        EXPECT_FAILURE(TLut1D(type, 0), kTypeText);
        EXPECT_FAILURE(TLut1D(0, type), kTypeText);
        EXPECT_FAILURE(TLut1D(2, type), kTypeText);
        TLut1D lut(2, 2);
        lut.m_outType = type;
        cv::Mat plane = randomPlane(2, 2, CV_16UC1);
        const cv::Mat before = plane.clone();
        EXPECT_FAILURE(lut.apply(plane), kTypeText);
        EXPECT_TRUE(samePixels(before, plane));
    }
}

TEST(TLut1DTest, ApplyLooksUpEveryPixelInAllFourForms) {
    for (const Form& form : kForms) {
        TLut1D lut(form.in, form.out);
        const std::vector<int> table = fillTable(lut);
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in = asSubPlane(randomPlane(size.height, size.width, form.in, 8));
            const cv::Mat expected = naiveApply(in, form.in, table, form.out);
            withThreadCounts([&](int) {
                const cv::Mat out = asSubPlane(cv::Mat(size, form.out, cv::Scalar(0)));
                lut.apply(in, out);
                ASSERT_TRUE(samePixels(expected, out)) << form.in << " to " << form.out << ' ' << size;
            });
        }
    }
}

TEST(TLut1DTest, ApplyInPlaceMapsThePlaneWhereTheTypesAgree) {
    for (int type : {CV_8UC1, CV_16UC1}) {
        TLut1D lut(type, type);
        const std::vector<int> table = fillTable(lut);
        for (const cv::Size& size : testSizes()) {
            cv::Mat plane = asSubPlane(randomPlane(size.height, size.width, type, 8));
            const cv::Mat expected = naiveApply(plane, type, table, type);
            cv::Mat twoHeaders = plane.clone();
            lut.apply(plane);
            EXPECT_TRUE(samePixels(expected, plane)) << type << ' ' << size;
            lut.apply(twoHeaders, twoHeaders);
            EXPECT_TRUE(samePixels(expected, twoHeaders));
        }
    }
}

TEST(TLut1DTest, AnOutputFromTheSameAddressWithRowsFurtherApartOverwritesNoInputToCome) {
    TLut1D lut(CV_16UC1, CV_16UC1);
    for (int i = 0; i < 65536; ++i) lut.lut16U()[i] = static_cast<ushort>(i ^ 0x5555);
    const cv::Mat source = randomPlane(5, 6, CV_16UC1);
    std::vector<ushort> buffer(5 * 20);
    cv::Mat in(5, 6, CV_16UC1, buffer.data(), 8 * sizeof(ushort));
    cv::Mat out(5, 6, CV_16UC1, buffer.data(), 20 * sizeof(ushort));
    source.copyTo(in);
    lut.apply(in, out);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) ASSERT_EQ(out.at<ushort>(y, x), source.at<ushort>(y, x) ^ 0x5555) << y << ' ' << x;
}

TEST(TLut1DTest, InPlaceAcrossTypesGoesToAPlaneOfItsOwnAndLeavesTheCallers) {
    for (const Form& form : {Form{CV_8UC1, CV_16UC1}, Form{CV_16UC1, CV_8UC1}}) {
        TLut1D lut(form.in, form.out);
        fillTable(lut);
        cv::Mat plane = randomPlane(7, 5, form.in, 8);
        const cv::Mat before = plane.clone();
        lut.apply(plane);
        EXPECT_TRUE(samePixels(before, plane));
    }
}

TEST(TLut1DTest, InPlaceFrom8To16BitsOnA16BitPlaneReadsTheBytesOfItsRows) {
    TLut1D lut(CV_8UC1, CV_16UC1);
    const std::vector<int> table = fillTable(lut);
    for (const cv::Size& size : testSizes()) {
        cv::Mat plane = asSubPlane(randomPlane(size.height, size.width, CV_16UC1, 8));
        const cv::Mat expected = naiveApply(plane, CV_8UC1, table, CV_16UC1);
        withThreadCounts([&](int) {
            const cv::Mat inOut = asSubPlane(plane);
            lut.apply(inOut);
            ASSERT_TRUE(samePixels(expected, inOut)) << size;
        });
    }
}

TEST(TLut1DTest, PlanesOverOneBufferGiveTheResultOfAnUntouchedCopy) {
    const cv::Size size(301, 227);
    for (const Form& form : kForms) {
        TLut1D lut(form.in, form.out);
        const std::vector<int> table = fillTable(lut);
        for (std::size_t shift : {0, 2, 602}) {
            withThreadCounts([&](int) {
                cv::Mat buffer = randomPlane(1, size.area() * 2 + 2048, CV_8UC1, 4);
                const cv::Mat in(size, form.in, buffer.data), out(size, form.out, buffer.data + shift);
                const cv::Mat expected = naiveApply(in, form.in, table, form.out);
                lut.apply(in, out);
                ASSERT_TRUE(samePixels(expected, out)) << form.in << " to " << form.out << " at " << shift;
            });
        }
    }
}

TEST(TLut1DTest, AnOutputThatDoesNotFitIsReplacedInTheHeaderOfTheCallAlone) {
    TLut1D lut(CV_8UC1, CV_8UC1);
    fillTable(lut);
    const cv::Mat in = randomPlane(4, 6, CV_8UC1);
    cv::Mat wrongSize = cv::Mat::zeros(6, 4, CV_8UC1), wrongType = cv::Mat::zeros(4, 6, CV_16UC1), none;
    for (cv::Mat* out : {&wrongSize, &wrongType, &none}) {
        const cv::Mat before = out->clone();
        lut.apply(in, *out);
        EXPECT_TRUE(samePixels(before, *out));
    }
}

TEST(TLut1DTest, AnInputOfAnotherTypeIsMisreadNotRefused) {
    for (const Form& form : kForms) {
        TLut1D lut(form.in, form.out);
        const std::vector<int> table = fillTable(lut);
        for (int type : {CV_16UC1, CV_8UC2, CV_8UC3, CV_32FC1, CV_16UC3}) {
            for (const cv::Size& size : {cv::Size(1, 1), cv::Size(7, 5), cv::Size(8, 3)}) {
                const cv::Mat in = randomPlane(size.height, size.width, type, 8);
                const cv::Mat out(size, form.out, cv::Scalar(0));
                lut.apply(in, out);
                // Bytes may lie at odd places here, which the plain reference does not read from.
                cv::Mat bytes(size.height, size.width * 2, CV_8UC1);
                for (int y = 0; y < size.height; ++y)
                    std::copy_n(in.ptr(y), size.width * (form.in == CV_8UC1 ? 1 : 2), bytes.ptr(y));
                const cv::Mat read(size, form.in, bytes.data, bytes.step);
                EXPECT_TRUE(samePixels(naiveApply(read, form.in, table, form.out), out)) << form.in << ' ' << type;
            }
        }
    }
}

TEST(TLut1DTest, AnInputWhosePixelsAreTooSmallIsRefused) {
    for (int outType : {CV_8UC1, CV_16UC1}) {
        TLut1D lut(CV_16UC1, outType);
        fillTable(lut);
        cv::Mat in = randomPlane(3, 3, CV_8UC1);
        cv::Mat out = cv::Mat::zeros(3, 3, outType);
        EXPECT_FAILURE(lut.apply(in, out), kSmallText);
        EXPECT_EQ(cv::countNonZero(out), 0);
        EXPECT_FAILURE(lut.apply(in), kSmallText);
    }
}

TEST(TLut1DTest, AnEmptyPlaneIsIgnored) {
    for (const Form& form : kForms) {
        TLut1D lut(form.in, form.out);
        fillTable(lut);
        lut.apply(cv::Mat());
        lut.apply(cv::Mat(0, 5, form.in), cv::Mat());
    }
}

TEST(TLut1DTest, From16To8BitsOnlyTheLowByteCounts) {
    TLut1D lut(CV_16UC1, CV_8UC1);
    for (int i = 0; i < 65536; ++i) lut.lut8U()[i] = static_cast<uchar>(i < 256 ? 255 - i : 77);
    const cv::Mat in = (cv::Mat_<ushort>(1, 4) << 0x0105, 0x0205, 0xFFFF, 0x0005);
    const cv::Mat out(1, 4, CV_8UC1);
    lut.apply(in, out);
    EXPECT_TRUE(samePixels((cv::Mat_<uchar>(1, 4) << 250, 250, 0, 250), out));
}

TEST(TLut1DTest, CopiesShareTheTableAndReleaseItOnce) {
    auto first = std::make_unique<TLut16U>();
    TLut16U assigned(1.0f, 2.0f, 3, 4.0f);
    assigned = *first;
    const TLut16U copied(*first);
    EXPECT_EQ(assigned.m_lut_p, first->m_lut_p);
    EXPECT_EQ(copied.m_lut_p, first->m_lut_p);
    EXPECT_EQ(assigned.m_threshold, 8191);
    first->setupLinearThreshold(0, 0, 0, 0);
    first.reset();
    EXPECT_EQ(assigned.lut16U()[1234], 1234);
    TLut8U eight, other;
    other = eight;
    EXPECT_EQ(other.m_lut_p, eight.m_lut_p);
}

TEST(TLut1DTest, TheHookDoesNothing) {
    TLut1D lut;
    int x[2] = {1, 2}, y[2] = {3, 4};
    lut.curve(x, y, 2, 256);
    EXPECT_EQ(x[0] + x[1] + y[0] + y[1], 10);
}

TEST(TLut1DTest, ANewTableOfLightHasACurveOfZeros) {
    const TLut16U lut, copy(lut);
    for (float value : copy.m_curve) EXPECT_EQ(value, 0.0f);
}

TEST(TLut1DTest, ArraysOfThreeDimensionsAreRefused) {
    TLut1D lut(CV_8UC1, CV_8UC1);
    EXPECT_FAILURE(lut.apply(cv::Mat(std::vector<int>{2, 2, 2}, CV_8UC1)), "ERROR - plane - dims>2");
}

}  // namespace
