#include "options.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>
#include <vector>

#include "numbers.h"
#include "refusal.h"

const char* const kHelp = R"(kestrova-develop develops a photograph.

Usage: kestrova-develop IN OUT [options]

IN is a PNG or JPEG file of 8 or 16 bits, OUT a .png, .jpg or .jpeg file; it may be the same file. A PNG has as many
bits as IN; JPEG has 8. Transparency is dropped. Without options the picture comes out as it went in.
A value follows its option as "--tint 0.3" or as "--tint=0.3".

Detail, in three scales. Each scale has a strength k and a threshold t, both from -1.5 to 1.5:
  k   above 0 boosts, below 0 softens, -1 removes the scale (below that it turns negative)
  t   above 0 lifts faint detail, below 0 removes it (0 if not given)
  --small k[,t]             fine detail: hair, grain, texture
  --medium k[,t]            forms: leaves, folds, faces
  --large k[,t]             broad light and shade
Shadows and midtones can differ: they move on from their scale's values, a positive k or t towards 1.5, a negative one
away from it.
  --small-shadows k[,t]     --small-midtones k[,t]
  --medium-shadows k[,t]    --medium-midtones k[,t]
  --large-shadows k[,t]     --large-midtones k[,t]
The scales are taken apart by edge-aware filters, so that edges get no halo:
  --detail filter           guided (if not given); bilateral: a grid for small and medium detail, crisper at faint
                            edges; laplacian: a local Laplacian pyramid for large detail, deeper; wls: least squares,
                            for pictures of up to 4 megapixels, slow

Light, a curve beneath the detail:
  --light name=v,...        brightness, contrast, highlights, shadows, whites, blacks, each from -1 to 1; for instance
                            --light shadows=0.5,highlights=-0.3
  --mix r,y,b               colour into luminance, each from -1 to 1: r above 0 lightens reds, y what is neither red nor
                            blue, b blues

Colour, each from -1 to 1:
  --temperature v           above 0 warmer, below 0 cooler
  --tint v                  above 0 towards magenta, below 0 towards green
  --saturation v            -1 is grey
  --vibrance v              above 0 lifts pale colours, below 0 takes them back

What is rendered:
  --view x,y,w,h            only the rectangle of w by h pixels whose upper left corner is (x, y)
  --step n                  every n-th pixel: w/n by h/n pixels come out (1)

And:
  --compare n               OUT shows the view of IN and the result side by side, each n pixels wide
  --quality q               of a JPEG, 1 to 100 (92)
  --quiet                   no progress bar on standard error
  --help, --version         say so, and stop
  --                        what follows are file names

OUT is replaced in one step when all is done; until then it stays as it was. Ctrl-C cancels.
Exit status: 0 when done, 2 with a one-line reason when not, 130 when cancelled.

Example: kestrova-develop in.jpg out.jpg --medium 0.4 --large-shadows 0.3 --light shadows=0.4 --vibrance 0.3
)";

namespace {

/// One option of the command line: its name and what its value does. Flags take no value.
struct Option {
    std::string_view name;
    std::function<void(std::string_view value)> take;
    bool flag = false;
};

std::vector<std::string_view> split(std::string_view list) {
    std::vector<std::string_view> parts;
    for (std::size_t comma; (comma = list.find(',')) != list.npos; list.remove_prefix(comma + 1))
        parts.push_back(list.substr(0, comma));
    parts.push_back(list);
    return parts;
}

template <class Number>
std::vector<Number> numbers(std::string_view list, std::size_t least, std::size_t most, Number low, Number high) {
    std::vector<Number> values;
    for (std::string_view part : split(list)) values.push_back(number(part, low, high));
    if (values.size() < least || values.size() > most)
        throw Refusal(quoted(list) + " has " + std::to_string(values.size()) + " numbers instead of " +
                      (least == most ? "" : std::to_string(least) + " or ") + std::to_string(most));
    return values;
}

float unit(std::string_view text) { return number(text, -1.0f, 1.0f); }

void takeLight(std::string_view list, float (&light)[6]) {
    static constexpr std::string_view kNames[] = {"brightness", "contrast", "highlights",
                                                  "shadows",    "whites",   "blacks"};
    for (std::string_view part : split(list)) {
        const std::size_t equals = part.find('=');
        if (equals == part.npos) throw Refusal(quoted(part) + " is not of the form name=value");
        const auto* name = std::find(std::begin(kNames), std::end(kNames), part.substr(0, equals));
        if (name == std::end(kNames)) throw Refusal(quoted(part.substr(0, equals)) + " is not a parameter of light");
        light[name - kNames] = unit(part.substr(equals + 1));
    }
}

DetailFilter detailFilter(std::string_view name) {
    static constexpr std::string_view kNames[] = {"guided", "bilateral", "laplacian", "wls"};
    const auto* found = std::find(std::begin(kNames), std::end(kNames), name);
    if (found == std::end(kNames)) throw Refusal(quoted(name) + " is not one of guided, bilateral, laplacian, wls");
    return static_cast<DetailFilter>(found - kNames);
}

void takeStrengthAndThreshold(std::string_view list, int index, Settings& settings) {
    const auto values = numbers(list, 1, 2, -1.5f, 1.5f);
    settings.strengths[index] = values[0];
    settings.thresholds[index] = values.size() > 1 ? values[1] : 0;
}

void takeView(std::string_view list, Settings& settings) {
    const auto v = numbers(list, 4, 4, 0, 1 << 28);
    if (v[2] < 1 || v[3] < 1) throw Refusal(quoted(list) + " is an empty rectangle");
    settings.view = cv::Rect(v[0], v[1], v[2], v[3]);
}

std::vector<Option> optionsInto(Options& o) {
    Settings& s = o.settings;
    std::vector<Option> options = {
        {"--detail", [&s](auto v) { s.detail = detailFilter(v); }},
        {"--light", [&s](auto v) { takeLight(v, s.light); }},
        {"--mix",
         [&s](auto v) {
             const auto values = numbers(v, 3, 3, -1.0f, 1.0f);
             std::copy(values.begin(), values.end(), s.mix);
         }},
        {"--temperature", [&s](auto v) { s.temperature = unit(v); }},
        {"--tint", [&s](auto v) { s.tint = unit(v); }},
        {"--saturation", [&s](auto v) { s.saturation = unit(v); }},
        {"--vibrance", [&s](auto v) { s.vibrance = unit(v); }},
        {"--view", [&s](auto v) { takeView(v, s); }},
        {"--step", [&s](auto v) { s.step = number(v, 1, 1 << 28); }},
        {"--compare", [&o](auto v) { o.compare = number(v, 1, 1 << 14); }},
        {"--quality", [&o](auto v) { o.quality = number(v, 1, 100); }},
        {"--quiet", [&o](auto) { o.quiet = true; }, true},
        {"--help", [&o](auto) { o.task = Options::Task::help; }, true},
        {"--version", [&o](auto) { o.task = Options::Task::version; }, true},
    };
    static constexpr std::string_view kScales[] = {"--small",  "--small-shadows",  "--small-midtones",
                                                   "--medium", "--medium-shadows", "--medium-midtones",
                                                   "--large",  "--large-shadows",  "--large-midtones"};
    for (int i = 0; i < 9; ++i) options.push_back({kScales[i], [&s, i](auto v) { takeStrengthAndThreshold(v, i, s); }});
    return options;
}

}  // namespace

Options readOptions(int argc, const char* const* argv) {
    Options result;
    const std::vector<Option> options = optionsInto(result);
    std::vector<std::string> files;
    bool onlyFiles = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (onlyFiles || argument.empty() || argument[0] != '-') {
            files.emplace_back(argument);
            continue;
        }
        if (argument == "--") {
            onlyFiles = true;
            continue;
        }
        const std::size_t equals = argument.find('=');
        const std::string_view name = argument.substr(0, equals);
        const auto option = std::find_if(options.begin(), options.end(), [&](auto& o) { return o.name == name; });
        if (option == options.end()) throw Refusal("unknown option " + quoted(name));
        std::string_view value;
        if (option->flag) {
            if (equals != argument.npos) throw Refusal(std::string(name) + " takes no value");
        } else if (equals != argument.npos) {
            value = argument.substr(equals + 1);
        } else if (i + 1 < argc && std::string_view(argv[i + 1]).substr(0, 2) != "--") {
            value = argv[++i];
        } else {
            throw Refusal(std::string(name) + " needs a value");
        }
        try {
            option->take(value);
        } catch (const Refusal& refusal) {
            throw Refusal(std::string(name) + ": " + refusal.what());
        }
        if (result.task != Options::Task::develop) return result;
    }
    if (files.size() != 2)
        throw Refusal("expected IN and OUT, got " + std::to_string(files.size()) + " file names; see --help");
    result.in = files[0];
    result.out = files[1];
    return result;
}
