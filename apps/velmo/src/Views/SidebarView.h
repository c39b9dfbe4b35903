#pragma once

#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <optional>

class BrowserPanes;
class QAction;
class QDropEvent;
class QListView;
class QMenu;
class SidebarFavoritesModel;
class VelmoStore;

// The column at the left of a browser tab: the favorites, with the row for what
// the active pane shows highlighted. A click opens a favorite (a pair in both
// panes); rows drag to a new place; folders dropped between rows become
// favorites; files dropped on a favorite are copied, moved or linked into it by
// the usual drop rules. Devices will have a section of their own below.
class SidebarView : public QWidget {
    Q_OBJECT

public:
    SidebarView(VelmoStore* app, BrowserPanes* panes, QWidget* parent = nullptr);

    QListView* favoritesList() const { return favorites_; }
    std::optional<QUuid> highlightedFavoriteID() const;
    // The menu for a right click at `position` (in the list's viewport).
    QMenu* contextMenuAt(const QPoint& position, QWidget* parent);

    // Keeps `action`'s text ("Hide Sidebar" / "Show Sidebar") in step with the store.
    static void bindToggleAction(VelmoStore* app, QAction* action);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class DropTarget { none, reorder, addFolders, intoFolder };
    struct DropPlace {
        DropTarget target = DropTarget::none;
        int gap = 0;    // insertion index for reorder and add
        int row = -1;   // the favorite for a drop into its folder
    };
    DropPlace dropPlace(const QDropEvent* event) const;
    bool handleDrag(QDropEvent* event, bool isDrop);
    void addFolders(const QStringList& paths, int gap);
    void updateHighlight();
    void openRow(const QModelIndex& index);

    QPointer<VelmoStore> app_;
    QPointer<BrowserPanes> panes_;
    QListView* favorites_;
    SidebarFavoritesModel* model_;
};
