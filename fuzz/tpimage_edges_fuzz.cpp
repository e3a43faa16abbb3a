#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

struct Edges : TPImage {
    using TPImage::applyFullToEdgeLUT;
    using TPImage::edgeToFull;
    using TPImage::fullToEdge;
    using TPImage::provideEdgeTables;
};

void one(Input& input) {
    Scene scene;
    const int kind = input.below(5);
    const cv::Size size = someSize(input), half((size.width + 1) / 2, (size.height + 1) / 2);
    const int full = scene.add(input, size, kind < 3 ? CV_16UC1 : CV_8UC1, Role::kIn);
    const int low = kind == 1 ? scene.addEmpty() : scene.add(input, half, CV_16UC1, Role::kIn);
    const int other = scene.add(input, half, CV_16UC1, Role::kIn, true);
    const int out = scene.add(input, size, kind < 3 ? CV_8UC1 : CV_16UC1, Role::kOut, true);
    const float epsilon = input.real(), gain = input.real() * 4;
    runTwice(scene,
             [=](Scene& s) {
                 Edges edges;
                 if (kind == 0) return Edges::applyFullToEdgeLUT(s[full], s[out]);
                 if (kind < 3) return edges.fullToEdge(s[full], s[low], s[out]);
                 if (kind == 3) return edges.edgeToFull(s[full], s[low], s[out], gain);
                 edges.edgeToFull(s[full], s[low], s[other], s[out], epsilon, gain);
             },
             {true, false});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Edges::provideEdgeTables();
    Input input(data, size);
    for (int calls = 0; calls < 4 && input.more(); ++calls) one(input);
    return 0;
}
