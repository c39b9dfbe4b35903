#include "Views/MainWindow.h"

#include "State/FilePaneStore.h"
#include "State/VelmoStore.h"
#include "Views/BrowserTabView.h"
#include "Views/ActivityStrip.h"
#include "Views/EditCommandRouter.h"
#include "Views/FilePaneCommands.h"
#include "Views/FilePaneView.h"
#include "Views/FolderLayoutSettingsSection.h"
#include "Views/SettingsView.h"
#include "Views/ImageCompressionView.h"
#include "Views/PDFCompressionView.h"
#include "Views/SearchView.h"
#include "Views/SizeMapView.h"
#include "Views/SidebarView.h"

#include <QAction>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QStackedWidget>
#include <QTabBar>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

MainWindow::MainWindow(VelmoStore* store, QWidget* parent) : QMainWindow(parent), store_(store)
{
    setWindowTitle(QStringLiteral("Velmo"));
    resize(1280, 760);

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* strip = new QHBoxLayout;
    strip->setContentsMargins(4, 4, 4, 0);
    tabBar_ = new QTabBar(central);
    tabBar_->setObjectName(QStringLiteral("tabs"));
    tabBar_->setTabsClosable(true);
    tabBar_->setMovable(true);
    tabBar_->setExpanding(false);
    tabBar_->setDocumentMode(true);
    tabBar_->setElideMode(Qt::ElideMiddle);
    tabBar_->setFocusPolicy(Qt::NoFocus);
    strip->addWidget(tabBar_, 1);
    auto* newTab = new QToolButton(central);
    newTab->setText(QStringLiteral("+"));
    newTab->setToolTip(QStringLiteral("New Tab"));
    newTab->setAutoRaise(true);
    newTab->setObjectName(QStringLiteral("newTab"));
    newTab->setFocusPolicy(Qt::NoFocus);
    connect(newTab, &QToolButton::clicked, store, [store] { store->addTab(); });
    strip->addWidget(newTab);
    layout->addLayout(strip);
    content_ = new QStackedWidget(central);
    layout->addWidget(content_, 1);
    layout->addWidget(new ActivityStrip(store, central));
    setCentralWidget(central);

    connect(tabBar_, &QTabBar::currentChanged, this, [this](int index) {
        if (syncing_ || index < 0 || !store_) return;
        store_->selectTab(tabBar_->tabData(index).toUuid());
    });
    connect(tabBar_, &QTabBar::tabCloseRequested, this, [this](int index) {
        if (store_) store_->closeTab(tabBar_->tabData(index).toUuid());
    });
    connect(tabBar_, &QTabBar::tabMoved, this, [this](int, int to) {
        if (syncing_ || !store_) return;
        syncing_ = true;
        store_->moveTab(tabBar_->tabData(to).toUuid(), to);
        syncing_ = false;
    });
    connect(store, &VelmoStore::tabsChanged, this, &MainWindow::syncTabs);
    connect(store, &VelmoStore::activeTabChanged, this, &MainWindow::syncActiveTab);
    connect(store, &VelmoStore::activePaneChanged, this, &MainWindow::updateTitles);

    buildCommands();
    syncTabs();
}

void MainWindow::buildCommands()
{
    // Every command sits in a menu with its keys, so it can be found without
    // knowing them. A menu's items are enabled by state only while it is open:
    // a disabled action's keys would stop working too.
    QMenuBar* bar = menuBar();
    auto menu = [this, bar](const QString& title, const QString& name) {
        QMenu* menu = bar->addMenu(title);
        menu->setObjectName(name);
        connect(menu, &QMenu::aboutToHide, this, [menu] {
            for (QAction* action : menu->actions()) action->setEnabled(true);
        });
        return menu;
    };
    struct Gate {
        QAction* action;
        std::function<bool()> enabled;
    };
    auto gates = std::make_shared<std::vector<Gate>>();
    auto add = [this, gates](QMenu* menu, const QString& title, std::initializer_list<QKeySequence> keys,
                             std::function<void()> run, std::function<bool()> enabled = {}) {
        auto* action = menu->addAction(title);
        action->setShortcuts(QList<QKeySequence>(keys));
        action->setShortcutContext(Qt::WindowShortcut);
        connect(action, &QAction::triggered, this, std::move(run));
        if (enabled) gates->push_back({action, std::move(enabled)});
        return action;
    };
    auto commands = [this]() -> FilePaneCommands* {
        auto* view = activePaneView();
        return view ? view->commands() : nullptr;
    };
    auto onPane = [commands](void (FilePaneCommands::*command)()) {
        return [commands, command] {
            if (auto* target = commands()) (target->*command)();
        };
    };
    auto pane = [this]() -> FilePaneStore* { return activePaneView() ? activePaneView()->store() : nullptr; };
    auto hasSelection = [commands] { return commands() && commands()->hasSelection(); };
    using Route = EditCommandRouter::Command;
    auto routed = [onPane](Route route, void (FilePaneCommands::*command)()) {
        return [route, fallback = onPane(command)] { EditCommandRouter::perform(route, fallback); };
    };

    QMenu* file = menu(QStringLiteral("&File"), QStringLiteral("fileMenu"));
    add(file, QStringLiteral("New Tab"), {QKeySequence(Qt::CTRL | Qt::Key_T)}, [this] { store_->addTab(); });
    // In a search tab, its query field; elsewhere a new search of the active pane's folder.
    add(file, QStringLiteral("Find..."), {QKeySequence::Find}, [this] {
        if (!activeSearchView()) store_->addSearchTab();
        if (auto* search = activeSearchView()) search->focusQuery();
    });
    add(file, QStringLiteral("New Folder..."), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N)},
        onPane(&FilePaneCommands::newFolder), [pane] { return pane() != nullptr; });
    add(file, QStringLiteral("New File..."), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_N)},
        onPane(&FilePaneCommands::newFile), [pane] { return pane() != nullptr; });
    // No default shortcut: both are found in the File menu and the selection's context menu.
    add(file, QStringLiteral("Compress Images"), {}, [this] {
        store_->openImageCompressionTab(store_->activeImageCompressionSelectionURLs());
    }, [this] { return !store_->activeImageCompressionSelectionURLs().isEmpty(); });
    add(file, QStringLiteral("Compress PDFs"), {}, [this] {
        store_->openPDFCompressionTab(store_->activePDFCompressionSelectionURLs());
    }, [this] { return !store_->activePDFCompressionSelectionURLs().isEmpty(); });
    file->addSeparator();
    add(file, QStringLiteral("Open"),
        {QKeySequence(Qt::CTRL | Qt::Key_Down), QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)},
        onPane(&FilePaneCommands::openSelection), hasSelection);
    add(file, QStringLiteral("Open in Terminal"), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_T)},
        onPane(&FilePaneCommands::openInTerminal), [pane] { return pane() != nullptr; });
    add(file, QStringLiteral("Reveal in File Manager"), {}, onPane(&FilePaneCommands::reveal), hasSelection);
    file->addSeparator();
    add(file, QStringLiteral("Close Tab"), {QKeySequence(Qt::CTRL | Qt::Key_W)},
        [this] { store_->closeTab(store_->activeTabID()); }, [this] { return store_->tabs().size() > 1; });
    add(file, QStringLiteral("Reopen Closed Tab"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_T)},
        [this] { store_->reopenLastClosedTab(); }, [this] { return store_->canReopenClosedTab(); });
    QMenu* recent = file->addMenu(QStringLiteral("Recently Closed Tabs"));
    recent->setObjectName(QStringLiteral("recentlyClosedMenu"));
    connect(recent, &QMenu::aboutToShow, this, [this, recent] {
        recent->clear();
        const auto& closed = store_->recentlyClosedTabs();
        if (closed.empty()) recent->addAction(QStringLiteral("No Closed Tabs"))->setEnabled(false);
        // Newest first, as they would come back.
        for (std::size_t i = closed.size(); i-- > 0;)
            connect(recent->addAction(closed[i].title()), &QAction::triggered, this,
                    [this, i] { store_->reopenClosedTab(i); });
    });
    file->addSeparator();
    add(file, QStringLiteral("Quit"), {QKeySequence(Qt::CTRL | Qt::Key_Q)}, [this] { close(); });

    QMenu* edit = menu(QStringLiteral("&Edit"), QStringLiteral("editMenu"));
    add(edit, QStringLiteral("Undo"), {QKeySequence::Undo}, routed(Route::undo, &FilePaneCommands::undo),
        [pane] { return pane() && pane()->canUndo(); });
    edit->addSeparator();
    add(edit, QStringLiteral("Cut"), {QKeySequence::Cut}, routed(Route::cut, &FilePaneCommands::cut), hasSelection);
    add(edit, QStringLiteral("Copy"), {QKeySequence::Copy},
        [this, inPane = routed(Route::copy, &FilePaneCommands::copy)] {
            auto* search = activeSearchView();
            if (search && search->resultList()->hasFocus()) search->copySelection();
            else inPane();
        },
        [this, hasSelection] { return activeSearchView() ? activeSearchView()->hasSelection() : hasSelection(); });
    add(edit, QStringLiteral("Paste"), {QKeySequence::Paste}, routed(Route::paste, &FilePaneCommands::paste),
        [pane] { return pane() && pane()->canPaste(); });
    add(edit, QStringLiteral("Copy Path"), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_C)},
        [this, inPane = onPane(&FilePaneCommands::copyPath)] {
            if (auto* search = activeSearchView()) search->copySelectedPaths();
            else inPane();
        },
        [this, pane] { return activeSearchView() ? activeSearchView()->hasSelection() : pane() != nullptr; });
    add(edit, QStringLiteral("Select All"), {QKeySequence::SelectAll},
        routed(Route::selectAll, &FilePaneCommands::selectAll), [pane] { return pane() != nullptr; });
    edit->addSeparator();
    add(edit, QStringLiteral("Rename..."), {QKeySequence(Qt::Key_F2)}, onPane(&FilePaneCommands::rename),
        [commands] { return commands() && commands()->canRename(); });
    // Refresh, Move to Trash and Parent Folder mean the same in a size map.
    add(edit, QStringLiteral("Move to Trash"), {QKeySequence(Qt::Key_Delete)},
        [this, inPane = routed(Route::deleteForward, &FilePaneCommands::moveToTrash)] {
            if (auto* map = activeSizeMapView()) map->trashSelection();
            else if (auto* search = activeSearchView(); search && search->resultList()->hasFocus()) search->trashSelection();
            else inPane();
        },
        [this, hasSelection] {
            if (auto* map = activeSizeMapView()) return map->canTrashSelection();
            if (auto* search = activeSearchView()) return search->hasSelection();
            return hasSelection();
        });
    edit->addSeparator();
    add(edit, QStringLiteral("Filter by Name"), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_F)}, [this] {
        if (auto* view = activePaneView()) view->focusFilter();
    });
    add(edit, QStringLiteral("Settings..."), {QKeySequence(Qt::CTRL | Qt::Key_Comma)}, [this] { store_->openSettingsTab(); });

    QMenu* view = menu(QStringLiteral("&View"), QStringLiteral("viewMenu"));
    QAction* hidden = add(view, QStringLiteral("Show Hidden Files"),
                          {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Period), QKeySequence(Qt::CTRL | Qt::Key_H)},
                          [this] { store_->setShowHiddenFiles(!store_->showHiddenFiles()); });
    connect(view, &QMenu::aboutToShow, this, [this, hidden] {
        hidden->setText(store_->showHiddenFiles() ? QStringLiteral("Hide Hidden Files") : QStringLiteral("Show Hidden Files"));
    });
    SidebarView::bindToggleAction(store_, add(view, QString(), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S)},
                                              [this] { store_->toggleSidebarVisibility(); }));
    add(view, QStringLiteral("Refresh"), {QKeySequence(Qt::CTRL | Qt::Key_R), QKeySequence(Qt::Key_F5)}, [this, pane] {
        if (auto* map = activeSizeMapView()) map->rescan();
        else if (auto* target = pane()) target->navigate(target->currentURL(), false, true);
    });
    add(view, QStringLiteral("Calculate Folder Sizes"), {}, onPane(&FilePaneCommands::calculateFolderSizes),
        [pane] { return pane() != nullptr; });
    add(view, QStringLiteral("Open Size Map"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_M)}, [this] {
        if (auto target = store_->activeSizeMapTargetURL()) store_->openSizeMapTab(*target, true);
    }, [this] { return store_->activeSizeMapTargetURL().has_value(); });
    view->addSeparator();
    QAction* preview = add(view, QStringLiteral("Show Preview in Other Pane"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P)},
                           [this] { store_->toggleSidePreviewForActiveSelection(); }, [this] {
                               return store_->sidePreviewCandidate(SidePreviewKind::pdf)
                                      || store_->sidePreviewCandidate(SidePreviewKind::image)
                                      || store_->sidePreviewCandidate(SidePreviewKind::video);
                           });
    QAction* autoOpen = add(view, QStringLiteral("Open Previews Automatically"), {},
                            [this] { store_->setAutoOpenSidePreviews(!store_->autoOpenSidePreview(SidePreviewKind::pdf)); });
    autoOpen->setCheckable(true);
    connect(view, &QMenu::aboutToShow, this, [this, preview, autoOpen] {
        preview->setText(store_->activeSidePreview() ? QStringLiteral("Hide Preview in Other Pane")
                                                     : QStringLiteral("Show Preview in Other Pane"));
        autoOpen->setChecked(store_->autoOpenSidePreview(SidePreviewKind::pdf));
    });

    QMenu* go = menu(QStringLiteral("&Go"), QStringLiteral("goMenu"));
    add(go, QStringLiteral("Back"), {QKeySequence(Qt::ALT | Qt::Key_Left), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Left)},
        [this] { store_->goBackInActivePane(); }, [pane] { return pane() && !pane()->backStack().isEmpty(); });
    add(go, QStringLiteral("Forward"),
        {QKeySequence(Qt::ALT | Qt::Key_Right), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Right)},
        [this] { store_->goForwardInActivePane(); }, [pane] { return pane() && !pane()->forwardStack().isEmpty(); });
    add(go, QStringLiteral("Parent Folder"),
        {QKeySequence(Qt::ALT | Qt::Key_Up), QKeySequence(Qt::CTRL | Qt::Key_Up), QKeySequence(Qt::CTRL | Qt::Key_Left)},
        [this] {
            if (auto* map = activeSizeMapView()) map->goUp();
            else store_->goUpInPane(store_->activePaneID());
        });
    add(go, QStringLiteral("Enter Folder"), {QKeySequence(Qt::CTRL | Qt::Key_Right)},
        [this] { store_->enterFolderInActivePane(); }, [pane] { return pane() && pane()->canEnterFolder(); });
    go->addSeparator();
    add(go, QStringLiteral("Other Pane"), {QKeySequence(Qt::CTRL | Qt::Key_Tab)}, [this] {
        if (!activeBrowserView()) return;
        store_->activate(otherPane(store_->activePaneID()));
        if (auto* active = activePaneView()) active->focusList();
    });
    add(go, QStringLiteral("Next Tab"), {QKeySequence(Qt::CTRL | Qt::Key_PageDown)}, [this] {
        const int index = store_->indexOfTab(store_->activeTabID());
        store_->selectTab(store_->tabs()[(index + 1) % store_->tabs().size()]->id());
    });
    add(go, QStringLiteral("Previous Tab"), {QKeySequence(Qt::CTRL | Qt::Key_PageUp)}, [this] {
        const int count = int(store_->tabs().size());
        const int index = store_->indexOfTab(store_->activeTabID());
        store_->selectTab(store_->tabs()[(index + count - 1) % count]->id());
    });

    for (QMenu* each : {file, edit, view, go})
        connect(each, &QMenu::aboutToShow, this, [gates] {
            for (const Gate& gate : *gates) gate.action->setEnabled(gate.enabled());
        });
}

QWidget* MainWindow::contentFor(const QUuid& id)
{
    if (auto it = contentByTab_.constFind(id); it != contentByTab_.constEnd()) return *it;
    WindowTab* tab = store_->tab(id);
    QWidget* widget = nullptr;
    if (auto* panes = tab->browserPanes()) widget = new BrowserTabView(store_, panes, content_);
    else if (auto* session = tab->sizeMapSession()) widget = new SizeMapView(store_, session, content_);
    else if (auto* session = tab->searchSession()) widget = new SearchView(store_, session, content_);
    else if (auto* session = tab->imageCompressionSession()) widget = new ImageCompressionView(store_, session, content_);
    else if (auto* session = tab->pdfCompressionSession()) widget = new PDFCompressionView(store_, session, content_);
    else {
        auto* settings = new SettingsView(store_, content_);
        settings->addSection(new FolderLayoutSettingsSection(store_, settings));
        widget = settings;
    }
    content_->addWidget(widget);
    contentByTab_.insert(id, widget);
    return widget;
}

void MainWindow::syncTabs()
{
    if (!store_) return;
    syncing_ = true;
    QSet<QUuid> live;
    for (const auto& tab : store_->tabs()) live.insert(tab->id());
    for (auto it = contentByTab_.begin(); it != contentByTab_.end();) {
        if (live.contains(it.key())) {
            ++it;
            continue;
        }
        content_->removeWidget(*it);
        (*it)->deleteLater();
        it = contentByTab_.erase(it);
    }
    while (tabBar_->count() > int(store_->tabs().size())) tabBar_->removeTab(tabBar_->count() - 1);
    for (std::size_t i = 0; i < store_->tabs().size(); ++i) {
        const auto& tab = store_->tabs()[i];
        if (int(i) >= tabBar_->count()) tabBar_->addTab(QString());
        tabBar_->setTabData(int(i), tab->id());
        // A tab's content is made when it is first shown: a restored session of
        // many tabs must not build them all before the window appears. Its title
        // follows it from the start, shown or not.
        connect(tab.get(), &WindowTab::titleChanged, this, &MainWindow::updateTitles, Qt::UniqueConnection);
    }
    syncing_ = false;
    updateTitles();
    syncActiveTab();
}

void MainWindow::syncActiveTab()
{
    if (!store_) return;
    const int index = store_->indexOfTab(store_->activeTab()->id());
    syncing_ = true;
    tabBar_->setCurrentIndex(index);
    syncing_ = false;
    content_->setCurrentWidget(contentFor(store_->activeTab()->id()));
    updateTitles();
    if (auto* view = activePaneView()) view->focusList();
}

void MainWindow::updateTitles()
{
    if (!store_) return;
    for (int i = 0; i < tabBar_->count() && i < int(store_->tabs().size()); ++i) {
        tabBar_->setTabText(i, store_->tabs()[i]->title());
        tabBar_->setTabToolTip(i, store_->tabs()[i]->browserPanes()
                                      ? store_->tabs()[i]->browserPanes()->activePane()->currentURL()
                                      : store_->tabs()[i]->title());
    }
}

BrowserTabView* MainWindow::activeBrowserView() const
{
    return qobject_cast<BrowserTabView*>(content_->currentWidget());
}

SizeMapView* MainWindow::activeSizeMapView() const
{
    return qobject_cast<SizeMapView*>(content_->currentWidget());
}

SearchView* MainWindow::activeSearchView() const
{
    return qobject_cast<SearchView*>(content_->currentWidget());
}

FilePaneView* MainWindow::activePaneView() const
{
    auto* view = activeBrowserView();
    return view ? view->activePaneView() : nullptr;
}

std::vector<FileActivityItem> MainWindow::runningOperations() const
{
    std::vector<FileActivityItem> running;
    if (!store_) return running;
    for (FileActivityItem& item : store_->activityItems())
        if (!item.id.endsWith(QStringLiteral("-loading"))) running.push_back(std::move(item));
    return running;
}

void MainWindow::closeStoppingOperations()
{
    stopOperationsThenClose();
    close();
}

void MainWindow::stopOperationsThenClose()
{
    if (closingAfterOperations_ || !store_) return;
    closingAfterOperations_ = true;
    for (const FileActivityItem& item : runningOperations())
        if (item.isCancellable) store_->cancelActivity(item.id);
    connect(store_, &VelmoStore::activityChanged, this, [this] {
        if (runningOperations().empty()) QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
    });
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    // Quitting in the middle of a copy or move would leave it half done: the
    // operations are stopped (each takes back the item in hand) and the window
    // closes once they have ended.
    const auto running = runningOperations();
    if (!running.empty() && store_) {
        event->ignore();
        if (closingAfterOperations_) return;
        const auto answer = QMessageBox::question(
            this, QStringLiteral("Quit Velmo?"),
            QStringLiteral("%1 file operation(s) are running. Stop them and quit?").arg(running.size()),
            QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
        if (answer == QMessageBox::Yes) stopOperationsThenClose();
        return;
    }
    if (store_) store_->teardown();
    QMainWindow::closeEvent(event);
}
