#include "studio/widgets/shortcuts_dialog.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace kestrova::studio {

namespace {

// "&Open…" without the mark of its mnemonic.
QString plain(QString text) {
    text.replace("&&", QChar(0));
    text.remove('&');
    return text.replace(QChar(0), '&');
}

QString keysOf(const QAction* action) {
    QStringList keys;
    for (const QKeySequence& sequence : action->shortcuts()) keys << sequence.toString(QKeySequence::NativeText);
    return keys.join(", ");
}

void collect(const QMenu* menu, const QString& prefix, QList<std::pair<QString, QString>>& keys) {
    for (const QAction* action : menu->actions()) {
        const QString name = prefix + plain(action->text());
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
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
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
        addSection(plain(action->text()), keys);
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

QSize ShortcutsDialog::sizeHint() const { return {520, 600}; }

}  // namespace kestrova::studio
