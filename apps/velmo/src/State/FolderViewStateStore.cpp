#include "State/FolderViewStateStore.h"

#include "PathKit/FilePaths.h"

#include <QJsonArray>
#include <QJsonDocument>

FolderViewStateStore::FolderViewStateStore(std::shared_ptr<DefaultsStore> defaults, std::shared_ptr<MonotonicClock> clock)
    : defaults_(std::move(defaults)), clock_(clock ? std::move(clock) : MonotonicClock::system())
{
    load();
}

FolderViewStateStore::~FolderViewStateStore()
{
    if (hasPendingPersistence_) persistNow();
}

void FolderViewStateStore::load()
{
    states_.clear();
    recency_.clear();
    const auto data = defaults_->data(kDefaultsKey);
    if (!data) return;
    for (Entry& entry : decode(*data)) {
        // A path stored twice counts once, at its later place.
        recency_.removeOne(entry.path);
        recency_.append(entry.path);
        states_.insert(entry.path, std::move(entry.state));
    }
    evictIfNeeded();
}

std::optional<FolderViewState> FolderViewStateStore::state(const QString& url) const
{
    const auto found = states_.constFind(FilePaths::standardized(url));
    if (found == states_.constEnd()) return std::nullopt;
    return *found;
}

void FolderViewStateStore::setState(const FolderViewState& state, const QString& url,
                                    FolderViewStatePersistence persistence)
{
    const QString path = FilePaths::standardized(url);
    if (path.isEmpty()) return;
    states_.insert(path, state);
    recency_.removeOne(path);
    recency_.append(path);
    evictIfNeeded();
    if (persistence == FolderViewStatePersistence::immediate) {
        persistNow();
        return;
    }
    // A column drag changes widths many times in one turn of the event loop;
    // they are written once, after it.
    hasPendingPersistence_ = true;
    if (isPersistScheduled_) return;
    isPersistScheduled_ = true;
    clock_->runAfter(0, &lifetime_, [this] {
        isPersistScheduled_ = false;
        if (hasPendingPersistence_) persistNow();
    });
}

void FolderViewStateStore::applyColumnsToAll(const QSet<FileEntryColumn>& visibleColumns,
                                             const QStringList& columnOrder, const QMap<QString, double>& columnWidths)
{
    for (FolderViewState& state : states_) {
        state.visibleColumns = visibleColumns;
        state.columnOrder = columnOrder;
        state.columnWidths = columnWidths;
    }
    persistNow();
}

void FolderViewStateStore::removeAll()
{
    states_.clear();
    recency_.clear();
    persistNow();
}

void FolderViewStateStore::evictIfNeeded()
{
    while (recency_.size() > kLimit) states_.remove(recency_.takeFirst());
}

void FolderViewStateStore::persistNow()
{
    hasPendingPersistence_ = false;
    std::vector<Entry> entries;
    entries.reserve(recency_.size());
    for (const QString& path : recency_)
        if (auto found = states_.constFind(path); found != states_.constEnd()) entries.push_back({path, *found});
    defaults_->setData(kDefaultsKey, encode(entries));
}

std::vector<FolderViewStateStore::Entry> FolderViewStateStore::decode(const QByteArray& data)
{
    std::vector<Entry> entries;
    const QJsonDocument document = QJsonDocument::fromJson(data);
    if (!document.isArray()) return entries;
    for (const QJsonValue& item : document.array()) {
        const QJsonObject object = item.toObject();
        const QString path = object.value(QStringLiteral("path")).toString();
        const QJsonValue state = object.value(QStringLiteral("state"));
        // Only absolute paths name a folder; a record without a state has nothing to restore.
        if (!path.startsWith(u'/') || !state.isObject()) continue;
        entries.push_back({FilePaths::standardized(path), FolderViewState::fromJSON(state)});
    }
    return entries;
}

QByteArray FolderViewStateStore::encode(const std::vector<Entry>& entries)
{
    QJsonArray array;
    for (const Entry& entry : entries)
        array.append(QJsonObject {{QStringLiteral("path"), entry.path}, {QStringLiteral("state"), entry.state.toJSON()}});
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}
