#include <cmath>
#include <memory>

#include "bench/support/bench.h"
#include "kestrova/detail/tvelline.h"

namespace {

struct Engine : TVelline {
    using TVelline::addEdges;
    using TVelline::mixSMH;
    using TVelline::modYWithC;
};

// A picture-like plane: waves of growing length around `middle`, with noise on top.
cv::Mat wavePlane(int rows, int cols, double middle, double swing, double noise, unsigned seed) {
    cv::Mat plane(rows, cols, CV_16UC1);
    for (int y = 0; y < rows; ++y) {
        const double wave = std::sin(y * 0.013 + seed) * 0.5;
        ushort* row = plane.ptr<ushort>(y);
        for (int x = 0; x < cols; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const double grain = (seed >> 16) / 65536.0 + (seed & 0xffff) / 65536.0 - 1.0;
            const double v = middle + swing * (wave + std::sin(x * 0.007) * 0.5) + noise * grain;
            row[x] = cv::saturate_cast<ushort>(v);
        }
    }
    return plane;
}

cv::Mat luminancePlane(int rows, int cols) { return wavePlane(rows, cols, 32768, 32000, 1000, 1); }
cv::Mat detailPlane(int rows, int cols, unsigned seed) { return wavePlane(rows, cols, 32768, 1500, 2000, seed); }
cv::Mat chromaPlane(int rows, int cols, unsigned seed) { return wavePlane(rows, cols, 32768, 9000, 500, seed); }

std::shared_ptr<Engine> preparedEngine(int rows, int cols) {
    auto engine = std::make_shared<Engine>();
    engine->m_Y = luminancePlane(rows, cols);
    engine->m_DS = detailPlane(rows, cols, 2);
    engine->m_DM = detailPlane(rows, cols, 3);
    engine->m_DL = detailPlane(rows, cols, 4);
    engine->m_Dr = chromaPlane(rows, cols, 5);
    engine->m_Db = chromaPlane(rows, cols, 6);
    const float k[] = {0.2f, 0.5f, -0.3f, 0.1f, 0.6f, 0.4f, -0.4f, 0.8f, 0.3f};
    const float t[] = {0.1f, 0.05f, -0.2f, 0.15f, -0.1f, 0.3f, 0.2f, 0.05f, 0.1f};
    std::copy_n(k, 9, engine->m_k);
    std::copy_n(t, 9, engine->m_t);
    engine->m_light[0] = 0.2f;
    engine->m_mix[0] = 0.3f;
    engine->m_maxPlainLevel = cols > 4800 ? 3 : 1;
    engine->m_bRoiChanged = true;
    return engine;
}

}  // namespace

KESTROVA_BENCH(tvelline) {
    for (const BenchSize& s : kBenchSizes) {
        const int rows = s.rows, cols = s.cols;
        const std::size_t pixels = static_cast<std::size_t>(rows) * cols;
        const std::string size = std::string("/") + s.name;
        const cv::Rect all(0, 0, cols, rows);

        benchRow("TVelline::proc/one scale's slider" + size, pixels * 12, [=] {
            auto engine = preparedEngine(rows, cols);
            engine->proc(all, 1, cv::Mat());
            return [=, move = 0]() mutable {
                engine->m_k[4] = ++move % 2 ? 0.5f : 0.6f;
                engine->m_bChangedM = true;
                engine->proc(all, 1, cv::Mat());
            };
        });
        benchRow("TVelline::proc/light slider" + size, pixels * 22, [=] {
            auto engine = preparedEngine(rows, cols);
            return [=, move = 0]() mutable {
                engine->m_light[0] = ++move % 2 ? 0.1f : 0.2f;
                engine->m_bChangedY = true;
                engine->proc(all, 1, cv::Mat());
            };
        });
        benchRow("TVelline::proc/a move of the rectangle" + size, pixels * 22, [=] {
            auto engine = preparedEngine(rows, cols);
            return [=, move = 0]() mutable { engine->proc(cv::Rect(++move % 2, 0, cols - 1, rows), 1, cv::Mat()); };
        });
        benchRow("TVelline::proc/a rectangle of another size" + size, pixels * 22, [=] {
            auto engine = preparedEngine(rows, cols);
            return [=, move = 0]() mutable { engine->proc(cv::Rect(0, 0, cols, rows - ++move % 2), 1, cv::Mat()); };
        });
        benchRow("TVelline::proc/cold" + size, pixels * 22, [=] {
            auto engine = preparedEngine(rows, cols);
            return [=] {
                for (cv::Mat* cache : {&engine->m_rY, &engine->m_rDS, &engine->m_rDM, &engine->m_rDL, &engine->m_roiY})
                    cache->release();
                engine->m_bRoiChanged = true;
                engine->proc(all, 1, cv::Mat());
            };
        });
        for (int step : {2, 3, 4}) {
            benchRow("TVelline::proc/one scale's slider at step " + std::to_string(step) + size, pixels * 2, [=] {
                auto engine = preparedEngine(rows, cols);
                const cv::Rect view(0, 0, cols / step, rows / step);
                return [=] {
                    engine->m_bChangedM = true;
                    engine->proc(view, step, cv::Mat());
                };
            });
        }
        benchRow("TVelline::setup" + size, pixels * 5, [=] {
            auto engine = preparedEngine(rows, cols);
            const cv::Mat halfDr = chromaPlane(rows / 2, cols / 2, 7), halfDb = chromaPlane(rows / 2, cols / 2, 8);
            return [=] {
                const int threads = omp_get_max_threads();
                engine->setup(engine->m_Y, engine->m_DS, engine->m_DM, engine->m_DL, halfDr, halfDb, nullptr);
                omp_set_num_threads(threads);
            };
        });
        benchRow("TVelline::addEdges" + size, pixels * 10, [=] {
            auto engine = preparedEngine(rows, cols);
            return [=] { engine->addEdges(engine->m_DS, engine->m_DM, engine->m_DL, engine->m_Y); };
        });
        benchRow("TVelline::mixSMH" + size, pixels * 10, [=] {
            auto engine = preparedEngine(rows, cols);
            return [=] { engine->mixSMH(engine->m_Y, engine->m_DS, engine->m_DM, engine->m_DL); };
        });
        benchRow("TVelline::modYWithC" + size, pixels * 8, [=] {
            auto engine = preparedEngine(rows, cols);
            return [=] { engine->modYWithC(engine->m_Dr, engine->m_Db, 0.3f, 0.1f, -0.2f, engine->m_Y); };
        });
    }
}
