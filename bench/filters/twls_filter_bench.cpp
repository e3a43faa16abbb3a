#include "kestrova/filters/twls_filter.h"

#include <Eigen/SparseCholesky>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench.h"
#include "kestrova/primitives/sparse_solver.h"

#ifdef KESTROVA_HAVE_CHOLMOD
#include <cholmod.h>
#endif

// Seconds of the smoother, with fresh memory and with that of a run before, and of its solver's phases apart, on the
// system of a picture-like guide, with the peak of memory above what the process holds before.

namespace {

struct Size {
    int cols, rows;
};
constexpr Size kSizes[] = {{256, 256}, {512, 512}, {1024, 1024}, {1500, 1000}, {2048, 2048}};

std::string nameOf(Size size) { return std::to_string(size.cols) + "x" + std::to_string(size.rows); }

/// Shapes of constant brightness under soft light with some noise.
std::vector<float> picture(Size size) {
    std::vector<float> plane(static_cast<std::size_t>(size.cols) * size.rows);
    std::uint32_t random = 1;
    for (int y = 0; y < size.rows; ++y) {
        for (int x = 0; x < size.cols; ++x) {
            random = random * 1664525u + 1013904223u;
            const double u = 6.0 * x / size.cols, v = 6.0 * y / size.rows;
            const double shape = std::sin(u * v) + std::cos(3 * u - v) > 0.2 ? 0.55 : 0.15;
            plane[static_cast<std::size_t>(y) * size.cols + x] =
                static_cast<float>(shape + 0.1 * std::sin(u) * std::cos(v) + 0.02 * (random >> 8) / (1 << 24));
        }
    }
    return plane;
}

/// The smoother after a run, with its matrix.
std::shared_ptr<TWLSFilter> assembled(Size size) {
    auto filter = std::make_shared<TWLSFilter>();
    std::vector<float> guide = picture(size), plane = guide;
    filter->Proc(plane.data(), size.cols, size.rows, 1.0f, 1.2f, guide.data(), true);
    return filter;
}

/// Measures `work` and its peak of memory.
template <class Prepare>
void row(const std::string& name, Size size, const std::vector<int>& teams, const Prepare& prepare) {
    for (int threads : teams) {
        const std::string full = "wls/" + name + "/" + nameOf(size) + "/threads:" + std::to_string(threads);
        benchmark::RegisterBenchmark(full.c_str(),
                                     [=](benchmark::State& state) {
                                         omp_set_num_threads(threads);
                                         auto work = prepare();
                                         const double peak = peakBytes([&] {
                                             for (auto _ : state) state.SetIterationTime(work());
                                         });
                                         state.counters["MiB"] = peak / 0x1p20;
                                     })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
}

template <class Work>
double seconds(const Work& work) {
    const double start = omp_get_wtime();
    work();
    return omp_get_wtime() - start;
}

/// All phases up to `measured`; the seconds of that one.
double phaseSeconds(const TWLSFilter& filter, const std::vector<float>& plane, int measured) {
    void* pt[64] = {};
    int iparm[64] = {};
    iparm[5] = 1, iparm[7] = 5, iparm[27] = 1;
    const int one = 1, mtype = 2, none = 0;
    std::vector<float> b = plane, x(plane.size());
    double result = 0;
    for (int phase : {11, 22, 33, -1}) {
        int error = 0;
        const double taken = seconds([&] {
            PARDISO(pt, &one, &one, &mtype, &phase, &filter.m_n, filter.m_a_p, filter.m_ia_p, filter.m_ja_p, &none,
                    &one, iparm, &none, b.data(), x.data(), &error);
        });
        if (phase == measured) result = taken;
    }
    return result;
}

using Matrix = Eigen::SparseMatrix<float>;

Matrix lowerTriangle(const TWLSFilter& filter) {
    std::vector<Eigen::Triplet<float>> entries;
    for (int i = 0; i < filter.m_n; ++i) {
        for (int k = filter.m_ia_p[i] - 1; k < filter.m_ia_p[i + 1] - 1; ++k) {
            if (filter.m_a_p[k] != 0) entries.emplace_back(filter.m_ja_p[k] - 1, i, filter.m_a_p[k]);
        }
    }
    Matrix lower(filter.m_n, filter.m_n);
    lower.setFromTriplets(entries.begin(), entries.end());
    return lower;
}

#ifdef KESTROVA_HAVE_CHOLMOD
double cholmodSeconds(const Matrix& lower) {
    cholmod_common common;
    cholmod_start(&common);
    common.supernodal = CHOLMOD_SUPERNODAL;
    const auto n = static_cast<std::size_t>(lower.rows()), entries = static_cast<std::size_t>(lower.nonZeros());
    cholmod_sparse* a = cholmod_allocate_sparse(n, n, entries, 1, 1, -1, CHOLMOD_REAL, &common);
    std::copy_n(lower.outerIndexPtr(), n + 1, static_cast<int*>(a->p));
    std::copy_n(lower.innerIndexPtr(), entries, static_cast<int*>(a->i));
    std::copy_n(lower.valuePtr(), entries, static_cast<double*>(a->x));
    cholmod_dense* b = cholmod_ones(n, 1, CHOLMOD_REAL, &common);
    const double taken = seconds([&] {
        cholmod_factor* factor = cholmod_analyze(a, &common);
        cholmod_factorize(a, factor, &common);
        cholmod_dense* x = cholmod_solve(CHOLMOD_A, factor, b, &common);
        cholmod_free_dense(&x, &common);
        cholmod_free_factor(&factor, &common);
    });
    cholmod_free_dense(&b, &common);
    cholmod_free_sparse(&a, &common);
    cholmod_finish(&common);
    return taken;
}
#endif

KESTROVA_BENCH(wls) {
    std::vector<int> teams = {1};
    if (omp_get_num_procs() > 1) teams.push_back(omp_get_num_procs());
    for (Size size : kSizes) {
        const auto smooth = [=](TWLSFilter& filter) {
            std::vector<float> guide = picture(size), plane = guide;
            return seconds([&] { filter.Proc(plane.data(), size.cols, size.rows, 1.0f, 1.2f, guide.data(), true); });
        };
        row("proc", size, teams, [=] {
            return [=] {
                TWLSFilter filter;
                return smooth(filter);
            };
        });
        row("procAgain", size, teams, [=] {
            auto filter = assembled(size);
            return [=] { return smooth(*filter); };
        });
        bench_detail::rows().push_back({"wls/procAgain/" + nameOf(size), [=]() -> std::function<void()> {
                                            auto filter = assembled(size);
                                            return [=, original = picture(size)] {
                                                std::vector<float> guide = original, plane = original;
                                                filter->Proc(plane.data(), size.cols, size.rows, 1.0f, 1.2f,
                                                             guide.data(), true);
                                            };
                                        }});
        for (auto [phase, name] : {std::pair{11, "analysis"}, {22, "factorisation"}, {33, "solution"}}) {
            row(name, size, teams, [=, phase = phase] {
                auto filter = assembled(size);
                auto plane = std::make_shared<std::vector<float>>(picture(size));
                return [=] { return phaseSeconds(*filter, *plane, phase); };
            });
        }
        row("eigenSimplicialLLT", size, {1}, [=] {
            auto lower = std::make_shared<Matrix>(lowerTriangle(*assembled(size)));
            const std::vector<float> b = picture(size);
            return [=] {
                return seconds([&] {
                    const Eigen::SimplicialLLT<Matrix> factor(*lower);
                    const Eigen::VectorXf x = factor.solve(Eigen::Map<const Eigen::VectorXf>(b.data(), lower->rows()));
                    benchmark::DoNotOptimize(x.data());
                });
            };
        });
#ifdef KESTROVA_HAVE_CHOLMOD
        row("cholmodSupernodal", size, {1}, [=] {
            auto lower = std::make_shared<Matrix>(lowerTriangle(*assembled(size)));
            return [=] { return cholmodSeconds(*lower); };
        });
#endif
    }
}

}  // namespace
