#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QSettings>
#include <QTimer>
#include <cstdio>

#include "studio/main_window.h"
#include "studio/memory_settings.h"
#include "studio/translations.h"
#include "studio/widgets/background.h"
#include "studio/widgets/theme.h"

namespace {

using kestrova::studio::MainWindow;

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(main)
};

/// Writes the window to a file once it shows what it is to show, and ends the program.
void writeScreenshot(MainWindow& window, const QString& file) {
    constexpr int kLook = 100;                    // milliseconds
    constexpr int kAtRest = 6, kMostLooks = 600;  // thumbnails and previews come last
    auto* timer = new QTimer(&window);
    QObject::connect(timer, &QTimer::timeout, &window, [&window, file, atRest = 0, looks = 0]() mutable {
        const bool done = window.isSettled() || !window.messageText().isEmpty();
        atRest = done ? atRest + 1 : 0;
        if (atRest < kAtRest && ++looks < kMostLooks) return;
        const bool written = window.grab().save(file);
        if (!written) std::fprintf(stderr, "kestrova-studio: %s cannot be written\n", qPrintable(file));
        QCoreApplication::exit(written ? 0 : 2);
    });
    timer->start(kLook);
}

}  // namespace

int main(int argc, char** argv) {
    kestrova::studio::keepLargeBlocksOutOfArenas();
    kestrova::studio::answerFirst();
    QApplication application(argc, argv);
    QApplication::setApplicationName("kestrova-studio");
    QApplication::setOrganizationName("kestrova");
    QApplication::setApplicationVersion(KESTROVA_VERSION);
    QApplication::setDesktopFileName("org.kestrova.studio");
    QApplication::setWindowIcon(kestrova::studio::studioIcon());

    const kestrova::studio::Translations translations;
    QCommandLineParser parser;
    parser.setApplicationDescription(Texts::tr("Develops photographs in a window."));
    const QCommandLineOption help(QStringList{"h", "help"}, Texts::tr("Shows this text."));
    const QCommandLineOption version(QStringList{"v", "version"}, Texts::tr("Shows the version."));
    const QCommandLineOption screenshot("screenshot", Texts::tr("Writes the window as it looks to <file>, and exits."),
                                        "file");
    const QCommandLineOption size("size", Texts::tr("Of the window, in pixels: 1280x720."), "size");
    const QCommandLineOption panel("panel", Texts::tr("Shows the panel light, detail, colour or layers."), "panel");
    const QCommandLineOption tool("tool", Texts::tr("Takes the tool hand, brush, crop or straighten."), "tool");
    const QCommandLineOption theme("theme", Texts::tr("Looks dark or light."), "theme");
    parser.addOptions({help, version, screenshot, size, panel, tool, theme});
    parser.addPositionalArgument("photographs", Texts::tr("Photographs, or a folder of them."), "[photographs...]");
    const auto refuse = [](const QString& why) {
        std::fprintf(stderr, "kestrova-studio: %s\n", qPrintable(why));
        return 2;
    };
    if (!parser.parse(QApplication::arguments())) return refuse(parser.errorText());
    if (parser.isSet(help)) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    if (parser.isSet(version)) {
        std::printf("kestrova-studio %s\n", KESTROVA_VERSION);
        return 0;
    }

    using namespace kestrova::studio;
    const Theme look = themeNamed(parser.isSet(theme) ? parser.value(theme) : QSettings().value("theme").toString());
    applyTheme(application, look);
    MainWindow window;
    if (parser.isSet(panel) && !window.showPanel(parser.value(panel)))
        return refuse(Texts::tr("there is no panel \"%1\"").arg(parser.value(panel)));
    if (parser.isSet(size)) {
        const QStringList sides = parser.value(size).split('x');
        const QSize wanted = sides.size() == 2 ? QSize(sides[0].toInt(), sides[1].toInt()) : QSize();
        if (wanted.isEmpty()) return refuse(Texts::tr("\"%1\" is no size").arg(parser.value(size)));
        window.resize(wanted);
    }
    window.show();
    if (!parser.positionalArguments().isEmpty()) window.openPaths(parser.positionalArguments());
    if (parser.isSet(tool) && !window.chooseTool(parser.value(tool)))
        return refuse(Texts::tr("there is no tool \"%1\"").arg(parser.value(tool)));
    if (parser.isSet(screenshot)) writeScreenshot(window, parser.value(screenshot));
    return QApplication::exec();
}
