#include <cstring>

#include "fuzz/support/scene.h"
#include "fuzz/support/start.h"
#include "kestrova/kestrova.h"

namespace {

using Images = std::vector<std::unique_ptr<TImage>>;

/// The pixels of an image and what it says about itself.
std::vector<cv::Mat> pixelsOf(const TImage& image) {
    std::vector<cv::Mat> planes;
    for (int p = 0; p < (image.type() == TImage::IM_C8U ? 2 : 1); ++p) planes.push_back(image.toMat(p).clone());
    return planes;
}

void compareImages(const TImage& a, const TImage& b, const std::string& name) {
    if (a.type() != b.type() || a.size() != b.size()) finding(name + ": kind or size differ");
    const std::vector<cv::Mat> x = pixelsOf(a), y = pixelsOf(b);
    for (std::size_t p = 0; p < x.size(); ++p) comparePlanes(x[p], y[p], name);
}

TSize sizeOf(cv::Size size) { return TSize(size.width, size.height); }

std::unique_ptr<TImage> image(Input& input, TImage::IMTYPE type, const TSize& size) {
    if (input.rarely(24)) type = static_cast<TImage::IMTYPE>(input.below(7));
    TSize given = size;
    if (input.rarely(16)) given.width += input.below(5) - 2;
    if (input.rarely(16)) given.height += input.below(5) - 2;
    auto made = std::make_unique<TImage>(type, given);
    Scene scene;
    for (int p = 0; p < (type == TImage::IM_C8U ? 2 : 1); ++p) {
        cv::Mat plane = made->toMat(p);
        if (plane.empty()) continue;
        const int pixels = scene.addFitting(input, plane.size(), plane.type(), Role::kIn);
        scene[pixels].copyTo(plane);
    }
    return made;
}

/// Copies of all images, pixels included.
Images copyOf(const Images& images) {
    Images copies;
    for (const auto& each : images) copies.push_back(std::make_unique<TImage>(*each));
    return copies;
}

/// Runs `call` on the images and again on copies: `outputs` may change, the others stay, and all stay after a failure.
template <class Call>
void runOnImages(Images& images, const std::vector<std::size_t>& outputs, const Call& call) {
    const Images before = copyOf(images);
    Images again = copyOf(images);
    const Failures allowed{false, true};
    const RefusedOutcome refused = refusedOutcomeOf([&] { call(images); }, allowed);
    for (std::size_t i = 0; refused.outcome.failed && i < images.size(); ++i)
        compareImages(*images[i], *before[i], "image " + std::to_string(i) + " after " + refused.outcome.text);
    const Outcome first = refused.toRepeat ? outcomeOf([&] { call(images); }, allowed) : refused.outcome;
    const Outcome second = outcomeOf([&] { call(again); }, allowed);
    if (first.failed != second.failed || first.text != second.text)
        finding("first \"" + first.text + "\", again \"" + second.text + "\"");
    for (std::size_t i = 0; i < images.size(); ++i) {
        compareImages(*images[i], *again[i], "image " + std::to_string(i) + " of two runs");
        const bool output = std::find(outputs.begin(), outputs.end(), i) != outputs.end();
        if (!output || first.failed)
            compareImages(*images[i], *before[i], "image " + std::to_string(i) + " after " + first.text);
    }
}

void convert(Input& input) {
    const int kind = input.below(8);
    const TSize size = sizeOf(someSize(input)), half = TImage::dec2Size(size);
    const bool words = kind == 1 || kind == 3 || kind == 5;
    Images images;
    images.push_back(image(input, words ? TImage::IM_RGBA16U : TImage::IM_RGBA8U, size));
    // The last row or column of an odd size is not written: new pixels there are undefined.
    const TSize given = images[0]->size();
    const bool fresh = input.rarely(3) && given.width % 2 == 0 && given.height % 2 == 0;
    images.push_back(image(input, TImage::IM_Y16U, fresh ? TSize() : size));
    images.push_back(image(input, TImage::IM_C8U, fresh ? TSize() : half));
    images.push_back(image(input, TImage::IM_M8U, fresh ? TSize() : half));
    images.push_back(image(input, words ? TImage::IM_RGBA8U : TImage::IM_RGBA16U, fresh ? TSize() : size));
    const float k = input.real();
    const bool fitting = images[1]->size() == given && images[2]->size() == TImage::dec2Size(given) &&
                         images[3]->size() == TImage::dec2Size(given);
    if (kind < 2 && !fitting && (given.width % 2 != 0 || given.height % 2 != 0)) return;
    switch (kind) {
        case 0:
            return runOnImages(images, {1, 2, 3}, [](Images& i) { TImage::rgba8uToYCM(*i[0], *i[1], *i[2], *i[3]); });
        case 1:
            return runOnImages(images, {1, 2, 3}, [](Images& i) { TImage::rgba16uToYCM(*i[0], *i[1], *i[2], *i[3]); });
        case 2: return runOnImages(images, {0}, [](Images& i) { TImage::YCMToRgba8u(*i[1], *i[2], *i[3], *i[0]); });
        case 3: return runOnImages(images, {0}, [](Images& i) { TImage::YCMToRgba16u(*i[1], *i[2], *i[3], *i[0]); });
        case 4: return runOnImages(images, {4}, [](Images& i) { TImage::rgba8uTo16u(*i[0], *i[4]); });
        case 5: return runOnImages(images, {4}, [](Images& i) { TImage::rgba16uTo8u(*i[0], *i[4]); });
        case 6: {
            images.push_back(image(input, TImage::IM_Y16U, size));
            images.push_back(image(input, TImage::IM_C8U, half));
            return runOnImages(images, {6},
                               [=](Images& i) { TImage::updateCfromYChange(*i[1], *i[2], *i[5], *i[6], k); });
        }
        default: return runOnImages(images, {}, [](Images& i) { i[1]->halfY8U(); });
    }
}

void host(Input& input) {
    Scene scene;
    const cv::Size size = someSize(input);
    const TSize whole = sizeOf(size), half = TImage::dec2Size(whole);
    const int kind = input.below(5);
    const bool bottomUp = input.rarely(4), words = kind == 3;
    const int plane = scene.addFitting(input, size, words ? CV_16UC4 : CV_8UC4, kind == 0 ? Role::kIn : Role::kInOut);
    const int shorter = input.rarely(8) ? input.below(4 * 40) : 0;
    const bool odd = input.rarely(16);
    const bool swap = input.flag();
    const std::shared_ptr<TImage> y = image(input, TImage::IM_Y16U, whole), c = image(input, TImage::IM_C8U, half),
                                  m = image(input, TImage::IM_M8U, half), from = image(input, TImage::IM_RGBA8U, whole);
    // Pixels of the size of Y are written at the host's step: another size would lie about the buffer.
    if (kind == 1 && y->size() != whole) return;
    runTwice(scene,
             [=](Scene& s) {
                 cv::Mat& mat = s[plane];
                 const bool flipped = bottomUp && !mat.empty();
                 uchar* first = flipped ? mat.ptr(mat.rows - 1) : mat.data;
                 // Only a step too short for a row may be another than that of the buffer.
                 const int row = mat.cols * static_cast<int>(mat.elemSize());
                 int step = static_cast<int>(mat.step);
                 if (shorter > 0 && row > 0 && row - shorter > -row) step = row - shorter;
                 if (odd && row > 0) step = row - 1;
                 if (flipped) step = -step;
                 TImage y0(*y), c0(*c), m0(*m);
                 if (kind == 0) return TImage::bgra8uToTImage(first, step, size.width, size.height, y0, c0, m0);
                 if (kind == 1) return TImage::timageToBgra8u(y0, c0, m0, first, step);
                 if (kind == 3) {
                     TImage view(whole, reinterpret_cast<ushort*>(first), step, swap);
                     return view.swapC4RBCannel();
                 }
                 TImage view(whole, first, step, swap);
                 if (kind == 2) return view.swapC4RBCannel();
                 TImage other(TImage::IM_RGBA8U, whole);
                 other.copyFrom(view);
                 view.copyFrom(*from);
                 view.resize(TSize(3, 3));
                 TImage::rgba16uTo8u(TImage(TImage::IM_RGBA16U, TSize()), view);
             },
             {false, true});
}

void fill(Input& input) {
    Scene scene;
    const auto type = static_cast<TImage::IMTYPE>(input.below(6));
    const cv::Size size = someSize(input);
    const int plane = scene.add(input, size, kTypes[input.below(2)], Role::kIn),
              which = input.rarely(4) ? input.number() : 0;
    const TSize given(input.rarely(8) ? input.number() : size.width, input.rarely(8) ? input.number() : size.height);
    runTwice(scene,
             [=](Scene& s) {
                 TImage image(type, TSize(size.width, size.height));
                 image.fromMat(s[plane], which);
                 if (!s[plane].empty()) comparePlanes(image.toMat(which), s[plane], "fromMat");
                 image.resize(given);
                 TImage shared(TImage::IM_M8U, TSize(1, 1));
                 shared = image;
                 image.setChanged(TRect(1, 2, 3, 4));
                 shared.copyFrom(image);
                 image.copyFrom(image);
             },
             {false, true});
}

void colour(Input& input) {
    const float r = input.real(), g = input.real(), b = input.real();
    ushort y;
    uchar y8, u, v;
    float red, green, blue;
    TImage::RGB2YUV(r, g, b, y, u, v);
    TImage::YUV2RGB(y, u, v, red, green, blue);
    TImage::RGB2YUV(r, g, b, y8, u, v);
    TImage::YUV2RGB(y8, u, v, red, green, blue);
    TImage::dec2Size(TSize(input.number(), input.number()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    for (int calls = 0; calls < 4 && input.more(); ++calls) {
        switch (input.below(6)) {
            case 0:
            case 1:
            case 2: convert(input); break;
            case 3: host(input); break;
            case 4: fill(input); break;
            default: colour(input);
        }
    }
    return 0;
}
