#include <pybind11/stl.h>

#include <cmath>

#include "arrays.h"
#include "call.h"
#include "module.h"

namespace kestrova::python {

namespace {

using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;

TSpline splineOf(const std::vector<std::pair<float, float>>& points) {
    if (points.empty()) refuse("points: expected at least one pair (x, y)");
    for (std::size_t i = 0; i < points.size(); ++i)
        if (!std::isfinite(points[i].first) || !std::isfinite(points[i].second) ||
            (i > 0 && points[i].first <= points[i - 1].first))
            refuse("points: expected finite numbers, with abscissae that ascend");
    TSpline spline(static_cast<int>(points.size()));
    for (std::size_t i = 0; i < points.size(); ++i)
        spline.setCtrPoint(static_cast<int>(i), points[i].first, points[i].second);
    callCore(std::nullopt, [&] { spline.update(); });
    return spline;
}

Floats splineValues(const TSpline& spline, const Floats& at) {
    Floats values(std::vector<py::ssize_t>(at.shape(), at.shape() + at.ndim()));
    const float* t = at.data();
    float* value = values.mutable_data();
    const py::ssize_t n = at.size();
    callCore(std::nullopt, [&] {
        for (py::ssize_t i = 0; i < n; ++i) value[i] = spline.value(t[i]);
    });
    return values;
}

// Tables whose entries Python reads and writes.
template <class Table, class Entry, int kEntries>
struct Open : Table {
    using Table::Table;
    py::array entries() {
        return arrayOf(cv::Mat(1, kEntries, cv::DataType<Entry>::type, this->m_lut_p).clone().reshape(1, 1))
            .attr("reshape")(-1);
    }
};

template <class Table, class Entry, int kEntries>
py::array detailTable(float strength, float threshold, float baseStrength, float baseThreshold, float kMin, float kMax,
                      int halfWidth, float blur) {
    Open<Table, Entry, kEntries> table(kMin, kMax, halfWidth, blur);
    callCore(std::nullopt, [&] { table.setupLinearThreshold(strength, threshold, baseStrength, baseThreshold); });
    return table.entries();
}

py::array lightTable(float brightness, float contrast, float shadows, float highlights, float kMin, float kMax) {
    Open<TLut16U, ushort, 65536> table(kMin, kMax);
    callCore(std::nullopt, [&] { table.setupLightAdjust(brightness, contrast, shadows, highlights); });
    return table.entries();
}

// A rule that has been evaluated at the levels where the table samples it.
class SampledRule final : public TLutY16U {
public:
    explicit SampledRule(const ushort* samples) : m_samples(samples) {}
    void mapPixel(ushort& y, ushort&, ushort&) override { y = m_samples[y / kSpacing]; }
    static constexpr int kSpacing = 16, kSamples = 65536 / kSpacing;

private:
    const ushort* m_samples;
};

py::array ruleTable(const py::object& samples) {
    const Input input = inputOf(samples, "samples", kWords);
    if (input.plane.size() != cv::Size(SampledRule::kSamples, 1))
        refuse("samples: expected " + std::to_string(SampledRule::kSamples));
    cv::Mat table(1, 65536, CV_16UC1);
    for (int i = 0; i < table.cols; ++i) table.at<ushort>(0, i) = static_cast<ushort>(i);
    callCore(std::nullopt, [&] { SampledRule(input.plane.ptr<ushort>()).proc(table, true); });
    return arrayOf(table).attr("reshape")(-1);
}

struct HostTable : TLut1D {
    using TLut1D::TLut1D;
    void fill(const cv::Mat& entries) { std::memcpy(m_lut_p, entries.data, entries.total() * entries.elemSize()); }
};

py::array applyTable(const py::object& src, const py::object& entries, const py::object& out, const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords);
    const bool words = input.plane.depth() == CV_16U;
    // A table from words to bytes would look at the low byte of a pixel alone.
    const Input table = inputOf(entries, "table", words ? kWords : kBytes | kWords, cv::Size(words ? 65536 : 256, 1));
    Output output(out, input.plane.size(), table.plane.type());
    output.keepOff(table);
    callCore(threads, [&] {
        HostTable host(input.plane.type(), table.plane.type());
        host.fill(table.plane);
        host.apply(input.plane, output.plane);
    });
    return output.done();
}

}  // namespace

void addCurves(py::module_& module) {
    py::class_<TSpline>(module, "Spline").def(py::init(&splineOf)).def("values", splineValues);
    module.def("detail_table_8", detailTable<TLut8U, uchar, 256>);
    module.def("detail_table_16", detailTable<TLut16U, ushort, 65536>);
    module.def("light_table", lightTable);
    module.def("rule_table", ruleTable);
    module.def("apply_table", applyTable);
}

}  // namespace kestrova::python
