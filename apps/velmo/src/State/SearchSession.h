#pragma once

#include "FileSearch/FileSearchProviding.h"
#include "Models/FavoriteItem.h"
#include "Support/TaskHandle.h"

#include <QObject>
#include <QUuid>

#include <memory>
#include <optional>
#include <vector>

class MonotonicClock;
class TaskExecutor;

enum class FileSearchResultSortColumn { name, kind, path };

// A folder offered to search in.
struct FileSearchScope {
    QString id; // the path
    QString name;
    QString url;

    bool operator==(const FileSearchScope&) const = default;

    // Home, then Computer ("/"), then each favorite folder (separators and pane pairs
    // left out), standardised; a folder already offered is not offered again, so a
    // favorite of the home folder doesn't repeat "Home".
    static std::vector<FileSearchScope> defaultScopes(const std::vector<FavoriteItem>& favorites,
                                                      const QString& homeURL);
};

// The state of one search tab: the folder, the query, the results, the status line and
// the running search. Main thread only.
//
// A search runs on the executor and hands each report to the main thread, queued. Every
// start makes a new generation and every stop lets go of the running search, so nothing
// of a search that was stopped or replaced (a result, a status) lands afterwards. The
// elapsed time in the status line is read from the injected clock once a second.
class SearchSession : public QObject {
    Q_OBJECT

public:
    struct Dependencies {
        std::shared_ptr<FileSearchProviding> searchService; // FileNameSearchService when empty
        std::shared_ptr<TaskExecutor> executor;             // the searches pool when empty
        std::shared_ptr<MonotonicClock> clock;              // the system's when empty
    };

    static inline const QString kPromptStatus = QStringLiteral("Enter a name fragment to search.");
    static inline const QString kStoppedStatus = QStringLiteral("Search stopped.");
    static inline const QString kFolderChangedStatus = QStringLiteral("Folder changed. Start a new search.");
    static constexpr double kDefaultPreviewWidth = 460;

    SearchSession(const QString& folderURL, std::optional<QUuid> originBrowserTabID, Dependencies dependencies = {},
                  QObject* parent = nullptr);
    ~SearchSession() override;

    const QUuid& id() const { return id_; }
    const std::optional<QUuid>& originBrowserTabID() const { return originBrowserTabID_; }
    const QString& folderURL() const { return folderURL_; }
    const QString& query() const { return query_; }
    FileSearchTarget searchTarget() const { return searchTarget_; }
    const std::vector<FileSearchResult>& results() const { return results_; }
    const std::optional<QString>& selectedResultID() const { return selectedResultID_; }
    FileSearchResultSortColumn sortColumn() const { return sortColumn_; }
    bool sortAscending() const { return sortAscending_; }
    bool isPreviewVisible() const { return isPreviewVisible_; }
    double previewWidth() const { return previewWidth_; }
    bool isSearching() const { return isSearching_; }
    double elapsedSearchTime() const { return elapsedSearchTime_; }
    const QString& statusText() const { return statusText_; }
    const std::optional<FileSearchProgress>& latestProgress() const { return latestProgress_; }
    qint64 searchGeneration() const { return searchGeneration_; }

    void setQuery(const QString& query);
    void setSearchTarget(FileSearchTarget target);
    void setSelectedResultID(const std::optional<QString>& id);
    void setSort(FileSearchResultSortColumn column, bool ascending);
    void setPreviewVisible(bool visible);
    void setPreviewWidth(double width);

    // Stops any running search and searches the folder for the trimmed query; a blank
    // query only empties the list and asks for one.
    void startSearch();
    // Lets go of the running search (it stops soon, and nothing of it lands); the results
    // so far stay. `status`, when given, becomes the status line.
    void stopSearch(const std::optional<QString>& status = std::nullopt);
    // Searches somewhere else from now on; the same folder again changes nothing.
    void selectScope(const FileSearchScope& scope);
    // Stops the search before the view asks for a folder (starting at folderURL())...
    void chooseFolder();
    // ...and takes the folder chosen.
    void setFolder(const QString& url);
    // Results that are gone (trashed from the list); the search itself goes on.
    void removeResults(const QSet<QString>& ids);
    // When the tab closes: the search and the timer stop.
    void teardown();

    // "Search: " and the trimmed query, or "Search".
    QString title() const;
    // The results in the chosen column's natural order; ties by path, always ascending.
    // Sorts afresh on every call.
    std::vector<FileSearchResult> sortedResults() const;
    std::optional<FileSearchResult> selectedResult() const;

    // "59s", "1m 00s", "2m 05s": whole seconds, negatives as 0.
    static QString formatElapsedSearchTime(double seconds);
    // The preview's width as shown in an area `totalWidth` wide: the stored width, at
    // least 280, leaving the list its 420 and the divider its 7 where there is room.
    static double displayedPreviewWidth(double storedWidth, double totalWidth);

signals:
    // The list was emptied.
    void resultsReset();
    // `count` results were appended at `first`.
    void resultsAppended(qsizetype first, qsizetype count);
    // Searching, the status line, the elapsed time or the latest report.
    void searchStateChanged();
    void folderChanged();
    // The query or the target, and with them the title.
    void queryChanged();
    void selectionChanged();
    // Sort order, preview shown or its width.
    void presentationChanged();

private:
    void clearResults();
    void receive(FileSearchProgress progress);
    void complete(const std::expected<FileSearchOutcome, FileNameSearchError>& outcome);
    bool isCurrent(const TaskHandle& task, qint64 generation) const;
    QString searchingStatus() const;
    QString completionStatus() const;
    void beginElapsedTimer(qint64 generation);
    void scheduleElapsedTick(quint64 timer, qint64 generation);
    void stopElapsedTimer();
    double secondsSinceStart() const;

    QUuid id_ = QUuid::createUuid();
    std::optional<QUuid> originBrowserTabID_;
    QString folderURL_;
    QString query_;
    FileSearchTarget searchTarget_ = FileSearchTarget::name;
    std::vector<FileSearchResult> results_;
    std::optional<QString> selectedResultID_;
    FileSearchResultSortColumn sortColumn_ = FileSearchResultSortColumn::name;
    bool sortAscending_ = true;
    bool isPreviewVisible_ = true;
    double previewWidth_ = kDefaultPreviewWidth;
    bool isSearching_ = false;
    double elapsedSearchTime_ = 0;
    QString statusText_ = kPromptStatus;
    TaskHandle searchTask_;
    // Each timer started gets a number; a tick of any other number is a stopped timer's.
    quint64 elapsedTimer_ = 0;
    bool isElapsedTimerRunning_ = false;
    std::optional<quint64> searchStartedAt_;
    std::optional<FileSearchProgress> latestProgress_;
    qint64 searchGeneration_ = 0;

    std::shared_ptr<FileSearchProviding> searchService_;
    std::shared_ptr<TaskExecutor> executor_;
    std::shared_ptr<MonotonicClock> clock_;
};
