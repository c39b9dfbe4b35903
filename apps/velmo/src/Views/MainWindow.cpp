#include "Views/MainWindow.h"

#include "State/FilePaneStore.h"
#include "State/VelmoStore.h"
#include "Views/BrowserTabView.h"
#include "Views/FilePaneView.h"
#include "Views/SettingsView.h"

#include <QAction>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QStackedWidget>
#include <QTabBar>
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
    auto add = [this](const QString& title, std::initializer_list<QKeySequence> keys, std::function<void()> run) {
        auto* action = new QAction(title, this);
        action->setShortcuts(QList<QKeySequence>(keys));
        action->setShortcutContext(Qt::WindowShortcut);
        connect(action, &QAction::triggered, this, std::move(run));
        addAction(action);
    };
    auto pane = [this] { return store_->pane(store_->activePaneID()); };
    add(QStringLiteral("New Tab"), {QKeySequence(Qt::CTRL | Qt::Key_T)}, [this] { store_->addTab(); });
    add(QStringLiteral("Close Tab"), {QKeySequence(Qt::CTRL | Qt::Key_W)},
        [this] { store_->closeTab(store_->activeTabID()); });
    add(QStringLiteral("Settings"), {QKeySequence(Qt::CTRL | Qt::Key_Comma)}, [this] { store_->openSettingsTab(); });
    add(QStringLiteral("Back"), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Left), QKeySequence(Qt::ALT | Qt::Key_Left)},
        [this] { store_->goBackInActivePane(); });
    add(QStringLiteral("Forward"),
        {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Right), QKeySequence(Qt::ALT | Qt::Key_Right)},
        [this] { store_->goForwardInActivePane(); });
    add(QStringLiteral("Parent Folder"),
        {QKeySequence(Qt::CTRL | Qt::Key_Left), QKeySequence(Qt::CTRL | Qt::Key_Up), QKeySequence(Qt::ALT | Qt::Key_Up)},
        [this] { store_->goUpInPane(store_->activePaneID()); });
    add(QStringLiteral("Enter Folder"), {QKeySequence(Qt::CTRL | Qt::Key_Right)},
        [this] { store_->enterFolderInActivePane(); });
    add(QStringLiteral("Open Selection"),
        {QKeySequence(Qt::CTRL | Qt::Key_Down), QKeySequence(Qt::CTRL | Qt::Key_Return),
         QKeySequence(Qt::CTRL | Qt::Key_Enter)},
        [pane] {
            const FileEntryList selected = pane()->selectedEntries();
            if (!selected.empty()) pane()->open(*selected.front());
        });
    add(QStringLiteral("Refresh"), {QKeySequence(Qt::CTRL | Qt::Key_R), QKeySequence(Qt::Key_F5)},
        [pane] { pane()->navigate(pane()->currentURL(), false, true); });
    add(QStringLiteral("Toggle Hidden Files"),
        {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Period), QKeySequence(Qt::CTRL | Qt::Key_H)},
        [this] { store_->setShowHiddenFiles(!store_->showHiddenFiles()); });
    add(QStringLiteral("Filter by Name"), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_F)}, [this] {
        if (auto* view = activePaneView()) view->focusFilter();
    });
    add(QStringLiteral("Next Tab"), {QKeySequence(Qt::CTRL | Qt::Key_PageDown)}, [this] {
        const int index = store_->indexOfTab(store_->activeTabID());
        store_->selectTab(store_->tabs()[(index + 1) % store_->tabs().size()]->id());
    });
    add(QStringLiteral("Previous Tab"), {QKeySequence(Qt::CTRL | Qt::Key_PageUp)}, [this] {
        const int count = int(store_->tabs().size());
        const int index = store_->indexOfTab(store_->activeTabID());
        store_->selectTab(store_->tabs()[(index + count - 1) % count]->id());
    });
    add(QStringLiteral("Other Pane"), {QKeySequence(Qt::CTRL | Qt::Key_Tab)}, [this] {
        auto* view = activeBrowserView();
        if (!view) return;
        store_->activate(otherPane(store_->activePaneID()));
        if (auto* active = activePaneView()) active->focusList();
    });
}

QWidget* MainWindow::contentFor(const QUuid& id)
{
    if (auto it = contentByTab_.constFind(id); it != contentByTab_.constEnd()) return *it;
    WindowTab* tab = store_->tab(id);
    QWidget* widget = nullptr;
    if (auto* panes = tab->browserPanes()) widget = new BrowserTabView(store_, panes, content_);
    else widget = new SettingsView(store_, content_);
    content_->addWidget(widget);
    contentByTab_.insert(id, widget);
    connect(tab, &WindowTab::titleChanged, this, &MainWindow::updateTitles);
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
        contentFor(tab->id());
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

FilePaneView* MainWindow::activePaneView() const
{
    auto* view = activeBrowserView();
    return view ? view->activePaneView() : nullptr;
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (store_) store_->teardown();
    QMainWindow::closeEvent(event);
}
