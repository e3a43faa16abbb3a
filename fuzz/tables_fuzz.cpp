#include <cmath>
#include <cstring>
#include <new>

#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

template <class Table>
struct Open : Table {
    using Table::Table;
    std::size_t bytes() const {
        return (this->m_inType == CV_8UC1 ? 256u : 65536u) * (this->m_outType == CV_8UC1 ? 1u : 2u);
    }
    const void* entries() const { return this->m_lut_p; }
};

template <class Table>
void curve(Input& input) {
    const float kMin = input.real(), kMax = input.real() * 6, blur = input.real();
    const int threshold = input.number();
    Open<Table> used, fresh(kMin, kMax, threshold, blur);
    for (int i = input.below(3); i > 0; --i)
        used.setupLinearThreshold(input.real(), input.real(), input.real(), input.real());
    used.setKRange(kMin, kMax, threshold, blur);
    const float a = input.real(), b = input.real(), c = input.real(), d = input.real();
    const bool light = input.flag();
    const auto setup = [&](Open<Table>& table) {
        if constexpr (std::is_same_v<Table, TLut16U>)
            if (light) return table.setupLightAdjust(a, b, c, d);
        table.setupLinearThreshold(a, b, c, d);
    };
    outcomeOf([&] { setup(used); });
    outcomeOf([&] { setup(fresh); });
    if (std::memcmp(used.entries(), fresh.entries(), used.bytes()) != 0)
        finding("a used table differs from a fresh one");

    Scene scene;
    const cv::Size size = someSize(input);
    const int in = scene.add(input, size, used.bytes() == 256 ? CV_8UC1 : CV_16UC1, Role::kIn);
    const int out = scene.add(input, size, used.bytes() == 256 ? CV_8UC1 : CV_16UC1, Role::kOut, true);
    const bool inPlace = input.rarely(4);
    runTwice(scene, [&](Scene& s) { inPlace ? used.apply(s[out]) : used.apply(s[in], s[out]); });
}

void types(Input& input) {
    Scene scene;
    const int inType = input.rarely(4) ? input.number() : CV_MAKETYPE(2 * input.below(2), 1);
    const int outType = input.rarely(4) ? input.number() : CV_MAKETYPE(2 * input.below(2), 1);
    const cv::Size size = someSize(input);
    const int in = scene.add(input, size, someType(input), Role::kIn);
    const int out = scene.add(input, size, someType(input), Role::kOut, true);
    runTwice(scene, [=](Scene& s) {
        struct Filled : Open<TLut1D> {
            using Open::Open;
            void clear() { std::memset(m_lut_p, 1, bytes()); }
        };
        Filled table(inType, outType);
        table.clear();
        Filled copy(table), other;
        other = copy;
        other.apply(s[in], s[out]);
    });
}

void spline(Input& input) {
    const int n = input.rarely(16) ? input.number() % 4096 : input.below(12);
    outcomeOf(
        [&] {
            TSpline spline(n), copy(spline);
            for (int i = input.below(12); i > 0; --i) {
                const int point = input.rarely(8) ? input.number() : input.below(std::min(n, 200) + 1);
                const float x = input.real(), y = input.real();
                const Outcome outcome = outcomeOf([&] { spline.setCtrPoint(point, x, y); });
                if (outcome.failed != (point < 0 || point >= n))
                    finding("setCtrPoint of point " + std::to_string(point));
                if (!outcome.failed && spline.ctrPx(point) != x && !std::isnan(x)) finding("ctrPx");
            }
            spline.update();
            const float t = input.real(), value = spline.value(t), shared = copy.value(t);
            if (std::memcmp(&value, &shared, sizeof value) != 0) finding("a copy shares the arrays");
        },
        {false, false, n < 0});
}

struct Tables2D final : TLut2D {
    using TLut2D::TLut2D;
    ushort lookUp(int, uchar, uchar) const override { return 0; }
};

void holders(Input& input) {
    Scene scene;
    const auto type = static_cast<TImage::IMTYPE>(input.below(5));
    const int plane = scene.addFitting(input, someSize(input), CV_16UC1, Role::kInOut);
    const int n = input.number(), kind = input.below(3);
    const bool shift = input.rarely(8);
    runTwice(scene,
             [=](Scene& s) {
                 Tables2D many(n);
                 Tables2D copy(many);
                 copy = many;
                 if (copy.numLuts() != n) finding("numLuts");
                 cv::Mat& mat = s[plane];
                 TImage image(type, TSize(mat.cols, mat.rows));
                 TLutY linear;
                 // Without memory there are no planes and no tables, which is no failure before they are used.
                 if ((!mat.empty() && !image.dataPtr(0, 0, 0)) || !linear.ptr()) throw std::bad_alloc();
                 linear.setLinear();
                 if (type == TImage::IM_Y16U && !mat.empty()) image.fromMat(mat, 0);
                 if (kind == 0) {
                     TLutY table;
                     table.setLinear();
                     for (int i = 0; table.ptr() && i < 65536; i += 255)
                         table.ptr()[i] = static_cast<ushort>(65535 - i);
                     table.apply(image);
                 } else {
                     TLutC tables(n), shared(tables);
                     shared.setLinear();
                     kind == 1 ? shared.apply(image) : shared.apply(image, image);
                 }
                 if (type == TImage::IM_Y16U && !mat.empty()) image.toMat(0).copyTo(mat);
                 if (shift || mat.cols < 4 || mat.rows < 1) return;
                 TImage view(TSize(mat.cols / 4, mat.rows), mat.ptr<ushort>(), static_cast<int>(mat.step), false);
                 linear.apply(view);
             },
             {false, true});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 3 && input.more(); ++calls) {
        switch (input.below(6)) {
            case 0: curve<TLut8U>(input); break;
            case 1: curve<TLut16U>(input); break;
            case 2: types(input); break;
            case 3: holders(input); break;
            default: spline(input);
        }
    }
    return 0;
}
