#pragma once

#include <benchmark/benchmark.h>
#include <omp.h>

#include <opencv2/core/utility.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/support/busy.h"

/// A row of the table: what `prepare` returns, measured with each number of threads, beside a plain copy of as many
/// bytes as it must move (read and written together). `prepare` makes the planes and returns the work as a closure; it
/// runs when the row runs. Reported: milliseconds, bytes per second, and "copies", the ratio to the time of that copy
/// in the same run; where `pixels` is given, also "bytes/pixel", the peak of memory that the work's first run adds to
/// the planes prepared, its outputs included.
template <class Prepare>
void benchRow(const std::string& name, std::size_t bytesMoved, const Prepare& prepare, std::size_t pixels = 0,
              const std::vector<int>& teams = {1, omp_get_num_procs()});

/// Bytes of memory that the process holds at the peak of `work` beyond what it held before (Linux; 0 elsewhere).
double peakBytes(const std::function<void()>& work);

/// Registers the rows that its body adds: `KESTROVA_BENCH(resample) { for (...) benchRow(...); }`
#define KESTROVA_BENCH(room)                                       \
    static void room##Rows();                                      \
    static const bool room##RowsRegistered = (room##Rows(), true); \
    static void room##Rows()

/// The two sizes that everything is measured at.
struct BenchSize {
    const char* name;
    int cols, rows;
};
constexpr BenchSize kBenchSizes[] = {{"1920x1080", 1920, 1080}, {"6000x4000", 6000, 4000}};

namespace bench_detail {
/// All rows, to be measured in another way.
std::vector<BusyRow>& rows();
/// Seconds of a plain copy that reads half and writes half of `bytesMoved`, with the current number of threads.
double copySeconds(std::size_t bytesMoved);
}  // namespace bench_detail

template <class Prepare>
void benchRow(const std::string& name, std::size_t bytesMoved, const Prepare& prepare, std::size_t pixels,
              const std::vector<int>& teams) {
    bench_detail::rows().push_back({name, [=]() -> std::function<void()> { return prepare(); }});
    for (int threads : teams) {
        const std::string row = name + "/threads:" + std::to_string(threads);
        benchmark::RegisterBenchmark(
            row.c_str(),
            [=](benchmark::State& state) {
                omp_set_num_threads(threads);
                cv::setNumThreads(threads);
                auto work = prepare();
                const double peak = peakBytes([&] { work(); });
                const double copy = bench_detail::copySeconds(bytesMoved);
                double total = 0;
                for (auto _ : state) {
                    const double start = omp_get_wtime();
                    work();
                    const double seconds = omp_get_wtime() - start;
                    state.SetIterationTime(seconds);
                    total += seconds;
                }
                state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytesMoved));
                state.counters["copies"] = total / static_cast<double>(state.iterations()) / copy;
                if (pixels > 0) state.counters["bytes/pixel"] = peak / static_cast<double>(pixels);
            })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
}
