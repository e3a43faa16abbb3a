#pragma once

#include <QListView>

namespace kestrova::studio {

class ThumbnailModel;
class TileDelegate;

/// Photographs side by side, as tiles with their names: a dot marks those with settings, a sign those that cannot be
/// read. The current one is the one that is open; others may be selected with it.
class FilmStrip : public QListView {
    Q_OBJECT

public:
    explicit FilmStrip(ThumbnailModel* model, QWidget* parent = nullptr);

    QString currentPath() const;
    /// Shows which one is open; signals nothing.
    void setCurrentPath(const QString& path);
    /// In the order of the strip; the one that is open is always one of them.
    QStringList selectedPaths() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

public slots:
    void goToNext();
    void goToPrevious();

signals:
    /// A person has gone to another photograph, by mouse or keys.
    void photographChosen(const QString& path);

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void go(int rows);
    void select(const QModelIndex& index);

    ThumbnailModel* m_photographs;
    TileDelegate* m_tiles;
    bool m_quiet = false;
};

}  // namespace kestrova::studio
