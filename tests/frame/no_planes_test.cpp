#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kestrova/kestrova.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

// Every operation refuses planes whose elements do not stand at multiples of their size, and arrays of three
// dimensions, before it writes anything.

namespace {

using Planes = std::vector<cv::Mat>;

/// An operation with planes that it takes.
struct Operation {
    std::string name;
    Planes planes;
    std::function<void(Planes&)> call;
    /// So many of them, the first, have their dimensions judged. The others are ignored where they have another size,
    /// are outputs that go by value or are made anew within an object, or are the kernels that OpenCV judges.
    std::size_t judged = std::numeric_limits<std::size_t>::max();
};
void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

constexpr const char* kText = "ERROR - plane - data%elemSize1 || step%elemSize1";

cv::Mat words(int rows = 8, int cols = 8) { return randomPlane(rows, cols, CV_16UC1); }
cv::Mat bytes(int rows = 8, int cols = 8) { return randomPlane(rows, cols, CV_8UC1); }
cv::Mat floats(int rows = 8, int cols = 8) { return randomPlane(rows, cols, CV_32FC1, 0, 1); }

/// The same pixels `shift` bytes after a multiple of the size of an element, in rows `step` apart.
struct Shifted {
    Shifted(const cv::Mat& of, std::size_t shift)
        : room(of.total() * of.elemSize() + shift),
          plane(of.rows, of.cols, of.type(), room.data() + shift, of.cols * of.elemSize()) {
        for (int r = 0; r < of.rows; ++r) std::memcpy(plane.ptr(r), of.ptr(r), of.cols * of.elemSize());
    }
    std::vector<uchar> room;
    cv::Mat plane;
};

struct Bent final : TLutY16U {
    void mapPixel(ushort&, ushort&, ushort&) override {}
};
struct Mapped final : TLutYDrDb {
    using TLutYDrDb::TLutYDrDb;
    void mapPixel(ushort&, uchar&, uchar&) override {}
};

TPImage imageOf(const Planes& p) {
    TPImage image;
    image.m_Y = p[0];
    image.m_Dr = p[1];
    image.m_Db = p[2];
    return image;
}

template <class Pixel>
struct ThreePlanes {
    ThreePlanes(int rows, int cols) : room(rows * cols) {
        for (Pixel*& plane : planes) plane = room.data();
    }
    std::vector<Pixel> room;
    Pixel* planes[3];
};

void addImages(std::vector<Operation>& all) {
    const Planes picture = {words(), words(4, 4), words(4, 4)};
    const auto roi = [&](const char* name, const cv::Mat& in, int scale, bool smooth) {
        all.push_back({name, {in}, [=](Planes& p) { TPImage::MatRoi(p[0], 0, 0, 2, 2, scale, false, smooth); }});
    };
    roi("MatRoi, a copy", words(), 1, false);
    roi("MatRoi, sampled", words(), 2, false);
    roi("MatRoi, smoothed", floats(), 2, true);
    all.push_back(
        {"PRGB2Y", {words(), words(), words(), words()}, [](Planes& p) { TPImage::PRGB2Y(p[0], p[1], p[2], p[3]); }});
    all.push_back({"PRGB15U2Y", {words(), words(), words(), words()}, [](Planes& p) {
                       TPImage::PRGB15U2Y(p[0], p[1], p[2], p[3]);
                   }});
    all.push_back({"YDRDB2RGB", {words(), words(), words(), words(), words(), words()}, [](Planes& p) {
                       TPImage::YDRDB2RGB(p[0], p[1], p[2], p[3], p[4], p[5]);
                   }});
    all.push_back({"YDRDB2RGB15U", {words(), words(), words(), words(), words(), words()}, [](Planes& p) {
                       TPImage().YDRDB2RGB15U(p[0], p[1], p[2], p[3], p[4], p[5]);
                   }});
    all.push_back({"YDRDB2RGB8U", {words(), words(), words(), bytes(), bytes(), bytes()}, [](Planes& p) {
                       TPImage().YDRDB2RGB8U(p[0], p[1], p[2], p[3], p[4], p[5]);
                   }});
    all.push_back({"convertTo", picture, [](Planes& p) {
                       std::vector<uchar> out(8 * 8 * 4);
                       imageOf(p).convertTo(out.data(), 32);
                   }});
    all.push_back({"convertTopRGB", picture, [](Planes& p) {
                       ThreePlanes<ushort> out(8, 8);
                       imageOf(p).convertTopRGB(out.planes, 16);
                   }});
    all.push_back({"convertTopRGB15U", picture, [](Planes& p) {
                       ThreePlanes<ushort> out(8, 8);
                       imageOf(p).convertTopRGB15U(out.planes, 16);
                   }});
    all.push_back({"convertToHalfpRGB", picture, [](Planes& p) {
                       ThreePlanes<uchar> out(4, 4);
                       imageOf(p).convertToHalfpRGB(out.planes, 4);
                   }});
    all.push_back({"convertFrom", picture,
                   [](Planes& p) {
                       const std::vector<uchar> in(8 * 8 * 4);
                       imageOf(p).convertFrom(in.data(), 8, 8, 32);
                   },
                   0});
    all.push_back({"convertFrom of words", picture,
                   [](Planes& p) {
                       const std::vector<ushort> in(8 * 8 * 4);
                       imageOf(p).convertFrom(in.data(), 8, 8, 32);
                   },
                   0});
    all.push_back({"convertFrompRGB", picture,
                   [](Planes& p) {
                       ThreePlanes<ushort> in(8, 8);
                       imageOf(p).convertFrompRGB(in.planes, 8, 8, 16);
                   },
                   0});
    all.push_back({"convertFrompRGB15U", picture,
                   [](Planes& p) {
                       ThreePlanes<ushort> in(8, 8);
                       imageOf(p).convertFrompRGB15U(in.planes, 8, 8, 16);
                   },
                   0});
    all.push_back({"applyFullToEdgeLUT", {words(), bytes()}, [](Planes& p) {
                       TPImage::provideEdgeTables();
                       TPImage::applyFullToEdgeLUT(p[0], p[1]);
                   }});
    all.push_back({"fullToEdge", {words(), words(4, 4), bytes()}, [](Planes& p) {
                       TPImage::provideEdgeTables();
                       TPImage::fullToEdge(p[0], p[1], p[2]);
                   }});
    all.push_back({"edgeToFull", {bytes(), words(4, 4), words()}, [](Planes& p) {
                       TPImage::provideEdgeTables();
                       TPImage::edgeToFull(p[0], p[1], p[2], 2.0f);
                   }});
    all.push_back({"edgeToFull of two halves", {bytes(), words(4, 4), words(4, 4), words()}, [](Planes& p) {
                       TPImage::provideEdgeTables();
                       TPImage::edgeToFull(p[0], p[1], p[2], p[3], 0.1f, 2.0f);
                   }});
    all.push_back({"fromMat", {words()}, [](Planes& p) { TImage(TImage::IM_Y16U, TSize(8, 8)).fromMat(p[0], 0); }});
    all.push_back({"setInImage of a picture", picture, [](Planes& p) {
                       TPImage image = imageOf(p);
                       TDrawMask().setInImage(&image);
                   }});
    all.push_back({"setInImage", {words(), words()}, [](Planes& p) { TDrawMask().setInImage(bytes(), p[0], p[1]); }});
}

void addResampling(std::vector<Operation>& all) {
    for (const bool bFloats : {false, true}) {
        const auto plane = [=](int rows, int cols) { return bFloats ? floats(rows, cols) : words(rows, cols); };
        const std::string of = bFloats ? " of floats" : " of words";
        for (const int interp : {1, 2, 4, 257}) {
            const std::string by = of + " by " + std::to_string(interp);
            all.push_back(
                {"downSize2X" + by, {plane(9, 9), plane(5, 5)}, [=](Planes& p) { downSize2X(p[0], p[1], interp); }});
            all.push_back(
                {"upSize2X" + by, {plane(4, 4), plane(8, 8)}, [=](Planes& p) { upSize2X(p[0], p[1], interp); }});
            all.push_back(
                {"downSizeNX" + by, {plane(9, 9), plane(3, 3)}, [=](Planes& p) { downSizeNX(p[0], p[1], 3, interp); }});
            all.push_back(
                {"upSizeNX" + by, {plane(3, 3), plane(9, 9)}, [=](Planes& p) { upSizeNX(p[0], p[1], 3, interp); }});
        }
        all.push_back({"downSizeNX" + of + ", a copy", {plane(9, 9), plane(9, 9)}, [](Planes& p) {
                           downSizeNX(p[0], p[1], 1, 4);
                       }});
        all.push_back(
            {"upSizeNX" + of + ", a copy", {plane(9, 9), plane(9, 9)}, [](Planes& p) { upSizeNX(p[0], p[1], 1, 4); }});
        all.push_back({"extendBorder" + of, {plane(9, 9)}, [](Planes& p) { extendBorder(p[0], 1, 1, 1, 1); }});
        all.push_back({"blendAlpha" + of, {plane(8, 8), plane(8, 8), bytes(), plane(8, 8)}, [](Planes& p) {
                           blendAlpha(p[0], p[1], p[2], p[3], 1.0f);
                       }});
    }
    all.push_back({"extremeSharpen", {words(), words()}, [](Planes& p) { extremeSharpen(p[0], p[1]); }});
    all.push_back({"upSize2XGuidedByYSimple", {words(), words(4, 4), words()}, [](Planes& p) {
                       upSize2XGuidedByYSimple(p[0], p[1], p[2]);
                   }});
    for (const bool bGuided : {false, true}) {
        const std::string by = bGuided ? ", guided" : ", plainly";
        all.push_back({"upSize2XGuidedByY" + by, {words(), words(4, 4), words()}, [=](Planes& p) {
                           upSize2XGuidedByY(p[0], p[1], p[2], bGuided, 4, 1, 0.1f);
                       }});
        all.push_back({"upSizeNXGuidedByY" + by, {words(9, 9), words(3, 3), words(9, 9)}, [=](Planes& p) {
                           upSizeNXGuidedByY(p[0], p[1], p[2], 3, bGuided, 4, 1, 0.1f);
                       }});
        for (const int n : {1, 3})
            all.push_back({"upSizeNXGuidedByRGB by " + std::to_string(n) + by,
                           {words(9, 9), words(9, 9), words(9, 9), words(9 / n, 9 / n), words(9, 9)},
                           [=](Planes& p) {
                               Planes guide = {p[0], p[1], p[2]};
                               upSizeNXGuidedByRGB(guide, p[3], p[4], n, bGuided, 4, 1, 0.1f);
                           }});
    }
    all.push_back({"filterGuidedByRGB", {words(), words(), words(), words()}, [](Planes& p) {
                       Planes guide = {p[0], p[1], p[2]};
                       filterGuidedByRGB(guide, p[3], 1, 0.1f);
                   }});
}

void addCurves(std::vector<Operation>& all) {
    const auto lookUp = [&](const char* name, int inType, int outType, const Planes& planes) {
        all.push_back({name, planes, [=](Planes& p) { TLut1D(inType, outType).apply(p[0], p[1]); }, 1});
    };
    lookUp("TLut1D, words to words", CV_16UC1, CV_16UC1, {words(), words()});
    lookUp("TLut1D, words to bytes", CV_16UC1, CV_8UC1, {words(), bytes()});
    lookUp("TLut1D, bytes to words", CV_8UC1, CV_16UC1, {bytes(), words()});
    all.push_back({"TLut16U in place", {words()}, [](Planes& p) { TLut16U().apply(p[0]); }});
    all.push_back({"TLutY16U::proc", {words()}, [](Planes& p) { Bent().proc(p[0], true); }});
    all.push_back({"TLutY16U::applyYLUT", {words(), words()}, [](Planes& p) {
                       Bent lut;
                       lut.computeLUT16U(true);
                       lut.applyYLUT(p[0], p[1]);
                   }});
    all.push_back({"TLutYDrDb::applyYLUT", {words(), words()}, [](Planes& p) {
                       Mapped lut(1);
                       lut.computeLUT();
                       lut.applyYLUT(p[0], p[1]);
                   }});
    all.push_back({"TLutYDrDb::applyCLUT", {words(), bytes(), bytes(), bytes(), bytes()}, [](Planes& p) {
                       Mapped lut(2);
                       lut.computeLUT();
                       lut.applyCLUT(p[0], p[1], p[2], p[3], p[4]);
                   }});
    all.push_back({"TLutYDrDb::proc in place", {words()}, [](Planes& p) { Mapped(1).proc(p[0]); }});
    all.push_back({"TLutYDrDb::proc", {words(), bytes(), bytes(), words(), bytes(), bytes()}, [](Planes& p) {
                       Mapped(2).proc(p[0], p[1], p[2], p[3], p[4], p[5]);
                   }});
}

void addFilters(std::vector<Operation>& all) {
    all.push_back({"TGuidedFilter::setup", {floats(), floats()}, [](Planes& p) {
                       TGuidedFilter().setup({p[0]}, p[1], 1, 0.1f);
                   }});
    all.push_back({"TGuidedFilter::setup of three", {floats(), floats(), floats(), floats()}, [](Planes& p) {
                       TGuidedFilter().setup({p[0], p[1], p[2]}, p[3], 1, 0.1f);
                   }});
    const auto apply = [&](const char* name, const Planes& planes,
                           const std::function<void(TGuidedFilter&, Planes&)>& call) {
        all.push_back({name, planes, [=](Planes& p) {
                           TGuidedFilter filter;
                           const bool bThree = p.size() == 4;
                           bThree ? filter.setup({floats(), floats(), floats()}, floats(), 1, 0.1f)
                                  : filter.setup({floats()}, floats(), 1, 0.1f);
                           call(filter, p);
                       }});
    };
    apply("TGuidedFilter::proc", {words(), words()}, [](TGuidedFilter& f, Planes& p) { f.proc({p[0]}, p[1]); });
    apply("TGuidedFilter::proc, a copy", {floats(), floats()},
          [](TGuidedFilter& f, Planes& p) { f.proc({p[0]}, p[1]); });
    apply("TGuidedFilter::proc of three", {words(), words(), words(), words()}, [](TGuidedFilter& f, Planes& p) {
        f.proc({p[0], p[1], p[2]}, p[3]);
    });
    apply("TGuidedFilter::gFc1_apply", {floats(), floats()},
          [](TGuidedFilter& f, Planes& p) { f.gFc1_apply(p[0], p[1]); });
    apply("TGuidedFilter::gFc3_apply", {floats(), floats(), floats(), floats()}, [](TGuidedFilter& f, Planes& p) {
        f.gFc3_apply({p[0], p[1], p[2]}, p[3]);
    });
    all.push_back({"TGuidedFilter::stripProc", {floats(), floats(), floats()}, [](Planes& p) {
                       TGuidedFilter().stripProc(p[0], p[1], p[2], 1, 0.1f);
                   }});
    all.push_back({"TGuidedFilter::gFc1_blkGuide", {floats(), floats(), floats(4, 4)}, [](Planes& p) {
                       TGuidedFilter().gFc1_blkGuide(p[0], p[1], p[2], 1, 0.1f);
                   }});
    all.push_back({"TGuidedFilter::calvar2", {floats(), floats(), floats(), floats(), floats()}, [](Planes& p) {
                       TGuidedFilter().calvar2(p[0], p[1], p[2], p[3], p[4], {8, 8}, {6, 6}, {3, 3}, {1, 1}, false);
                   }});
    all.push_back(
        {"TGuidedFilter::calcov2",
         {floats(), floats(), floats(), floats(), floats(), floats(), floats()},
         [](Planes& p) {
             TGuidedFilter().calcov2(p[0], p[1], p[2], p[3], p[4], p[5], p[6], {8, 8}, {6, 6}, {3, 3}, {1, 1}, false);
         }});
    all.push_back({"BilateralFilter::proc", {words(), words()}, [](Planes& p) {
                       BilateralFilter().proc(p[0], p[1], 2, 1000, nullptr);
                   }});
    all.push_back({"BilateralFilter::proc by floats", {floats(), words()}, [](Planes& p) {
                       BilateralFilter().proc(p[0], p[1], 2, 1000, nullptr);
                   }});
    all.push_back({"BilateralFilter::proc without a guide", {words()}, [](Planes& p) {
                       BilateralFilter().proc(cv::Mat(), p[0], 2, 1000, nullptr);
                   }});
    all.push_back({"BilateralFilter::gradientGuide", {words(), words()}, [](Planes& p) {
                       BilateralFilter::gradientGuide(p[0], p[1], 1);
                   }});
    all.push_back({"LocalLaplacian::proc10K", {words(), words()}, [](Planes& p) {
                       LocalLaplacian().proc10K(p[0], p[1], 0.5f, 0.1f, 3);
                   }});
    all.push_back({"LocalLaplacian::proc16K", {words(), words()}, [](Planes& p) {
                       LocalLaplacian().proc16K(p[0], p[1], 0.5f, 0.1f, 3);
                   }});
    all.push_back({"LocalLaplacian::proc24K", {words(), words()}, [](Planes& p) {
                       LocalLaplacian().proc24K(p[0], p[1], 0.5f, 0.1f, 3);
                   }});
    all.push_back({"ConvPyr::proc",
                   {floats(), floats(), floats(1, 3), floats(1, 3), floats(1, 3)},
                   [](Planes& p) { ConvPyr(p[2], p[3], p[4]).proc(p[0], p[1]); },
                   2});
    all.push_back({"ConvPyr::pyrDown",
                   {floats(), floats(4, 4), floats(1, 3)},
                   [](Planes& p) { ConvPyr(p[2], p[2], p[2]).pyrDown(p[0], p[1]); },
                   2});
    all.push_back({"ConvPyr::pyrUp",
                   {floats(4, 4), floats(), floats(), floats(1, 3), floats(1, 3)},
                   [](Planes& p) { ConvPyr(p[3], p[3], p[4]).pyrUp(p[0], p[1], p[2]); },
                   3});
}

void addDetails(std::vector<Operation>& all) {
    all.push_back({"TVelline::setup", {words(), words(4, 4), words(4, 4)}, [](Planes& p) {
                       TVelline().setup(p[0], words(), words(), words(), p[1], p[2], nullptr);
                   }});
    all.push_back({"TVelline::proc",
                   {words(), words(), words(), words(), words()},
                   [](Planes& p) {
                       TVelline engine;
                       engine.m_Y = p[0];
                       engine.m_DS = p[1];
                       engine.m_DM = p[2];
                       engine.m_DL = p[3];
                       engine.setRoi({0, 0, 8, 8}, 1);
                       engine.proc({0, 0, 8, 8}, 1, p[4]);
                   },
                   4});
    all.push_back({"TVelline::modYWithC", {words(), words(), words()}, [](Planes& p) {
                       TVelline().modYWithC(p[0], p[1], 0.1f, 0.2f, 0.3f, p[2]);
                   }});
    all.push_back({"TVelline::mixSMH", {words(), words(), words(), words()}, [](Planes& p) {
                       TVelline().mixSMH(p[0], p[1], p[2], p[3]);
                   }});
    all.push_back({"TVelline::addEdges", {words(), words(), words(), words()}, [](Planes& p) {
                       TVelline().addEdges(p[0], p[1], p[2], p[3]);
                   }});
    all.push_back({"TVelline::merge2", {words(), words()}, [](Planes& p) {
                       Planes planes = {p[0], p[1]};
                       cv::Mat pairs;
                       TVelline().merge2(planes, pairs);
                   }});
    all.push_back({"TVelline::split2", {randomPlane(8, 8, CV_16UC2), words(), words()}, [](Planes& p) {
                       Planes planes = {p[1], p[2]};
                       TVelline().split2(p[0], planes);
                   }});
    all.push_back({"TColorAdjVL::proc", {words(), words(), words(), words(), words(), words()}, [](Planes& p) {
                       TColorAdjVL().proc(p[0], p[1], p[2], p[3], p[4], p[5]);
                   }});
}

std::vector<Operation> allOperations() {
    std::vector<Operation> all;
    addImages(all);
    addResampling(all);
    addCurves(all);
    addFilters(all);
    addDetails(all);
    return all;
}

class NoPlanes : public testing::TestWithParam<Operation> {
protected:
    void SetUp() override { Kestrova::setPrinting(false); }
    void TearDown() override { Kestrova::setPrinting(true); }
};

Planes clonesOf(const Planes& planes) {
    Planes clones;
    for (const cv::Mat& plane : planes) clones.push_back(plane.clone());
    return clones;
}

TEST_P(NoPlanes, AtOddAddressesAreRefusedBeforeAnythingIsWritten) {
    const Operation& operation = GetParam();
    Planes fitting = clonesOf(operation.planes);
    ASSERT_NO_THROW(operation.call(fitting));
    for (std::size_t i = 0; i < fitting.size(); ++i) {
        const std::size_t size = operation.planes[i].elemSize1();
        for (std::size_t shift = 1; shift < size; ++shift) {
            const Shifted shifted(operation.planes[i], shift);
            Planes planes = clonesOf(operation.planes);
            planes[i] = shifted.plane;
            EXPECT_FAILURE(operation.call(planes), kText);
            for (std::size_t p = 0; p < planes.size(); ++p)
                EXPECT_TRUE(samePixels(operation.planes[p], planes[p].clone())) << "plane " << p << " of shifted " << i;
            EXPECT_EQ(planes[i].data, shifted.plane.data);
        }
    }
}

TEST_P(NoPlanes, OfThreeDimensionsAreRefusedOrReplaced) {
    const Operation& operation = GetParam();
    for (std::size_t i = 0; i < std::min(operation.planes.size(), operation.judged); ++i) {
        const int sizes[] = {3, 4, 5};
        Planes planes = clonesOf(operation.planes);
        planes[i] = cv::Mat(3, sizes, operation.planes[i].type(), cv::Scalar(1));
        try {
            operation.call(planes);
            EXPECT_LE(planes[i].dims, 2) << "an output, which is made anew: plane " << i;
        } catch (const char*) {
            for (std::size_t p = 0; p < planes.size(); ++p) {
                if (p == i) continue;
                EXPECT_TRUE(samePixels(operation.planes[p], planes[p])) << "plane " << p << " by " << i;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(OfEveryOperation, NoPlanes, testing::ValuesIn(allOperations()));

}  // namespace
