#pragma once

#include <QDateTime>
#include <QFileSystemWatcher>
#include <QMainWindow>
#include <QSet>
#include <QThreadPool>
#include <QTimer>
#include <memory>

#include "studio/file_state.h"
#include "studio/frame.h"
#include "studio/widgets/theme.h"

class QAction;
class QActionGroup;
class QComboBox;
class QDockWidget;
class QLabel;
class QProgressBar;
class QTabWidget;
class QToolBar;
class QToolButton;
class QUndoView;

namespace kestrova::studio {

class BrushTool;
class CropBar;
class CropTool;
class ExportPanel;
class ExportQueue;
class FilmStrip;
class HistogramView;
class LayerPanel;
class MessageBar;
class PhotoView;
class PresetStrip;
class Renderer;
class Session;
class SliderPanel;
class StraightenTool;
class ThumbnailModel;

/// The window: puts session, renderer and widgets together.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    MainWindow();
    ~MainWindow() override;

    /// Files and folders; opens the first photograph. One file alone brings those of its folder into the strip.
    void openPaths(const QStringList& paths);
    void openPhotograph(const QString& path);
    /// "light", "detail", "colour" or "layers"; false for another one.
    bool showPanel(const QString& name);
    /// "hand", "brush", "crop" or "straighten"; false for another one.
    bool chooseTool(const QString& name);
    void setTheme(Theme theme);

    Session* session() const { return m_session; }
    Renderer* renderer() const { return m_renderer; }
    PhotoView* view() const { return m_view; }
    MessageBar* messages() const { return m_messages; }
    FilmStrip* strip() const { return m_strip; }
    ExportQueue* exports() const { return m_exports; }
    LayerPanel* layers() const { return m_layers; }
    const std::vector<SliderPanel*>& sliderPanels() const { return m_sliderPanels; }
    /// Whether all that is to be seen is seen.
    bool isSettled() const;
    QString messageText() const;  ///< empty if there is none

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    // main_window.cpp
    void makePanels();
    void makeCentre();
    void makeStatusBar();
    QDockWidget* addDock(const QString& name, const QString& title, QWidget* widget, Qt::DockWidgetArea area);
    void connectSession();

    // main_window_layout.cpp
    void restoreLayout();
    bool mayClose();

    // main_window_actions.cpp
    void makeActions();
    void makeFileMenu();
    void makeEditMenu();
    void makeHelpMenu();
    QAction* addAction(QMenu* menu, const QString& text, const QKeySequence& keys, const QString& tip);
    void enableActions();
    void finishGestures();
    void rotate(int quarters);
    void resetAll();
    void showShortcuts();
    void about();

    // main_window_view_menu.cpp
    void makeViewMenu();
    void makeToolMenu();

    // main_window_files.cpp
    void openDialog();
    void openFolderDialog();
    void list(const QStringList& places, const QString& opened);
    void prefetchNext();
    void showOpened();
    void watch(const QString& path);
    void reloadIfChanged();
    void reload(const FileState& now, bool hasSidecar);
    void exportPhotographs(const QStringList& paths);
    void copySettings();
    void pasteSettings();
    void showPasted(int count, const QStringList& unreadable);
    void chooseScreenProfile();

    // main_window_view.cpp
    void connectView();
    void updatePicture();
    void updateView(bool moving);
    void showFrame(const std::shared_ptr<const Frame>& frame);
    void showProgress(double share);
    void showPointer(const QPointF& place, const QColor& colour);
    void showZoom();
    void chooseTool(QAction* action);

    ThumbnailModel* m_thumbnails;  ///< the first child, which goes first: it reads settings of the session
    Session* m_session;
    Renderer* m_renderer;
    ExportQueue* m_exports;

    PhotoView* m_view;
    MessageBar* m_messages;
    CropBar* m_cropBar;
    HistogramView* m_histogram;
    QComboBox* m_target;
    QTabWidget* m_tabs;
    std::vector<SliderPanel*> m_sliderPanels;
    LayerPanel* m_layers;
    PresetStrip* m_presets;
    FilmStrip* m_strip;
    QDockWidget* m_exportDock;
    QToolBar* m_toolBar;
    QLabel *m_pixel, *m_zoom;
    QProgressBar* m_progress;
    QToolButton* m_cancel;

    BrushTool* m_brush;
    CropTool* m_crop;
    StraightenTool* m_straighten;

    QAction *m_undo, *m_redo, *m_before, *m_split, *m_clipping, *m_mask, *m_hand, *m_brushAction, *m_cropAction,
        *m_straightenAction;
    QActionGroup *m_tools, *m_filters;
    QList<QAction*> m_needPhotograph;
    Theme m_theme = Theme::dark;
    QString m_folder;  ///< where dialogs begin
    QThreadPool m_lister;
    QThreadPool m_looker;  ///< after the file of the open photograph
    bool m_looking = false;
    QThreadPool m_collector;       ///< of settings that are to be exported
    QFileSystemWatcher m_watcher;  ///< of the open photograph
    QTimer m_reload;
    QTimer m_renewal;
    QSet<QString> m_renewed;  ///< photographs whose thumbnails are to be made anew
    FileState m_fileSeen;     ///< of the open photograph
    unsigned m_listings = 0, m_listed = 0;
    bool m_maskByBrush = false;  ///< shown by the brush, not by a person
    bool m_clippingDark = true, m_clippingBright = true;
};

}  // namespace kestrova::studio
