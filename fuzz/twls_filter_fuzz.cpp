#include <cstring>
#include <new>

#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

void smooth(Input& input, TWLSFilter& used) {
    Scene scene;
    cv::Size size = someSize(input, 16);
    // The rows of both planes are contiguous: one row each.
    const cv::Size row(std::max(size.area(), 1), 1);
    const int plane = scene.addFitting(input, row, CV_32FC1, Role::kInOut),
              guide = scene.addFitting(input, row, CV_32FC1, Role::kScratch);
    if (input.rarely(16)) (input.flag() ? size.width : size.height) = input.flag() ? -input.below(3) : 0x40000000;
    const float lambda = input.real() * 10, alpha = input.real() * 3;
    const bool logarithm = input.rarely(4), null = input.rarely(24);
    const bool same = !logarithm && input.rarely(16);
    if (input.rarely(6)) outcomeOf([&] { used.realloc(input.below(12), input.below(12)); });
    if (input.rarely(12)) used.freemem();
    TWLSFilter fresh;
    const auto call = [=](Scene& s, TWLSFilter& filter) {
        float* const p = s[plane].ptr<float>();
        const cv::Mat before = s[guide].clone();
        filter.Proc(null ? nullptr : p, size.width, size.height, lambda, alpha, same ? p : s[guide].ptr<float>(),
                    logarithm);
        if (filter.solved()) return;
        // Without memory it does not fail and leaves the picture; the guide has become its logarithm.
        before.copyTo(s[guide]);
        throw std::bad_alloc();
    };
    runTwice(
        scene, [&](Scene& s) { call(s, used); }, [&](Scene& s) { call(s, fresh); });
}

void solve(Input& input) {
    const int n = input.rarely(16) ? input.number() : 1 + input.below(24), rows = std::min(std::max(n, 1), 64);
    const int right = input.rarely(8) ? 1 + input.below(3) : 1, mtype = input.rarely(16) ? input.number() : 2;
    if (n > rows) return;
    std::vector<float> a, b;
    std::vector<int> ia, ja;
    for (int i = 1; i <= rows; ++i) {
        ia.push_back(static_cast<int>(a.size()) + 1);
        a.push_back(input.rarely(6) ? input.real() * 8 : 4.0f);
        ja.push_back(i);
        for (int k = input.below(4); k > 0; --k) {
            const int column = input.rarely(16) ? input.number() : i + input.below(6);
            if (column > rows && column < 0x10000) continue;
            a.push_back(input.real());
            ja.push_back(column);
        }
    }
    ia.push_back(static_cast<int>(a.size()) + 1);
    if (input.rarely(12))
        ia[static_cast<std::size_t>(input.below(rows + 1))] =
            1 + input.below(static_cast<int>(std::min<std::size_t>(a.size(), 200)));
    for (int i = 0; i < rows * right; ++i) b.push_back(input.real());
    const auto run = [&](std::vector<float>& solution) {
        std::vector<float> values = a, x(b.size());
        std::vector<int> starts = ia, columns = ja;
        solution = b;
        const Outcome outcome = outcomeOf([&] {
            pardisoSolver(n, values.data(), starts.data(), columns.data(), solution.data(), x.data(), right, mtype);
        });
        if (outcome.failed && std::memcmp(solution.data(), b.data(), b.size() * sizeof(float)) != 0)
            finding("the right-hand side was written before the failure " + outcome.text);
        if (starts != ia || columns != ja || std::memcmp(values.data(), a.data(), a.size() * sizeof(float)) != 0)
            finding("the matrix was written");
        return outcome;
    };
    std::vector<float> first, second;
    if (run(first).text != run(second).text ||
        std::memcmp(first.data(), second.data(), first.size() * sizeof(float)) != 0)
        finding("two runs of the solver differ");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    TWLSFilter used;
    for (int calls = 0; calls < 3 && input.more(); ++calls) input.flag() ? smooth(input, used) : solve(input);
    return 0;
}
