#pragma once

#include "Models/FolderViewState.h"
#include "Support/DefaultsStore.h"
#include "Support/MonotonicClock.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

// The layouts of the folders the user arranged, for the most recently changed
// 500 of them, kept in the defaults under "velmo.folderViewStates" as a JSON
// array of {path, state}, oldest first. Main thread only.
class FolderViewStateStore {
public:
    struct Entry {
        QString path;
        FolderViewState state;
        bool operator==(const Entry&) const = default;
    };

    static constexpr qsizetype kLimit = 500;
    static constexpr QLatin1StringView kDefaultsKey {"velmo.folderViewStates"};

    // Reads what is stored. Deferred writes wait for `clock` with no delay: behind
    // whatever the main thread has queued already.
    FolderViewStateStore(std::shared_ptr<DefaultsStore> defaults, std::shared_ptr<MonotonicClock> clock);
    // A deferred write that is still waiting is done now.
    ~FolderViewStateStore();
    FolderViewStateStore(const FolderViewStateStore&) = delete;
    FolderViewStateStore& operator=(const FolderViewStateStore&) = delete;

    void load();
    std::optional<FolderViewState> state(const QString& url) const;
    void setState(const FolderViewState& state, const QString& url, FolderViewStatePersistence persistence);
    // Gives every stored folder these columns; each keeps its sort and view mode.
    void applyColumnsToAll(const QSet<FileEntryColumn>& visibleColumns, const QStringList& columnOrder,
                           const QMap<QString, double>& columnWidths);
    void removeAll();
    void persistNow();

    // Paths with a state, the one changed longest ago first.
    const QStringList& recency() const { return recency_; }
    bool hasPendingPersistence() const { return hasPendingPersistence_; }

    // The stored form. Decoding never fails: anything but a JSON array gives no
    // entries, and entries without a path are skipped.
    static std::vector<Entry> decode(const QByteArray& data);
    static QByteArray encode(const std::vector<Entry>& entries);

private:
    void evictIfNeeded();

    std::shared_ptr<DefaultsStore> defaults_;
    std::shared_ptr<MonotonicClock> clock_;
    QHash<QString, FolderViewState> states_;
    QStringList recency_;
    bool isPersistScheduled_ = false;
    bool hasPendingPersistence_ = false;
    // Scheduled writes run only while this lives.
    QObject lifetime_;
};
