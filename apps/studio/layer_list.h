#pragma once

#include <QAbstractListModel>
#include <QListView>

namespace kestrova::studio {

class Session;

/// The whole photograph, then the session's layers, of which names can be edited.
class LayerModel : public QAbstractListModel {
    Q_OBJECT

public:
    explicit LayerModel(Session* session, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    void update();

    Session* m_session;
    int m_rows = 1;
};

/// Shows what there is to act on, and chooses it.
class LayerList : public QListView {
    Q_OBJECT

public:
    explicit LayerList(Session* session, QWidget* parent = nullptr);

    QSize sizeHint() const override { return {200, 110}; }

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    void follow();

    Session* m_session;
};

}  // namespace kestrova::studio
