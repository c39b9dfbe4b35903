#include "SearchTestSupport.h"

#include "PathKit/FilePaths.h"

#include <gtest/gtest.h>

#include <QSet>

#include <cstdio>
#include <sys/stat.h>

namespace {

FileSearchRequest request(const SearchTestTree& tree, const QString& query, FileSearchTarget target = FileSearchTarget::name)
{
    return {query, target, tree.path(), std::nullopt};
}

QByteArray utf16LittleEndian(const QString& text)
{
    QByteArray bytes("\xFF\xFE", 2);
    for (QChar ch : text) bytes.append(char(ch.unicode() & 0xFF)).append(char(ch.unicode() >> 8));
    return bytes;
}

} // namespace

// ---------------------------------------------------------------- names

struct NameCase {
    const char* query;
    QStringList expected;
};

class NameMatching : public testing::TestWithParam<NameCase> { };

TEST_P(NameMatching, IgnoresCaseDiacriticsAndWidth)
{
    SearchTestTree tree;
    tree.file("RESUME.txt");
    tree.file("docs/r\xC3\xA9sum\xC3\xA9 2024.md");                    // résumé, precomposed
    tree.file("docs/re\xCC\x81sume\xCC\x81.txt");                       // résumé, combining accents
    tree.file("\xEF\xBC\xB2\xEF\xBD\x85\xEF\xBD\x93\xEF\xBD\x95\xEF\xBD\x8D\xEF\xBD\x85"); // Ｒｅｓｕｍｅ
    tree.file(".resume-hidden");
    tree.file("Stra\xC3\x9F" "e.txt");                                    // Straße
    tree.file("results.txt");
    tree.folder("Resumes/inner");
    const SearchRun run = runSearch(walkingService(), request(tree, QString::fromUtf8(GetParam().query)));
    ASSERT_TRUE(run.outcome.has_value());
    QStringList expected = GetParam().expected;
    expected.sort();
    EXPECT_EQ(run.relativePaths(tree.path()), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Walk, NameMatching,
    testing::Values(
        NameCase {"r\xC3\xA9sum\xC3\xA9",
                  {"RESUME.txt", QString::fromUtf8("docs/r\xC3\xA9sum\xC3\xA9 2024.md"),
                   QString::fromUtf8("docs/re\xCC\x81sume\xCC\x81.txt"),
                   QString::fromUtf8("\xEF\xBC\xB2\xEF\xBD\x85\xEF\xBD\x93\xEF\xBD\x95\xEF\xBD\x8D\xEF\xBD\x85"),
                   ".resume-hidden", "Resumes"}},
        NameCase {"ESUMES", {"Resumes"}},
        NameCase {"strasse", {QString::fromUtf8("Stra\xC3\x9F" "e.txt")}},
        NameCase {"\xEF\xBD\x94\xEF\xBD\x98\xEF\xBD\x94", // ｔｘｔ finds every .txt
                  {"RESUME.txt", QString::fromUtf8("docs/re\xCC\x81sume\xCC\x81.txt"),
                   QString::fromUtf8("Stra\xC3\x9F" "e.txt"), "results.txt"}},
        NameCase {"", {}}));

TEST(WalkSearch, NamesThatAreNotUtf8OrHoldNewlinesAreFoundWithTheirBytes)
{
    SearchTestTree tree;
    tree.file("zebra\xFF.bin");
    tree.file("two\nline zebra");
    tree.file("\xFFzebra\xFE/inside zebra");
    const SearchRun run = runSearch(walkingService(), request(tree, "ZEBRA"));
    QSet<QByteArray> found;
    for (const FileSearchResult& result : run.results()) found.insert(FilePaths::toNative(result.url));
    EXPECT_EQ(found, (QSet<QByteArray> {tree.native("zebra\xFF.bin"), tree.native("two\nline zebra"),
                                        tree.native("\xFFzebra\xFE"), tree.native("\xFFzebra\xFE/inside zebra")}));
}

// ---------------------------------------------------------------- contents

TEST(WalkSearch, ContentIsSearchedInTextUpToFiveMebibytes)
{
    SearchTestTree tree;
    const QByteArray filler(4096, 'a');
    tree.file("plain.txt", filler + "A QUOKKA!");
    tree.file("accent.md", "the quo\xCC\x88kka and qu\xC3\xB6kka");
    tree.file("wide.csv", "\xEF\xBD\x91\xEF\xBD\x95\xEF\xBD\x8F\xEF\xBD\x8B\xEF\xBD\x8B\xEF\xBD\x81"); // ｑｕｏｋｋａ
    tree.file("utf16.txt", utf16LittleEndian("Quokka \u00e9t\u00e9"));
    tree.file("settings.ini", "name=quokka\n");           // a type only the content tells
    tree.file("quokka.jpg", "quokka");                    // a type that is not text
    tree.file("blob.dat", QByteArray("\0\1quokka", 8));   // says nothing, and is binary
    tree.file("nul.txt", QByteArray("quokka\0", 7));      // text by name, binary by content
    tree.file("broken.txt", "quokka \xC3\x28");          // not UTF-8
    QByteArray exact(int(FileNameSearchService::kMaximumContentBytes) - 6, 'x');
    tree.file("exact.txt", exact + "quokka");
    tree.file("over.txt", exact + "quokkas");
    ::symlink("plain.txt", tree.native("link.txt").constData());
    ASSERT_EQ(::mkfifo(tree.native("pipe.txt").constData(), 0644), 0);

    const QStringList byContent {"accent.md", "exact.txt", "plain.txt", "settings.ini", "utf16.txt", "wide.csv"};
    const SearchRun run = runSearch(walkingService(), request(tree, "quokka", FileSearchTarget::content));
    ASSERT_TRUE(run.outcome.has_value());
    EXPECT_EQ(run.relativePaths(tree.path()), byContent);
    const SearchRun both = runSearch(walkingService(), request(tree, "Quokka", FileSearchTarget::nameAndContent));
    QStringList byEither = byContent;
    byEither.insert(3, "quokka.jpg");
    EXPECT_EQ(both.relativePaths(tree.path()), byEither);
}

// ---------------------------------------------------------------- reports

TEST(WalkSearch, ReportsComeInBatchesOf25UntilTheLastOrTheLimit)
{
    SearchTestTree tree;
    for (int i = 0; i < 60; ++i) tree.file(QStringLiteral("f%1/match %2").arg(i % 7).arg(i).toUtf8());
    const SearchRun run = runSearch(walkingService(), request(tree, "match"));
    std::vector<std::pair<std::size_t, qint64>> batches;
    for (const FileSearchProgress& report : run.reports) {
        batches.emplace_back(report.newResults.size(), report.totalResultCount);
        EXPECT_EQ(report.isFinished, &report == &run.reports.back());
        EXPECT_FALSE(report.didReachLimit);
    }
    EXPECT_EQ(batches, (std::vector<std::pair<std::size_t, qint64>> {{25, 25}, {25, 50}, {10, 60}}));

    const SearchRun limited = runSearch(walkingService(), {"match", FileSearchTarget::name, tree.path(), 30});
    ASSERT_TRUE(limited.outcome.has_value());
    ASSERT_EQ(limited.reports.size(), 2u);
    EXPECT_EQ(limited.reports[1].newResults.size(), 5u);
    EXPECT_TRUE(limited.reports[1].didReachLimit && limited.reports[1].isFinished);
    EXPECT_EQ(limited.reports[1].totalResultCount, 30);
}

TEST(WalkSearch, AStopEndsTheWalkWithoutAFinalReport)
{
    SearchTestTree tree;
    for (int i = 0; i < 300; ++i) tree.file(QStringLiteral("f%1/match %2").arg(i % 30).arg(i).toUtf8());
    std::stop_source stop;
    const SearchRun run = runSearch(walkingService(), request(tree, "match"), stop.get_token(),
                                    [&](const FileSearchProgress&) { stop.request_stop(); });
    ASSERT_TRUE(run.outcome.has_value());
    EXPECT_EQ(*run.outcome, FileSearchOutcome::cancelled);
    for (const FileSearchProgress& report : run.reports) EXPECT_FALSE(report.isFinished);
    EXPECT_LT(run.results().size(), 300u);
}

// ---------------------------------------------------------------- trouble

TEST(WalkSearch, AFolderThatCannotBeSearchedIsTheOnlyError)
{
    SearchTestTree tree;
    tree.file("file.txt");
    for (const QString& folder : {tree / "missing", tree / "file.txt"}) {
        const SearchRun run = runSearch(walkingService(), {"x", FileSearchTarget::name, folder, std::nullopt});
        ASSERT_FALSE(run.outcome.has_value());
        EXPECT_EQ(run.outcome.error().errorDescription(), "Cannot search " + folder + ".");
        EXPECT_TRUE(run.reports.empty());
    }
    // A pseudo file system holds nothing to find.
    const SearchRun proc = runSearch(walkingService(), {"self", FileSearchTarget::name, "/proc", std::nullopt});
    ASSERT_TRUE(proc.outcome.has_value());
    EXPECT_TRUE(proc.results().empty());
}

TEST(WalkSearch, UnreadableFoldersAreSkippedAndTheWalkGoesOn)
{
    SearchTestTree tree;
    tree.file("open/match one");
    tree.file("locked/match two");
    tree.folder("locked", 0);
    tree.file("closed/match three");
    tree.folder("closed", 0);
    const QString root = tree.path();
    const int status = runAsNobody([&] {
        const SearchRun run = runSearch(walkingService(), {"match", FileSearchTarget::name, root, std::nullopt});
        const SearchRun top = runSearch(walkingService(), {"match", FileSearchTarget::name, root + "/locked", std::nullopt});
        return run.outcome && run.relativePaths(root) == QStringList {"open/match one"}
            && run.reports.back().skippedItemCount == 2 && !top.outcome
            && top.outcome.error() == FileNameSearchError::unreadableFolder(root + "/locked");
    });
    EXPECT_EQ(status, 0);
}

TEST(WalkSearch, FoldersThatVanishMidWalkAreNeitherFatalNorSkipped)
{
    SearchTestTree tree;
    for (int i = 0; i < 200; ++i) tree.file(QStringLiteral("d%1/match").arg(i, 3, 10, QChar(u'0')).toUtf8());
    // One thread, so the walk waits while the first report removes every folder not yet
    // reported; those it still has queued are then gone.
    const SearchRun run = runSearch(walkingService(1), request(tree, "match"), {}, [&](const FileSearchProgress& report) {
        if (report.totalResultCount != 25) return;
        QSet<QString> reported;
        for (const FileSearchResult& result : report.newResults) reported.insert(result.parentPath);
        for (int i = 0; i < 200; ++i) {
            const QString folder = tree / QStringLiteral("d%1").arg(i, 3, 10, QChar(u'0'));
            if (reported.contains(folder)) continue;
            std::remove(FilePaths::toNative(folder + "/match").constData());
            ::rmdir(FilePaths::toNative(folder).constData());
        }
    });
    ASSERT_TRUE(run.outcome.has_value());
    EXPECT_EQ(run.reports.back().totalResultCount, 25);
    EXPECT_EQ(run.reports.back().skippedItemCount, 0);
    EXPECT_TRUE(run.reports.back().isFinished);
}
