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
        std::vector<FileSearchProgress> reports;
        Outcome outcome = FileSearchOutcome::finished;
    };

    Outcome searchResults(const FileSearchRequest& request, std::stop_token stop,
                          const ReportFunction& report) const override
    {
        requests.push_back(request);
        const Script script = scripts.front();
        scripts.pop_front();
        for (const FileSearchProgress& progress : script.reports) {
            report(progress);
            if (auto hook = std::exchange(afterFirstReport, nullptr)) hook();
        }
        return stop.stop_requested() ? Outcome(FileSearchOutcome::cancelled) : script.outcome;
    }

    mutable std::deque<Script> scripts;
    mutable std::function<void()> afterFirstReport;
    mutable std::vector<FileSearchRequest> requests;
};

FileSearchProgress progress(const QStringList& paths, qint64 total, bool finished = true,
                            FileSearchPhase phase = FileSearchPhase::recursive, qint64 skipped = 0, bool limited = false)
{
    std::vector<FileSearchResult> results;
    for (const QString& path : paths) results.push_back(FileSearchResult::make(path, false, std::nullopt));
    return {phase, std::move(results), total, skipped, limited, finished};
}

QStringList paths(const std::vector<FileSearchResult>& results)
{
    QStringList out;
    for (const FileSearchResult& result : results) out << result.url;
    return out;
}

class SearchSessionTest : public testing::Test {
protected:
    std::shared_ptr<ScriptedSearch> search = std::make_shared<ScriptedSearch>();
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    SearchSession session {"/f", std::nullopt, {search, executor, clock}};
};

} // namespace

TEST_F(SearchSessionTest, ANewSearchNeverShowsAResultOrStatusOfTheOneItReplaced)
{
    search->scripts = {{{progress({"/f/old"}, 1)}}, {{progress({"/f/new"}, 1)}}};
    session.setQuery("  old ");
    session.startSearch();
    executor->queue.front()(); // the old search has finished; its report and outcome are on their way
    executor->queue.pop_front();
    session.setQuery("new");
    session.startSearch();
    QCoreApplication::processEvents();
    EXPECT_TRUE(session.results().empty());
    EXPECT_TRUE(session.isSearching());
    EXPECT_EQ(session.statusText(), "Searching /f... 0s");

    executor->runAll();
    EXPECT_EQ(paths(session.results()), QStringList {"/f/new"});
    EXPECT_EQ(session.statusText(), "1 item, deep scan complete, 0s");
    ASSERT_EQ(search->requests.size(), 2u);
    EXPECT_EQ(search->requests[0], (FileSearchRequest {"old", FileSearchTarget::name, "/f", std::nullopt}));
}

TEST_F(SearchSessionTest, ABlankQueryEmptiesTheListAndAsksForOne)
{
    search->scripts = {{{progress({"/f/a", "/f/b"}, 2)}}};
    session.setQuery("a");
    session.startSearch();
    executor->runAll();
    ASSERT_EQ(session.results().size(), 2u);
    session.setSelectedResultID("/f/a");
    session.setQuery(" \n\t");
    session.startSearch();
    EXPECT_TRUE(session.results().empty());
    EXPECT_FALSE(session.selectedResultID());
    EXPECT_FALSE(session.isSearching());
    EXPECT_EQ(session.statusText(), SearchSession::kPromptStatus);
    EXPECT_TRUE(executor->queue.empty());
    EXPECT_EQ(session.title(), "Search");
}

TEST_F(SearchSessionTest, StoppingKeepsTheResultsFoundSoFar)
{
    search->scripts = {{{progress({"/f/1"}, 1, false), progress({"/f/2"}, 2)}}};
    search->afterFirstReport = [&] {
        QCoreApplication::processEvents();
        session.stopSearch(SearchSession::kStoppedStatus);
    };
    session.setQuery("x");
    session.startSearch();
    executor->runAll();
    EXPECT_EQ(paths(session.results()), QStringList {"/f/1"});
    EXPECT_FALSE(session.isSearching());
    EXPECT_EQ(session.statusText(), "Search stopped.");
}

TEST_F(SearchSessionTest, ChoosingTheSameScopeTwiceDoesNothingTheSecondTime)
{
    int folderChanges = 0;
    QObject::connect(&session, &SearchSession::folderChanged, [&] { ++folderChanges; });
    const FileSearchScope scope {"/data", "Data", "/data/"};
    session.selectScope(scope);
    EXPECT_EQ(session.folderURL(), "/data");
    EXPECT_EQ(session.statusText(), "Search in Data.");
    session.setQuery("q");
    session.startSearch();
    session.selectScope(scope);
    EXPECT_EQ(folderChanges, 1);
    EXPECT_TRUE(session.isSearching());

    session.setFolder("/elsewhere/./x");
    EXPECT_EQ(session.folderURL(), "/elsewhere/x");
    EXPECT_FALSE(session.isSearching());
    EXPECT_EQ(session.statusText(), "Folder changed. Start a new search.");
}

TEST_F(SearchSessionTest, TheStatusCountsTheSecondsWhileSearchingAndSumsUpAtTheEnd)
{
    search->scripts = {{{progress({"/f/a"}, 11, false), progress({"/f/b"}, 12, true, FileSearchPhase::recursive, 2)}},
                       {{progress({"/f/c"}, 1, true, FileSearchPhase::indexed, 0, true)}},
                       {{}, std::unexpected(FileNameSearchError::unreadableFolder("/f"))}};
    session.setQuery("a");
    session.startSearch();
    clock->advanceMilliseconds(1000);
    EXPECT_EQ(session.statusText(), "Searching /f... 1s");
    clock->advanceMilliseconds(2500);
    EXPECT_EQ(session.statusText(), "Searching /f... 3s");
    executor->runAll();
    EXPECT_EQ(session.statusText(), "12 items, 2 skipped, deep scan complete, 3s");
    clock->advanceMilliseconds(5000);
    EXPECT_EQ(session.elapsedSearchTime(), 3.5); // the timer stopped with the search

    session.startSearch();
    executor->runAll();
    EXPECT_EQ(session.statusText(), "1 item, limited, fast search complete, 0s");
    session.startSearch();
    executor->runAll();
    EXPECT_EQ(session.statusText(), "Cannot search /f.");
}

TEST(SearchSession, ElapsedTimeIsShownInWholeSecondsAndMinutes)
{
    const std::pair<double, const char*> times[] = {{0, "0s"}, {59.9, "59s"}, {60, "1m 00s"}, {125.7, "2m 05s"},
                                                    {-4, "0s"}, {3600, "60m 00s"}};
    for (const auto& [seconds, text] : times) EXPECT_EQ(SearchSession::formatElapsedSearchTime(seconds), text) << seconds;
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
