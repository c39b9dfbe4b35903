#include "PathKit/FilePaths.h"
#include "Services/SelectionSize.h"
#include "TestSupport.h"

#include <QProcess>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// The bytes and count of regular files below `folder` as find(1) sees them,
// an independent reference for the walker.
std::pair<qint64, qint64> findRegularFiles(const QString& folder)
{
    QProcess find;
    find.start(QStringLiteral("find"), {folder, QStringLiteral("-type"), QStringLiteral("f"), QStringLiteral("-printf"),
                                        QStringLiteral("%s\n")});
    find.waitForFinished(30'000);
    qint64 bytes = 0, count = 0;
    for (const QByteArray& line : find.readAllStandardOutput().split('\n'))
        if (!line.isEmpty()) {
            bytes += line.toLongLong();
            ++count;
        }
    return {bytes, count};
}

// A clock that moves on by one millisecond each time it is read.
class TickingClock final : public MonotonicClock {
public:
    quint64 uptimeNanoseconds() const override { return now += 1'000'000; }
    void runAfter(quint64, QObject*, std::function<void()>) override { }
    mutable quint64 now = 0;
};

void fill(const TemporaryFolder& tmp, const QString& folder, int files)
{
    for (int i = 0; i < files; ++i) tmp.file(folder + QStringLiteral("/f%1").arg(i), "x");
}

} // namespace

TEST(SelectionSize, CountsRegularFilesLikeFindAndReportsProgressEvery32Files)
{
    TemporaryFolder tmp;
    tmp.file("a.txt", QByteArray(1500, 'a'));
    tmp.file(".hidden/inside", QByteArray(70, 'h'));
    tmp.file("Tool.app/Contents/Info.plist", QByteArray(300, 'p')); // package insides count
    tmp.file("empty");
    fill(tmp, "many", 100);
    // Deeper than any recursion would like, and each level holds a file.
    QString deep = QStringLiteral("d");
    for (int level = 0; level < 300; ++level, deep += QStringLiteral("/d")) tmp.file(deep + "/f", "12");
    // Links count nothing and are never followed, to a file or to a folder.
    TemporaryFolder outside;
    outside.file("big", QByteArray(100'000, 'b'));
    tmp.link("toBig", outside / "big");
    tmp.link("toOutside", outside.path());
    tmp.link("dangling", tmp / "nowhere");
    ::mkfifo(FilePaths::toNative(tmp / "pipe").constData(), 0644);

    std::vector<qint64> reports;
    ManualClock clock;
    const auto result = SelectionSize::totalProgress(tmp.path(), std::nullopt, clock, {},
                                                     [&](const SelectionSize::Progress& p) { reports.push_back(p.scannedItemCount); });
    ASSERT_TRUE(result.has_value());
    const auto [bytes, count] = findRegularFiles(tmp.path());
    EXPECT_EQ(count, 1 + 1 + 1 + 1 + 100 + 300);
    EXPECT_EQ(result->progress.totalBytes, bytes);
    EXPECT_EQ(result->progress.scannedItemCount, count);
    EXPECT_FALSE(result->budgetExceeded());
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.front(), 1);
    for (std::size_t i = 1; i < reports.size(); ++i) EXPECT_GE(reports[i] - reports[i - 1], 32);
    EXPECT_EQ(qint64(reports.size()), 1 + (count - 1) / 32);
}

TEST(SelectionSize, BudgetCountsFoldersAndFilesAndStopsOnTime)
{
    TemporaryFolder tmp;
    fill(tmp, "sub", 499); // 499 files and their folder: 500 items, just inside
    const SelectionSize::Budget budget {500, 200'000'000};
    ManualClock still;
    auto inside = SelectionSize::totalProgress(tmp.path(), budget, still);
    ASSERT_TRUE(inside.has_value());
    EXPECT_FALSE(inside->budgetExceeded());
    EXPECT_EQ(inside->progress.totalBytes, 499);

    tmp.file("one-more", "x");
    auto over = SelectionSize::totalProgress(tmp.path(), budget, still);
    ASSERT_TRUE(over.has_value());
    EXPECT_EQ(over->exceeded, SelectionSize::Limit::items);

    // 300 items under a clock that moves 1 ms per item: time runs out first.
    TemporaryFolder slow;
    fill(slow, "sub", 299);
    TickingClock ticking;
    auto timed = SelectionSize::totalProgress(slow.path(), budget, ticking);
    ASSERT_TRUE(timed.has_value());
    EXPECT_EQ(timed->exceeded, SelectionSize::Limit::time);
    EXPECT_LT(timed->progress.scannedItemCount, 299);

    std::stop_source stop;
    stop.request_stop();
    auto stopped = SelectionSize::totalProgress(slow.path(), std::nullopt, still, stop.get_token());
    ASSERT_TRUE(stopped.has_value());
    EXPECT_EQ(stopped->progress.scannedItemCount, 0);
}

TEST(SelectionSize, NeverEntersPseudoFileSystemsAndFailsOnlyAtTheTop)
{
    ManualClock clock;
    for (const char* pseudo : {"/proc", "/sys"}) {
        const auto result = SelectionSize::totalProgress(QString::fromLatin1(pseudo), std::nullopt, clock);
        ASSERT_TRUE(result.has_value()) << pseudo;
        EXPECT_EQ(result->progress.totalBytes, 0) << pseudo; // /proc/kcore alone claims terabytes
    }
    TemporaryFolder tmp;
    const QString file = tmp.file("plain", "abc");
    EXPECT_EQ(SelectionSize::totalProgress(file, std::nullopt, clock).error(), ENOTDIR);
    EXPECT_EQ(SelectionSize::totalProgress(tmp / "missing", std::nullopt, clock).error(), ENOENT);
    EXPECT_EQ(SelectionSize::contentCount(tmp / "missing", true).error(), ENOENT);
}

TEST(SelectionSize, UnreadableFoldersAreLeftOutBelowAndFailAtTheTop)
{
    // Root reads everything, so the walk runs in a child that drops to "nobody".
    TemporaryFolder tmp;
    tmp.file("open/readable", "1234");
    tmp.file("locked/secret", "123456789");
    ::chmod(FilePaths::toNative(tmp.path()).constData(), 0755);
    ::chmod(FilePaths::toNative(tmp / "open").constData(), 0755);
    ::chmod(FilePaths::toNative(tmp / "locked").constData(), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::getuid() == 0 && ::setresgid(65534, 65534, 65534) != 0) ::_exit(3);
        if (::getuid() == 0 && ::setresuid(65534, 65534, 65534) != 0) ::_exit(3);
        ManualClock clock;
        const auto whole = SelectionSize::totalProgress(tmp.path(), std::nullopt, clock);
        const auto locked = SelectionSize::totalProgress(tmp / "locked", std::nullopt, clock);
        const auto count = SelectionSize::contentCount(tmp / "locked", true);
        const bool ok = whole && whole->progress.totalBytes == 4 && !locked && locked.error() == EACCES && !count;
        ::_exit(ok ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::chmod(FilePaths::toNative(tmp / "locked").constData(), 0755);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(SelectionSize, ContentCountSplitsFilesAndFoldersAndHidesAsTheListDoes)
{
    TemporaryFolder tmp;
    tmp.file("a");
    tmp.file("b");
    tmp.folder("sub");
    tmp.folder("Tool.app");        // a package is a folder here
    tmp.link("toSub", tmp / "sub"); // a link is a file, wherever it points
    tmp.file(".dot");
    tmp.folder(".dotfolder");
    tmp.file("listed");
    tmp.file(".hidden", "listed\n");
    EXPECT_EQ(SelectionSize::contentCount(tmp.path(), false), (FolderContentCount {3, 2}));
    EXPECT_EQ(SelectionSize::contentCount(tmp.path(), true), (FolderContentCount {6, 3}));
}
