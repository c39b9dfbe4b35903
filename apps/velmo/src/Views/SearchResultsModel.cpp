#include "Views/SearchResultsModel.h"

#include "PathKit/FilePaths.h"
#include "State/SearchSession.h"
#include "Support/BackgroundTask.h"
#include "Support/ByteCountFormatter.h"
#include "Support/VelmoFormatters.h"
#include "Views/FileDragData.h"

#include <QApplication>
#include <QMimeData>
#include <QStyle>
#include <QThreadPool>
#include <QTimer>

#include <sys/stat.h>

namespace {

constexpr qsizetype kAttributeBatch = 256;

} // namespace

SearchResultsModel::SearchResultsModel(SearchSession* session, QObject* parent)
    : QAbstractTableModel(parent), session_(session)
{
    connect(session, &SearchSession::resultsReset, this, &SearchResultsModel::reset);
    connect(session, &SearchSession::resultsAppended, this, &SearchResultsModel::append);
    connect(session, &SearchSession::presentationChanged, this, &SearchResultsModel::applySortOrder);
    // Sorted once the search has ended: finished, stopped or failed.
    connect(session, &SearchSession::searchStateChanged, this, [this] {
        if (session_ && !session_->isSearching() && !inSortOrder_) applySortOrder();
    });
    reset();
}

SearchResultsModel::~SearchResultsModel()
{
    fetch_.cancel();
}

void SearchResultsModel::reset()
{
    beginResetModel();
    rows_ = session_ ? session_->sortedResults() : std::vector<FileSearchResult> {};
    rowByID_.clear();
    for (int i = 0; i < int(rows_.size()); ++i) rowByID_.insert(rows_[size_t(i)].id, i);
    inSortOrder_ = true;
    attributes_.clear();
    wanted_.clear();
    endResetModel();
}

void SearchResultsModel::append(qsizetype first, qsizetype count)
{
    if (!session_ || count <= 0) return;
    const auto& results = session_->results();
    const int at = int(rows_.size());
    beginInsertRows({}, at, at + int(count) - 1);
    for (qsizetype i = first; i < first + count && i < qsizetype(results.size()); ++i) {
        rowByID_.insert(results[size_t(i)].id, int(rows_.size()));
        rows_.push_back(results[size_t(i)]);
    }
    inSortOrder_ = false;
    endInsertRows();
}

void SearchResultsModel::applySortOrder()
{
    if (!session_) return;
    const QModelIndexList persistent = persistentIndexList();
    QStringList persistentIDs;
    for (const QModelIndex& index : persistent) persistentIDs << (resultAt(index.row()) ? resultAt(index.row())->id : QString());
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    rows_ = session_->sortedResults();
    rowByID_.clear();
    for (int i = 0; i < int(rows_.size()); ++i) rowByID_.insert(rows_[size_t(i)].id, i);
    QModelIndexList moved;
    for (qsizetype i = 0; i < persistent.size(); ++i) {
        const int row = rowByID_.value(persistentIDs[i], -1);
        moved << (row < 0 ? QModelIndex() : index(row, persistent[i].column()));
    }
    changePersistentIndexList(persistent, moved);
    inSortOrder_ = true;
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

const FileSearchResult* SearchResultsModel::resultAt(int row) const
{
    return row >= 0 && row < int(rows_.size()) ? &rows_[size_t(row)] : nullptr;
}

int SearchResultsModel::rowOf(const QString& id) const
{
    return rowByID_.value(id, -1);
}

QStringList SearchResultsModel::urlsOf(const QModelIndexList& indexes) const
{
    QStringList urls;
    QSet<int> seen;
    for (const QModelIndex& index : indexes)
        if (const auto* result = resultAt(index.row()); result && !seen.contains(index.row())) {
            seen.insert(index.row());
            urls << result->url;
        }
    return urls;
}

int SearchResultsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(rows_.size());
}

int SearchResultsModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columnCount_;
}

QVariant SearchResultsModel::data(const QModelIndex& index, int role) const
{
    const FileSearchResult* result = resultAt(index.row());
    if (!result) return {};
    if (role == Qt::DecorationRole && index.column() == nameColumn) {
        // Looked up once: the style's lookup goes through the icon theme on every call.
        static const QIcon folderIcon = QApplication::style()->standardIcon(QStyle::SP_DirIcon);
        static const QIcon fileIcon = QApplication::style()->standardIcon(QStyle::SP_FileIcon);
        return result->isDirectory ? folderIcon : fileIcon;
    }
    if (role == Qt::ToolTipRole) return result->url;
    if (role == Qt::TextAlignmentRole && index.column() == sizeColumn)
        return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole) return {};
    switch (index.column()) {
    case nameColumn: return FilePaths::displayName(result->name);
    case kindColumn: return result->localizedKind.value_or(result->isDirectory ? QStringLiteral("Folder") : QString());
    case folderColumn: return FilePaths::displayName(result->parentPath);
    case sizeColumn:
    case modifiedColumn: {
        const auto found = attributes_.constFind(result->url);
        if (found == attributes_.constEnd()) {
            wantAttributes(result->url);
            return QString();
        }
        if (index.column() == modifiedColumn) return VelmoFormatters::date(found->modified);
        if (result->isDirectory || !found->size) return QStringLiteral("--");
        return *found->size == 0 ? QStringLiteral("Zero bytes") : ByteCountFormatter::string(*found->size);
    }
    default: return {};
    }
}

QVariant SearchResultsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    static const char* titles[] = {"Name", "Kind", "Folder", "Size", "Date Modified"};
    return section >= 0 && section < columnCount_ ? QString::fromLatin1(titles[section]) : QVariant();
}

Qt::ItemFlags SearchResultsModel::flags(const QModelIndex& index) const
{
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList SearchResultsModel::mimeTypes() const
{
    return {QStringLiteral("text/uri-list")};
}

QMimeData* SearchResultsModel::mimeData(const QModelIndexList& indexes) const
{
    const QStringList urls = urlsOf(indexes);
    return urls.isEmpty() ? nullptr : FileDragData::make(urls);
}

Qt::DropActions SearchResultsModel::supportedDragActions() const
{
    return Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
}

// The list asks while it paints; the reads are gathered and made off the main
// thread, so a slow or dead mount never holds a frame.
void SearchResultsModel::wantAttributes(const QString& url) const
{
    wanted_.insert(url);
    if (fetchScheduled_ || fetch_.isValid()) return;
    fetchScheduled_ = true;
    QTimer::singleShot(0, const_cast<SearchResultsModel*>(this), &SearchResultsModel::fetchAttributes);
}

void SearchResultsModel::fetchAttributes()
{
    fetchScheduled_ = false;
    if (wanted_.isEmpty() || fetch_.isValid()) return;
    QStringList batch;
    for (auto it = wanted_.begin(); it != wanted_.end() && batch.size() < kAttributeBatch;) {
        batch << *it;
        it = wanted_.erase(it);
    }
    using Read = std::vector<std::pair<QString, Attributes>>;
    fetch_ = BackgroundTask::run(
        QThreadPool::globalInstance(), this,
        [batch](std::stop_token stop) {
            Read read;
            for (const QString& url : batch) {
                if (stop.stop_requested()) break;
                struct stat st {};
                Attributes attributes;
                if (::lstat(FilePaths::toNative(url).constData(), &st) == 0) {
                    attributes.size = qint64(st.st_size);
                    attributes.modified = QDateTime::fromSecsSinceEpoch(st.st_mtim.tv_sec);
                }
                read.emplace_back(url, attributes);
            }
            return read;
        },
        [this](Read read) {
            fetch_ = {};
            for (auto& [url, attributes] : read) attributes_.insert(url, attributes);
            // One repaint of the two columns for the whole batch.
            if (!rows_.empty())
                emit dataChanged(index(0, sizeColumn), index(int(rows_.size()) - 1, modifiedColumn), {Qt::DisplayRole});
            if (!wanted_.isEmpty()) fetchAttributes();
        });
}
