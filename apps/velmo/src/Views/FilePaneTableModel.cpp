#include "Views/FilePaneTableModel.h"

#include "Models/FilePaneCellText.h"
#include "Models/FilePaneTableRowMutation.h"
#include "PathKit/FilePaths.h"
#include "State/FilePaneStore.h"

#include <QApplication>
#include <QStyle>

FilePaneTableModel::FilePaneTableModel(FilePaneStore* store, QObject* parent)
    : QAbstractTableModel(parent), store_(store)
{
    rows_ = store->treeRows();
    font_ = listFont(options_);
    rebuildIndex();
    updateColumns();
    connect(store, &FilePaneStore::rowsChanged, this, &FilePaneTableModel::applyRows);
    // Triangles change without the rows changing (a probe answered, a load began):
    // the name cells repaint, nothing moves.
    connect(store, &FilePaneStore::inlineTreeChanged, this, [this] {
        if (!rows_.empty()) emit dataChanged(index(0, 0), index(rowCount() - 1, 0), {DisclosureRole});
    });
    connect(store, &FilePaneStore::folderSizeStatesChanged, this,
            [this](const QSet<QString>& ids) { reloadFolderCells(ids, FileEntrySortColumn::size); });
    connect(store, &FilePaneStore::folderContentCountStatesChanged, this,
            [this](const QSet<QString>& ids) { reloadFolderCells(ids, FileEntrySortColumn::contents); });
    // The store says columnsChanged for new widths too; those are the view's
    // business, and a reset would drop the view's selection and scroll position.
    connect(store, &FilePaneStore::columnsChanged, this, [this] {
        if (FileEntryColumns::shown(store_->visibleColumns(), store_->columnOrder()) == columns_) return;
        beginResetModel();
        updateColumns();
        endResetModel();
    });
}

const std::vector<FilePaneTableModel::ColumnInfo>& FilePaneTableModel::allColumns()
{
    using C = FileEntrySortColumn;
    static const std::vector<ColumnInfo> columns {
        {C::name, "Name", "Name", 180, 340},
        {C::contents, "Files, Folders", "Contents", 86, 104},
        {C::size, "Size", "Size", 72, 90},
        {C::modified, "Modified", "Date Modified", 92, 132},
        {C::created, "Created", "Date Created", 92, 132},
        {C::lastOpened, "Last Opened", "Date Last Opened", 92, 132},
        {C::added, "Added", "Date Added", 92, 132},
        {C::kind, "Kind", "Kind", 120, 150},
        {C::version, "Version", "Version", 80, 90},
    };
    return columns;
}

void FilePaneTableModel::updateColumns()
{
    columns_ = FileEntryColumns::shown(store_->visibleColumns(), store_->columnOrder());
}

int FilePaneTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(rows_.size());
}

int FilePaneTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(columns_.size());
}

const FilePaneRow* FilePaneTableModel::row(int index) const
{
    if (index < 0 || index >= int(rows_.size())) return nullptr;
    return &rows_[index];
}

int FilePaneTableModel::rowOfEntry(const QString& id) const
{
    if (indexStale_) rebuildIndex();
    return rowByID_.value(id, -1);
}

FileEntrySortColumn FilePaneTableModel::sortColumnOfSection(int section) const
{
    return columns_.at(section);
}

int FilePaneTableModel::sectionOfSortColumn(FileEntrySortColumn column) const
{
    for (std::size_t i = 0; i < columns_.size(); ++i)
        if (columns_[i] == column) return int(i);
    return -1;
}

QVariant FilePaneTableModel::data(const QModelIndex& index, int role) const
{
    const FilePaneRow* r = row(index.row());
    if (!r) return {};
    const FileEntry& entry = *r->entry;
    switch (role) {
    case Qt::DisplayRole: {
        const FileEntrySortColumn column = columns_[index.column()];
        if (store_ && entry.isDirectory && (column == FileEntrySortColumn::size || column == FileEntrySortColumn::contents))
            return FilePaneCellText::text(entry, column, options_, {}, store_->folderStates(entry.id));
        return FilePaneCellText::text(entry, column, options_);
    }
    case Qt::FontRole:
        return font(entry, columns_[index.column()]);
    case Qt::DecorationRole:
        return index.column() == 0 ? QVariant(icon(entry)) : QVariant();
    case Qt::ToolTipRole:
        return index.column() == 0 ? QVariant(FilePaths::displayName(entry.id)) : QVariant();
    case Qt::TextAlignmentRole:
        if (columns_[index.column()] == FileEntrySortColumn::size
            || columns_[index.column()] == FileEntrySortColumn::contents)
            return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
        return {};
    case Qt::ForegroundRole:
        if (entry.isHidden && options_.dimInvisibles)
            return QApplication::palette().color(QPalette::Disabled, QPalette::Text);
        return {};
    case EntryIDRole:
        return entry.id;
    case DepthRole:
        return r->depth;
    case DisclosureRole:
        return int(disclosure(entry));
    default:
        return {};
    }
}

FilePaneTableModel::Disclosure FilePaneTableModel::disclosure(const FileEntry& entry) const
{
    if (!store_ || !FilePaneStore::isInlineExpandable(entry)) return Disclosure::none;
    const FilePaneInlineTree& tree = store_->inlineTree();
    if (auto children = tree.childrenByFolderPath.constFind(entry.id); children != tree.childrenByFolderPath.cend()) {
        if (children->empty()) return Disclosure::none;
    } else if (tree.knowledge.childlessFolderPaths.contains(entry.id)) {
        return Disclosure::none;
    }
    return tree.expandedFolderPaths.contains(entry.id) ? Disclosure::open : Disclosure::closed;
}

QFont FilePaneTableModel::font(const FileEntry& entry, FileEntrySortColumn column) const
{
    const bool bold = options_.boldFolders && entry.isDirectory;
    const bool italic = options_.italicizeAliases && entry.isSymbolicLink;
    if (column != FileEntrySortColumn::name || (!bold && !italic)) return font_;
    QFont font = font_;
    font.setBold(bold);
    font.setItalic(italic);
    return font;
}

QFont FilePaneTableModel::listFont(const VelmoViewOptions& options)
{
    QFont font = QApplication::font();
    // Sizes are in logical pixels; points here are a 96-dpi pixel's three quarters.
    font.setPointSizeF(options.fontSize * 0.75);
    return font;
}

void FilePaneTableModel::setViewOptions(const VelmoViewOptions& options)
{
    if (options == options_) return;
    const bool reload = options.requiresRowReload(options_);
    options_ = options;
    font_ = listFont(options_);
    counts_ = {};
    if (reload && !rows_.empty()) {
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
        counts_.changed = rowCount();
    }
    emit viewOptionsChanged();
}

QIcon FilePaneTableModel::icon(const FileEntry& entry) const
{
    static const QIcon folder = QApplication::style()->standardIcon(QStyle::SP_DirIcon);
    static const QIcon file = QApplication::style()->standardIcon(QStyle::SP_FileIcon);
    static const QIcon folderLink = QApplication::style()->standardIcon(QStyle::SP_DirLinkIcon);
    static const QIcon fileLink = QApplication::style()->standardIcon(QStyle::SP_FileLinkIcon);
    if (entry.isSymbolicLink) return entry.resolvedIsDirectory ? folderLink : fileLink;
    return entry.isDirectory ? folder : file;
}

QVariant FilePaneTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= int(columns_.size()))
        return {};
    for (const ColumnInfo& info : allColumns())
        if (info.column == columns_[section]) return QString::fromLatin1(info.title);
    return {};
}

void FilePaneTableModel::reloadFolderCells(const QSet<QString>& ids, FileEntrySortColumn column)
{
    const int section = sectionOfSortColumn(column);
    if (section < 0) return;
    for (const QString& id : ids) {
        const int r = rowOfEntry(id);
        if (r >= 0 && rows_[r].entry->isDirectory) emit dataChanged(index(r, section), index(r, section), {Qt::DisplayRole});
    }
}

void FilePaneTableModel::rebuildIndex() const
{
    indexStale_ = false;
    rowByID_.clear();
    rowByID_.reserve(qsizetype(rows_.size()));
    for (std::size_t i = 0; i < rows_.size(); ++i) rowByID_.insert(rows_[i].entry->id, int(i));
}

void FilePaneTableModel::applyRows()
{
    if (!store_) return;
    const std::vector<FilePaneRow>& next = store_->treeRows();
    counts_ = {};
    if (rows_.empty() || next.empty()) {
        if (rows_.empty() && next.empty()) return;
        beginResetModel();
        rows_ = next;
        rebuildIndex();
        endResetModel();
        counts_.resets = 1;
        return;
    }

    // A folder opening or closing, or items going: one run in or out, nothing else touched.
    if (auto change = FilePaneTableRowMutation::singleContiguousChange(rows_, next)) {
        const int last = change->first + change->count - 1;
        if (change->kind == FilePaneTableRowMutation::Kind::insertion) {
            beginInsertRows({}, change->first, last);
            rows_ = next;
            indexStale_ = true;
            endInsertRows();
            counts_.inserted = change->count;
        } else {
            beginRemoveRows({}, change->first, last);
            rows_ = next;
            indexStale_ = true;
            endRemoveRows();
            counts_.removed = change->count;
        }
        return;
    }

    QSet<QString> nextIDs;
    nextIDs.reserve(qsizetype(next.size()));
    for (const auto& r : next) nextIDs.insert(r.entry->id);

    // Removals, bottom up in runs, so earlier indexes stay valid.
    for (int i = int(rows_.size()) - 1; i >= 0;) {
        if (nextIDs.contains(rows_[i].entry->id)) {
            --i;
            continue;
        }
        int first = i;
        while (first > 0 && !nextIDs.contains(rows_[first - 1].entry->id)) --first;
        beginRemoveRows({}, first, i);
        rows_.erase(rows_.begin() + first, rows_.begin() + i + 1);
        endRemoveRows();
        counts_.removed += i - first + 1;
        i = first - 1;
    }
    rebuildIndex();

    // What is left must keep its relative order for inserts to line up with `next`.
    std::vector<int> positions;
    positions.reserve(rows_.size());
    for (const auto& r : next)
        if (auto it = rowByID_.constFind(r.entry->id); it != rowByID_.constEnd()) positions.push_back(*it);
    const bool sameOrder = std::is_sorted(positions.begin(), positions.end());

    if (!sameOrder) {
        emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        const QModelIndexList persistent = persistentIndexList();
        QList<QString> persistentIDs;
        for (const QModelIndex& index : persistent) persistentIDs.append(rows_[index.row()].entry->id);
        rows_ = next;
        rebuildIndex();
        QModelIndexList moved;
        for (qsizetype i = 0; i < persistent.size(); ++i) {
            const int r = rowByID_.value(persistentIDs[i], -1);
            moved.append(r < 0 ? QModelIndex() : index(r, persistent[i].column()));
        }
        changePersistentIndexList(persistent, moved);
        emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
        counts_.layouts = 1;
        return;
    }

    // Insertions in runs, top down.
    for (int i = 0; i < int(next.size());) {
        if (rowByID_.contains(next[i].entry->id)) {
            ++i;
            continue;
        }
        int last = i;
        while (last + 1 < int(next.size()) && !rowByID_.contains(next[last + 1].entry->id)) ++last;
        beginInsertRows({}, i, last);
        rows_.insert(rows_.begin() + i, next.begin() + i, next.begin() + last + 1);
        endInsertRows();
        counts_.inserted += last - i + 1;
        for (int k = i; k <= last; ++k) rowByID_.insert(next[k].entry->id, k);
        i = last + 1;
    }
    rebuildIndex();

    // Same ids in the same order now: only changed values become cell updates.
    for (std::size_t i = 0; i < next.size(); ++i) {
        const bool changed = !(rows_[i] == next[i]);
        rows_[i] = next[i];
        if (changed) {
            emit dataChanged(index(int(i), 0), index(int(i), columnCount() - 1));
            ++counts_.changed;
        }
    }
}

Qt::ItemFlags FilePaneTableModel::flags(const QModelIndex& index) const
{
    return QAbstractTableModel::flags(index) | (index.isValid() ? Qt::ItemIsDragEnabled : Qt::NoItemFlags);
}
