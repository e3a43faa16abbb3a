#include "studio/layer_list.h"

#include "studio/session.h"

namespace kestrova::studio {

LayerModel::LayerModel(Session* session, QObject* parent) : QAbstractListModel(parent), m_session(session) {
    connect(session, &Session::opened, this, &LayerModel::update);
    connect(session, &Session::closed, this, &LayerModel::update);
    connect(session, &Session::settingsChanged, this, &LayerModel::update);
}

void LayerModel::update() {
    const int rows = 1 + static_cast<int>(m_session->settings().layers.size());
    if (rows != m_rows) {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    } else {
        emit dataChanged(index(0), index(rows - 1));
    }
}

int LayerModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : m_rows; }

QVariant LayerModel::data(const QModelIndex& index, int role) const {
    const auto& layers = m_session->settings().layers;
    if (!index.isValid() || index.row() > static_cast<int>(layers.size())) return {};
    if (role != Qt::DisplayRole && role != Qt::EditRole) return {};
    if (index.row() == 0) return tr("Whole photograph");
    return QString::fromStdString(layers[static_cast<std::size_t>(index.row()) - 1].name);
}

bool LayerModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::EditRole || index.row() < 1) return false;
    m_session->renameLayer(index.row() - 1, value.toString());
    return true;
}

Qt::ItemFlags LayerModel::flags(const QModelIndex& index) const {
    return QAbstractListModel::flags(index) | (index.row() > 0 ? Qt::ItemIsEditable : Qt::NoItemFlags);
}

LayerList::LayerList(Session* session, QWidget* parent) : QListView(parent), m_session(session) {
    auto* model = new LayerModel(session, this);
    setModel(model);
    setObjectName("layers");  // for the style sheet
    setAccessibleName(tr("Layers"));
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    connect(session, &Session::targetChanged, this, &LayerList::follow);
    connect(model, &QAbstractItemModel::modelReset, this, &LayerList::follow);
    follow();
}

void LayerList::follow() {
    const QModelIndex wanted = model()->index(m_session->target() + 1, 0);
    if (wanted.isValid() && wanted != currentIndex()) setCurrentIndex(wanted);
}

void LayerList::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    if (current.isValid()) m_session->setTarget(current.row() - 1);
}

}  // namespace kestrova::studio
