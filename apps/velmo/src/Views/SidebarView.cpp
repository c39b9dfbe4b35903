#include "Views/SidebarView.h"

#include "PathKit/FilePaths.h"
#include "State/BrowserPanes.h"
#include "State/VelmoStore.h"
#include "Support/BackgroundTask.h"
#include "Views/FileDragData.h"
#include "Views/SidebarFavoritesModel.h"

#include <QAction>
#include <QDropEvent>
#include <QInputDialog>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QMimeData>
#include <QThreadPool>
#include <QVBoxLayout>

#include <sys/stat.h>

namespace {

bool isFolder(const QString& path)
{
    struct stat st {};
    return ::stat(FilePaths::toNative(path).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

Qt::DropAction dropAction(FileDropPolicy::Operation operation)
{
    switch (operation) {
    case FileDropPolicy::Operation::copy: return Qt::CopyAction;
    case FileDropPolicy::Operation::move: return Qt::MoveAction;
    case FileDropPolicy::Operation::link: return Qt::LinkAction;
    }
    return Qt::CopyAction;
}

} // namespace

SidebarView::SidebarView(VelmoStore* app, BrowserPanes* panes, QWidget* parent) : QWidget(parent), app_(app), panes_(panes)
{
    setObjectName(QStringLiteral("sidebar"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 0, 6);
    layout->setSpacing(2);
    auto* header = new QLabel(QStringLiteral("Favorites"), this);
    header->setObjectName(QStringLiteral("favoritesHeader"));
    QFont font = header->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 0.9);
    header->setFont(font);
    header->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(header);

    favorites_ = new QListView(this);
    favorites_->setObjectName(QStringLiteral("favorites"));
    model_ = new SidebarFavoritesModel(app, favorites_);
    favorites_->setModel(model_);
    favorites_->setFrameShape(QFrame::NoFrame);
    favorites_->setIconSize(QSize(16, 16));
    favorites_->setUniformItemSizes(false);
    favorites_->setSelectionMode(QAbstractItemView::SingleSelection);
    favorites_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    favorites_->setContextMenuPolicy(Qt::CustomContextMenu);
    // The keyboard stays with the panes: the sidebar is worked with the mouse.
    favorites_->setFocusPolicy(Qt::NoFocus);
    favorites_->setDragDropMode(QAbstractItemView::DragOnly);
    favorites_->setAcceptDrops(true);
    favorites_->viewport()->setAcceptDrops(true);
    favorites_->viewport()->installEventFilter(this);
    QPalette palette = favorites_->palette();
    palette.setColor(QPalette::Base, Qt::transparent);
    favorites_->setPalette(palette);
    layout->addWidget(favorites_, 1);
    // Devices get their own header and list here once they are enumerated.

    connect(favorites_, &QListView::clicked, this, &SidebarView::openRow);
    connect(favorites_, &QListView::customContextMenuRequested, this, [this](const QPoint& position) {
        QMenu* menu = contextMenuAt(position, this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(favorites_->viewport()->mapToGlobal(position));
    });
    connect(app, &VelmoStore::favoritesChanged, this, &SidebarView::updateHighlight);
    connect(panes, &BrowserPanes::activePaneChanged, this, &SidebarView::updateHighlight);
    for (FilePaneStore* pane : {panes->leftPane(), panes->rightPane()})
        connect(pane, &FilePaneStore::currentURLChanged, this, &SidebarView::updateHighlight);
    updateHighlight();
}

std::optional<QUuid> SidebarView::highlightedFavoriteID() const
{
    const QModelIndexList selected = favorites_->selectionModel()->selectedIndexes();
    if (selected.isEmpty()) return std::nullopt;
    return selected.front().data(SidebarFavoritesModel::IDRole).toUuid();
}

void SidebarView::updateHighlight()
{
    if (!app_ || !panes_) return;
    const auto id = app_->selectedFavoriteID(panes_);
    const int row = id ? model_->rowOf(*id) : -1;
    if (row < 0) favorites_->selectionModel()->clearSelection();
    else favorites_->selectionModel()->select(model_->index(row), QItemSelectionModel::ClearAndSelect);
}

void SidebarView::openRow(const QModelIndex& index)
{
    if (!app_ || !index.isValid()) return;
    // A copy: opening may change the list's observers, never the item.
    if (const FavoriteItem* item = app_->favorite(index.data(SidebarFavoritesModel::IDRole).toUuid())) {
        const FavoriteItem opening = *item;
        app_->openFavorite(opening);
    }
    updateHighlight();
}

QMenu* SidebarView::contextMenuAt(const QPoint& position, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    const QModelIndex index = favorites_->indexAt(position);
    if (!index.isValid()) {
        menu->addAction(QStringLiteral("Add Current Folder"), this, [this] {
            if (app_) app_->addActivePaneToFavorites();
        });
        menu->addAction(QStringLiteral("Add Both Panes as a Pair"), this, [this] {
            if (app_) app_->addCurrentPanesToFavorites();
        });
        return menu;
    }
    const QUuid id = index.data(SidebarFavoritesModel::IDRole).toUuid();
    menu->addAction(QStringLiteral("Remove from Sidebar"), this, [this, id] {
        if (app_) app_->removeFavorite(id);
    });
    if (index.flags().testFlag(Qt::ItemIsSelectable))
        menu->addAction(QStringLiteral("Rename..."), this, [this, id] {
            const FavoriteItem* item = app_ ? app_->favorite(id) : nullptr;
            if (!item) return;
            bool ok = false;
            const QString name = QInputDialog::getText(this, QStringLiteral("Rename Favorite"), QStringLiteral("Name:"),
                                                       QLineEdit::Normal, item->name, &ok);
            if (ok && app_) app_->renameFavorite(id, name);
        });
    return menu;
}

SidebarView::DropPlace SidebarView::dropPlace(const QDropEvent* event) const
{
    const QMimeData* data = event->mimeData();
    const QPoint position = event->position().toPoint();
    const QModelIndex index = favorites_->indexAt(position);
    DropPlace place;
    place.gap = model_->rowCount();
    if (index.isValid()) {
        const QRect rect = favorites_->visualRect(index);
        place.gap = position.y() < rect.center().y() ? index.row() : index.row() + 1;
    }
    if (data->hasFormat(SidebarFavoritesModel::dragMimeType)) {
        place.target = DropTarget::reorder;
        return place;
    }
    if (FileDragData::paths(data).isEmpty()) return place;
    // The middle of a folder's row takes the files in; its edges and the space
    // below the rows add favorites.
    if (index.isValid() && app_) {
        const FavoriteItem& item = app_->favorites()[std::size_t(index.row())];
        const QRect rect = favorites_->visualRect(index);
        const int edge = rect.height() / 4;
        if (item.kind == FavoriteItemKind::folder && position.y() >= rect.top() + edge
            && position.y() <= rect.bottom() - edge) {
            place.target = DropTarget::intoFolder;
            place.row = index.row();
            return place;
        }
    }
    place.target = DropTarget::addFolders;
    return place;
}

bool SidebarView::handleDrag(QDropEvent* event, bool isDrop)
{
    const DropPlace place = dropPlace(event);
    if (place.target == DropTarget::none) {
        event->ignore();
        return true;
    }
    // Only a drop into a folder marks a row; elsewhere the row for what the panes show stays lit.
    if (!isDrop && place.target != DropTarget::intoFolder) updateHighlight();
    switch (place.target) {
    case DropTarget::none: return true;
    case DropTarget::reorder: {
        event->setDropAction(Qt::MoveAction);
        event->accept();
        if (!isDrop || !app_) return true;
        const QUuid id = QUuid::fromString(QString::fromLatin1(event->mimeData()->data(SidebarFavoritesModel::dragMimeType)));
        const int from = model_->rowOf(id);
        if (from >= 0) app_->moveFavorite(id, place.gap > from ? place.gap - 1 : place.gap);
        return true;
    }
    case DropTarget::addFolders: {
        event->setDropAction(event->possibleActions().testFlag(Qt::LinkAction) ? Qt::LinkAction : Qt::CopyAction);
        event->accept();
        if (isDrop) addFolders(FileDragData::paths(event->mimeData()), place.gap);
        return true;
    }
    case DropTarget::intoFolder: {
        const QString destination = app_->favorites()[std::size_t(place.row)].url;
        const auto operation = FileDragData::operation(event, destination);
        if (!operation || !panes_) {
            event->ignore();
            return true;
        }
        event->setDropAction(dropAction(*operation));
        event->accept();
        if (!isDrop) {
            // The row that would take the files shows as chosen while the drag is over it.
            favorites_->selectionModel()->select(model_->index(place.row), QItemSelectionModel::ClearAndSelect);
            return true;
        }
        FilePaneStore* pane = panes_->activePane();
        const QStringList paths = FileDragData::paths(event->mimeData());
        const bool select = pane->currentURL() == destination;
        switch (*operation) {
        case FileDropPolicy::Operation::copy: pane->startCopyTransfer(FileTransferKind::copy, paths, destination, select); break;
        case FileDropPolicy::Operation::move: pane->startMoveTransfer(FileTransferKind::move, paths, destination, select); break;
        case FileDropPolicy::Operation::link: pane->startLinkTransfer(FileTransferKind::link, paths, destination, select); break;
        }
        return true;
    }
    }
    return false;
}

void SidebarView::addFolders(const QStringList& paths, int gap)
{
    // Only folders become favorites. Looking costs a stat each, which could
    // hang on a dead network mount, so it happens away from the window.
    BackgroundTask::run(
        QThreadPool::globalInstance(), this,
        [paths](std::stop_token) {
            QStringList folders;
            for (const QString& path : paths)
                if (isFolder(path)) folders.append(FilePaths::standardized(path));
            return folders;
        },
        [this, gap](QStringList folders) {
            if (app_ && !folders.isEmpty()) app_->insertFavoriteURLs(folders, gap);
        });
}

bool SidebarView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != favorites_->viewport()) return QWidget::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: return handleDrag(static_cast<QDropEvent*>(event), false);
    case QEvent::DragLeave:
        updateHighlight();
        return true;
    case QEvent::Drop: {
        const bool handled = handleDrag(static_cast<QDropEvent*>(event), true);
        updateHighlight();
        return handled;
    }
    default: return QWidget::eventFilter(watched, event);
    }
}

void SidebarView::bindToggleAction(VelmoStore* app, QAction* action)
{
    auto update = [app, action] {
        action->setText(app->isSidebarVisible() ? QStringLiteral("Hide Sidebar") : QStringLiteral("Show Sidebar"));
    };
    update();
    QObject::connect(app, &VelmoStore::sidebarChanged, action, update);
}
