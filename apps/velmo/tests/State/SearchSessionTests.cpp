#include "FileSearch/FileNameSearchService.h"
#include "State/SearchSession.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <deque>

namespace {

using Outcome = std::expected<FileSearchOutcome, FileNameSearchError>;

// A search service that answers each search with the reports and outcome the test gave.
class ScriptedSearch final : public FileSearchProviding {
public:
    struct Script {
        Script(std::vector<FileSearchProgress> reports = {}, Outcome outcome = FileSearchOutcome::finished)
            : reports(std::move(reports)), outcome(std::move(outcome))
        {
        }
        std::vector<FileSearchProgress> reports;
        Outcome outcome;
        std::function<void()> afterFirstReport;
    };

    Outcome searchResults(const FileSearchRequest& request, std::stop_token stop,
                          const ReportFunction& report) const override
    {
        requests.push_back(request);
        Script script = scripts.empty() ? Script {} : scripts.front();
        if (!scripts.empty()) scripts.pop_front();
        for (const FileSearchProgress& progress : script.reports) {
            report(progress);
            if (auto hook = std::exchange(script.afterFirstReport, nullptr)) hook();
        }
        return stop.stop_requested() ? Outcome(FileSearchOutcome::cancelled) : script.outcome;
    }

    mutable std::deque<Script> scripts;
    mutable std::vector<FileSearchRequest> requests;
};

FileSearchProgress progress(const QStringList& paths, qint64 total, bool finished = true,
                            FileSearchPhase phase = FileSearchPhase::recursive, qint64 skipped = 0, bool limited = false)
{
    FileSearchProgress report;
    report.phase = phase;
    for (const QString& path : paths) report.newResults.push_back(FileSearchResult::make(path, false, std::nullopt));
    report.totalResultCount = total;
    report.skippedItemCount = skipped;
    report.didReachLimit = limited;
    report.isFinished = finished;
    return report;
}

QStringList paths(const std::vector<FileSearchResult>& results)
{
    QStringList out;
    for (const FileSearchResult& result : results) out << result.url;
    return out;
}

class SearchSessionTest : public testing::Test {
protected:
    SearchSession& session(const QString& folder = "/f")
    {
        if (!session_)
            session_ = std::make_unique<SearchSession>(folder, std::nullopt,
                                                       SearchSession::Dependencies {search, executor, clock});
        return *session_;
    }
    void runNextSearch()
    {
        auto work = std::move(executor->queue.front());
        executor->queue.pop_front();
        work();
    }

    std::shared_ptr<ScriptedSearch> search = std::make_shared<ScriptedSearch>();
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::unique_ptr<SearchSession> session_;
};

} // namespace

TEST_F(SearchSessionTest, ANewSearchNeverShowsAResultOrStatusOfTheOneItReplaced)
{
    search->scripts = {{{progress({"/f/old"}, 1)}}, {{progress({"/f/new"}, 1)}}};
    session().setQuery("  old ");
    session().startSearch();
    runNextSearch(); // the old search has finished; its report and outcome are on their way
    session().setQuery("new");
    session().startSearch();
    QCoreApplication::processEvents();
    EXPECT_TRUE(session().results().empty());
    EXPECT_TRUE(session().isSearching());
    EXPECT_EQ(session().statusText(), "Searching /f... 0s");

    executor->runAll();
    EXPECT_EQ(paths(session().results()), QStringList {"/f/new"});
    EXPECT_EQ(session().statusText(), "1 item, deep scan complete, 0s");
    ASSERT_EQ(search->requests.size(), 2u);
    EXPECT_EQ(search->requests[0], (FileSearchRequest {"old", FileSearchTarget::name, "/f", std::nullopt}));
}

TEST_F(SearchSessionTest, ABlankQueryEmptiesTheListAndAsksForOne)
{
    search->scripts = {{{progress({"/f/a", "/f/b"}, 2)}}};
    session().setQuery("a");
    session().startSearch();
    executor->runAll();
    ASSERT_EQ(session().results().size(), 2u);
    session().setSelectedResultID("/f/a");
    session().setQuery(" \n\t");
    session().startSearch();
    EXPECT_TRUE(session().results().empty());
    EXPECT_FALSE(session().selectedResultID());
    EXPECT_FALSE(session().isSearching());
    EXPECT_EQ(session().statusText(), SearchSession::kPromptStatus);
    EXPECT_TRUE(executor->queue.empty());
    EXPECT_EQ(session().title(), "Search");
}

TEST_F(SearchSessionTest, StoppingKeepsTheResultsFoundSoFar)
{
    ScriptedSearch::Script script {{progress({"/f/1"}, 1, false), progress({"/f/2"}, 2)}};
    script.afterFirstReport = [&] {
        QCoreApplication::processEvents();
        session().stopSearch(SearchSession::kStoppedStatus);
    };
    search->scripts = {script};
    session().setQuery("x");
    session().startSearch();
    executor->runAll();
    EXPECT_EQ(paths(session().results()), QStringList {"/f/1"});
    EXPECT_FALSE(session().isSearching());
    EXPECT_EQ(session().statusText(), "Search stopped.");
}

TEST_F(SearchSessionTest, ChoosingTheSameScopeTwiceDoesNothingTheSecondTime)
{
    int folderChanges = 0;
    QObject::connect(&session(), &SearchSession::folderChanged, [&] { ++folderChanges; });
    const FileSearchScope scope {"/data", "Data", "/data/"};
    session().selectScope(scope);
    EXPECT_EQ(session().folderURL(), "/data");
    EXPECT_EQ(session().statusText(), "Search in Data.");
    session().setQuery("q");
    session().startSearch();
    session().selectScope(scope);
    EXPECT_EQ(folderChanges, 1);
    EXPECT_TRUE(session().isSearching());

    session().setFolder("/elsewhere/./x");
    EXPECT_EQ(session().folderURL(), "/elsewhere/x");
    EXPECT_FALSE(session().isSearching());
    EXPECT_EQ(session().statusText(), "Folder changed. Start a new search.");
}

TEST_F(SearchSessionTest, TheStatusCountsTheSecondsWhileSearchingAndSumsUpAtTheEnd)
{
    search->scripts = {{{progress({"/f/a"}, 11, false), progress({"/f/b"}, 12, true, FileSearchPhase::recursive, 2)}},
                       {{progress({"/f/c"}, 1, true, FileSearchPhase::indexed, 0, true)}},
                       {{}, std::unexpected(FileNameSearchError::unreadableFolder("/f"))}};
    session().setQuery("a");
    session().startSearch();
    clock->advanceMilliseconds(1000);
    EXPECT_EQ(session().statusText(), "Searching /f... 1s");
    clock->advanceMilliseconds(2500);
    EXPECT_EQ(session().statusText(), "Searching /f... 3s");
    executor->runAll();
    EXPECT_EQ(session().statusText(), "12 items, 2 skipped, deep scan complete, 3s");
    clock->advanceMilliseconds(5000);
    EXPECT_EQ(session().elapsedSearchTime(), 3.5); // the timer stopped with the search

    session().startSearch();
    executor->runAll();
    EXPECT_EQ(session().statusText(), "1 item, limited, fast search complete, 0s");
    session().startSearch();
    executor->runAll();
    EXPECT_EQ(session().statusText(), "Cannot search /f.");
}

TEST(SearchSession, ElapsedTimeAndPreviewWidthFormulas)
{
    const std::pair<double, const char*> times[] = {{0, "0s"}, {59.9, "59s"}, {60, "1m 00s"}, {125.7, "2m 05s"},
                                                    {-4, "0s"}, {3600, "60m 00s"}};
    for (const auto& [seconds, text] : times) EXPECT_EQ(SearchSession::formatElapsedSearchTime(seconds), text) << seconds;
    EXPECT_EQ(SearchSession::displayedPreviewWidth(460, 1200), 460);
    EXPECT_EQ(SearchSession::displayedPreviewWidth(460, 800), 373);
    EXPECT_EQ(SearchSession::displayedPreviewWidth(100, 500), 280);
}

TEST(SearchSession, DefaultScopesAreHomeComputerAndFavoriteFoldersOnce)
{
    const std::vector<FavoriteItem> favorites {
        {QUuid::createUuid(), "Home again", "/home/u/", FavoriteItemKind::folder, {}, {}},
        {QUuid::createUuid(), "", "", FavoriteItemKind::separator, {}, {}},
        {QUuid::createUuid(), "Pair", "/a", FavoriteItemKind::panePair, "/a", "/b"},
        {QUuid::createUuid(), "Work", "/srv/work", FavoriteItemKind::folder, {}, {}},
    };
    EXPECT_EQ(FileSearchScope::defaultScopes(favorites, "/home/u"),
              (std::vector<FileSearchScope> {{"/home/u", "Home", "/home/u"},
                                             {"/", "Computer", "/"},
                                             {"/srv/work", "Work", "/srv/work"}}));
}

TEST(SearchSession, SortsNaturallyByColumnWithTiesByPath)
{
    auto search = std::make_shared<ScriptedSearch>();
    auto executor = std::make_shared<ManualExecutor>();
    FileSearchProgress report = progress({"/b/file10", "/a/file2", "/c/file2"}, 3);
    report.newResults[0].localizedKind = "Text";
    search->scripts = {{{report}}};
    SearchSession session("/", std::nullopt, {search, executor, std::make_shared<ManualClock>()});
    session.setQuery("file");
    session.startSearch();
    executor->runAll();
    EXPECT_EQ(paths(session.sortedResults()), (QStringList {"/a/file2", "/c/file2", "/b/file10"}));
    session.setSort(FileSearchResultSortColumn::kind, false);
    EXPECT_EQ(paths(session.sortedResults()), (QStringList {"/b/file10", "/a/file2", "/c/file2"}));
}

TEST(SearchSession, SearchesRealFoldersOffTheMainThread)
{
    TemporaryFolder tmp;
    tmp.file("deep/er/Zebra.txt");
    tmp.file("zebra.md");
    tmp.file("horse.md");
    SearchSession session(tmp.path(), std::nullopt);
    session.setQuery("ZEBRA");
    session.startSearch();
    ASSERT_TRUE(waitUntil([&] { return !session.isSearching(); }, 30000));
    EXPECT_EQ(session.results().size(), 2u);
    EXPECT_TRUE(session.statusText().startsWith("2 items, ")) << session.statusText().toStdString();
}
