#include "studio/widgets/theme.h"

#include <QApplication>
#include <QIcon>
#include <QPalette>
#include <QStyleFactory>
#include <algorithm>

// A static library's resources are linked in where they are named; outside of any namespace.
static void initIcons() { Q_INIT_RESOURCE(icons); }

namespace kestrova::studio {

namespace {

struct Greys {
    int window, base, button, text, mid, dark;
    QColor highlight;
};

constexpr int kFaded = 110;  // of disabled text, out of 255

QPalette paletteOf(const Greys& greys) {
    const auto grey = [](int v) { return QColor(v, v, v); };
    QPalette palette;
    palette.setColor(QPalette::Window, grey(greys.window));
    palette.setColor(QPalette::Base, grey(greys.base));
    palette.setColor(QPalette::AlternateBase, grey((greys.base + greys.window) / 2));
    palette.setColor(QPalette::Button, grey(greys.button));
    palette.setColor(QPalette::ToolTipBase, grey(greys.button));
    palette.setColor(QPalette::Mid, grey(greys.mid));
    palette.setColor(QPalette::Midlight, grey((greys.mid + greys.button) / 2));
    palette.setColor(QPalette::Light, grey(std::min(255, greys.button + 25)));
    palette.setColor(QPalette::Dark, grey(greys.dark));
    palette.setColor(QPalette::Shadow, grey(greys.dark / 2));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
        palette.setColor(role, grey(greys.text));
        const int faded = (greys.text * kFaded + greys.window * (255 - kFaded)) / 255;
        palette.setColor(QPalette::Disabled, role, grey(faded));
    }
    palette.setColor(QPalette::BrightText, Qt::red);
    palette.setColor(QPalette::Highlight, greys.highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, grey(greys.mid));
    palette.setColor(QPalette::Link, greys.highlight.lighter(120));
    palette.setColor(QPalette::PlaceholderText, grey((greys.text + greys.base) / 2));
    return palette;
}

const char* const kStyleSheet = R"(
QToolTip { border: 1px solid palette(mid); padding: 3px; }
QDockWidget::title { padding: 5px 6px; }
QGroupBox { font-weight: bold; border: none; margin-top: 1.6em; }
QGroupBox::title { subcontrol-origin: margin; left: 0px; }
QTreeView::item { padding: 2px; }
QUndoView::item, QListView#layers::item { padding: 3px 4px; }
QMenu { etch-disabled-text: 0; }
QStatusBar::item { border: none; }
)";

}  // namespace

Theme themeNamed(const QString& name) { return name == "light" ? Theme::light : Theme::dark; }

QString themeName(Theme theme) { return theme == Theme::light ? "light" : "dark"; }

void applyTheme(QApplication& application, Theme theme) {
    static const Greys dark = {50, 30, 68, 224, 96, 24, QColor(58, 122, 200)};
    static const Greys light = {236, 250, 226, 28, 160, 130, QColor(40, 105, 190)};
    application.setStyle(QStyleFactory::create("Fusion"));
    application.setPalette(paletteOf(theme == Theme::light ? light : dark));
    application.setStyleSheet(kStyleSheet);
}

QIcon studioIcon() {
    initIcons();
    QIcon icon;
    for (const int size : {16, 32, 48, 128, 256}) icon.addFile(QString(":/kestrova-studio/icon-%1.png").arg(size));
    return icon;
}

}  // namespace kestrova::studio
