#include "strokes.h"

#include <cmath>
#include <functional>
#include <istream>
#include <sstream>
#include <vector>

#include "numbers.h"
#include "refusal.h"

namespace {

using Command = std::function<void(TDrawMask&)>;

struct Brush {
    int value = 255;
    int outer = 100;
    int inner = -1;  ///< half of the outer one unless given
    float opacity = 1;
    float tolerance = 0;
};

void setKey(Brush& brush, const std::string& word) {
    const std::size_t equals = word.find('=');
    const std::string key = word.substr(0, equals);
    if (equals == std::string::npos) throw Refusal("'" + word + "' is no KEY=VALUE");
    const std::string value = word.substr(equals + 1);
    if (key == "value")
        brush.value = number(value, 0, 255);
    else if (key == "outer")
        brush.outer = number(value, 1, 10000);
    else if (key == "inner")
        brush.inner = number(value, 0, 10000);
    else if (key == "opacity")
        brush.opacity = number(value, 0.0f, 1.0f);
    else if (key == "tolerance")
        brush.tolerance = number(value, 0.0f, 100.0f);
    else
        throw Refusal("unknown key '" + key + "'");
}

cv::Point point(const std::string& word) {
    const std::size_t comma = word.find(',');
    if (comma == std::string::npos) throw Refusal("'" + word + "' is no point X,Y");
    return cv::Point(number(word.substr(0, comma), -100000, 100000), number(word.substr(comma + 1), -100000, 100000));
}

// Dots along the line through `points`, as close as a hand's movement gives them: a quarter of the radius apart.
void drawStroke(TDrawMask& mask, const Brush& brush, const std::vector<cv::Point>& points) {
    const auto dot = [&](const cv::Point& p) {
        mask.drawADot(p, static_cast<uchar>(brush.value), brush.outer, brush.inner, brush.opacity, brush.tolerance);
    };
    mask.drawStart(0, 1.0f);
    dot(points.front());
    for (std::size_t i = 1; i < points.size(); ++i) {
        const cv::Point way = points[i] - points[i - 1];
        const int dots = 1 + static_cast<int>(4 * std::hypot(way.x, way.y) / brush.outer);
        for (int k = 1; k <= dots; ++k) dot(points[i - 1] + cv::Point(way.x * k / dots, way.y * k / dots));
    }
    mask.drawEnd();
}

Command readStroke(std::istream& words) {
    Brush brush;
    std::string word;
    while (words >> word && word != ":") setKey(brush, word);
    if (brush.inner < 0) brush.inner = brush.outer / 2;
    if (brush.inner > brush.outer) throw Refusal("inner is larger than outer");
    std::vector<cv::Point> points;
    while (words >> word) points.push_back(point(word));
    if (points.empty()) throw Refusal("a stroke needs ': X,Y' at its end");
    return [=](TDrawMask& mask) { drawStroke(mask, brush, points); };
}

// The command of one line, none for an empty one. `open` counts what an undo can take back.
Command readLine(const std::string& line, int& open) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string name, value, rest;
    if (!(words >> name)) return {};
    Command command;
    ++open;
    if (name == "fill") {
        words >> value;
        const auto level = static_cast<uchar>(number(value, 0, 255));
        command = [=](TDrawMask& mask) { mask.setValue(level); };
    } else if (name == "invert") {
        command = [](TDrawMask& mask) { mask.invert(); };
    } else if (name == "stroke") {
        command = readStroke(words);
    } else if (name == "undo") {
        open -= 2;
        if (open < 0) throw Refusal("nothing is left to undo");
        command = [](TDrawMask& mask) { mask.undo(); };
    } else {
        throw Refusal("unknown command '" + name + "'");
    }
    if (words >> rest) throw Refusal("'" + rest + "' is too much");
    return command;
}

}  // namespace

void paintStrokes(std::istream& text, const std::string& name, TDrawMask& mask) {
    std::vector<Command> commands;
    std::string line;
    int open = 0;
    for (int lineNumber = 1; std::getline(text, line); ++lineNumber) {
        try {
            if (Command command = readLine(line, open)) commands.push_back(std::move(command));
        } catch (const Refusal& refusal) {
            throw Refusal(name + ":" + std::to_string(lineNumber) + ": " + refusal.what());
        }
    }
    for (const Command& command : commands) command(mask);
    mask.proc();
}

const char* const kFlowerStrokes = R"(# The meadow around the flower is developed, the flower stays.
fill 0
stroke outer=640 inner=440 : 1500,960 1620,960                              # its middle, a soft dot or two
stroke outer=300 inner=100 tolerance=0.9 : 900,800 1000,480 1300,330 1700,330 2050,520 2250,850 2260,1150 2000,1500 1600,1600 1150,1480 900,1150 900,800
stroke outer=70 inner=55 tolerance=0.5 : 1565,1640 1550,2300 1535,2987     # the stem
stroke value=0 outer=160 inner=40 opacity=0.7 tolerance=0.4 : 2560,900 2560,1300 2300,1650
stroke outer=500 inner=500 : 3500,2000                                     # a slip of the hand
undo
invert
)";
