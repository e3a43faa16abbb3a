#include <QColorSpace>
#include <QFile>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "image_files.h"
#include "pixels.h"
#include "program.h"
#include "refusal.h"

namespace {

const char* const kHelp = R"(Usage: kestrova-filters FILTER IN OUT [--PARAMETER VALUE...]

Runs one of the library's edge-preserving filters on the luminance of the photograph IN and writes OUT (.png, .jpg or
.jpeg). The colours stay.

  wls       weighted least squares with a direct solver: even surfaces, crisp edges; pictures up to 4 megapixels
              --lambda V   smoothness, from 0 (1)
              --alpha V    how much an edge holds, 0 to 4 (1.2)

  --help    this text

Exit code 0 if the picture is written, 2 with a line on standard error if not.
)";

/// The parameters of a filter by name, with the values that hold unless the user says otherwise.
using Parameters = std::map<std::string, float>;

/// The smoother needs some 450 bytes a pixel, and its work grows faster than the picture.
void smoothByLeastSquares(cv::Mat& y, const Parameters& parameters) {
    constexpr int kMostPixels = 4'000'000;
    if (y.total() > kMostPixels) throw Refusal("the picture has more than 4 megapixels, too many for wls");
    cv::Mat guide = y.clone();
    TWLSFilter filter;
    filter.Proc(y.ptr<float>(), y.cols, y.rows, parameters.at("lambda"), parameters.at("alpha"), guide.ptr<float>(),
                true);
}

struct Filter {
    void (*run)(cv::Mat& y, const Parameters& parameters);  ///< on luminance, CV_32FC1 in 0..1, in place
    Parameters parameters, greatest;
};

const std::map<std::string, Filter>& filters() {
    static const std::map<std::string, Filter> all = {
        {"wls", {smoothByLeastSquares, {{"lambda", 1.0f}, {"alpha", 1.2f}}, {{"lambda", 1e4f}, {"alpha", 4.0f}}}},
    };
    return all;
}

float number(const std::string& text, float greatest) {
    std::size_t used = 0;
    float value = -1;
    try {
        value = std::stof(text, &used);
    } catch (const std::exception&) {
    }
    if (used != text.size() || !(value >= 0 && value <= greatest))
        throw Refusal("'" + text + "' is no number from 0 to " + std::to_string(static_cast<int>(greatest)));
    return value;
}

/// The photograph with its luminance replaced by `y` (CV_16UC1).
QImage withLuminance(const TPImage& picture, const cv::Mat& y, bool deep) {
    cv::Mat dr, db;
    upSize2XGuidedByYSimple(picture.m_Y, picture.m_Dr, dr);
    upSize2XGuidedByYSimple(picture.m_Y, picture.m_Db, db);
    cv::Mat red(y.size(), CV_16UC1), green(y.size(), CV_16UC1), blue(y.size(), CV_16UC1);
    TPImage::YDRDB2RGB(y, dr, db, red, green, blue);
    return imageOf(red, green, blue, deep);
}

void run(const std::vector<std::string>& words) {
    if (words.size() < 3) throw Refusal("FILTER, IN and OUT are needed, see --help");
    const auto chosen = filters().find(words[0]);
    if (chosen == filters().end()) throw Refusal("unknown filter '" + words[0] + "'");
    const Filter& filter = chosen->second;
    Parameters parameters = filter.parameters;
    for (std::size_t i = 3; i < words.size(); i += 2) {
        const std::string name = words[i].substr(0, 2) == "--" ? words[i].substr(2) : "";
        if (parameters.find(name) == parameters.end()) throw Refusal("unknown parameter '" + words[i] + "'");
        if (i + 1 == words.size()) throw Refusal(words[i] + " needs a value");
        parameters[name] = number(words[i + 1], filter.greatest.at(name));
    }
    const QString out = QFile::decodeName(words[2].c_str());
    checkSuffix(out);

    const QImage image = readImage(QFile::decodeName(words[1].c_str()));
    const TPImage picture = pictureOf(image);
    cv::Mat y;
    picture.m_Y.convertTo(y, CV_32F, 1.0 / 65535);
    filter.run(y, parameters);
    cv::Mat filtered;
    y.convertTo(filtered, CV_16U, 65535);

    QImage result = withLuminance(picture, filtered, isDeep(image));
    result.setColorSpace(image.colorSpace());
    writeImage(result, out, 92, [] {});
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
