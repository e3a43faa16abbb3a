#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "gradients.h"
#include "numbers.h"
#include "photo/read.h"
#include "photo/write.h"
#include "program.h"
#include "refusal.h"
#include "smoothing.h"

using namespace kestrova::photo;

namespace {

const char* const kHelp = R"(kestrova-filters runs one of the library's edge-aware filters on a photograph.

Usage: kestrova-filters FILTER IN OUT [--PARAMETER VALUE...]

IN is a photograph of any format that the photo layer reads, OUT a .jpg, .png, .tif or .webp file, which gets its
metadata and its profile. Luminance changes, colours stay.
Amplitudes are parts of the full scale, from black to white; what stands in brackets holds without the parameter.

  guided      guided filter: means where a window is even, the picture itself where it has contrast
                --radius V      half the window, 0 to 500 pixels (8)
                --eps V         variance that counts as even, 0.000001 to 1 (0.001); 0.001 is an amplitude of 0.03
                --reduce V      estimates on a picture smaller by 1, 2, 4, 8 or 16 (1): faster for large radii
  rgb-guided  the same guided by red, green and blue: edges of colour alone stay, too
                --radius V, --eps V as above

  bilateral   bilateral grid: means of pixels near in place and alike in luminance
                --sampling V    pixels per cell of the grid, 2 to 1000 (8)
                --range V       luminance per cell, 0.001 to 1 (0.1)

  laplacian   local Laplacian pyramid: flattens faint detail of every size, or lifts it
                --amplitude V   of the detail, 0 to 0.4 to flatten it, -0.4 to 0 to double it (0.1)
                --blur V        of the bounds of that amplitude, 0 to 1 (0.3)
                --levels V      octaves of detail, 1 to 12 (5)

  wls         weighted least squares with a direct solver: even surfaces, crisp edges; pictures up to 4 megapixels
                --lambda V      smoothness, 0 to 100 (1)
                --alpha V       how much an edge holds, 0 to 4 (1.2)

  pyramid     convolution pyramid: takes faint gradients away and puts the picture together again, with flat surfaces
                --threshold V   difference of neighbours that counts as faint, 0 to 1 (0.005)

  --help      this text

OUT is replaced in one step when all is done. Exit status: 0 when the picture is written, 2 with a one-line reason on
standard error when not.

Example: kestrova-filters bilateral in.jpg out.png --sampling 16 --range 0.05
)";

struct Parameter {
    double value, least, greatest;
    bool whole = false;
};
using Parameters = std::map<std::string, Parameter>;

float real(const Parameters& parameters, const char* name) { return static_cast<float>(parameters.at(name).value); }
int whole(const Parameters& parameters, const char* name) { return static_cast<int>(parameters.at(name).value); }

struct Filter {
    Parameters parameters;
    cv::Mat (*run)(const TPImage& picture, const Parameters& parameters);  ///< returns the new luminance
};

const std::map<std::string, Filter>& filters() {
    using P = const Parameters&;
    static const Parameter radius = {8, 0, 500, true}, eps = {0.001, 1e-6, 1};
    static const std::map<std::string, Filter> all = {
        {"guided",
         {{{"radius", radius}, {"eps", eps}, {"reduce", {1, 1, 16, true}}},
          [](const TPImage& picture, P p) {
              const int n = whole(p, "reduce");
              if ((n & (n - 1)) != 0) throw Refusal("--reduce is one of 1, 2, 4, 8 and 16");
              return smoothGuidedReduced(picture.m_Y, whole(p, "radius"), real(p, "eps"), n);
          }}},
        {"rgb-guided",
         {{{"radius", radius}, {"eps", eps}},
          [](const TPImage& picture, P p) {
              return smoothGuidedByColour(picture, whole(p, "radius"), real(p, "eps"));
          }}},
        {"bilateral",
         {{{"sampling", {8, 2, 1000, true}}, {"range", {0.1, 0.001, 1}}},
          [](const TPImage& picture, P p) {
              return smoothBilateral(picture.m_Y, whole(p, "sampling"), real(p, "range"));
          }}},
        {"laplacian",
         {{{"amplitude", {0.1, -0.4, 0.4}}, {"blur", {0.3, 0, 1}}, {"levels", {5, 1, 12, true}}},
          [](const TPImage& picture, P p) {
              return smoothLaplacian(picture.m_Y, real(p, "amplitude"), real(p, "blur"), whole(p, "levels"));
          }}},
        {"wls",
         {{{"lambda", {1, 0, 100}}, {"alpha", {1.2, 0, 4}}},
          [](const TPImage& picture, P p) {
              return smoothLeastSquares(picture.m_Y, real(p, "lambda"), real(p, "alpha"));
          }}},
        {"pyramid",
         {{{"threshold", {0.005, 0, 1}}},
          [](const TPImage& picture, P p) { return withoutFaintGradients(picture.m_Y, real(p, "threshold")); }}},
    };
    return all;
}

double valueOf(const std::string& text, const Parameter& bounds) {
    if (!bounds.whole) return number(text, bounds.least, bounds.greatest);
    return number(text, static_cast<int>(bounds.least), static_cast<int>(bounds.greatest));
}

/// Moves every pixel's channels by what luminance has changed: colours keep all of their detail.
void changeLuminance(const cv::Mat& from, const cv::Mat& to, cv::Mat& pixels) {
    for (int y = 0; y < pixels.rows; ++y) {
        const auto* before = from.ptr<ushort>(y);
        const auto* after = to.ptr<ushort>(y);
        auto* p = pixels.ptr<cv::Vec4w>(y);
        for (int x = 0; x < pixels.cols; ++x)
            for (int c = 0; c < 3; ++c) p[x][c] = cv::saturate_cast<ushort>(p[x][c] + after[x] - before[x]);
    }
}

void run(const std::vector<std::string>& words) {
    if (words.size() < 3) throw Refusal("FILTER, IN and OUT are needed, see --help");
    const auto chosen = filters().find(words[0]);
    if (chosen == filters().end()) throw Refusal("unknown filter '" + words[0] + "', see --help");
    Parameters parameters = chosen->second.parameters;
    for (std::size_t i = 3; i < words.size(); i += 2) {
        const std::string name = words[i].substr(0, 2) == "--" ? words[i].substr(2) : "";
        const auto parameter = parameters.find(name);
        if (parameter == parameters.end())
            throw Refusal("unknown parameter '" + words[i] + "' of " + words[0] + ", see --help");
        if (i + 1 == words.size()) throw Refusal(words[i] + " needs a value");
        try {
            parameter->second.value = valueOf(words[i + 1], parameter->second);
        } catch (const Refusal& refusal) {
            throw Refusal(words[i] + ": " + refusal.what());
        }
    }
    checkWritable(words[2]);

    Photograph photograph = readPhotograph(words[1]);
    cv::Mat pixels = photograph.pixels;
    TPImage picture;
    picture.convertFrom(pixels.ptr<ushort>(), pixels.cols, pixels.rows, static_cast<int>(pixels.step / sizeof(ushort)));
    changeLuminance(picture.m_Y, chosen->second.run(picture, parameters), pixels);
    writePhotograph(photograph, words[2]);
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram("kestrova-filters", [&] {
        const std::vector<std::string> words(argv + 1, argv + argc);
        if (words.size() == 1 && words[0] == "--help")
            std::fputs(kHelp, stdout);
        else
            run(words);
    });
}
