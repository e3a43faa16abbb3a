#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "photo/development.h"
#include "photo/error.h"
#include "photo/read.h"
#include "photo/write.h"
#include "program.h"
#include "progress_bar.h"
#include "refusal.h"
#include "strokes.h"

using namespace kestrova::photo;

namespace {

const char* const kHelp = R"(Usage: kestrova-paint IN OUT [--strokes FILE] [--mask FILE] [--quiet]

Paints a mask over the photograph IN, develops the photograph - darker, cooler, with little colour left -, blends the
two under the mask and writes the result to OUT (.jpg, .png, .tif or .webp) with the metadata and the profile of IN.

  --strokes FILE   what to paint; without it, strokes made for the bundled dandelion
  --mask FILE      writes the mask, too, at half the size of the photograph
  --quiet          no progress bar
  --help           this text

A file of strokes has one command a line, numbers in pixels of the photograph; a # begins a remark:

  fill VALUE                              the whole mask: 0 keeps the photograph, 255 takes the developed one
  invert                                  the whole mask
  stroke [KEY=VALUE...] : X,Y [X,Y...]    along the points, with
                                            value=0..255, outer=RADIUS,
                                            inner=RADIUS (full strength up to here, half of outer if not given),
                                            opacity=0..1, tolerance=0..100 (0 for none, 0.5 stops at clear edges)
  undo                                    takes back the fill, inversion or stroke before

Exit code 0 if the pictures are written, 2 with a line on standard error if not, 130 after Ctrl-C.
)";

struct Options {
    bool help = false;
    std::string in, out;
    std::optional<std::string> strokes, mask;
    bool quiet = false;
};

Options readOptions(int argc, char** argv) {
    Options options;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--help") {
            options.help = true;
        } else if (word == "--quiet") {
            options.quiet = true;
        } else if (word == "--strokes" || word == "--mask") {
            if (++i == argc) throw Refusal(word + " needs a file");
            (word == "--mask" ? options.mask : options.strokes) = argv[i];
        } else if (word.size() > 1 && word[0] == '-') {
            throw Refusal("unknown option " + word);
        } else {
            files.push_back(word);
        }
    }
    if (!options.help && files.size() != 2) throw Refusal("IN and OUT are needed, see --help");
    if (files.size() == 2) options.in = files[0], options.out = files[1];
    return options;
}

/// Strokes of the user's, or those made for the bundled photograph.
void paint(const Options& options, TDrawMask& mask) {
    if (options.strokes) {
        std::ifstream file(*options.strokes);
        if (!file) throw Refusal("cannot read " + *options.strokes);
        paintStrokes(file, *options.strokes, mask);
    } else {
        std::istringstream text(kFlowerStrokes);
        paintStrokes(text, "strokes", mask);
    }
}

Settings darkMeadow() {
    Settings settings;
    settings.light.brightness = -0.9f;
    settings.light.highlights = -0.5f;
    settings.colour.temperature = -0.35f;
    settings.colour.saturation = -0.6f;
    return settings;
}

Photograph greyPhotograph(const cv::Mat& grey) {
    Photograph photograph;
    photograph.grey = true;
    photograph.pixels.create(grey.size(), CV_16UC4);
    for (int y = 0; y < grey.rows; ++y)
        for (int x = 0; x < grey.cols; ++x) {
            const auto v = static_cast<ushort>(257 * grey.at<uchar>(y, x));
            photograph.pixels.at<cv::Vec4w>(y, x) = cv::Vec4w(v, v, v, 65535);
        }
    return photograph;
}

/// out := out where the mask is 0, `other` where it is 255; all have the size of the picture.
void blend(const cv::Mat& mask, const cv::Mat& other, cv::Mat& out) {
    for (int y = 0; y < out.rows; ++y) {
        const auto* m = mask.ptr<uchar>(y);
        const auto* from = other.ptr<cv::Vec4w>(y);
        auto* to = out.ptr<cv::Vec4w>(y);
        for (int x = 0; x < out.cols; ++x)
            for (int c = 0; c < 3; ++c)
                to[x][c] = static_cast<ushort>((to[x][c] * (255 - m[x]) + from[x][c] * m[x] + 127) / 255);
    }
}

cv::Mat developed(const Photograph& photograph, TProgress& progress) {
    Development development(photograph);
    development.set(darkMeadow());
    Control control;
    control.progress = [&](double share) {
        if (!progress.prog(10 + static_cast<int>(80 * share), 100)) control.cancel();
    };
    Development::Output output;
    output.bits = 16;
    try {
        return development.render(output, &control).pixels;
    } catch (const Error& error) {
        if (error.kind() == Error::Kind::cancelled) throw Cancelled{};
        throw;
    }
}

void run(const Options& options) {
    checkWritable(options.out);
    if (options.mask) checkWritable(*options.mask);
    ProgressBar bar(!options.quiet);
    TProgress& progress = bar.progress();

    Photograph photograph = readPhotograph(options.in);
    cv::Mat pixels = photograph.pixels;
    TPImage picture;
    picture.convertFrom(pixels.ptr<ushort>(), pixels.cols, pixels.rows, static_cast<int>(pixels.step / sizeof(ushort)));
    TDrawMask brush;
    brush.setInImage(&picture);
    paint(options, brush);
    const cv::Mat mask = brush.getMaskRoi(cv::Rect(), 0);
    proceed(progress.prog(10, 100));

    const cv::Mat other = developed(photograph, progress);
    cv::Mat fullMask(pixels.size(), CV_8UC1);
    upSize2X(mask, fullMask, 2);
    blend(fullMask, other, pixels);
    proceed(progress.prog(95, 100));

    if (options.mask) writePhotograph(greyPhotograph(mask), *options.mask);
    proceed(progress.prog(99, 100));
    writePhotograph(photograph, options.out);
    progress.done();
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram("kestrova-paint", [&] {
        const Options options = readOptions(argc, argv);
        if (options.help)
            std::fputs(kHelp, stdout);
        else
            run(options);
    });
}
