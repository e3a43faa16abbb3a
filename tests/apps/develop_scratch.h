#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "photo/write.h"
#include "tests/photo/files.h"

namespace kestrova::photo {

/// A folder of its own for each test, with photographs to develop.
class DevelopScratch : public testing::Test {
protected:
    std::string make(const std::string& name, int width = 60, int height = 40, int bits = 8) {
        std::filesystem::create_directories(std::filesystem::path(scratch / name).parent_path());
        writePhotograph(colourful(width, height, bits), scratch / name);
        return scratch / name;
    }
    static std::vector<nlohmann::json> linesOf(const std::string& text) {
        std::vector<nlohmann::json> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) lines.push_back(nlohmann::json::parse(line));
        return lines;
    }

    Scratch scratch;
};

}  // namespace kestrova::photo
