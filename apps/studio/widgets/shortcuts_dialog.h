#pragma once

#include <QDialog>
#include <QList>
#include <utility>

class QMenuBar;
class QTreeWidget;

namespace kestrova::studio {

/// Lists all actions of a window's menus that have shortcuts, by menu, and further keys by hand.
class ShortcutsDialog : public QDialog {
    Q_OBJECT

public:
    ShortcutsDialog(const QMenuBar* menus, QWidget* parent = nullptr);

    /// Keys and gestures that are no actions of a menu: what they do, and the keys.
    void addSection(const QString& title, const QList<std::pair<QString, QString>>& keys);

    QSize sizeHint() const override;

private:
    QTreeWidget* m_list;
};

}  // namespace kestrova::studio
