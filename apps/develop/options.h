#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "photo/settings.h"
#include "photo/write.h"

namespace kestrova::develop {

/// What the command line asks for.
struct Options {
    std::vector<std::string> inputs;  ///< files and folders as named
    std::string list;                 ///< a file of names, "-" for standard input; empty without
    int shard = 1, shards = 1;        ///< does the `shard`-th of `shards`, from 1

    std::string output;  ///< a file; or
    std::string folder;  ///< a folder; or
    bool inPlace = false;
    std::string base;  ///< results in `folder` keep the folders that their photographs are in below this one; or empty
    bool overwrite = false;
    bool skipExisting = false;

    photo::Settings settings;
    std::vector<std::pair<std::string, float>> sliders;  ///< those of the command line, on top of sidecars, too
    std::optional<int> size;                             ///< likewise
    bool sidecars = false;
    std::string saveSettings;
    bool compare = false;  ///< the photograph as it was beside the result

    std::optional<photo::FileFormat> format;
    int bits = 0;
    int quality = 92;
    std::optional<photo::Profile> profile;  ///< none: the file's own
    photo::MetadataChoice metadata = photo::MetadataChoice::all;

    int threads = 0;            ///< of each photograph; 0: what the processors give each job
    int jobs = 1;               ///< photographs at a time
    std::size_t maxMemory = 0;  ///< of the whole program, bytes; 0 for no limit
    double maxMegapixels = 400;

    bool dryRun = false;
    bool json = false;
    bool quiet = false;
};

/// Reads the command line, presets and settings files included. Empty if `code` is to be returned at once: help and
/// version are printed, mistakes reported. Throws `photo::Error`.
std::optional<Options> readOptions(int argc, char** argv, int& code);

}  // namespace kestrova::develop
