#include "kestrova/filters/twls_filter.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <utility>

#include "kestrova/filters/pardiso_solver.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/plane_checks.h"
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

void TWLSFilter::weights(int n, const float* to, const float* from, float lambda, float alpha, float* band) {
    vsSub(n, to, from, band);
    vsAbs(n, band, m_diag_p);
    vsPowx(n, m_diag_p, alpha, m_diag_p);
    addConst(n, m_eps, m_diag_p);
    std::fill_n(band, n, -lambda);
    vsDiv(n, band, m_diag_p, band);
}

void TWLSFilter::setDiagonal() {
    std::fill_n(m_diag_p, m_n, 1.0f);
    vsSub(m_n, m_diag_p, m_dx_p, m_diag_p);
    vsSub(m_n, m_diag_p, m_dy_p, m_diag_p);
    vsSub(m_n - 1, m_diag_p + 1, m_dx_p, m_diag_p + 1);
    vsSub(m_n - m_width, m_diag_p + m_width, m_dy_p, m_diag_p + m_width);
}

void TWLSFilter::assemble() {
    int k = 1;
    const auto put = [&](float value, int column) {
        m_a_p[k - 1] = value;
        m_ja_p[k - 1] = column;
        ++k;
    };
    for (int i = 1; i <= m_n; ++i) {
        m_ia_p[i - 1] = k;
        put(m_diag_p[i - 1], i);
        if (i < m_n) put(m_dx_p[i - 1], i + 1);  // at the end of a pixel row an explicit 0
        if (i <= m_n - m_width) put(m_dy_p[i - 1], i + m_width);
    }
    m_ia_p[m_n] = k;
}

int TWLSFilter::Proc(float* inOut, int w, int h, float lambda, float alpha, float* guide, bool logGuide) {
    m_solved = false;
    if (!inOut || !guide) fail("ERROR - TWLSFilter::Proc - inOut or guide is null");
    if (!aligned(inOut) || !aligned(guide)) fail("ERROR - TWLSFilter::Proc - inOut%4 || guide%4");
    if (w < 1 || h < 1) fail("ERROR - TWLSFilter::Proc - w < 1 || h < 1");
    realloc(w, h);
    if (logGuide) {
        addConst(m_n, m_epsLog, guide);
        vsLn(m_n, guide, guide);
    }
    std::fill_n(m_dx_p, m_n, 0.0f);
    std::fill_n(m_dy_p, m_n, 0.0f);
    const auto row = [w](auto* plane, int y) { return plane + static_cast<std::ptrdiff_t>(y) * w; };
    for (int y = 0; y + 1 < h; ++y) weights(w, row(guide, y + 1), row(guide, y), lambda, alpha, row(m_dy_p, y));
    for (int y = 0; y < h; ++y) weights(w - 1, row(guide, y) + 1, row(guide, y), lambda, alpha, row(m_dx_p, y));
    setDiagonal();
    assemble();
    constexpr int kSymmetricPositiveDefinite = 2;
    m_solved = pardisoSolverInKeptMemory(m_n, m_a_p, m_ia_p, m_ja_p, inOut, m_diag_p, 1, kSymmetricPositiveDefinite,
                                         m_buffers->solver) == 1;
    return 1;
}
