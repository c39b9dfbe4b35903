#include "Views/FilePaneView.h"

#include "Views/SidePreviewContainer.h"

#include "State/FilePaneStore.h"
#include "State/VelmoStore.h"
#include "Views/BreadcrumbBar.h"
#include "Views/FilePaneCommands.h"
#include "Views/FilePaneListStyle.h"
#include "Views/FilePaneTableModel.h"
#include "Views/FilePaneTableView.h"
#include "Views/PaneStatusBar.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QStackedWidget>
#include <QStyle>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

const FilePaneTableModel::ColumnInfo& columnInfo(FileEntrySortColumn column)
{
    for (const auto& info : FilePaneTableModel::allColumns())
        if (info.column == column) return info;
    return FilePaneTableModel::allColumns().front();
}

} // namespace

FilePaneView::FilePaneView(VelmoStore* app, FilePaneStore* store, QWidget* parent)
    : QWidget(parent), app_(app), store_(store), model_(new FilePaneTableModel(store, this)),
      shownFolder_(store->currentURL())
{
    buildLayout();
    connectStore();
    updateLoadState();
    updateSidePreview();
    updateHistoryButtons();
    updateSortIndicator();
    updateToast();
    pushSelectionToView();
}

void FilePaneView::buildLayout()
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(4);

    auto* bar = new QHBoxLayout;
    bar->setSpacing(2);
    auto makeButton = [this](QStyle::StandardPixmap icon, const QString& tip, const QString& name) {
        auto* button = new QToolButton(this);
        button->setIcon(style()->standardIcon(icon));
        button->setToolTip(tip);
        button->setAutoRaise(true);
        button->setObjectName(name);
        button->setFocusPolicy(Qt::NoFocus);
        return button;
    };
    backButton_ = makeButton(QStyle::SP_ArrowBack, QStringLiteral("Back"), QStringLiteral("back"));
    forwardButton_ = makeButton(QStyle::SP_ArrowForward, QStringLiteral("Forward"), QStringLiteral("forward"));
    upButton_ = makeButton(QStyle::SP_ArrowUp, QStringLiteral("Parent Folder"), QStringLiteral("up"));
    connect(backButton_, &QToolButton::clicked, this, [this] { store_->goBack(); });
    connect(forwardButton_, &QToolButton::clicked, this, [this] { store_->goForward(); });
    connect(upButton_, &QToolButton::clicked, this, [this] { store_->goUp(); });
    bar->addWidget(backButton_);
    bar->addWidget(forwardButton_);
    bar->addWidget(upButton_);
    breadcrumbs_ = new BreadcrumbBar(store_, this);
    bar->addWidget(breadcrumbs_, 1);
    loadingLabel_ = new QLabel(QStringLiteral("Loading…"), this);
    loadingLabel_->setEnabled(false);
    bar->addWidget(loadingLabel_);
    filterField_ = new QLineEdit(this);
    filterField_->setPlaceholderText(QStringLiteral("Filter"));
    filterField_->setClearButtonEnabled(true);
    filterField_->setMaximumWidth(180);
    filterField_->setObjectName(QStringLiteral("filter"));
    filterField_->installEventFilter(this);
    connect(filterField_, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (store_) store_->setFilterText(text);
    });
    bar->addWidget(filterField_);
    layout->addLayout(bar);

    stack_ = new QStackedWidget(this);
    table_ = new FilePaneTableView(stack_);
    table_->setPaneModel(model_);
    table_->setClock(store_->services().clock);
    table_->setFolderURL(store_->currentURL());
    commands_ = new FilePaneCommands(app_, store_, table_, this);
    connect(breadcrumbs_, &BreadcrumbBar::dropRequested, commands_, &FilePaneCommands::drop);
    table_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(table_, &QWidget::customContextMenuRequested, this, &FilePaneView::showContextMenu);
    table_->setObjectName(QStringLiteral("list"));
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setShowGrid(false);
    table_->setWordWrap(false);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setAlternatingRowColors(true);
    table_->verticalHeader()->hide();
    // Fixed heights: a table of 100,000 rows must never measure them.
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 6);
    // Offsets in pixels, as the scroll memory keeps them.
    table_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    table_->horizontalHeader()->setSectionsClickable(true);
    table_->horizontalHeader()->setSortIndicatorShown(true);
    table_->horizontalHeader()->setHighlightSections(false);
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    table_->horizontalHeader()->setStretchLastSection(false);
    connect(table_->horizontalHeader(), &QHeaderView::sectionResized, this, &FilePaneView::keepUserColumnWidth);
    // Columns move by dragging their headers; the order is the store's, so the
    // header's own rearrangement is read back and undone once the drag is over.
    table_->horizontalHeader()->setSectionsMovable(true);
    connect(table_->horizontalHeader(), &QHeaderView::sectionMoved, this, [this] {
        if (restoringColumnOrder_ || columnOrderPending_) return;
        columnOrderPending_ = true;
        QMetaObject::invokeMethod(this, &FilePaneView::keepUserColumnOrder, Qt::QueuedConnection);
    });
    table_->horizontalHeader()->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(table_->horizontalHeader(), &QHeaderView::customContextMenuRequested, this,
            [this](const QPoint& at) { showColumnsMenu(table_->horizontalHeader()->mapToGlobal(at)); });
    connect(model_, &QAbstractItemModel::modelReset, this, &FilePaneView::applyColumnWidths);
    // A new set of columns resets the model, which clears the list's selection.
    connect(model_, &QAbstractItemModel::modelReset, this, &FilePaneView::pushSelectionToView);
    applyColumnWidths();
    table_->setTabKeyNavigation(false);
    table_->installEventFilter(this);
    table_->viewport()->installEventFilter(this);
    stack_->addWidget(table_);
    failureLabel_ = new QLabel(stack_);
    failureLabel_->setObjectName(QStringLiteral("failure"));
    failureLabel_->setAlignment(Qt::AlignCenter);
    failureLabel_->setWordWrap(true);
    failureLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    stack_->addWidget(failureLabel_);
    layout->addWidget(stack_, 1);
    statusBar_ = new PaneStatusBar(store_, model_, this);
    layout->addWidget(statusBar_);

    toastLabel_ = new QLabel(this);
    toastLabel_->setObjectName(QStringLiteral("toast"));
    toastLabel_->setWordWrap(true);
    toastLabel_->setAlignment(Qt::AlignCenter);
    toastLabel_->hide();

    FilePaneListStyle::follow(app_, model_, table_);
    connect(table_->horizontalHeader(), &QHeaderView::sectionClicked, this, [this](int section) {
        if (!store_) return;
        if (!app_) return store_->sort(model_->sortColumnOfSection(section));
        app_->activate(store_->id());
        app_->sortActivePane(model_->sortColumnOfSection(section));
    });
    connect(table_, &QTableView::doubleClicked, this, [this](const QModelIndex& index) {
        if (const FilePaneRow* row = model_->row(index.row())) store_->open(*row->entry);
    });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &FilePaneView::pullSelectionFromView);
    connect(table_->verticalScrollBar(), &QScrollBar::valueChanged, this, &FilePaneView::scheduleVisibleRowProbes);
    connect(model_, &QAbstractItemModel::modelReset, this, &FilePaneView::scheduleVisibleRowProbes);
    connect(model_, &QAbstractItemModel::layoutChanged, this, &FilePaneView::scheduleVisibleRowProbes);
    connect(model_, &QAbstractItemModel::rowsInserted, this, &FilePaneView::scheduleVisibleRowProbes);
    connect(model_, &QAbstractItemModel::rowsRemoved, this, &FilePaneView::scheduleVisibleRowProbes);
    connect(store_, &FilePaneStore::inlineTreeChanged, this, &FilePaneView::scheduleVisibleRowProbes);
}

void FilePaneView::connectStore()
{
    connect(store_, &FilePaneStore::loadStateChanged, this, &FilePaneView::updateLoadState);
    if (app_) connect(app_, &VelmoStore::sidePreviewChanged, this, &FilePaneView::updateSidePreview);
    connect(store_, &FilePaneStore::loadingChanged, this, &FilePaneView::updateLoadState);
    connect(store_, &FilePaneStore::historyChanged, this, &FilePaneView::updateHistoryButtons);
    connect(store_, &FilePaneStore::currentURLChanged, this, &FilePaneView::updateHistoryButtons);
    connect(store_, &FilePaneStore::sortChanged, this, &FilePaneView::updateSortIndicator);
    connect(store_, &FilePaneStore::toastChanged, this, &FilePaneView::updateToast);
    connect(store_, &FilePaneStore::selectionChanged, this, &FilePaneView::pushSelectionToView);
    connect(store_, &FilePaneStore::rowsChanged, this, &FilePaneView::pushSelectionToView);
    connect(store_, &FilePaneStore::filterTextChanged, this, [this] {
        if (filterField_->text() != store_->filterText()) filterField_->setText(store_->filterText());
    });
    connect(store_, &FilePaneStore::columnsChanged, this, &FilePaneView::applyColumnWidths);
    connect(store_, &FilePaneStore::currentURLChanged, this, &FilePaneView::leaveShownFolder);
    connect(store_, &FilePaneStore::loadStateChanged, this, &FilePaneView::settleScrollAfterNavigation);
}

void FilePaneView::leaveShownFolder()
{
    // The store emits this early in its commit, while the list still holds the
    // old folder's rows and offset.
    store_->scrollMemory().remember(table_->verticalScrollBar()->value(), shownFolder_, store_->currentURL());
    shownFolder_ = store_->currentURL();
    scrollToSettle_ = true;
    table_->cancelRename();
    table_->setFolderURL(store_->currentURL());
}

void FilePaneView::settleScrollAfterNavigation()
{
    // The commit ends with its load state; by then the new rows and the
    // selection the store chose are in the list.
    if (!scrollToSettle_ || store_->loadState().isLoading()) return;
    scrollToSettle_ = false;
    // The scroll range still reflects the old rows until the view lays out.
    table_->doItemsLayout();
    table_->verticalScrollBar()->setValue(int(store_->consumeScrollRestorationOffset(shownFolder_)));
    revealPendingRow();
}

void FilePaneView::revealPendingRow()
{
    std::optional<QString> id = store_->pendingScrollToEntryID();
    if (!id && store_->selectedEntryIDs().size() == 1) id = *store_->selectedEntryIDs().begin();
    const int row = id ? model_->rowOfEntry(*id) : -1;
    if (row < 0) return;
    const QModelIndex index = model_->index(row, 0);
    const QRect shown = table_->viewport()->rect();
    const QRect at = table_->visualRect(index);
    if (at.top() < shown.top() || at.bottom() > shown.bottom())
        table_->scrollTo(index, QAbstractItemView::PositionAtCenter);
}

void FilePaneView::applyColumnWidths()
{
    QScopedValueRollback applying(applyingColumnWidths_, true);
    const auto& columns = model_->columns();
    for (std::size_t section = 1; section < columns.size(); ++section) {
        const auto& info = columnInfo(columns[section]);
        const double stored = store_->columnWidths().value(FileEntryColumns::id(info.column), 0);
        const double width = std::clamp(stored > 0 ? stored : info.width, double(info.minimumWidth),
                                        FolderViewState::kMaximumColumnWidth);
        table_->setColumnWidth(int(section), int(width));
    }
    fitNameColumn();
    updateSortIndicator();
}

void FilePaneView::fitNameColumn()
{
    QHeaderView* header = table_->horizontalHeader();
    if (header->count() == 0) return;
    QScopedValueRollback applying(applyingColumnWidths_, true);
    int others = 0;
    for (int section = 1; section < header->count(); ++section) others += header->sectionSize(section);
    // Below its minimum the pane scrolls sideways instead.
    const int minimum = columnInfo(FileEntrySortColumn::name).minimumWidth;
    header->resizeSection(0, std::max(minimum, table_->viewport()->width() - others));
}

void FilePaneView::keepUserColumnWidth(int section, int oldSize, int newSize)
{
    if (applyingColumnWidths_ || !store_) return;
    QHeaderView* header = table_->horizontalHeader();
    int changed = section;
    int width = newSize;
    // Name has no width of its own: moving its edge trades width with the column beside it.
    if (section == 0) {
        changed = header->logicalIndex(1);
        if (changed < 0) {
            fitNameColumn();
            return;
        }
        // Name gives no more than it has above its minimum, and takes no more than the neighbour has above its.
        const int nameRoom = std::max(0, oldSize - columnInfo(FileEntrySortColumn::name).minimumWidth);
        const int minimum = columnInfo(model_->sortColumnOfSection(changed)).minimumWidth;
        width = std::max(minimum, header->sectionSize(changed) + std::min(oldSize - newSize, nameRoom));
    }
    QMap<QString, double> widths = store_->columnWidths();
    widths.insert(FileEntryColumns::id(model_->sortColumnOfSection(changed)), width);
    store_->setColumnWidths(widths);
    // Unchanged widths bring no signal, and Name must still snap back to fit.
    applyColumnWidths();
}

void FilePaneView::keepUserColumnOrder()
{
    columnOrderPending_ = false;
    if (!store_) return;
    QHeaderView* header = table_->horizontalHeader();
    // Name always leads: it carries the icons, the disclosure and the rename.
    const QString name = FileEntryColumns::id(FileEntrySortColumn::name);
    QStringList order {name};
    for (int visual = 0; visual < header->count(); ++visual) {
        const int logical = header->logicalIndex(visual);
        if (logical < 0 || logical >= int(model_->columns().size())) continue;
        const QString id = FileEntryColumns::id(model_->sortColumnOfSection(logical));
        if (id != name) order.append(id);
    }
    // Hidden columns keep their places after the shown ones, for when they come back.
    for (const QString& id : store_->columnOrder())
        if (!order.contains(id)) order.append(id);
    {
        QScopedValueRollback restoring(restoringColumnOrder_, true);
        for (int logical = 0; logical < header->count(); ++logical)
            if (header->visualIndex(logical) != logical) header->moveSection(header->visualIndex(logical), logical);
    }
    const int scroll = table_->verticalScrollBar()->value();
    store_->setColumnOrder(order);
    table_->verticalScrollBar()->setValue(scroll);
}

void FilePaneView::showColumnsMenu(const QPoint& at)
{
    QMenu menu(QStringLiteral("Columns"), this);
    QAction* name = menu.addAction(QStringLiteral("Name"));
    name->setCheckable(true);
    name->setChecked(true);
    name->setEnabled(false);
    for (FileEntryColumn column : FileEntryColumns::allColumns) {
        const auto sortColumn = FileEntryColumns::sortColumn(column);
        for (const auto& info : FilePaneTableModel::allColumns()) {
            if (info.column != sortColumn) continue;
            QAction* item = menu.addAction(QString::fromLatin1(info.menuTitle));
            item->setCheckable(true);
            item->setChecked(store_->visibleColumns().contains(column));
            connect(item, &QAction::toggled, this, [this, column](bool on) {
                QSet<FileEntryColumn> columns = store_->visibleColumns();
                if (on) columns.insert(column);
                else columns.remove(column);
                store_->setVisibleColumns(columns);
            });
        }
    }
    menu.addSeparator();
    connect(menu.addAction(QStringLiteral("Calculate Folder Sizes")), &QAction::triggered, this, [this] {
        if (store_) store_->calculateFolderSizesForVisibleFolders();
    });
    menu.exec(at);
}

void FilePaneView::showContextMenu(const QPoint& at)
{
    if (!store_) return;
    if (app_) app_->activate(store_->id());
    const int r = table_->rowAt(at.y());
    const FilePaneRow* row = r >= 0 ? model_->row(r) : nullptr;
    // A right click on a row that isn't selected selects it alone first.
    if (row && !store_->selectedEntryIDs().contains(row->entry->id)) store_->setSelectedEntryIDs({row->entry->id});
    QMenu* menu = commands_->contextMenu(row ? row->entry.get() : nullptr, this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(table_->viewport()->mapToGlobal(at));
}

void FilePaneView::focusList()
{
    table_->setFocus();
}

void FilePaneView::focusFilter()
{
    filterField_->setFocus();
    filterField_->selectAll();
}

void FilePaneView::updateLoadState()
{
    const auto& state = store_->loadState();
    loadingLabel_->setVisible(state.isLoading());
    if (preview_ && stack_->currentWidget() == preview_) return;
    if (state.isFailed()) {
        failureLabel_->setText(state.failureMessage);
        stack_->setCurrentWidget(failureLabel_);
    } else {
        stack_->setCurrentWidget(table_);
    }
}

void FilePaneView::updateSidePreview()
{
    std::optional<SidePreview> preview = app_ ? app_->activeSidePreview() : std::nullopt;
    if (preview) {
        const WindowTab* tab = app_->tab(preview->selection.tabID);
        const bool here = tab && tab->browserPanes() && tab->browserPanes()->pane(preview->targetPaneID) == store_;
        if (!here) preview.reset();
    }
    if (preview) {
        if (!preview_) {
            preview_ = new SidePreviewContainer(app_, stack_);
            stack_->addWidget(preview_);
            connect(preview_, &SidePreviewContainer::markupEnded, this, &FilePaneView::updateSidePreview);
        }
        stack_->setCurrentWidget(preview_);
        preview_->showPreview(*preview);
        return;
    }
    if (preview_ && preview_->currentPreview()) {
        preview_->clear();
        if (preview_->isEditingMarkup()) return; // the pane comes back when the editing ends
        stack_->setCurrentWidget(table_);
        updateLoadState();
    }
}

void FilePaneView::updateHistoryButtons()
{
    backButton_->setEnabled(!store_->backStack().isEmpty());
    forwardButton_->setEnabled(!store_->forwardStack().isEmpty());
    upButton_->setEnabled(store_->currentURL() != u"/");
}

void FilePaneView::updateSortIndicator()
{
    const int section = model_->sectionOfSortColumn(store_->sortColumn());
    table_->horizontalHeader()->setSortIndicator(section,
                                                 store_->sortAscending() ? Qt::AscendingOrder : Qt::DescendingOrder);
}

void FilePaneView::updateToast()
{
    const auto& toast = store_->actionToast();
    if (!toast) {
        toastLabel_->hide();
        return;
    }
    const bool error = toast->kind == ToastMessage::Kind::error;
    toastLabel_->setText(toast->text);
    toastLabel_->setProperty("kind", error ? "error" : "info");
    toastLabel_->setStyleSheet(error ? QStringLiteral("background:#b3261e;color:white;border-radius:6px;padding:6px 12px;")
                                     : QStringLiteral("background:#323232;color:white;border-radius:6px;padding:6px 12px;"));
    placeToast();
    toastLabel_->show();
    toastLabel_->raise();
}

void FilePaneView::placeToast()
{
    const int width = std::min(this->width() - 24, 420);
    toastLabel_->setFixedWidth(std::max(width, 120));
    toastLabel_->adjustSize();
    toastLabel_->move((this->width() - toastLabel_->width()) / 2, this->height() - toastLabel_->height() - 16);
}

void FilePaneView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (toastLabel_->isVisible()) placeToast();
}

void FilePaneView::pushSelectionToView()
{
    if (syncingSelection_ || !store_) return;
    const QSet<QString>& ids = store_->selectedEntryIDs();
    std::vector<int> rows;
    rows.reserve(ids.size());
    for (const QString& id : ids)
        if (int r = model_->rowOfEntry(id); r >= 0) rows.push_back(r);
    std::sort(rows.begin(), rows.end());
    QItemSelection selection;
    for (std::size_t i = 0; i < rows.size();) {
        std::size_t j = i;
        while (j + 1 < rows.size() && rows[j + 1] == rows[j] + 1) ++j;
        selection.select(model_->index(rows[i], 0), model_->index(rows[j], model_->columnCount() - 1));
        i = j + 1;
    }
    if (selection == table_->selectionModel()->selection()) return;
    syncingSelection_ = true;
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (!rows.empty() && rows.size() == 1) {
        const QModelIndex current = model_->index(rows.front(), 0);
        table_->selectionModel()->setCurrentIndex(current, QItemSelectionModel::NoUpdate);
        table_->scrollTo(current, QAbstractItemView::PositionAtCenter);
    }
    syncingSelection_ = false;
}

void FilePaneView::pullSelectionFromView()
{
    if (syncingSelection_ || !store_) return;
    QSet<QString> ids;
    for (const QItemSelectionRange& range : table_->selectionModel()->selection())
        for (int r = range.top(); r <= range.bottom(); ++r)
            if (const FilePaneRow* row = model_->row(r)) ids.insert(row->entry->id);
    syncingSelection_ = true;
    store_->setSelectedEntryIDs(ids);
    syncingSelection_ = false;
}

void FilePaneView::openCurrentRow()
{
    const FileEntryList selected = store_->selectedEntries();
    if (!selected.empty()) {
        store_->open(*selected.front());
        return;
    }
    if (const FilePaneRow* row = model_->row(table_->currentIndex().row())) store_->open(*row->entry);
}

bool FilePaneView::toggleDisclosureAt(const QPoint& at)
{
    const QModelIndex index = table_->indexAt(at);
    const FilePaneRow* row = index.isValid() ? model_->row(index.row()) : nullptr;
    if (!row || model_->sortColumnOfSection(index.column()) != FileEntrySortColumn::name) return false;
    if (!FilePaneListStyle::disclosureRect(table_->visualRect(index), row->depth).contains(at)) return false;
    const auto disclosure = model_->disclosure(*row->entry);
    if (disclosure == FilePaneTableModel::Disclosure::none) return false;
    if (app_) app_->activate(store_->id());
    const FileEntryRef entry = row->entry;
    if (disclosure == FilePaneTableModel::Disclosure::open) store_->collapseInlineFolder(entry->id);
    else store_->expandInlineFolder(*entry);
    return true;
}

void FilePaneView::scheduleVisibleRowProbes()
{
    if (probesScheduled_) return;
    probesScheduled_ = true;
    QMetaObject::invokeMethod(this, &FilePaneView::probeVisibleRows, Qt::QueuedConnection);
}

void FilePaneView::probeVisibleRows()
{
    probesScheduled_ = false;
    if (!store_ || model_->rowCount() == 0 || !table_->isVisible()) return;
    const int first = std::max(table_->rowAt(0), 0);
    int last = table_->rowAt(table_->viewport()->height() - 1);
    if (last < 0) last = model_->rowCount() - 1;
    for (int r = first; r <= last; ++r)
        if (const FilePaneRow* row = model_->row(r)) store_->probeInlineExpandability(*row->entry);
}

bool FilePaneView::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FocusIn && app_ && store_) app_->activate(store_->id());
    if (watched == table_->viewport() && event->type() == QEvent::Resize) {
        fitNameColumn();
        scheduleVisibleRowProbes();
    }
    if (watched == table_->viewport()
        && (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick)) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        // The triangle folds and unfolds; it neither selects nor opens.
        if (mouse->button() == Qt::LeftButton && toggleDisclosureAt(mouse->position().toPoint())) return true;
    }
    if (event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    if (watched == filterField_) {
        // Down or Return from the filter goes to the list; Escape clears the filter.
        if (key->key() == Qt::Key_Down || key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            table_->setFocus();
            if (!table_->currentIndex().isValid() && model_->rowCount() > 0)
                table_->setCurrentIndex(model_->index(0, 0));
            return true;
        }
        if (key->key() == Qt::Key_Escape) {
            filterField_->clear();
            table_->setFocus();
            return true;
        }
        return false;
    }
    if (watched == table_ && key->modifiers() == Qt::NoModifier) {
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            openCurrentRow();
            return true;
        }
        if (key->key() == Qt::Key_Backspace) {
            store_->goUp();
            return true;
        }
        if (key->key() == Qt::Key_Right) {
            store_->expandInlineFolderForSelection();
            return true;
        }
        if (key->key() == Qt::Key_Left) {
            store_->collapseSelectedInlineRow();
            return true;
        }
        if (key->key() == Qt::Key_Tab) {
            emit otherPaneRequested();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}
