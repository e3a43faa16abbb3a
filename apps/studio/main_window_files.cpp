#include <QClipboard>
#include <QDir>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QSettings>
#include <QStatusBar>
#include <QUrl>

#include "photo/error.h"
#include "photo/file_format.h"
#include "studio/main_window.h"
#include "studio/message_bar.h"
#include "studio/photo_view.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/widgets/export_dialog.h"
#include "studio/widgets/film_strip.h"
#include "studio/widgets/histogram_view.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/preset_strip.h"
#include "studio/widgets/screen_profile.h"
#include "studio/widgets/thumbnail_model.h"

#include <QDockWidget>

namespace kestrova::studio {

namespace {

const char* const kFolderKey = "folder";

QString folderLast() { return QSettings().value(kFolderKey, QDir::homePath()).toString(); }

}  // namespace

void MainWindow::openPaths(const QStringList& paths) {
    QStringList files;
    for (const QString& path : paths) {
        const QFileInfo info(path);
        if (info.isDir()) {
            const QStringList inside = ThumbnailModel::photographsIn(info.absoluteFilePath());
            if (inside.isEmpty()) m_messages->say(tr("There are no photographs in %1.").arg(path));
            files << inside;
        } else {
            files << info.absoluteFilePath();
        }
    }
    if (files.isEmpty()) return;
    const QString first = files.first();
    if (paths.size() == 1 && files.size() == 1) {
        files = ThumbnailModel::photographsIn(QFileInfo(first).absolutePath());
        if (!files.contains(first)) files.prepend(first);
    }
    listPhotographs(files, first);
    openPhotograph(first);
}

void MainWindow::listPhotographs(const QStringList& paths, const QString& current) {
    m_thumbnails->setPaths(paths);
    for (const QString& path : paths)
        if (QFileInfo::exists(fileName(photo::Settings::sidecarOf(fileName(path)))))
            m_thumbnails->setEdited(path, true);
    m_strip->setCurrentPath(current);
}

void MainWindow::openPhotograph(const QString& path) {
    finishGestures();
    m_messages->hide();
    m_histogram->clear();
    m_view->clear(tr("Opening %1").arg(QFileInfo(path).fileName()));
    QSettings().setValue(kFolderKey, QFileInfo(path).absolutePath());
    m_session->open(fileName(path));
    m_renderer->open(fileName(path), m_session->settingsPtr());
    updatePicture();
    m_strip->setCurrentPath(path);
    const QStringList all = m_thumbnails->paths();
    const qsizetype next = all.indexOf(path) + 1;
    m_renderer->prefetch(next > 0 && next < all.size() ? fileName(all[next]) : std::string());
    setWindowTitle(tr("%1 - Kestrova Studio").arg(QFileInfo(path).fileName()));
    m_presets->setFile(path, m_session->settings());
    enableActions();
}

void MainWindow::openDialog() {
    QStringList patterns;
    for (const char* ending : {"jpg", "jpeg", "png", "tif", "tiff", "webp", "heic", "heif", "avif", "jp2", "j2k",
                               "exr", "nef",  "cr2", "cr3", "arw",  "dng",  "raf",  "orf",  "rw2",  "pef"})
        if (photo::hasPhotographName(std::string("a.") + ending)) patterns << QStringLiteral("*.") + ending;
    const QStringList paths = QFileDialog::getOpenFileNames(
        this, tr("Open photographs"), folderLast(), tr("Photographs (%1);;All files (*)").arg(patterns.join(' ')));
    if (!paths.isEmpty()) openPaths(paths);
}

void MainWindow::openFolderDialog() {
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Open a folder"), folderLast());
    if (!folder.isEmpty()) openPaths({folder});
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) paths << url.toLocalFile();
    if (!paths.isEmpty()) openPaths(paths);
}

void MainWindow::exportPhotographs(const QStringList& paths) {
    finishGestures();
    ExportDialog dialog(paths, m_thumbnails->paths(), this);
    if (dialog.exec() != QDialog::Accepted) return;
    try {
        m_exports->add(
            dialog.jobs([this](const QString& photograph) { return m_session->settingsOf(fileName(photograph)); }));
        m_exportDock->show();
    } catch (const photo::Error& error) {
        m_messages->say(tr("Nothing is exported: %1").arg(QString::fromUtf8(error.what())));
    }
}

void MainWindow::copySettings() {
    QGuiApplication::clipboard()->setText(QString::fromStdString(m_session->settings().toJson()));
    statusBar()->showMessage(tr("Settings copied"), 3000);
}

void MainWindow::pasteSettings() {
    finishGestures();
    try {
        m_session->paste(photo::Settings::fromJson(QGuiApplication::clipboard()->text().toStdString()));
    } catch (const photo::Error&) {
        statusBar()->showMessage(tr("There are no settings to paste"), 3000);
    }
}

void MainWindow::chooseScreenProfile() {
    const QString path = QFileDialog::getOpenFileName(this, tr("Profile of the screen"), folderLast(),
                                                      tr("ICC profiles (*.icc *.icm);;All files (*)"));
    if (path.isEmpty()) return;
    const ScreenProfile screen = ScreenProfile::find(path);
    if (!screen.problem.isEmpty()) m_messages->say(screen.problem);
    QSettings().setValue("screenProfile", path);
    m_renderer->setScreen(screen.profile);
    statusBar()->showMessage(screen.origin, 5000);
}

}  // namespace kestrova::studio
