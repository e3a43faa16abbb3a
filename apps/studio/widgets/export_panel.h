#pragma once

#include <QWidget>

class QPushButton;
class QTableView;

namespace kestrova::studio {

class ExportQueue;

/// Shows a queue of exports, with progress, and cancels them.
class ExportPanel : public QWidget {
    Q_OBJECT

public:
    explicit ExportPanel(ExportQueue* queue, QWidget* parent = nullptr);

private:
    void follow();
    void cancelSelected();
    void enableButtons();

    ExportQueue* m_queue;
    QTableView* m_table;
    QPushButton *m_cancel, *m_cancelAll, *m_clear;
};

}  // namespace kestrova::studio
