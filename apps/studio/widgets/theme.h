#pragma once

#include <QString>

class QApplication;
class QIcon;

namespace kestrova::studio {

/// How the program looks: grey without a tint, so that colours are judged by themselves.
enum class Theme { dark, light };

/// As stored in the program's settings: "dark", "light"; dark for anything else.
Theme themeNamed(const QString& name);
QString themeName(Theme theme);

/// Sets style, palette and style sheet of the whole program.
void applyTheme(QApplication& application, Theme theme);

/// The program's own icon, in every size.
QIcon studioIcon();

}  // namespace kestrova::studio
