#pragma once

#include <gtest/gtest.h>

#include <QString>
#include <functional>
#include <string>

#include "tests/photo/files.h"

namespace kestrova::studio {

/// A home of its own for a test: settings, histories and thumbnails go there, and photographs are copied to it.
class Home : public testing::Test {
protected:
    Home();

    /// The path of a copy of a bundled photograph.
    std::string photograph(const std::string& name = "tmshre_riaphotographs_srgb8.png");
    std::string dataFolder() const { return scratch / "history"; }

    photo::Scratch scratch;
};

/// Runs the event loop until it holds; false after that many milliseconds, which no machine should need.
bool waitFor(const std::function<bool()>& holds, int milliseconds = 240000);

}  // namespace kestrova::studio
