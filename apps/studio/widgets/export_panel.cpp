#include "studio/widgets/export_panel.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPainter>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>

#include "studio/widgets/export_queue.h"

namespace kestrova::studio {

namespace {

constexpr int kLeastLetters = 54;  // in a row

// A bar for the export that is running, text for the others.
class StateDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        if (index.data(ExportQueue::StateRole).value<ExportQueue::State>() != ExportQueue::State::running)
            return QStyledItemDelegate::paint(painter, option, index);
        QStyleOptionProgressBar bar;
        bar.initFrom(option.widget);
        bar.rect = option.rect.adjusted(4, 3, -4, -3);
        bar.state = QStyle::State_Enabled | QStyle::State_Horizontal;
        bar.minimum = 0;
        bar.maximum = 1000;
        bar.progress = index.data(ExportQueue::ProgressRole).toInt();
        bar.text = index.data().toString();
        bar.textVisible = true;
        bar.textAlignment = Qt::AlignCenter;
        option.widget->style()->drawControl(QStyle::CE_ProgressBar, &bar, painter, option.widget);
    }
};

}  // namespace

ExportPanel::ExportPanel(ExportQueue* queue, QWidget* parent)
    : QWidget(parent),
      m_queue(queue),
      m_table(new QTableView),
      m_cancel(new QPushButton(tr("Cancel"))),
      m_cancelAll(new QPushButton(tr("Cancel All"))),
      m_clear(new QPushButton(tr("Clear Finished"))) {
    m_table->setModel(queue);
    m_table->setItemDelegateForColumn(ExportQueue::StateColumn, new StateDelegate(m_table));
    m_table->setSelectionBehavior(QTableView::SelectRows);
    m_table->setShowGrid(false);
    m_table->setWordWrap(false);
    m_table->setTextElideMode(Qt::ElideMiddle);
    m_table->setAccessibleName(tr("Exports"));
    m_table->setMinimumWidth(kLeastLetters * fontMetrics().averageCharWidth());
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 10);
    QHeaderView* header = m_table->horizontalHeader();
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setSectionResizeMode(QHeaderView::Stretch);
    header->moveSection(ExportQueue::StateColumn, ExportQueue::TargetColumn);  // the one that is looked at

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_cancelAll);
    buttons->addStretch();
    buttons->addWidget(m_clear);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(m_table);
    layout->addLayout(buttons);

    connect(m_cancel, &QPushButton::clicked, this, &ExportPanel::cancelSelected);
    connect(m_cancelAll, &QPushButton::clicked, queue, &ExportQueue::cancelAll);
    connect(m_clear, &QPushButton::clicked, queue, &ExportQueue::clearFinished);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &ExportPanel::enableButtons);
    connect(queue, &ExportQueue::unfinishedChanged, this, &ExportPanel::enableButtons);
    connect(queue, &ExportQueue::rowsRemoved, this, &ExportPanel::enableButtons);
    connect(queue, &ExportQueue::unfinishedChanged, this, &ExportPanel::follow);
    enableButtons();
}

/// Shows the export that is running, or the latest one.
void ExportPanel::follow() {
    int row = 0;
    while (row < m_queue->rowCount() - 1 && m_queue->isFinished(row)) ++row;
    m_table->scrollTo(m_queue->index(row, 0));
}

void ExportPanel::cancelSelected() {
    for (const QModelIndex& index : m_table->selectionModel()->selectedRows()) m_queue->cancel(index.row());
}

void ExportPanel::enableButtons() {
    const int unfinished = m_queue->unfinished();
    m_cancel->setEnabled(unfinished > 0 && m_table->selectionModel()->hasSelection());
    m_cancelAll->setEnabled(unfinished > 0);
    m_clear->setEnabled(m_queue->rowCount() > unfinished);
}

}  // namespace kestrova::studio
