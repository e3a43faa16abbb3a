#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "photo/settings.h"
#include "photo/write.h"
#include "tests/apps/program.h"
#include "tests/photo/files.h"

namespace kestrova::photo {
namespace {

using Words = std::set<std::string>;

std::string textOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

Words matches(const std::string& text, const std::string& pattern) {
    Words words;
    const std::regex regex(pattern);
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match)
        words.insert((*match)[1]);
    return words;
}

/// Long options of `--help`, which begin its lines.
Words optionsOfHelp() {
    const std::string help = "\n" + runDevelop({"--help"}).out;
    return matches(help, "\n +(?:-[a-z],)?(--[a-z][a-z-]*)");
}

Words sliderOptions() {
    Words words = {"--small", "--medium", "--large"};
    for (const Slider& slider : sliders()) words.insert(std::string("--") + slider.name);
    return words;
}

TEST(DevelopHelp, NamesEverySliderAndPreset) {
    const Words help = optionsOfHelp(), sliders = sliderOptions();
    EXPECT_GT(help.size(), sliders.size() + 20);
    EXPECT_TRUE(std::includes(help.begin(), help.end(), sliders.begin(), sliders.end()));
    const std::string text = runDevelop({"--help"}).out,
                      refusal = runDevelop({"x", "-o", "y.jpg", "--preset", "none-such"}).err;
    for (const Preset& preset : presets()) {
        EXPECT_NE(text.find(preset.name), std::string::npos) << preset.name;
        EXPECT_NE(refusal.find(preset.name), std::string::npos) << refusal;
    }
}

TEST(DevelopHelp, IsWhatTheManualPageSays) {
    const Words help = optionsOfHelp(), sliders = sliderOptions();
    std::string page = textOf(KESTROVA_DEVELOP_FILES "/kestrova-develop.1");
    page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
    const Words manual = matches(page, "[^a-z-](--[a-z][a-z-]*)");
    EXPECT_TRUE(std::includes(help.begin(), help.end(), manual.begin(), manual.end()));
    for (const std::string& option : help) {
        if (!sliders.count(option)) {
            EXPECT_TRUE(manual.count(option)) << option;
        }
    }
    for (const char* code : {"0", "2", "3", "4", "75", "130"})
        EXPECT_NE(page.find(std::string("\n.B ") + code + "\n"), std::string::npos) << code;
}

/// What bash offers for the last of these words.
Words completed(const std::string& words, int last) {
    const std::string script =
        "PATH=" + std::string(KESTROVA_DEVELOP).substr(0, std::string(KESTROVA_DEVELOP).rfind('/')) +
        ":$PATH; source " KESTROVA_DEVELOP_FILES "/completion.bash; COMP_WORDS=(kestrova-develop " + words +
        "); COMP_CWORD=" + std::to_string(last) + "; _kestrova_develop; printf '%s\\n' \"${COMPREPLY[@]}\"";
    return matches(Running("/bin/bash", {"-c", script}).wait().out, "(.+)\n");
}

TEST(DevelopHelp, IsWhatBashCompletes) {
    Words long_options;
    for (const std::string& word : completed("--", 1))
        if (word.rfind("--", 0) == 0) long_options.insert(word);
    EXPECT_EQ(long_options, optionsOfHelp());
    EXPECT_EQ(completed("--shad", 1), (Words{"--shadows"}));
    EXPECT_EQ(completed("--metadata ''", 2), (Words{"all", "copyright", "none"}));
    EXPECT_EQ(completed("--filter la", 2), (Words{"laplacian"}));
    Words names;
    for (const Preset& preset : presets()) names.insert(preset.name);
    EXPECT_EQ(completed("--preset ''", 2), names);
    const Scratch scratch;
    writeBytes(scratch / "a b.jpg", {1});
    EXPECT_EQ(completed("'" + scratch.path() + "/a'", 1), (Words{scratch / "a b.jpg"}));
}

/// What a run shows on a terminal.
std::string onTerminal(const std::vector<std::string>& arguments, int& code) {
    int master = -1, slave = -1;
    if (::openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) return "no terminal";
    std::string shown;
    {
        Running running(KESTROVA_DEVELOP, arguments, {}, [&] { ::dup2(slave, STDERR_FILENO); });
        ::close(slave);
        char piece[4096];
        for (ssize_t got; (got = ::read(master, piece, sizeof piece)) > 0;)
            shown.append(piece, static_cast<std::size_t>(got));
        code = running.wait().code;
    }
    ::close(master);
    return shown;
}

TEST(DevelopProgress, IsABarOnATerminalForOneAndForMany) {
    const Scratch scratch;
    for (const char* name : {"1.jpg", "2.jpg", "3.jpg"}) writePhotograph(colourful(900, 700), scratch / name);
    for (const bool many : {false, true}) {
        std::vector<std::string> arguments = {scratch / "1.jpg", "-d", scratch / (many ? "many" : "one"), "--medium",
                                              "0.3"};
        if (many) arguments.insert(arguments.begin(), {scratch / "2.jpg", scratch / "3.jpg"});
        int code = -1;
        const std::string shown = onTerminal(arguments, code);
        EXPECT_EQ(code, 0);
        const std::regex bar("\r\\[(#*) *\\] +([0-9]+) %  ([0-9]) of ([0-9])");
        int before = 0, bars = 0;
        for (std::sregex_iterator match(shown.begin(), shown.end(), bar), end; match != end; ++match, ++bars) {
            const int percent = std::stoi((*match)[2]);
            EXPECT_GE(percent, before);
            EXPECT_LE(percent, 100);
            EXPECT_EQ(static_cast<int>((*match)[1].length()), percent * 2 / 5);
            EXPECT_EQ((*match)[4], many ? "3" : "1");
            before = percent;
        }
        EXPECT_GT(bars, 3) << shown;
        EXPECT_GE(before, 99);
        ASSERT_GE(shown.size(), 4u);
        EXPECT_EQ(shown.substr(shown.size() - 4), "\r\033[K") << "the bar is taken away";
    }
    int code = -1;
    EXPECT_EQ(onTerminal({scratch / "1.jpg", "-o", scratch / "quiet.jpg", "--quiet"}, code), "");
    EXPECT_EQ(runDevelop({scratch / "1.jpg", "-o", scratch / "no-terminal.jpg"}).err, "");
}

}  // namespace
}  // namespace kestrova::photo
