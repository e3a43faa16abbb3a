#include "studio/widgets/film_strip.h"

#include <QScopedValueRollback>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>

#include "studio/widgets/thumbnail_model.h"
#include "studio/widgets/tile_delegate.h"

namespace kestrova::studio {

namespace {

const QSize kPicture(116, 88);

}  // namespace

FilmStrip::FilmStrip(ThumbnailModel* model, QWidget* parent)
    : QListView(parent), m_photographs(model), m_tiles(new TileDelegate(kPicture, this)) {
    setModel(model);
    setItemDelegate(m_tiles);
    setFlow(LeftToRight);
    setWrapping(false);
    setUniformItemSizes(true);
    setSelectionMode(ExtendedSelection);
    setHorizontalScrollMode(ScrollPerPixel);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Film strip"));
    horizontalScrollBar()->setSingleStep(kPicture.width() / 2);
}

QSize FilmStrip::sizeHint() const {
    const QSize tile = m_tiles->tileSize(fontMetrics());
    return {5 * tile.width(), tile.height() + 2 * frameWidth() + horizontalScrollBar()->sizeHint().height()};
}

QSize FilmStrip::minimumSizeHint() const { return {kPicture.width(), sizeHint().height()}; }

QString FilmStrip::currentPath() const { return currentIndex().data(PathRole).toString(); }

void FilmStrip::setCurrentPath(const QString& path) {
    const QModelIndex index = m_photographs->index(m_photographs->rowOf(path));
    if (index == currentIndex()) return;
    const QScopedValueRollback quiet(m_quiet, true);
    select(index);
    if (index.isValid()) scrollTo(index);
}

QStringList FilmStrip::selectedPaths() const {
    QModelIndexList indexes = selectionModel()->selectedIndexes();
    if (currentIndex().isValid() && !indexes.contains(currentIndex())) indexes << currentIndex();
    std::sort(indexes.begin(), indexes.end());
    QStringList paths;
    for (const QModelIndex& index : indexes) paths << index.data(PathRole).toString();
    return paths;
}

void FilmStrip::go(int rows) {
    const int last = m_photographs->rowCount() - 1;
    if (last < 0) return;
    const int row = currentIndex().isValid() ? std::clamp(currentIndex().row() + rows, 0, last) : 0;
    select(m_photographs->index(row));
}

/// It alone, whatever keys are held: `setCurrentIndex` adds to the selection while Ctrl is.
void FilmStrip::select(const QModelIndex& index) {
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
}

void FilmStrip::goToNext() { go(1); }

void FilmStrip::goToPrevious() { go(-1); }

void FilmStrip::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    viewport()->update();
    if (!m_quiet && current.isValid()) emit photographChosen(current.data(PathRole).toString());
}

void FilmStrip::wheelEvent(QWheelEvent* event) {
    const QPoint turned = event->pixelDelta().isNull() ? event->angleDelta() : event->pixelDelta();
    QScrollBar* bar = horizontalScrollBar();
    bar->setValue(bar->value() - (turned.x() ? turned.x() : turned.y()));
    event->accept();
}

}  // namespace kestrova::studio
