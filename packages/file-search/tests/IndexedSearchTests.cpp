#include "SearchTestSupport.h"

#include "PathKit/FilePaths.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QSet>
#include <QStandardPaths>

#include <cerrno>
#include <csignal>
#include <future>

namespace {

// A tree, a real index of it, and a service that trusts the index for the tree.
class IndexedTree : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_FALSE(QStandardPaths::findExecutable("updatedb").isEmpty()) << "plocate is needed: scripts/install-deps";
        tree.file("inside/Zebra.txt");
        tree.file("inside/deep/zebra-deep");
        tree.file("inside/stale zebra");
        tree.file("inside/a-zebra-dash");
        tree.folder("inside/zebras");
        tree.file("outside/zebra elsewhere");
        index();
    }

    void index()
    {
        QProcess updatedb;
        updatedb.start("updatedb", {"-l", "0", "-U", tree.path(), "-o", database()});
        ASSERT_TRUE(updatedb.waitForFinished(30000));
        ASSERT_EQ(updatedb.exitCode(), 0) << updatedb.readAllStandardError().constData();
    }

    QString database() const { return databaseFolder.path() + "/index.db"; }

    FileNameSearchService service(const QString& home, const QString& program = "plocate") const
    {
        FileNameSearchService::Configuration configuration;
        configuration.locateProgram = program;
        configuration.locateDatabase = database();
        configuration.homeFolder = home;
        return FileNameSearchService(configuration);
    }

    SearchTestTree tree;
    QTemporaryDir databaseFolder;
};

} // namespace

TEST_F(IndexedTree, TheIndexAnswersFirstAndTheWalkAddsOnlyWhatItMissed)
{
    ::unlink(tree.native("inside/stale zebra").constData()); // in the index, gone from disk
    tree.file("inside/new zebra");                           // on disk, not yet in the index
    tree.file("inside/z\xC3\xA9" "bra accent");              // the index ignores case only
    const QString folder = tree / "inside";
    const SearchRun run = runSearch(service(tree.path()), {"ZEBRA", FileSearchTarget::name, folder, std::nullopt});
    ASSERT_TRUE(run.outcome.has_value());

    EXPECT_EQ(run.relativePaths(folder, FileSearchPhase::indexed),
              (QStringList {"Zebra.txt", "a-zebra-dash", "deep/zebra-deep", "zebras"}));
    EXPECT_EQ(run.relativePaths(folder, FileSearchPhase::recursive),
              (QStringList {"new zebra", QString::fromUtf8("z\xC3\xA9" "bra accent")}));
    ASSERT_GE(run.reports.size(), 2u);
    EXPECT_EQ(run.reports.front().phase, FileSearchPhase::indexed);
    EXPECT_EQ(run.reports.back().totalResultCount, 6);
    const auto all = run.results();
    const auto folderResult = std::find_if(all.begin(), all.end(), [](auto& r) { return r.name == "zebras"; });
    ASSERT_NE(folderResult, all.end());
    EXPECT_EQ(*folderResult, FileSearchResult::make(folder + "/zebras", true, QStringLiteral("Folder")));
}

TEST_F(IndexedTree, OnlyFoldersTheIndexCoversAskIt)
{
    // The index covers the home folder and below; elsewhere the walk alone answers.
    const FileSearchRequest request {"zebra", FileSearchTarget::name, tree / "inside", std::nullopt};
    const SearchRun outside = runSearch(service(tree / "outside"), request);
    EXPECT_TRUE(outside.relativePaths(tree / "inside", FileSearchPhase::indexed).isEmpty());
    EXPECT_EQ(outside.results().size(), 5u);
    EXPECT_TRUE(service(tree.path()).shouldUseIndexedSearch(tree / "inside"));
    EXPECT_TRUE(service(tree.path()).shouldUseIndexedSearch("/"));
    EXPECT_FALSE(service(tree.path()).shouldUseIndexedSearch(tree.path() + "x"));
    EXPECT_FALSE(service(tree.path(), "no-such-locate-tool").shouldUseIndexedSearch(tree.path()));
}

TEST_F(IndexedTree, AFailingIndexLeavesTheWalksResultsAndNoError)
{
    tree.file("garbage.db", QByteArray(4096, 'g'));
    FileNameSearchService::Configuration configuration;
    configuration.locateDatabase = tree / "garbage.db";
    configuration.homeFolder = tree.path();
    const SearchRun run = runSearch(FileNameSearchService(configuration),
                                    {"-zebra", FileSearchTarget::name, tree.path(), std::nullopt});
    ASSERT_TRUE(run.outcome.has_value());
    EXPECT_EQ(run.relativePaths(tree.path()), QStringList {"inside/a-zebra-dash"});
    EXPECT_TRUE(run.reports.back().isFinished);
}

TEST_F(IndexedTree, AQueryStartingWithADashIsAQueryAndTheLimitEndsTheIndexPass)
{
    const SearchRun dash = runSearch(service(tree.path()), {"-ZEBRA-", FileSearchTarget::name, tree.path(), std::nullopt});
    EXPECT_EQ(dash.relativePaths(tree.path(), FileSearchPhase::indexed), QStringList {"inside/a-zebra-dash"});

    const SearchRun limited = runSearch(service(tree.path()), {"zebra", FileSearchTarget::name, tree.path(), 2});
    ASSERT_TRUE(limited.outcome.has_value());
    ASSERT_EQ(limited.reports.size(), 1u);
    EXPECT_EQ(limited.reports[0].phase, FileSearchPhase::indexed);
    EXPECT_EQ(limited.reports[0].newResults.size(), 2u);
    EXPECT_TRUE(limited.reports[0].didReachLimit && limited.reports[0].isFinished);
}

TEST_F(IndexedTree, AStopEndsAToolThatHangsAtOnceAndReapsIt)
{
    // A stand-in for an index tool that never answers.
    const QString pidFile = tree / "tool.pid";
    tree.file("hanging-locate", ("#!/bin/sh\necho $$ > '" + FilePaths::toNative(pidFile) + "'\nexec sleep 60\n"));
    ::chmod(tree.native("hanging-locate").constData(), 0755);
    const FileNameSearchService hanging = service(tree.path(), tree / "hanging-locate");
    std::stop_source stop;
    auto search = std::async(std::launch::async, [&] {
        return runSearch(hanging, {"zebra", FileSearchTarget::name, tree.path(), std::nullopt}, stop.get_token());
    });
    pid_t pid = 0;
    for (int tries = 0; tries < 500 && pid == 0; ++tries) {
        QFile file(pidFile);
        if (file.open(QIODevice::ReadOnly)) pid = file.readAll().trimmed().toInt();
        if (pid == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_GT(pid, 0);
    stop.request_stop();
    ASSERT_EQ(search.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    const SearchRun run = search.get();
    ASSERT_TRUE(run.outcome.has_value());
    EXPECT_EQ(*run.outcome, FileSearchOutcome::cancelled);
    EXPECT_TRUE(run.reports.empty());
    // Reaped, not only ended: a zombie would still answer.
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}
