#include "develop/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>
#include <thread>

#include "develop/exit_codes.h"
#include "photo/error.h"

namespace kestrova::develop {

namespace {

using photo::Error;

[[noreturn]] void refuse(const std::string& reason) { throw Error(Error::Kind::input, reason); }

// What CLI11 fills in before it is understood.
struct Raw {
    std::vector<std::string> presets;
    std::string settings, crop, format, profile = "own", metadata = "all", memory, shard;
    std::string filter;
    std::map<std::string, float> sliders;
    std::map<std::string, float> scales;
    int rotate = 0, size = 0;
    double straighten = 0;
};

void addOutput(CLI::App& app, Options& options, Raw& raw) {
    app.add_option("inputs", options.inputs, "Photographs, and folders that are searched for photographs");
    app.add_option("--list", options.list, "Read names of photographs, one a line, from FILE; - is standard input")
        ->type_name("FILE");
    app.add_option("--shard", raw.shard,
                   "Do every N-th photograph from the I-th on; by default what an array job of Slurm says")
        ->type_name("I/N");
    auto* file = app.add_option("-o,--output", options.output, "Write to FILE")->type_name("FILE");
    auto* folder =
        app.add_option("-d,--directory", options.folder, "Write into DIR, under the names of the photographs")
            ->type_name("DIR");
    app.add_option("--base", options.base, "With -d, keep the folders that photographs are in below DIR")
        ->type_name("DIR")
        ->needs(folder);
    auto* inPlace = app.add_flag("--in-place", options.inPlace, "Replace the photographs themselves");
    file->excludes(folder)->excludes(inPlace);
    folder->excludes(inPlace);
    app.add_flag("--overwrite", options.overwrite, "Replace results that are there already; never an input");
    app.add_flag("--skip-existing", options.skipExisting,
                 "Leave out what was made of the same photograph with the same settings by the same version")
        ->excludes(inPlace);
    app.add_option("--format", raw.format, "jpg, png, tif or webp")->type_name("NAME");
    app.add_option("--bits", options.bits, "8 or 16 bits a channel")->check(CLI::IsMember({8, 16}));
    app.add_option("--quality", options.quality, "Of JPEG and WebP; colour in full from 90 on")
        ->check(CLI::Range(1, 100));
    app.add_option("--profile", raw.profile, "own, srgb, p3, adobe or an .icc file")->type_name("NAME");
    app.add_option("--metadata", raw.metadata, "What to keep of EXIF, IPTC and XMP")
        ->check(CLI::IsMember({"all", "copyright", "none"}));
}

void addWork(CLI::App& app, Options& options, Raw& raw) {
    app.add_option("--threads", options.threads, "For each photograph")->check(CLI::Range(1, 1024));
    app.add_option("--jobs", options.jobs, "Photographs at a time")->check(CLI::Range(1, 256));
    app.add_option("--max-memory", raw.memory, "Refuse what takes more: 800M, 2G")->type_name("SIZE");
    app.add_option("--max-megapixels", options.maxMegapixels, "Refuse larger photographs")->check(CLI::PositiveNumber);
    app.add_flag("--dry-run", options.dryRun, "Check and say what would be done");
    app.add_flag("--json", options.json, "Report a line of JSON a photograph on standard output");
    app.add_flag("--quiet", options.quiet, "Report failures alone");
}

std::string presetNames() {
    std::string names;
    for (const photo::Preset& preset : photo::presets()) names += (names.empty() ? "" : ", ") + preset.name;
    return names;
}

void addSettings(CLI::App& app, Options& options, Raw& raw) {
    app.add_option("--preset", raw.presets, "Start from a preset, or several on top of each other: " + presetNames())
        ->type_name("NAME")
        ->allow_extra_args(false);  // what follows the name is a photograph
    app.add_option("--settings", raw.settings, "Start from a settings file")->type_name("FILE");
    app.add_option("--save-settings", options.saveSettings, "Write the settings to FILE, too")->type_name("FILE");
    app.add_flag("--compare", options.compare, "Put the photograph as it was to the left of the result")
        ->excludes("--in-place");
    app.add_flag("--sidecars", options.sidecars, "Use the settings in PHOTOGRAPH.kestrova.json where there are any");
    app.add_option("--size", raw.size, "Longer side of the result in pixels, never enlarged")
        ->check(CLI::Range(1, 65535));
    app.add_option("--crop", raw.crop, "X,Y,WIDTH,HEIGHT in parts of the photograph")->type_name("RECT");
    app.add_option("--rotate", raw.rotate, "Clockwise")->check(CLI::IsMember({0, 90, 180, 270}));
    app.add_option("--straighten", raw.straighten, "Degrees clockwise, -45 to 45")->check(CLI::Range(-45.0, 45.0));
    app.add_option("--filter", raw.filter, "What takes detail apart")
        ->check(CLI::IsMember({"guided", "bilateral", "laplacian", "wls"}));
    for (const char* scale : {"small", "medium", "large"})
        app.add_option(std::string("--") + scale, raw.scales[scale], "Strength of this scale of detail in all zones")
            ->check(CLI::Range(-1.0, 1.0))
            ->group("Sliders");
    for (const photo::Slider& slider : photo::sliders())
        app.add_option(std::string("--") + slider.name, raw.sliders[slider.name], slider.tip)
            ->check(CLI::Range(slider.least, slider.greatest))
            ->group("Sliders");
}

photo::FileFormat formatNamed(const std::string& name) {
    const auto format = photo::writtenFormat("." + name);
    if (!format) refuse("--format: " + name + " is none of jpg, png, tif, webp");
    return *format;
}

std::optional<photo::Profile> profileNamed(const std::string& name) {
    if (name == "own") return std::nullopt;
    if (name == "srgb") return photo::Profile::srgb();
    if (name == "p3") return photo::Profile::displayP3();
    if (name == "adobe") return photo::Profile::adobeRgb();
    const photo::Profile profile = photo::Profile::fromFile(name);
    if (profile.channels() != 3) throw Error(Error::Kind::input, name + ": not an RGB profile");
    return profile;
}

std::size_t bytesOf(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const std::string unit = end;
    const double scale = unit == "K" ? 1e3 : unit == "M" ? 1e6 : unit == "G" ? 1e9 : unit.empty() ? 1 : 0;
    if (!(number > 0) || scale == 0 || number * scale > 1e15)
        refuse("--max-memory: " + text + " is no size such as 800M or 2G");
    return static_cast<std::size_t>(number * scale);
}

photo::Crop cropOf(const std::string& text) {
    photo::Crop crop;
    std::istringstream stream(text);
    char comma[3] = {};
    stream >> crop.x >> comma[0] >> crop.y >> comma[1] >> crop.width >> comma[2] >> crop.height;
    if (!stream || comma[0] != ',' || comma[1] != ',' || comma[2] != ',' || !(stream >> std::ws).eof())
        refuse("--crop: " + text + " is not X,Y,WIDTH,HEIGHT");
    return crop;
}

photo::DetailFilter filterNamed(const std::string& name) {
    if (name == "bilateral") return photo::DetailFilter::bilateral;
    if (name == "laplacian") return photo::DetailFilter::laplacian;
    return name == "wls" ? photo::DetailFilter::wls : photo::DetailFilter::guided;
}

int number(const std::string& text, const std::string& what) {
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || value < 0 || value > 1'000'000'000) refuse(what + ": " + text + " is no number");
    return static_cast<int>(value);
}

int environmentNumber(const char* name, int otherwise) {
    const char* text = std::getenv(name);
    return text && *text ? number(text, name) : otherwise;
}

void readShard(Options& options, const std::string& text) {
    if (!text.empty()) {
        const std::size_t slash = text.find('/');
        if (slash == std::string::npos) refuse("--shard: " + text + " is not I/N");
        options.shard = number(text.substr(0, slash), "--shard");
        options.shards = number(text.substr(slash + 1), "--shard");
    } else if (!options.list.empty() && std::getenv("SLURM_ARRAY_TASK_ID")) {
        // Slurm's own count of the array; ids begin at its least and may have steps.
        const int least = environmentNumber("SLURM_ARRAY_TASK_MIN", 1),
                  step = std::max(1, environmentNumber("SLURM_ARRAY_TASK_STEP", 1));
        options.shards = environmentNumber("SLURM_ARRAY_TASK_COUNT", 1);
        options.shard = (environmentNumber("SLURM_ARRAY_TASK_ID", 1) - least) / step + 1;
    }
    if (options.shard < 1 || options.shard > options.shards)
        refuse("--shard: I is from 1 to N, not " + std::to_string(options.shard) + " of " +
               std::to_string(options.shards));
}

void readSettings(CLI::App& app, Options& options, const Raw& raw) {
    if (!raw.settings.empty()) options.settings = photo::Settings::load(raw.settings);
    for (const std::string& name : raw.presets) {
        const photo::Settings& preset = photo::preset(name).settings;
        static_cast<photo::Adjustments&>(options.settings) = options.settings + preset;
        options.settings.filter = preset.filter;
    }
    for (const auto& [scale, value] : raw.scales)
        if (app.count("--" + scale))
            for (const char* zone : {"shadows", "midtones", "highlights"})
                options.sliders.emplace_back(scale + "-" + zone, value);
    for (const auto& [name, value] : raw.sliders)
        if (app.count("--" + name)) options.sliders.emplace_back(name, value);
    for (const auto& [name, value] : options.sliders) photo::slider(name).of(options.settings) = value;
    if (app.count("--filter")) options.settings.filter = filterNamed(raw.filter);
    if (app.count("--crop")) options.settings.crop = cropOf(raw.crop);
    if (app.count("--rotate")) options.settings.rotate = raw.rotate;
    if (app.count("--straighten")) options.settings.straighten = raw.straighten;
    if (app.count("--size")) options.size = raw.size;
    if (options.size) options.settings.size = *options.size;
    options.settings.check();
}

void checkUse(const Options& options) {
    if (options.inputs.empty() && options.list.empty()) refuse("no photographs are given; --help says more");
    if (options.output.empty() && options.folder.empty() && !options.inPlace)
        refuse("where to write is not given: -o FILE, -d DIR or --in-place");
}

}  // namespace

std::optional<Options> readOptions(int argc, char** argv, int& code) {
    Options options;
    Raw raw;
    CLI::App app{
        "Develops photographs: reads JPEG, PNG, TIFF, WebP, HEIF, JPEG 2000, OpenEXR and RAW, applies settings, and\n"
        "writes JPEG, PNG, TIFF or WebP with profile and metadata kept. Exit status: 0 when all is done, 2 for bad\n"
        "usage or input, 3 for files, 4 for memory, 75 if stopped from outside, 130 if cancelled.",
        "kestrova-develop"};
    app.footer(
        "Examples:\n"
        "  kestrova-develop in.jpg -o out.jpg --medium 0.4 --shadows 0.4 --vibrance 0.3\n"
        "  kestrova-develop --preset landscape holiday -d web --size 2048 --profile srgb --jobs 2 --threads 1\n"
        "The manual page, kestrova-develop(1), says more.");
    app.set_version_flag("--version", "kestrova-develop " KESTROVA_VERSION);
    addOutput(app, options, raw);
    addWork(app, options, raw);
    addSettings(app, options, raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {  // help and version
        errno = 0;
        app.exit(success);
        if (!std::cout.flush() && errno != EPIPE)
            throw Error(Error::Kind::file, std::string("standard output: ") + std::strerror(errno));
        code = kDone;
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        refuse(std::string(error.what()));
    }
    checkUse(options);
    if (!raw.format.empty()) options.format = formatNamed(raw.format);
    options.profile = profileNamed(raw.profile);
    options.metadata = raw.metadata == "all"         ? photo::MetadataChoice::all
                       : raw.metadata == "copyright" ? photo::MetadataChoice::copyright
                                                     : photo::MetadataChoice::none;
    if (!raw.memory.empty()) options.maxMemory = bytesOf(raw.memory);
    if (options.threads == 0)
        options.threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()) / options.jobs);
    readShard(options, raw.shard);
    readSettings(app, options, raw);
    return options;
}

}  // namespace kestrova::develop
