#include "State/SearchSession.h"

#include "FileSearch/FileNameSearchService.h"
#include "Models/NameCollator.h"
#include "PathKit/FilePaths.h"
#include "Support/MonotonicClock.h"
#include "Support/TaskExecutor.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <mutex>
#include <numeric>

namespace {

// Reports of a running search not yet taken by the main thread.
struct ReportInbox {
    std::mutex mutex;
    std::vector<FileSearchResult> results;
    std::optional<FileSearchProgress> latest; // counters and phase of the newest report
    bool isPosted = false;                    // a drain is on its way to the main thread
};

constexpr quint64 kElapsedTickNanoseconds = 1'000'000'000;
constexpr double kMinimumPreviewWidth = 280;
constexpr double kMinimumListWidth = 420;
constexpr double kDividerWidth = 7;

QString columnText(const FileSearchResult& result, FileSearchResultSortColumn column)
{
    switch (column) {
    case FileSearchResultSortColumn::name: return result.name;
    case FileSearchResultSortColumn::kind: return result.localizedKind.value_or(QString());
    case FileSearchResultSortColumn::path: return result.parentPath;
    }
    return {};
}

} // namespace

// ---------------------------------------------------------------- scopes

std::vector<FileSearchScope> FileSearchScope::defaultScopes(const std::vector<FavoriteItem>& favorites,
                                                            const QString& homeURL)
{
    const QString home = FilePaths::standardized(homeURL);
    std::vector<FileSearchScope> candidates {{home, QStringLiteral("Home"), home},
                                             {QStringLiteral("/"), QStringLiteral("Computer"), QStringLiteral("/")}};
    for (const FavoriteItem& favorite : favorites) {
        if (favorite.kind != FavoriteItemKind::folder || favorite.url.isEmpty()) continue;
        const QString url = FilePaths::standardized(favorite.url);
        candidates.push_back({url, favorite.name, url});
    }
    std::vector<FileSearchScope> scopes;
    QSet<QString> seen;
    for (FileSearchScope& scope : candidates)
        if (!seen.contains(scope.id)) {
            seen.insert(scope.id);
            scopes.push_back(std::move(scope));
        }
    return scopes;
}

// ---------------------------------------------------------------- session

SearchSession::SearchSession(const QString& folderURL, std::optional<QUuid> originBrowserTabID,
                             Dependencies dependencies, QObject* parent)
    : QObject(parent)
    , originBrowserTabID_(originBrowserTabID)
    , folderURL_(FilePaths::standardized(folderURL))
    , searchService_(dependencies.searchService ? std::move(dependencies.searchService)
                                                : std::make_shared<FileNameSearchService>())
    , executor_(dependencies.executor ? std::move(dependencies.executor) : TaskExecutor::searches())
    , clock_(dependencies.clock ? std::move(dependencies.clock) : MonotonicClock::system())
{
}

SearchSession::~SearchSession()
{
    teardown();
}

void SearchSession::setQuery(const QString& query)
{
    if (query == query_) return;
    query_ = query;
    emit queryChanged();
}

void SearchSession::setSearchTarget(FileSearchTarget target)
{
    if (target == searchTarget_) return;
    searchTarget_ = target;
    emit queryChanged();
}

void SearchSession::setSelectedResultID(const std::optional<QString>& id)
{
    if (id == selectedResultID_) return;
    selectedResultID_ = id;
    emit selectionChanged();
}

void SearchSession::setSort(FileSearchResultSortColumn column, bool ascending)
{
    if (column == sortColumn_ && ascending == sortAscending_) return;
    sortColumn_ = column;
    sortAscending_ = ascending;
    emit presentationChanged();
}

void SearchSession::setPreviewVisible(bool visible)
{
    if (visible == isPreviewVisible_) return;
    isPreviewVisible_ = visible;
    emit presentationChanged();
}

void SearchSession::setPreviewWidth(double width)
{
    if (width == previewWidth_) return;
    previewWidth_ = width;
    emit presentationChanged();
}

// ---------------------------------------------------------------- searching

void SearchSession::startSearch()
{
    stopSearch();
    const qint64 generation = ++searchGeneration_;
    setSelectedResultID(std::nullopt);
    clearResults();
    latestProgress_.reset();
    const QString query = query_.trimmed();
    if (query.isEmpty()) {
        isSearching_ = false;
        statusText_ = kPromptStatus;
        emit searchStateChanged();
        return;
    }
    isSearching_ = true;
    beginElapsedTimer(generation);
    statusText_ = searchingStatus();
    emit searchStateChanged();

    const TaskHandle task = TaskHandle::make();
    searchTask_ = task;
    QPointer<SearchSession> guard(this);
    // Each report and the outcome are posted to the application object, which outlives
    // every session, and land only while this run is still the session's.
    auto deliver = [task, guard, generation](std::function<void(SearchSession&)> apply) {
        auto* application = QCoreApplication::instance();
        if (!application) return; // the program is ending
        QMetaObject::invokeMethod(
            application,
            [task, guard, generation, apply = std::move(apply)] {
                if (guard && guard->isCurrent(task, generation)) apply(*guard);
            },
            Qt::QueuedConnection);
    };
    const FileSearchRequest request {query, searchTarget_, folderURL_, std::nullopt};
    // Reports wait in an inbox that the main thread empties in one go: a fast index can
    // send hundreds of batches in a few milliseconds, and one event per batch would keep
    // the list from painting its first rows until all of them had been handled.
    auto inbox = std::make_shared<ReportInbox>();
    auto drain = [inbox](SearchSession& session) {
        std::optional<FileSearchProgress> merged;
        {
            const std::lock_guard lock(inbox->mutex);
            merged = std::move(inbox->latest);
            inbox->latest.reset();
            if (merged) merged->newResults = std::exchange(inbox->results, {});
            inbox->isPosted = false;
        }
        if (merged) session.receive(std::move(*merged));
    };
    executor_->start([service = searchService_, request, task, deliver, inbox, drain] {
        if (task.isCancelled()) return;
        const auto outcome = service->searchResults(request, task.token(), [&](FileSearchProgress progress) {
            bool post = false;
            {
                const std::lock_guard lock(inbox->mutex);
                std::move(progress.newResults.begin(), progress.newResults.end(), std::back_inserter(inbox->results));
                progress.newResults.clear();
                inbox->latest = std::move(progress);
                post = !std::exchange(inbox->isPosted, true);
            }
            if (post) deliver(drain);
        });
        // Posted after any drain that still holds reports, so those land first.
        deliver([outcome](SearchSession& session) { session.complete(outcome); });
    });
}

void SearchSession::stopSearch(const std::optional<QString>& status)
{
    searchTask_.cancel();
    searchTask_ = {};
    const bool wasSearching = isSearching_;
    isSearching_ = false;
    stopElapsedTimer();
    if (status) statusText_ = *status;
    if (wasSearching || status) emit searchStateChanged();
}

bool SearchSession::isCurrent(const TaskHandle& task, qint64 generation) const
{
    return task == searchTask_ && !task.isCancelled() && generation == searchGeneration_;
}

void SearchSession::receive(FileSearchProgress progress)
{
    if (!progress.newResults.empty()) {
        const qsizetype first = qsizetype(results_.size());
        results_.insert(results_.end(), progress.newResults.begin(), progress.newResults.end());
        emit resultsAppended(first, qsizetype(progress.newResults.size()));
    }
    latestProgress_ = std::move(progress);
    emit searchStateChanged();
}

void SearchSession::complete(const std::expected<FileSearchOutcome, FileNameSearchError>& outcome)
{
    searchTask_ = {};
    isSearching_ = false;
    stopElapsedTimer();
    if (!outcome) statusText_ = outcome.error().errorDescription();
    else if (*outcome == FileSearchOutcome::cancelled) statusText_ = kStoppedStatus;
    else statusText_ = completionStatus();
    emit searchStateChanged();
}

void SearchSession::removeResults(const QSet<QString>& ids)
{
    const auto gone = std::erase_if(results_, [&ids](const FileSearchResult& result) { return ids.contains(result.id); });
    if (gone == 0) return;
    if (selectedResultID_ && ids.contains(*selectedResultID_)) setSelectedResultID(std::nullopt);
    emit resultsReset();
}

void SearchSession::clearResults()
{
    if (results_.empty()) return;
    results_.clear();
    emit resultsReset();
}

// ---------------------------------------------------------------- folder

void SearchSession::selectScope(const FileSearchScope& scope)
{
    const QString url = FilePaths::standardized(scope.url);
    if (url == folderURL_) return;
    stopSearch(kStoppedStatus);
    folderURL_ = url;
    setSelectedResultID(std::nullopt);
    clearResults();
    statusText_ = QStringLiteral("Search in %1.").arg(scope.name);
    emit folderChanged();
    emit searchStateChanged();
}

void SearchSession::chooseFolder()
{
    stopSearch(kStoppedStatus);
}

void SearchSession::setFolder(const QString& url)
{
    stopSearch();
    folderURL_ = FilePaths::standardized(url);
    setSelectedResultID(std::nullopt);
    clearResults();
    statusText_ = kFolderChangedStatus;
    emit folderChanged();
    emit searchStateChanged();
}

void SearchSession::teardown()
{
    stopSearch();
}

// ---------------------------------------------------------------- reading

QString SearchSession::title() const
{
    const QString query = query_.trimmed();
    return query.isEmpty() ? QStringLiteral("Search") : QStringLiteral("Search: ") + query;
}

std::vector<FileSearchResult> SearchSession::sortedResults() const
{
    // One collation key per text, then byte compares: collating per compare would cost
    // a microsecond each, seconds for a large result list.
    NameCollator& collator = NameCollator::forThisThread();
    std::string keys;
    std::vector<std::pair<std::size_t, std::size_t>> offsets(results_.size());
    for (std::size_t i = 0; i < results_.size(); ++i)
        offsets[i] = {collator.appendKey(columnText(results_[i], sortColumn_), keys),
                      collator.appendKey(results_[i].url, keys)};
    std::vector<std::size_t> order(results_.size());
    std::iota(order.begin(), order.end(), 0);
    const char* base = keys.data();
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        const int column = std::strcmp(base + offsets[a].first, base + offsets[b].first);
        if (column != 0) return sortAscending_ ? column < 0 : column > 0;
        return std::strcmp(base + offsets[a].second, base + offsets[b].second) < 0;
    });
    std::vector<FileSearchResult> sorted;
    sorted.reserve(order.size());
    for (std::size_t i : order) sorted.push_back(results_[i]);
    return sorted;
}

std::optional<FileSearchResult> SearchSession::selectedResult() const
{
    if (!selectedResultID_) return std::nullopt;
    const auto found = std::find_if(results_.begin(), results_.end(),
                                    [&](const FileSearchResult& result) { return result.id == *selectedResultID_; });
    return found == results_.end() ? std::nullopt : std::optional(*found);
}

QString SearchSession::formatElapsedSearchTime(double seconds)
{
    const qint64 whole = std::isfinite(seconds) && seconds > 0 ? qint64(std::floor(seconds)) : 0;
    if (whole < 60) return QStringLiteral("%1s").arg(whole);
    return QStringLiteral("%1m %2s").arg(whole / 60).arg(whole % 60, 2, 10, QChar(u'0'));
}

double SearchSession::displayedPreviewWidth(double storedWidth, double totalWidth)
{
    const double widest = std::max(kMinimumPreviewWidth, totalWidth - kMinimumListWidth - kDividerWidth);
    return std::min(std::max(storedWidth, kMinimumPreviewWidth), widest);
}

QString SearchSession::searchingStatus() const
{
    return QStringLiteral("Searching %1... %2")
        .arg(FilePaths::displayName(folderURL_), formatElapsedSearchTime(elapsedSearchTime_));
}

QString SearchSession::completionStatus() const
{
    const qint64 count = latestProgress_ ? latestProgress_->totalResultCount : qint64(results_.size());
    QStringList parts {count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count)};
    if (latestProgress_ && latestProgress_->didReachLimit) parts << QStringLiteral("limited");
    if (latestProgress_ && latestProgress_->skippedItemCount >= 1)
        parts << QStringLiteral("%1 skipped").arg(latestProgress_->skippedItemCount);
    if (latestProgress_)
        parts << (latestProgress_->phase == FileSearchPhase::indexed ? QStringLiteral("fast search complete")
                                                                     : QStringLiteral("deep scan complete"));
    parts << formatElapsedSearchTime(elapsedSearchTime_);
    return parts.join(QStringLiteral(", "));
}

// ---------------------------------------------------------------- elapsed time

void SearchSession::beginElapsedTimer(qint64 generation)
{
    const quint64 timer = ++elapsedTimer_;
    isElapsedTimerRunning_ = true;
    searchStartedAt_ = clock_->uptimeNanoseconds();
    elapsedSearchTime_ = 0;
    scheduleElapsedTick(timer, generation);
}

void SearchSession::scheduleElapsedTick(quint64 timer, qint64 generation)
{
    clock_->runAfter(kElapsedTickNanoseconds, this, [this, timer, generation] {
        if (timer != elapsedTimer_ || !isElapsedTimerRunning_) return;
        if (generation == searchGeneration_ && isSearching_) {
            elapsedSearchTime_ = secondsSinceStart();
            statusText_ = searchingStatus();
            emit searchStateChanged();
        }
        scheduleElapsedTick(timer, generation);
    });
}

void SearchSession::stopElapsedTimer()
{
    if (!isElapsedTimerRunning_) return;
    isElapsedTimerRunning_ = false;
    ++elapsedTimer_;
    if (searchStartedAt_) elapsedSearchTime_ = secondsSinceStart();
}

double SearchSession::secondsSinceStart() const
{
    return searchStartedAt_ ? double(clock_->uptimeNanoseconds() - *searchStartedAt_) / 1e9 : 0;
}
