#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <new>
#include <nlohmann/json.hpp>
#include <utility>

#include "photo/error.h"
#include "photo/replace_file.h"
#include "photo/settings.h"

namespace kestrova::photo {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFilters[] = {"guided", "bilateral", "laplacian", "wls"};

constexpr std::size_t kMostMegabytes = 64;  // of a file: 600 strokes of 1000 points, at some 110 bytes a point
constexpr std::size_t kMostBytes = kMostMegabytes << 20;

[[noreturn]] void refuse(const std::string& what) { throw Error(Error::Kind::input, "settings: " + what); }

[[noreturn]] void refuseAsTooLarge(const std::string& path) {
    throw Error(Error::Kind::input,
                "\"" + path + "\": a file of settings holds at most " + std::to_string(kMostMegabytes) + " MiB");
}

/// Refuses, before memory is taken for them, texts whose values would take many times as much as the text, or whose
/// objects would take time with the square of their members. Whatever else is wrong with a text is left to the parser.
void checkExtent(const std::string& source) {
    constexpr std::size_t kMostValues = 5000000;  // the points of the largest file without white space have as many
    constexpr int kMostMembers = 256;
    constexpr int kDeepest = 16;  // a coordinate of a point is at 8
    std::array<int, kDeepest + 1> members{};
    std::size_t values = 1, depth = 0;
    bool inText = false;
    for (std::size_t i = 0; i < source.size(); ++i) {
        const char c = source[i];
        if (inText) {
            if (c == '\\') ++i;
            inText = c != '"';
        } else if (c == '"') {
            inText = true;
        } else if (c == '{' || c == '[') {
            if (++depth > kDeepest)
                refuse("lists and objects are nested more than " + std::to_string(kDeepest) + " deep");
            members[depth] = 0;
            ++values;
        } else if (c == '}' || c == ']') {
            if (depth-- == 0) return;
        } else if (c == ':' && ++members[depth] > kMostMembers) {
            refuse("an object holds at most " + std::to_string(kMostMembers) + " members");
        } else if (c == ',' && ++values > kMostValues) {
            break;
        }
    }
    if (values > kMostValues) refuse("the whole holds at most " + std::to_string(kMostValues) + " values");
}

/// Reads the members of an object, each by its own function; refuses members that there are no functions for.
using Readers = std::map<std::string, std::function<void(const Json&)>>;

void readObject(const Json& json, const std::string& name, const Readers& readers) {
    if (!json.is_object()) refuse(name + " is not an object");
    for (const auto& [key, value] : json.items()) {
        const auto reader = readers.find(key);
        if (reader == readers.end()) refuse("unknown key \"" + key + "\"");
        reader->second(value);
    }
}

template <class Number>
std::function<void(const Json&)> number(const std::string& name, Number& into) {
    return [name, &into](const Json& json) {
        if (!json.is_number() || (std::is_integral_v<Number> && !json.is_number_integer()))
            refuse(name + " is not a " + (std::is_integral_v<Number> ? "whole number" : "number"));
        if constexpr (std::is_integral_v<Number>) {
            const auto value = json.get<long long>();
            if (value < INT32_MIN || value > INT32_MAX) refuse(name + " is out of range");
            into = static_cast<Number>(value);
        } else {
            into = json.get<Number>();
        }
    };
}

std::function<void(const Json&)> flag(const std::string& name, bool& into) {
    return [name, &into](const Json& json) {
        if (!json.is_boolean()) refuse(name + " is neither true nor false");
        into = json.get<bool>();
    };
}

std::function<void(const Json&)> text(const std::string& name, std::string& into) {
    return [name, &into](const Json& json) {
        if (!json.is_string()) refuse(name + " is not a text");
        into = json.get<std::string>();
    };
}

template <class Item>
std::function<void(const Json&)> list(const std::string& name, std::vector<Item>& into,
                                      void (*read)(const Json&, Item&)) {
    return [name, &into, read](const Json& json) {
        if (!json.is_array()) refuse(name + " is not a list");
        for (const Json& item : json) read(item, into.emplace_back());
    };
}

void readPoint(const Json& json, Point& point) {
    if (!json.is_array() || json.size() != 2 || !json[0].is_number() || !json[1].is_number())
        refuse("a point is not a list of two numbers");
    point = {json[0].get<double>(), json[1].get<double>()};
}

void readStroke(const Json& json, Stroke& stroke) {
    readObject(json, "a stroke",
               {{"points", list("points", stroke.points, readPoint)},
                {"radius", number("radius", stroke.radius)},
                {"hardness", number("hardness", stroke.hardness)},
                {"opacity", number("opacity", stroke.opacity)},
                {"tolerance", number("tolerance", stroke.tolerance)},
                {"erase", flag("erase", stroke.erase)}});
}

void readMask(const Json& json, Mask& mask) {
    readObject(json, "mask",
               {{"strokes", list("strokes", mask.strokes, readStroke)}, {"inverted", flag("inverted", mask.inverted)}});
}

Readers adjustmentReaders(Adjustments& adjustments) {
    Readers readers;
    for (const Slider& slider : sliders()) readers[slider.name] = number(slider.name, slider.of(adjustments));
    return readers;
}

void readLayer(const Json& json, Layer& layer) {
    Readers readers = adjustmentReaders(layer.adjustments);
    readers["name"] = text("name", layer.name);
    readers["mask"] = [&](const Json& value) { readMask(value, layer.mask); };
    readObject(json, "a layer", readers);
}

void readCrop(const Json& json, Crop& crop) {
    readObject(json, "crop",
               {{"x", number("x", crop.x)},
                {"y", number("y", crop.y)},
                {"width", number("width", crop.width)},
                {"height", number("height", crop.height)}});
}

void readFilter(const Json& json, DetailFilter& filter) {
    for (std::size_t i = 0; i < std::size(kFilters); ++i)
        if (json == kFilters[i]) {
            filter = static_cast<DetailFilter>(i);
            return;
        }
    refuse("filter is none of guided, bilateral, laplacian and wls");
}

/// The shortest decimal that reads back as this float.
double plain(float value) {
    char text[32];
    for (int digits = 6; digits <= 9; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
        if (std::strtof(text, nullptr) == value) break;
    }
    return std::strtod(text, nullptr);
}

void write(Json& json, const Adjustments& adjustments) {
    for (const Slider& slider : sliders())
        if (slider.value(adjustments) != 0) json[slider.name] = plain(slider.value(adjustments));
}

Json written(const Stroke& stroke) {
    Json points = Json::array();
    for (const Point& point : stroke.points) points.push_back({point.x, point.y});
    return {{"points", std::move(points)}, {"radius", stroke.radius},       {"hardness", stroke.hardness},
            {"opacity", stroke.opacity},   {"tolerance", stroke.tolerance}, {"erase", stroke.erase}};
}

Json written(const Layer& layer) {
    Json json = {{"name", layer.name}};
    write(json, layer.adjustments);
    Json strokes = Json::array();
    for (const Stroke& stroke : layer.mask.strokes) strokes.push_back(written(stroke));
    json["mask"] = {{"strokes", std::move(strokes)}, {"inverted", layer.mask.inverted}};
    return json;
}

[[noreturn]] void failed(const std::string& what, const std::string& path) {
    throw Error(Error::Kind::file, what + " \"" + path + "\": " + std::strerror(errno));
}

}  // namespace

std::string Settings::toJson() const {
    Json json = {{"version", kVersion}};
    write(json, *this);
    if (filter != DetailFilter::guided) json["filter"] = kFilters[static_cast<int>(filter)];
    for (const Layer& layer : layers) json["layers"].push_back(written(layer));
    if (rotate != 0) json["rotate"] = rotate;
    if (straighten != 0) json["straighten"] = straighten;
    if (crop != Crop()) json["crop"] = {{"x", crop.x}, {"y", crop.y}, {"width", crop.width}, {"height", crop.height}};
    if (size != 0) json["size"] = size;
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Settings Settings::fromJson(const std::string& source) try {
    checkExtent(source);
    const Json json = Json::parse(source);
    Settings settings;
    int version = 0;
    Readers readers = adjustmentReaders(settings);
    readers["version"] = number("version", version);
    readers["filter"] = [&](const Json& value) { readFilter(value, settings.filter); };
    readers["layers"] = list("layers", settings.layers, readLayer);
    readers["rotate"] = number("rotate", settings.rotate);
    readers["straighten"] = number("straighten", settings.straighten);
    readers["crop"] = [&](const Json& value) { readCrop(value, settings.crop); };
    readers["size"] = number("size", settings.size);
    if (json.is_object() && json.contains("version")) readers["version"](json["version"]);
    if (json.is_object() && version != kVersion)
        refuse(version == 0 ? "there is no version" : "version " + std::to_string(version) + " is unknown");
    readObject(json, "the whole", readers);
    settings.check();
    return settings;
} catch (const Json::exception& exception) {
    refuse(std::string("no JSON: ") + exception.what());
} catch (const std::bad_alloc&) {
    throw Error(Error::Kind::memory, "settings: there is not enough memory");
}

namespace {

std::string textOf(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) failed("cannot read", path);
    std::string text;
    char block[65536];
    ssize_t some;
    while ((some = ::read(file, block, sizeof block)) > 0 && text.size() <= kMostBytes)
        text.append(block, static_cast<std::size_t>(some));
    const int error = errno;
    ::close(file);
    if (some < 0) {
        errno = error;
        failed("cannot read", path);
    }
    if (text.size() > kMostBytes) refuseAsTooLarge(path);
    return text;
}

}  // namespace

Settings Settings::load(const std::string& path) try {
    const std::string text = textOf(path);
    try {
        return fromJson(text);
    } catch (const Error& failure) {
        throw Error(failure.kind(), "\"" + path + "\": " + failure.what());
    }
} catch (const std::bad_alloc&) {
    throw Error(Error::Kind::memory, "\"" + path + "\": there is not enough memory");
}

void Settings::save(const std::string& path) const {
    check();
    const std::string text = toJson();
    if (text.size() > kMostBytes) refuseAsTooLarge(path);
    replaceFile(path, {text.begin(), text.end()}, nullptr);
}

std::string Settings::sidecarOf(const std::string& photograph) { return photograph + ".kestrova.json"; }

}  // namespace kestrova::photo
