#include "kestrova/filters/guided_model.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "kestrova/filters/guided_fit.h"
#include "kestrova/filters/guided_narrow.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/box_moments.h"
#include "kestrova/rows/prefetch.h"
#include "kestrova/rows/scratch.h"

namespace kestrova::filters {

using namespace frame;
using namespace rows;

namespace {

/// Rows of the planes of the model.
CoefficientRows rowsOf(std::vector<cv::Mat>& model, int y, int rows, int x) {
    CoefficientRows out;
    for (std::size_t k = 0; k < model.size(); ++k)
        for (int i = 0; i < rows; ++i) out.rows[k][i] = model[k].ptr<float>(y + i, x);
    return out;
}

/// Panels from top to bottom, in strips where there are more threads than panels.
class PanelTasks {
public:
    PanelTasks(cv::Size size, int r, int panelCols)
        : m_cols(size.width),
          m_panelCols(panelCols),
          m_panels((size.width - 1) / m_panelCols + 1),
          m_workers(Strips(size.height, size.width).count() == 1 ? 1 : workerCount(size.height)) {
        constexpr int kTasksPerWorker = 3;  // a worker that is late holds up little
        const int blockRows = GuidedFit::blockRows(r), blocks = (size.height - 1) / blockRows + 1;
        const int wanted = m_workers == 1 ? 1 : (kTasksPerWorker * m_workers - 1) / m_panels + 1;
        // Each strip fits some 2r rows above its own again, in all at most an eighth of the plane's.
        const int most = std::min(blocks, r == 0 ? blocks : size.height / (16 * r));
        m_strips = std::clamp(wanted, 1, std::max(most, 1));
        m_blocksPerStrip = (blocks - 1) / m_strips + 1;
        m_stripRows = m_blocksPerStrip * blockRows;
        m_strips = (size.height - 1) / m_stripRows + 1;
        m_workers = std::min(m_workers, count());
        m_rows = size.height;
        m_needed = m_rows / (m_rows + 2.0 * r * (m_strips - 1));
    }

    int workers() const { return m_workers; }
    int columns() const { return m_panelCols; }
    int count() const { return m_panels * m_strips; }
    /// The part of the work that is there without strips.
    double needed() const { return m_needed; }
    cv::Rect rect(int task) const {
        const int x = task / m_strips * m_panelCols, y = task % m_strips * m_stripRows;
        return {x, y, std::min(m_panelCols, m_cols - x), std::min(m_stripRows, m_rows - y)};
    }

private:
    int m_cols, m_rows = 0;
    int m_panelCols, m_panels;
    int m_workers;
    int m_strips = 1, m_blocksPerStrip = 1, m_stripRows = 1;
    double m_needed = 1;
};

template <class Fit>
void fitInPanels(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, int panelCols,
                 std::vector<cv::Mat>& model) {
    const PanelTasks tasks(p.size(), r, panelCols);
    std::vector<Fit> fits;
    fits.reserve(static_cast<std::size_t>(tasks.workers()));
    for (int worker = 0; worker < tasks.workers(); ++worker)
        fits.emplace_back(guide, p, r, eps, BoxBorder::kReplicated, tasks.columns());
    const auto fitPanel = [&](int task, int worker) noexcept {
        Fit& fit = fits[static_cast<std::size_t>(worker)];
        const cv::Rect rect = tasks.rect(task);
        fit.span(rect.x, rect.br().x);
        fit.begin(rect.y, 0);
        for (int y = rect.y; y < rect.br().y;) {
            const int rows = fit.rowsTogether(y, rect.br().y);
            fit.compute(y, rows, rowsOf(model, y, rows, rect.x));
            y += rows;
        }
    };
    parallelTasks(tasks.workers(), tasks.count(), fitPanel, tasks.needed());
}

// ---- Windows too high for panels: rows of coefficients first, then means down their columns in place

/// Column sums of the moments above the first row of each strip but the first: strips need not begin at a block of
/// rows.
class SumsAbove {
public:
    SumsAbove(const std::vector<cv::Mat>& planes, int r, const std::vector<int>& firstRows, int workers)
        : m_firstRows(firstRows), m_cols(planes[0].cols) {
        const BoxAxis down{planes[0].rows, r, BoxBorder::kReplicated}, across{m_cols, 0, BoxBorder::kReplicated};
        const auto moments = static_cast<std::size_t>(BoxMoments::count(static_cast<int>(planes.size())));
        for (std::size_t s = 1; s < firstRows.size(); ++s)
            m_sums.emplace_back(moments, static_cast<std::size_t>(m_cols));
        if (m_sums.empty()) return;
        for (int worker = 0; worker < workers; ++worker)
            m_moments.emplace_back(planes, down, across, std::min(kColumns, m_cols), BoxMoments::Give::kColumnSums);
    }

    /// False if a value is not finite: the sums are not those that lead there then.
    bool compute() noexcept {
        if (m_sums.empty()) return true;
        std::atomic<bool> finite{true};
        const auto sumDown = [&](int task, int worker) noexcept {
            BoxMoments& moments = m_moments[static_cast<std::size_t>(worker)];
            moments.span(task * kColumns, std::min((task + 1) * kColumns, m_cols));
            int y = 0;
            for (std::size_t s = 0; s < m_sums.size(); ++s) {
                while (y < m_firstRows[s + 1] && finite) {
                    const int rows = moments.rowsTogether(y, m_firstRows[s + 1]);
                    moments.moveTo(y, rows);
                    if (!moments.finite()) finite = false;
                    y += rows;
                }
                moments.copyTo(m_sums[s]);
            }
        };
        constexpr double kNeeded = 0;
        parallelTasks(static_cast<int>(m_moments.size()), (m_cols - 1) / kColumns + 1, sumDown, kNeeded);
        return finite;
    }

    const Scratch<double>& above(std::size_t strip) const { return m_sums[strip - 1]; }

private:
    static constexpr int kColumns = 512;

    std::vector<int> m_firstRows;
    int m_cols;
    std::vector<Scratch<double>> m_sums;
    std::vector<BoxMoments> m_moments;
};

/// Means down the columns of a plane, in place. One object serves one thread.
class MeansDown {
public:
    MeansDown(int rows, int r)
        : m_down{rows, r, BoxBorder::kReplicated},
          m_keptRows(std::min(r + 1, rows)),
          m_columns(columns(m_keptRows)),
          m_kept(static_cast<std::size_t>(m_keptRows), static_cast<std::size_t>(m_columns)),
          m_out(kRowsAtOnce, static_cast<std::size_t>(m_columns)),
          m_sums(m_columns) {}

    /// As many columns are done at a time: the rows that are kept of them take little memory, 2 MiB if they can.
    int columns() const { return m_columns; }

    void compute(cv::Mat& plane, int x, int n) noexcept {
        m_sums.span(n);
        const int blockRows = GuidedFit::blockRows(m_down.r);
        float* out[kRowsAtOnce];
        for (std::size_t i = 0; i < kRowsAtOnce; ++i) out[i] = m_out.row(i);
        for (int y = 0; y < plane.rows;) {
            const int rows = std::min({kRowsAtOnce, plane.rows - y, blockRows - y % blockRows});
            const auto rowAt = [&](int i) {
                const int row = m_down.inPlane(y + i);
                return ValueRow{row < y ? kept(row) : plane.ptr<float>(row, x)};
            };
            for (int i = m_down.side(); i < m_down.side() + rows; ++i)
                prefetch(rowAt(rows + i - 1).values, static_cast<std::size_t>(n) * sizeof(float));
            meansDown(m_sums, rowAt, m_down.r, rows, y % blockRows == 0, out, n);
            for (int i = 0; i < rows; ++i) {
                float* const row = plane.ptr<float>(y + i, x);
                std::copy_n(row, n, kept(y + i));
                std::copy_n(out[i], n, row);
            }
            y += rows;
        }
    }

private:
    static int columns(int keptRows) {
        constexpr int kFloats = (2 << 20) / sizeof(float);
        return std::clamp(kFloats / keptRows / 16 * 16, 16, 512);
    }
    float* kept(int y) const noexcept { return m_kept.row(static_cast<std::size_t>(y % m_keptRows)); }

    BoxAxis m_down;
    int m_keptRows;  ///< what has been overwritten of the rows under a window, and of the one that has just left it
    int m_columns;
    Scratch<float> m_kept, m_out;
    FloatColumns m_sums;
};

void fitInTwoPasses(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps,
                    std::vector<cv::Mat>& model) {
    const bool small = Strips(p.rows, p.cols).count() == 1;
    const int workers = small ? 1 : workerCount(p.rows);
    const int strips = workers == 1 ? 1 : std::min(2 * workers, p.rows);
    std::vector<int> firstRows;
    for (int s = 0; s < strips; ++s) firstRows.push_back(static_cast<int>(static_cast<long long>(p.rows) * s / strips));

    SumsAbove sums(guideThen(guide, p), r, firstRows, workers);
    std::vector<FittedRows> fits;
    for (int worker = 0; worker < workers; ++worker)
        fits.emplace_back(guide, p, r, eps, BoxBorder::kReplicated, p.cols);
    std::vector<MeansDown> means;
    for (int worker = 0; worker < workers; ++worker) means.emplace_back(p.rows, r);

    const bool divided = sums.compute();
    const auto fitRows = [&](FittedRows& fit, int first, int end) noexcept {
        for (int y = first; y < end;) {
            const int rows = fit.rowsTogether(y, end);
            fit.compute(y, rows, rowsOf(model, y, rows, 0));
            y += rows;
        }
    };
    parallelTasks(divided ? workers : 1, divided ? strips : 1, [&](int strip, int worker) noexcept {
        FittedRows& fit = fits[static_cast<std::size_t>(worker)];
        fit.span(0, p.cols);
        const auto s = static_cast<std::size_t>(strip);
        if (strip == 0)
            fit.begin(0, 0);
        else
            fit.begin(0, sums.above(s));
        fitRows(fit, firstRows[s], divided && strip + 1 < strips ? firstRows[s + 1] : p.rows);
    });
    const int columns = means[0].columns(), stripes = (p.cols - 1) / columns + 1;
    parallelTasks(workers, stripes * static_cast<int>(model.size()), [&](int task, int worker) noexcept {
        const int x = task % stripes * columns;
        means[static_cast<std::size_t>(worker)].compute(model[static_cast<std::size_t>(task / stripes)], x,
                                                        std::min(columns, p.cols - x));
    });
}

}  // namespace

void fitModel(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, std::vector<cv::Mat>& model) {
    const int panelCols = GuidedFit::panelColumns(p.cols, r, model.size());
    if (NarrowGuidedFit::isRadius(r))
        fitInPanels<NarrowGuidedFit>(guide, p, r, eps, panelCols, model);
    else if (panelCols > 0)
        fitInPanels<GuidedFit>(guide, p, r, eps, panelCols, model);
    else
        fitInTwoPasses(guide, p, r, eps, model);
}

}  // namespace kestrova::filters
