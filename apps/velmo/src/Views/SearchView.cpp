#include "Views/SearchView.h"

#include "PathKit/FilePaths.h"
#include "Services/FilePasteboardProviding.h"
#include "Services/SystemFileOpeningService.h"
#include "State/SearchSession.h"
#include "State/VelmoStore.h"
#include "Views/SearchResultsModel.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QTableView>
#include <QToolButton>

namespace {

constexpr int kChooseFolder = -1;

} // namespace

SearchView::SearchView(VelmoStore* app, SearchSession* session, QWidget* parent)
    : QWidget(parent), app_(app), session_(session)
{
    setObjectName(QStringLiteral("search"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 6);

    auto* top = new QHBoxLayout;
    scope_ = new QComboBox(this);
    scope_->setObjectName(QStringLiteral("searchScope"));
    scope_->setMinimumContentsLength(16);
    scope_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    query_ = new QLineEdit(this);
    query_->setObjectName(QStringLiteral("searchQuery"));
    query_->setPlaceholderText(QStringLiteral("Search"));
    query_->setClearButtonEnabled(true);
    query_->setText(session->query());
    top->addWidget(scope_);
    top->addWidget(query_, 1);
    targets_ = new QButtonGroup(this);
    for (FileSearchTarget target : {FileSearchTarget::name, FileSearchTarget::content, FileSearchTarget::nameAndContent}) {
        auto* button = new QToolButton(this);
        button->setText(FileSearchTargets::label(target));
        button->setObjectName(QStringLiteral("searchTarget-") + FileSearchTargets::rawValue(target));
        button->setCheckable(true);
        button->setChecked(target == session->searchTarget());
        targets_->addButton(button, int(target));
        top->addWidget(button);
    }
    stop_ = new QPushButton(QStringLiteral("Stop"), this);
    stop_->setObjectName(QStringLiteral("stopSearch"));
    top->addWidget(stop_);
    layout->addLayout(top);

    list_ = new QTableView(this);
    list_->setObjectName(QStringLiteral("searchResults"));
    model_ = new SearchResultsModel(session, this);
    list_->setModel(model_);
    list_->setSelectionBehavior(QAbstractItemView::SelectRows);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setDragEnabled(true);
    list_->setDragDropMode(QAbstractItemView::DragOnly);
    list_->setDefaultDropAction(Qt::CopyAction);
    list_->setShowGrid(false);
    list_->setWordWrap(false);
    list_->setAlternatingRowColors(true);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    list_->verticalHeader()->hide();
    list_->verticalHeader()->setDefaultSectionSize(list_->fontMetrics().height() + 6);
    list_->horizontalHeader()->setHighlightSections(false);
    list_->horizontalHeader()->setSectionResizeMode(SearchResultsModel::folderColumn, QHeaderView::Stretch);
    list_->setColumnWidth(SearchResultsModel::nameColumn, 280);
    list_->setColumnWidth(SearchResultsModel::kindColumn, 140);
    list_->setColumnWidth(SearchResultsModel::sizeColumn, 90);
    list_->setColumnWidth(SearchResultsModel::modifiedColumn, 150);
    list_->horizontalHeader()->setSortIndicatorShown(true);
    layout->addWidget(list_, 1);

    auto* bottom = new QHBoxLayout;
    status_ = new QLabel(this);
    status_->setObjectName(QStringLiteral("searchStatus"));
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    count_ = new QLabel(this);
    count_->setObjectName(QStringLiteral("searchCount"));
    bottom->addWidget(status_, 1);
    bottom->addWidget(count_);
    layout->addLayout(bottom);

    connect(query_, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (session_) session_->setQuery(text);
    });
    connect(query_, &QLineEdit::returnPressed, this, [this] {
        if (!session_) return;
        session_->setQuery(query_->text());
        session_->startSearch();
    });
    // A new mode searches again at once when there is something to search for.
    connect(targets_, &QButtonGroup::idClicked, this, [this](int id) {
        if (!session_) return;
        session_->setSearchTarget(FileSearchTarget(id));
        if (!session_->query().trimmed().isEmpty()) session_->startSearch();
    });
    connect(stop_, &QPushButton::clicked, this, [this] {
        if (session_) session_->stopSearch(SearchSession::kStoppedStatus);
    });
    connect(scope_, &QComboBox::activated, this, [this](int index) {
        if (!session_) return;
        if (scope_->itemData(index).toInt() == kChooseFolder) {
            session_->chooseFolder();
            const QString chosen = QFileDialog::getExistingDirectory(this, QStringLiteral("Choose Search Folder"),
                                                                     session_->folderURL());
            if (session_ && !chosen.isEmpty()) session_->setFolder(FilePaths::standardized(chosen));
            rebuildScopes();
            return;
        }
        const QString url = scope_->itemData(index, Qt::UserRole + 1).toString();
        session_->selectScope({url, scope_->itemText(index), url});
    });
    connect(list_->horizontalHeader(), &QHeaderView::sectionClicked, this, [this](int section) {
        if (!session_) return;
        static constexpr FileSearchResultSortColumn byColumn[] = {
            FileSearchResultSortColumn::name, FileSearchResultSortColumn::kind, FileSearchResultSortColumn::path};
        if (section > SearchResultsModel::folderColumn) return showState();
        const auto column = byColumn[section];
        session_->setSort(column, column == session_->sortColumn() ? !session_->sortAscending() : true);
        showState();
    });
    connect(list_, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (const auto* result = model_->resultAt(index.row())) revealResult(result->url);
    });
    connect(list_, &QWidget::customContextMenuRequested, this, &SearchView::showContextMenu);
    connect(list_->selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this](const QModelIndex& current) {
        if (!session_) return;
        const auto* result = model_->resultAt(current.row());
        session_->setSelectedResultID(result ? std::optional(result->id) : std::nullopt);
    });

    // Return opens the selection in its pane; Escape stops a running search.
    auto* reveal = new QShortcut(QKeySequence(Qt::Key_Return), list_);
    reveal->setContext(Qt::WidgetShortcut);
    connect(reveal, &QShortcut::activated, this, [this] {
        if (const auto* result = model_->resultAt(list_->currentIndex().row())) revealResult(result->url);
    });
    auto* stop = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    stop->setContext(Qt::WidgetWithChildrenShortcut);
    connect(stop, &QShortcut::activated, this, [this] {
        if (session_ && session_->isSearching()) session_->stopSearch(SearchSession::kStoppedStatus);
    });

    connect(session, &SearchSession::searchStateChanged, this, &SearchView::showState);
    connect(session, &SearchSession::resultsAppended, this, &SearchView::showState);
    connect(session, &SearchSession::resultsReset, this, &SearchView::showState);
    connect(session, &SearchSession::folderChanged, this, &SearchView::rebuildScopes);
    connect(session, &SearchSession::queryChanged, this, [this] {
        if (session_ && query_->text() != session_->query()) query_->setText(session_->query());
    });
    if (app_) connect(app_, &VelmoStore::favoritesChanged, this, &SearchView::rebuildScopes);
    rebuildScopes();
    showState();
    setFocusProxy(query_);
}

void SearchView::focusQuery()
{
    query_->setFocus(Qt::ShortcutFocusReason);
    query_->selectAll();
}

// Home, Computer and the favorite folders; a folder chosen by hand stands first.
void SearchView::rebuildScopes()
{
    if (!session_ || !app_) return;
    const QSignalBlocker blocker(scope_);
    scope_->clear();
    const auto scopes = FileSearchScope::defaultScopes(app_->favorites(), app_->homeFolderURL());
    const QString folder = session_->folderURL();
    const bool offered = std::ranges::any_of(scopes, [&](const FileSearchScope& scope) { return scope.url == folder; });
    auto add = [this](const QString& name, const QString& url) {
        scope_->addItem(style()->standardIcon(QStyle::SP_DirIcon), name, 0);
        scope_->setItemData(scope_->count() - 1, url, Qt::UserRole + 1);
        scope_->setItemData(scope_->count() - 1, url, Qt::ToolTipRole);
    };
    if (!offered) {
        const QString name = FilePaths::lastComponent(folder);
        add(name.isEmpty() ? folder : FilePaths::displayName(name), folder);
    }
    for (const FileSearchScope& scope : scopes) add(scope.name, scope.url);
    scope_->insertSeparator(scope_->count());
    scope_->addItem(QStringLiteral("Choose Folder..."), kChooseFolder);
    for (int i = 0; i < scope_->count(); ++i)
        if (scope_->itemData(i, Qt::UserRole + 1).toString() == folder) scope_->setCurrentIndex(i);
}

void SearchView::showState()
{
    if (!session_) return;
    stop_->setEnabled(session_->isSearching());
    status_->setText(session_->statusText());
    const qsizetype found = qsizetype(session_->results().size());
    count_->setText(session_->isSearching() || found > 0
                        ? QStringLiteral("%1 found").arg(QLocale().toString(qint64(found)))
                        : QString());
    static constexpr int columnOf[] = {SearchResultsModel::nameColumn, SearchResultsModel::kindColumn,
                                       SearchResultsModel::folderColumn};
    list_->horizontalHeader()->setSortIndicator(columnOf[int(session_->sortColumn())],
                                                session_->sortAscending() ? Qt::AscendingOrder : Qt::DescendingOrder);
}

QStringList SearchView::selectedURLs() const
{
    return model_->urlsOf(list_->selectionModel()->selectedRows());
}

void SearchView::copySelection()
{
    const QStringList urls = selectedURLs();
    if (!urls.isEmpty() && app_) app_->pasteboard()->writeFileURLs(urls);
}

void SearchView::copySelectedPaths()
{
    QStringList paths;
    for (const QString& url : selectedURLs()) paths << FilePaths::displayName(url);
    if (!paths.isEmpty() && app_) app_->pasteboard()->setString(paths.join(u'\n'), QStringLiteral("text/plain"));
}

void SearchView::openSelection()
{
    SystemFileOpeningService opener;
    for (const QString& url : selectedURLs()) opener.openWithDefaultApplication(url);
}

void SearchView::revealResult(const QString& url)
{
    if (app_ && session_) app_->revealInBrowserPane(url, session_->originBrowserTabID(), true);
}

// Through the pane the search came from, so that its undo covers the trash; the
// results leave the list once the trash has ended, and only those that went.
void SearchView::trashSelection()
{
    const QStringList urls = selectedURLs();
    if (urls.isEmpty() || !app_ || !session_) return;
    WindowTab* origin = session_->originBrowserTabID() ? app_->tab(*session_->originBrowserTabID()) : nullptr;
    BrowserPanes* panes = origin ? origin->browserPanes() : app_->anyBrowserPanes();
    if (!panes) return;
    FilePaneStore* pane = panes->activePane();
    const bool wasBusy = pane->isBusy();
    pane->moveItemsToTrash(urls); // a busy pane says why it can't
    if (wasBusy) return;
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(pane, &FilePaneStore::activeOperationChanged, this, [this, pane, urls, connection] {
        if (pane->isBusy()) return;
        disconnect(*connection);
        // What went is what the pane's undo would bring back.
        const auto& undo = pane->undoStack();
        const auto* trashed = undo.empty() ? nullptr : std::get_if<FilePaneUndoAction::Trash>(&undo.back().value);
        QSet<QString> gone;
        for (const TrashedItem& item : trashed ? trashed->items : std::vector<TrashedItem> {})
            if (urls.contains(item.originalURL)) gone.insert(item.originalURL);
        if (session_) session_->removeResults(gone);
    });
}

void SearchView::showContextMenu(const QPoint& at)
{
    const QModelIndex index = list_->indexAt(at);
    if (index.isValid() && !list_->selectionModel()->isRowSelected(index.row(), {}))
        list_->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (!hasSelection()) return;
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("searchContextMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(QStringLiteral("Open"), this, &SearchView::openSelection);
    menu->addAction(QStringLiteral("Reveal in Pane"), this, [this] {
        if (const auto* result = model_->resultAt(list_->currentIndex().row())) revealResult(result->url);
    });
    menu->addSeparator();
    menu->addAction(QStringLiteral("Copy"), this, &SearchView::copySelection);
    menu->addAction(QStringLiteral("Copy Path"), this, &SearchView::copySelectedPaths);
    menu->addSeparator();
    menu->addAction(QStringLiteral("Move to Trash"), this, &SearchView::trashSelection);
    menu->popup(list_->viewport()->mapToGlobal(at));
}
