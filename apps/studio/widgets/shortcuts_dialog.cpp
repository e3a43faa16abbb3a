#include "studio/widgets/shortcuts_dialog.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QScrollBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace kestrova::studio {

namespace {

QString keysOf(const QAction* action) {
    QStringList keys;
    for (const QKeySequence& sequence : action->shortcuts()) keys << sequence.toString(QKeySequence::NativeText);
    return keys.join(", ");
}

void collect(const QMenu* menu, const QString& prefix, QList<std::pair<QString, QString>>& keys) {
    for (const QAction* action : menu->actions()) {
        const QString name = prefix + action->iconText();  // as in a tool bar: without mnemonic, the same at any time
        if (action->menu())
            collect(action->menu(), name + " › ", keys);
        else if (!action->shortcuts().isEmpty())
            keys.append({name, keysOf(action)});
    }
}

}  // namespace

ShortcutsDialog::ShortcutsDialog(const QMenuBar* menus, QWidget* parent) : QDialog(parent), m_list(new QTreeWidget) {
    setWindowTitle(tr("Keyboard Shortcuts"));
    m_list->setHeaderLabels({tr("Action"), tr("Keys")});
    m_list->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_list->header()->setStretchLastSection(false);
    m_list->setRootIsDecorated(false);
    m_list->setSelectionMode(QAbstractItemView::NoSelection);
    m_list->setAccessibleName(windowTitle());
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_list);
    layout->addWidget(buttons);
    for (const QAction* action : menus->actions()) {
        if (!action->menu()) continue;
        QList<std::pair<QString, QString>> keys;
        collect(action->menu(), {}, keys);
        addSection(action->iconText(), keys);
    }
}

void ShortcutsDialog::addSection(const QString& title, const QList<std::pair<QString, QString>>& keys) {
    if (keys.isEmpty()) return;
    auto* section = new QTreeWidgetItem(m_list, {title});
    QFont bold = font();
    bold.setBold(true);
    section->setFont(0, bold);
    section->setFirstColumnSpanned(true);
    for (const auto& [what, sequence] : keys) new QTreeWidgetItem(section, {what, sequence});
    section->setExpanded(true);
}

// As wide as its longest lines.
QSize ShortcutsDialog::sizeHint() const {
    const int bar = m_list->verticalScrollBar()->sizeHint().width(), frame = 2 * m_list->frameWidth();
    const QMargins margins = layout()->contentsMargins();
    return {m_list->header()->length() + bar + frame + margins.left() + margins.right(), 600};
}

}  // namespace kestrova::studio
