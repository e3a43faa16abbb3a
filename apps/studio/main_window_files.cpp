#include <QClipboard>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QSettings>
#include <QStatusBar>
#include <QUrl>
#include <set>

#include "photo/error.h"
#include "photo/file_format.h"
#include "studio/crop_bar.h"
#include "studio/crop_tool.h"
#include "studio/main_window.h"
#include "studio/message_bar.h"
#include "studio/photo_view.h"
#include "studio/renderer.h"
#include "studio/session.h"
#include "studio/widgets/background.h"
#include "studio/widgets/export_dialog.h"
#include "studio/widgets/film_strip.h"
#include "studio/widgets/histogram_view.h"
#include "studio/widgets/pixels.h"
#include "studio/widgets/preset_strip.h"
#include "studio/widgets/screen_profile.h"
#include "studio/widgets/thumbnail_model.h"

namespace kestrova::studio {

void MainWindow::openPaths(const QStringList& paths) {
    if (paths.isEmpty()) return;
    QStringList places;
    for (const QString& path : paths) places << QFileInfo(path).absoluteFilePath();
    const QString first = places.first();
    const bool isFile = !QFileInfo(first).isDir();
    if (isFile) {
        if (m_thumbnails->rowOf(first) < 0) m_thumbnails->setPaths({first});
        openPhotograph(first);
    }
    const bool withNeighbours = isFile && places.size() == 1;
    list(withNeighbours ? QStringList{QFileInfo(first).absolutePath()} : places, isFile ? first : QString());
}

/// Finds the photographs of files and folders, in the background: folders may be large, or far away. Opens the first
/// one unless `opened` already is. The newest list wins.
void MainWindow::list(const QStringList& places, const QString& opened) {
    m_lister.clear();
    m_lister.start([this, places, opened, listing = ++m_listings] {
        standBack(Background::view);
        QStringList found, empty;
        for (const QString& place : places) {
            const bool isFolder = QFileInfo(place).isDir();
            const QStringList inside = isFolder ? ThumbnailModel::photographsIn(place) : QStringList{place};
            if (inside.isEmpty() && (opened.isEmpty() || places.size() > 1)) empty << place;
            found << inside;
        }
        if (!opened.isEmpty() && !found.contains(opened)) found.prepend(opened);
        QMetaObject::invokeMethod(this, [this, found, empty, opened, listing] {
            if (listing != m_listings) return;
            m_listed = listing;
            if (!found.isEmpty()) {
                m_thumbnails->setPaths(found);
                if (opened.isEmpty()) openPhotograph(found.first());
                m_strip->setCurrentPath(fileName(m_session->path()));
                prefetchNext();
            }
            if (!empty.isEmpty()) m_messages->say(tr("There are no photographs in %1.").arg(empty.join(", ")));
        });
    });
}

void MainWindow::prefetchNext() {
    if (!m_session->isOpen()) return;  // what is prepared may be what is being opened
    const QStringList all = m_thumbnails->paths();
    const qsizetype next = all.indexOf(fileName(m_session->path())) + 1;
    m_renderer->prefetch(next > 0 && next < all.size() ? fileName(all[next]) : std::string());
}

void MainWindow::openPhotograph(const QString& path) {
    finishGestures();
    m_messages->hide();
    m_histogram->clear();
    m_view->clear(tr("Opening %1").arg(QFileInfo(path).fileName().simplified()));
    m_folder = QFileInfo(path).absolutePath();
    m_renderer->closePhotograph();
    m_session->startOpening(fileName(path));
    m_crop->setFrame({});
    m_cropBar->setPhotographSize({});
    watch(path);
    m_strip->setCurrentPath(path);
    setWindowTitle(tr("%1 - Kestrova Studio").arg(QFileInfo(path).fileName().simplified()));
    enableActions();
}

/// The photograph that has been chosen, now that its settings are there.
void MainWindow::showOpened() {
    const QString path = fileName(m_session->path());
    m_fileSeen = m_session->fileState();
    m_renderer->open(m_session->path(), m_session->settingsPtr(), m_fileSeen);
    prefetchNext();
    m_presets->setFile(path, m_session->settings());
    m_presets->showChosen(m_session->settings());
    enableActions();
}

/// So that a photograph which another program writes is shown as it then is.
void MainWindow::watch(const QString& path) {
    if (!m_watcher.files().isEmpty()) m_watcher.removePaths(m_watcher.files());
    m_watcher.addPath(path);
    m_reload.stop();
}

/// Looks in the background: what has changed may be a network that answers no more.
void MainWindow::reloadIfChanged() {
    if (!m_session->isOpen()) return;
    if (m_looking) {
        m_reload.start();
        return;
    }
    m_looking = true;
    m_looker.start([this, path = m_session->path()] {
        standBack(Background::view);
        const FileState now = stateOf(path);
        const bool hasSidecar = stateOf(photo::Settings::sidecarOf(path)).exists();
        QMetaObject::invokeMethod(this, [this, path, now, hasSidecar] {
            m_looking = false;
            if (m_session->isOpen() && m_session->path() == path)
                reload(now, hasSidecar);
            else
                m_reload.start();
        });
    });
}

/// What stands under the name may be the photograph with other metadata, a new export of it, or another one. Settings
/// stay with what has their sidecar beside it, as they do when it is opened, and the person learns of it; nothing is
/// written before the next change. Where the sidecar is gone too, the photograph is opened anew.
void MainWindow::reload(const FileState& now, bool hasSidecar) {
    const QString path = fileName(m_session->path());
    if (!now.exists()) {
        m_reload.start();  // some programs remove a file before they write the new one
        return;
    }
    m_watcher.removePath(path);
    m_watcher.addPath(path);  // under this name there may be another file now
    if (now == m_fileSeen) return;
    m_fileSeen = now;
    m_thumbnails->renew(path);
    const bool isEdited = m_session->settings() != photo::Settings();
    if (isEdited && !hasSidecar && m_session->isAllSaved()) {
        openPhotograph(path);
        m_messages->say(
            tr("Another program has replaced this photograph, and its file of settings is gone: it is shown "
               "without settings. The earlier ones are kept."));
        return;
    }
    m_messages->hide();
    m_renderer->open(m_session->path(), m_session->settingsPtr(), now);
    m_presets->setFile(path, m_session->settings());
    prefetchNext();
    if (isEdited)
        m_messages->say(
            tr("Another program has changed this photograph. Its settings are kept: if it is another "
               "photograph now, reset them."));
    else
        statusBar()->showMessage(tr("Another program has changed the photograph."), 5000);
}

void MainWindow::openDialog() {
    QStringList patterns;
    for (const char* ending : {"jpg", "jpeg", "png", "tif", "tiff", "webp", "heic", "heif", "avif", "jp2", "j2k",
                               "exr", "nef",  "cr2", "cr3", "arw",  "dng",  "raf",  "orf",  "rw2",  "pef"})
        if (photo::hasPhotographName(std::string("a.") + ending)) patterns << QStringLiteral("*.") + ending;
    const QStringList paths = QFileDialog::getOpenFileNames(
        this, tr("Open photographs"), m_folder, tr("Photographs (%1);;All files (*)").arg(patterns.join(' ')));
    if (!paths.isEmpty()) openPaths(paths);
}

void MainWindow::openFolderDialog() {
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Open a folder"), m_folder);
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
    m_collector.start([this, jobs = dialog.jobs([](const QString&) { return photo::Settings(); }),
                       settingsOf = m_session->settingsReader()]() mutable {
        standBack(Background::view);
        QString current, trouble;
        try {
            for (ExportJob& job : jobs) {
                current = QFileInfo(job.source).fileName().simplified();
                const int size = job.settings.size;
                job.settings = settingsOf(fileName(job.source));
                if (size) job.settings.size = size;
            }
        } catch (const std::exception& error) {
            trouble = fileName(std::string(error.what()));
        }
        QMetaObject::invokeMethod(this, [this, jobs, current, trouble] {
            if (trouble.isEmpty()) {
                m_exports->add(jobs);
                m_exportDock->show();
            } else {
                m_messages->say(
                    tr("Nothing is exported: the settings of %1 cannot be read. Open it to see what can be done.")
                        .arg(current),
                    trouble);
            }
        });
    });
}

void MainWindow::copySettings() {
    QGuiApplication::clipboard()->setText(QString::fromStdString(m_session->settings().toJson()));
    statusBar()->showMessage(tr("Settings copied"), 3000);
}

void MainWindow::pasteSettings() {
    finishGestures();
    std::set<std::string> photographs = {m_session->path()};
    for (const QString& path : m_strip->selectedPaths()) photographs.insert(fileName(path));
    try {
        m_session->paste(photo::Settings::fromJson(QGuiApplication::clipboard()->text().toStdString()),
                         {photographs.begin(), photographs.end()});
    } catch (const photo::Error&) {
        statusBar()->showMessage(tr("There are no settings to paste"), 3000);
    }
}

void MainWindow::showPasted(int count, const QStringList& unreadable) {
    if (count > 0)
        statusBar()->showMessage(
            count == 1 ? tr("Settings pasted") : tr("Settings pasted to %n photographs", nullptr, count), 5000);
    if (!unreadable.isEmpty())
        m_messages->say(
            tr("Nothing is pasted to %1: the settings there cannot be read. Open it to see what can be done.")
                .arg(unreadable.join(", ")));
}

void MainWindow::chooseScreenProfile() {
    const QString path = QFileDialog::getOpenFileName(this, tr("Profile of the screen"), m_folder,
                                                      tr("ICC profiles (*.icc *.icm);;All files (*)"));
    if (path.isEmpty()) return;
    const ScreenProfile screen = ScreenProfile::find(path);
    if (!screen.problem.isEmpty()) {
        m_messages->say(screen.problem);
        return;
    }
    QSettings().setValue("screenProfile", path);
    m_renderer->setScreen(screen.profile);
    statusBar()->showMessage(screen.origin, 5000);
}

}  // namespace kestrova::studio
