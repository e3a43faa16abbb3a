#include <QColorSpace>
#include <QFile>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "development.h"
#include "image_files.h"
#include "pixels.h"
#include "program.h"
#include "progress_bar.h"
#include "refusal.h"
#include "strokes.h"

namespace {

const char* const kHelp = R"(Usage: kestrova-paint IN OUT [--strokes FILE] [--mask FILE] [--quiet]

Paints a mask over the photograph IN, develops the photograph - darker, cooler, with little colour left -, blends the
two under the mask and writes the result to OUT (.png, .jpg or .jpeg).

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

QString pathOf(const std::string& name) { return QFile::decodeName(name.c_str()); }

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
    settings.light[0] = -0.55f;  // brightness
    settings.light[2] = -0.4f;   // highlights
    settings.temperature = -0.35f;
    settings.saturation = -0.6f;
    return settings;
}

/// out := out where the mask is 0, `other` where it is 255; the mask has the size of the picture.
void blend(const cv::Mat& mask, const cv::Mat& other, cv::Mat& out) {
    for (int y = 0; y < out.rows; ++y) {
        const auto* m = mask.ptr<uchar>(y);
        const auto* from = other.ptr<ushort>(y);
        auto* to = out.ptr<ushort>(y);
        for (int x = 0; x < out.cols; ++x)
            to[x] = static_cast<ushort>((to[x] * (255 - m[x]) + from[x] * m[x] + 127) / 255);
    }
}

void run(const Options& options) {
    const QString out = pathOf(options.out);
    checkSuffix(out);
    if (options.mask) checkSuffix(pathOf(*options.mask));
    ProgressBar bar(!options.quiet);
    TProgress& progress = bar.progress();

    const QImage image = readImage(pathOf(options.in));
    TPImage picture = pictureOf(image);
    TDrawMask brush;
    brush.setInImage(&picture);
    paint(options, brush);
    const cv::Mat mask = brush.getMaskRoi(cv::Rect(), 0);
    proceed(progress.prog(10, 100));

    const Developed developed = develop(picture, darkMeadow(), progress);
    Developed plain = develop(picture, Settings(), progress);
    cv::Mat fullMask(picture.m_Y.size(), CV_8UC1);
    upSize2X(mask, fullMask, 2);
    blend(fullMask, developed.red, plain.red);
    blend(fullMask, developed.green, plain.green);
    blend(fullMask, developed.blue, plain.blue);

    const auto lastCheck = [&] { proceed(progress.prog(99, 100)); };
    if (options.mask) {
        const QImage grey(mask.data, mask.cols, mask.rows, static_cast<qsizetype>(mask.step),
                          QImage::Format_Grayscale8);
        writeImage(grey, pathOf(*options.mask), 92, lastCheck);
    }
    QImage result = imageOf(plain.red, plain.green, plain.blue, isDeep(image));
    result.setColorSpace(image.colorSpace());
    writeImage(result, out, 92, lastCheck);
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
