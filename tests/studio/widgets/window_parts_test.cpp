#include <gtest/gtest.h>

#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QMenuBar>
#include <QPalette>
#include <QTreeWidget>

#include "studio/widgets/shortcuts_dialog.h"
#include "studio/widgets/theme.h"

namespace kestrova::studio {
namespace {

TEST(Theme, IsStoredByItsNameAndDarkOtherwise) {
    EXPECT_EQ(themeNamed(themeName(Theme::light)), Theme::light);
    EXPECT_EQ(themeNamed(themeName(Theme::dark)), Theme::dark);
    EXPECT_EQ(themeNamed(""), Theme::dark);
    EXPECT_EQ(themeNamed("plaid"), Theme::dark);
}

// WCAG's contrast of two greys.
double contrast(const QColor& one, const QColor& other) {
    const auto light = [](const QColor& colour) {
        const auto linear = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
        return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
    };
    const double a = light(one) + 0.05, b = light(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

TEST(Theme, TextIsReadable) {
    for (const Theme theme : {Theme::dark, Theme::light}) {
        applyTheme(*qApp, theme);
        const QPalette palette = QApplication::palette();
        EXPECT_GE(contrast(palette.color(QPalette::WindowText), palette.color(QPalette::Window)), 7);
        EXPECT_GE(contrast(palette.color(QPalette::Text), palette.color(QPalette::Base)), 7);
        EXPECT_GE(contrast(palette.color(QPalette::ButtonText), palette.color(QPalette::Button)), 7);
        EXPECT_GE(contrast(palette.color(QPalette::ToolTipText), palette.color(QPalette::ToolTipBase)), 7);
        EXPECT_GE(contrast(palette.color(QPalette::HighlightedText), palette.color(QPalette::Highlight)), 4);
        EXPECT_GE(contrast(palette.color(QPalette::Disabled, QPalette::WindowText), palette.color(QPalette::Window)),
                  2.5);
    }
}

TEST(Theme, GreysHaveNoTint) {
    for (const Theme theme : {Theme::dark, Theme::light}) {
        applyTheme(*qApp, theme);
        for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Button, QPalette::WindowText}) {
            const QColor colour = QApplication::palette().color(role);
            EXPECT_EQ(colour.red(), colour.green());
            EXPECT_EQ(colour.green(), colour.blue());
        }
    }
}

TEST(StudioIcon, IsThereInEverySize) {
    const QIcon icon = studioIcon();
    for (const int size : {16, 32, 48, 128, 256}) {
        const QImage image = icon.pixmap(size).toImage();
        EXPECT_EQ(image.size(), QSize(size, size));
        EXPECT_GT(qAlpha(image.pixel(size / 2, size / 2)), 250);
        EXPECT_LT(qAlpha(image.pixel(0, 0)), 10);
    }
}

TEST(ShortcutsDialog, ListsTheActionsOfEveryMenu) {
    QMenuBar bar;
    QMenu* file = bar.addMenu("&File");
    file->addAction("&Open…")->setShortcut(QKeySequence("Ctrl+O"));
    file->addAction("&Nothing");
    file->addMenu("&More")->addAction("Save && Close")->setShortcuts({QKeySequence("Ctrl+W"), QKeySequence("F4")});
    bar.addMenu("&Empty");
    ShortcutsDialog dialog(&bar);
    dialog.addSection("Photograph", {{"Zoom", "Wheel"}});
    dialog.addSection("Nothing", {});
    const auto* list = dialog.findChild<QTreeWidget*>();
    ASSERT_EQ(list->topLevelItemCount(), 2);
    const QTreeWidgetItem* menu = list->topLevelItem(0);
    EXPECT_EQ(menu->text(0), "File");
    ASSERT_EQ(menu->childCount(), 2);
    EXPECT_EQ(menu->child(0)->text(0), "Open…");
    EXPECT_EQ(menu->child(0)->text(1), "Ctrl+O");
    EXPECT_EQ(menu->child(1)->text(0), "More › Save & Close");
    EXPECT_EQ(menu->child(1)->text(1), "Ctrl+W, F4");
    EXPECT_EQ(list->topLevelItem(1)->child(0)->text(1), "Wheel");
}

TEST(ShortcutsDialog, IsAsWideAsItsLinesAndNamesActionsAsAToolBarDoes) {
    QMenuBar bar;
    QAction* undo = bar.addMenu("&Edit")->addAction("&Undo: Brightness");
    undo->setShortcut(QKeySequence("Ctrl+Z"));
    undo->setIconText("Undo");
    ShortcutsDialog dialog(&bar);
    dialog.addSection("Photograph",
                      {{"Erases instead of painting, and back again", "Drag, arrow keys, and more keys"}});
    dialog.show();
    const auto* list = dialog.findChild<QTreeWidget*>();
    EXPECT_EQ(list->topLevelItem(0)->child(0)->text(0), "Undo");
    for (int column = 0; column < 2; ++column)
        EXPECT_GE(list->columnWidth(column), list->sizeHintForColumn(column)) << column;
    EXPECT_LE(list->columnWidth(0) + list->columnWidth(1), list->viewport()->width());
}

}  // namespace
}  // namespace kestrova::studio
