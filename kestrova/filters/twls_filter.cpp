#include "kestrova/filters/twls_filter.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <utility>

#include "kestrova/filters/pardiso_solver.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/steps.h"
#include "kestrova/primitives/vector_math.h"

using namespace kestrova::frame;

struct TWLSFilter::Buffers {
    Buffers() = default;
    Buffers(const Buffers&) = delete;
    Buffers& operator=(const Buffers&) = delete;
    ~Buffers() {
        for (void* block : blocks) mkl_free(block);
    }

    /// A block of `count` floats or ints, null where there is no memory.
    template <class Number>
    Number* allocate(std::size_t count) {
        constexpr int kAlignment = 32;
        blocks[used] = mkl_malloc(count * sizeof(Number), kAlignment);
        return static_cast<Number*>(blocks[used++]);
    }

    std::array<void*, 6> blocks{};
    std::size_t used = 0;
    kestrova::solver::SolverMemory solver;
};

TWLSFilter::TWLSFilter() = default;
TWLSFilter& TWLSFilter::operator=(const TWLSFilter&) = default;
TWLSFilter::~TWLSFilter() { freemem(); }

int TWLSFilter::getWidth() const { return m_width; }
int TWLSFilter::getHeight() const { return m_height; }
bool TWLSFilter::solved() const { return m_solved; }

void TWLSFilter::freemem() {
    m_buffers.reset();
    m_dx_p = nullptr;  // m_dy_p keeps its value, as documented
    m_diag_p = nullptr;
    m_a_p = nullptr;
    m_ia_p = nullptr;
    m_ja_p = nullptr;
}

void TWLSFilter::realloc(int w, int h) {
    if (w == m_width && h == m_height && m_buffers) return;
    if (w < 1 || h < 1) return;
    if (w > INT_MAX / 3 / h) fail("ERROR - TWLSFilter::realloc - 3 * w * h > INT_MAX");
    freemem();

    constexpr const char* kNoBuffers = "TWLSFilter::realloc - failed";
    std::shared_ptr<Buffers> buffers;
    orFailWithoutMemory(kNoBuffers, [&] { buffers = std::make_shared<Buffers>(); });
    m_n = w * h;
    const auto n = static_cast<std::size_t>(m_n);
    m_dx_p = buffers->allocate<float>(n);
    m_dy_p = buffers->allocate<float>(n);
    m_diag_p = buffers->allocate<float>(n);
    if (m_dx_p) {
        m_width = w;
        m_height = h;
        m_nnz = 3 * m_n;
        m_a_p = buffers->allocate<float>(3 * n);
        m_ia_p = buffers->allocate<int>(n + 1);
        m_ja_p = buffers->allocate<int>(3 * n);
    }
    if (!m_dx_p || !m_dy_p || !m_diag_p || !m_a_p || !m_ia_p || !m_ja_p) {
        freemem();
        fail(kNoBuffers);
    }
    m_buffers = std::move(buffers);
}

void TWLSFilter::addConst(int n, float value, float* y) {
    for (int i = 0; i < n; ++i) y[i] += value;
}

void TWLSFilter::weights(int n, const float* to, const float* from, float lambda, float alpha, float* scratch,
                         float* band) {
    vsSub(n, to, from, band);
    vsAbs(n, band, scratch);
    vsPowx(n, scratch, alpha, scratch);
    addConst(n, m_eps, scratch);
    std::fill_n(band, n, -lambda);
    vsDiv(n, band, scratch, band);
}

void TWLSFilter::setWeights(int y, const float* guide, float lambda, float alpha) {
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(y) * m_width;
    const float* const own = guide + row;
    float* const scratch = m_diag_p + row;
    if (y + 1 < m_height)
        weights(m_width, own + m_width, own, lambda, alpha, scratch, m_dy_p + row);
    else
        std::fill_n(m_dy_p + row, m_width, 0.0f);
    weights(m_width - 1, own + 1, own, lambda, alpha, scratch, m_dx_p + row);
    m_dx_p[row + m_width - 1] = 0;
}

void TWLSFilter::setDiagonal(int y) {
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(y) * m_width;
    float* const diagonal = m_diag_p + row;
    std::fill_n(diagonal, m_width, 1.0f);
    vsSub(m_width, diagonal, m_dx_p + row, diagonal);
    vsSub(m_width, diagonal, m_dy_p + row, diagonal);
    vsSub(m_width - 1, diagonal + 1, m_dx_p + row, diagonal + 1);
    if (y > 0) vsSub(m_width, diagonal, m_dy_p + row - m_width, diagonal);
}

void TWLSFilter::assemble(int y) {
    setDiagonal(y);
    const int begin = y * m_width + 1, end = begin + m_width;
    int k = 3 * (begin - 1) + 1;  // all rows of pixels but the last have all three entries
    const auto put = [&](float value, int column) {
        m_a_p[k - 1] = value;
        m_ja_p[k - 1] = column;
        ++k;
    };
    for (int i = begin; i < end; ++i) {
        m_ia_p[i - 1] = k;
        put(m_diag_p[i - 1], i);
        if (i < m_n) put(m_dx_p[i - 1], i + 1);  // at the end of a pixel row an explicit 0
        if (i <= m_n - m_width) put(m_dy_p[i - 1], i + m_width);
    }
    if (y == m_height - 1) m_ia_p[m_n] = k;
}

int TWLSFilter::Proc(float* inOut, int w, int h, float lambda, float alpha, float* guide, bool logGuide) {
    m_solved = false;
    if (!inOut || !guide) fail("ERROR - TWLSFilter::Proc - inOut or guide is null");
    if (!aligned(inOut) || !aligned(guide)) fail("ERROR - TWLSFilter::Proc - inOut%4 || guide%4");
    if (w < 1 || h < 1) fail("ERROR - TWLSFilter::Proc - w < 1 || h < 1");
    realloc(w, h);
    constexpr int kWork = 48;  // on a pixel
    const Strips strips(h, workOf(w, kWork));
    const auto takeLog = [&](int y) {
        float* const row = guide + static_cast<std::ptrdiff_t>(y) * w;
        addConst(w, m_epsLog, row);
        vsLn(w, row, row);
    };
    Steps<3> steps;
    withTeam(strips.workers(), [&](int) noexcept {
        return steps.join({logGuide ? strips.count() : 0, strips.count(), strips.count()},
                          [&](int step, int s) noexcept {
                              for (int y = strips.first(s); y < strips.end(s); ++y) {
                                  if (step == 0) takeLog(y);
                                  if (step == 1) setWeights(y, guide, lambda, alpha);
                                  if (step == 2) assemble(y);
                              }
                          });
    });
    constexpr int kSymmetricPositiveDefinite = 2;
    m_solved = pardisoSolverInKeptMemory(m_n, m_a_p, m_ia_p, m_ja_p, inOut, m_diag_p, 1, kSymmetricPositiveDefinite,
                                         m_buffers->solver) == 1;
    return 1;
}
