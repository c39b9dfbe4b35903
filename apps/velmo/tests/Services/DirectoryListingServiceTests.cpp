#include "PathKit/FilePaths.h"
#include "Services/DirectoryListingService.h"
#include "Services/InlineFolderProbe.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QMimeDatabase>

#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::map<QString, FileEntry> byName(const std::vector<FileEntry>& entries)
{
    std::map<QString, FileEntry> out;
    for (const auto& entry : entries) out[entry.name] = entry;
    return out;
}

void writeNative(const QString& folder, const QByteArray& name)
{
    TestTree::writeFile(folder + '/' + FilePaths::fromNative(name), {});
}

} // namespace

TEST(DirectoryListingService, ListsEveryItemWithItsAttributes)
{
    TemporaryFolder tmp;
    tmp.file("file2.txt", "12345");
    tmp.folder("Sub");
    tmp.file(".profile");
    tmp.link("to-sub", "Sub");
    tmp.link("absolute", tmp.path() + "/Sub");
    tmp.link("self", "self");
    tmp.link("dangling", "missing-target");
    writeNative(tmp.path(), "bad\xff\xfename");
    writeNative(tmp.path(), "line\nbreak");
    writeNative(tmp.path(), "-dash");
    // A pipe named ".hidden" must not hold up the listing that looks for the list.
    ASSERT_EQ(::mkfifo(FilePaths::toNative(tmp.path() + "/.hidden").constData(), 0644), 0);

    DirectoryListingService service;
    auto result = service.listNow(tmp.path() + "/", true);
    ASSERT_TRUE(result);
    auto entries = byName(*result);
    ASSERT_EQ(entries.size(), 11u);
    EXPECT_FALSE(entries[".hidden"].byteSize);

    const FileEntry& file = entries["file2.txt"];
    EXPECT_EQ(file.id, tmp.path() + "/file2.txt");
    EXPECT_EQ(file.byteSize, 5);
    EXPECT_TRUE(file.modificationDate);

    EXPECT_TRUE(entries["Sub"].isDirectory);
    EXPECT_FALSE(entries["Sub"].byteSize);
    EXPECT_EQ(entries["Sub"].localizedKind, QString("Folder"));
    EXPECT_TRUE(entries[".profile"].isHidden);

    const FileEntry& link = entries["to-sub"];
    EXPECT_TRUE(link.isSymbolicLink);
    EXPECT_FALSE(link.isDirectory);
    EXPECT_EQ(link.resolvedURL, tmp.path() + "/Sub");
    EXPECT_TRUE(link.resolvedIsDirectory);
    EXPECT_EQ(link.byteSize, 3); // the link itself: its target's name
    EXPECT_EQ(link.dropDestinationDirectoryURL(), tmp.path() + "/Sub");
    EXPECT_EQ(entries["absolute"].resolvedURL, tmp.path() + "/Sub");
    EXPECT_FALSE(entries["self"].resolvedURL);
    EXPECT_EQ(entries["dangling"].resolvedURL, tmp.path() + "/missing-target");
    EXPECT_FALSE(entries["dangling"].resolvedIsDirectory);

    // Names that are not UTF-8 survive the round trip to bytes.
    const QString bad = FilePaths::fromNative(QByteArray("bad\xff\xfename"));
    ASSERT_TRUE(entries.count(bad));
    EXPECT_EQ(FilePaths::toNative(entries[bad].id), FilePaths::toNative(tmp.path()) + "/bad\xff\xfename");
    EXPECT_TRUE(entries.count("line\nbreak"));
    EXPECT_TRUE(entries.count("-dash"));
}

TEST(DirectoryListingService, HiddenItemsFollowTheDotRuleAndTheHiddenFile)
{
    TemporaryFolder tmp;
    tmp.file("visible");
    tmp.file("secret");
    tmp.file(".dotted");
    tmp.file(".hidden", "secret\nnot-there\n");
    DirectoryListingService service;
    auto shown = service.listNow(tmp.path(), false);
    ASSERT_TRUE(shown);
    EXPECT_EQ(byName(*shown).size(), 1u);
    auto all = service.listNow(tmp.path(), true);
    ASSERT_TRUE(all);
    auto entries = byName(*all);
    EXPECT_EQ(entries.size(), 4u);
    EXPECT_TRUE(entries["secret"].isHidden);
    EXPECT_FALSE(entries["visible"].isHidden);
}

TEST(DirectoryListingService, ReportsWhyAFolderCannotBeListed)
{
    TemporaryFolder tmp;
    const QString file = tmp.file("plain");
    const QString locked = tmp.folder("locked");
    tmp.file("locked/inside");
    ::chmod(FilePaths::toNative(tmp.path()).constData(), 0755);
    ::chmod(FilePaths::toNative(locked).constData(), 0);
    DirectoryListingService service;
    using E = DirectoryListingError;
    EXPECT_EQ(service.listNow(file, false).error(), (E {E::NotDirectory {file}}));
    EXPECT_EQ(service.listNow(tmp.path() + "/missing", false).error(), (E {E::NotDirectory {tmp.path() + "/missing"}}));
    // Root reads everything: the listing runs on a thread whose file-system ids are nobody's.
    std::thread([&] {
        ::setfsgid(65534);
        ::setfsuid(65534);
        EXPECT_EQ(service.listNow(locked, false).error(), (E {E::AccessDenied {locked}}));
    }).join();
}

TEST(DirectoryListingService, BundleVersionsAreReadOnceAndOnlyForBundles)
{
    TemporaryFolder tmp;
    tmp.file("Tool.app/Contents/Info.plist",
             "<plist><dict><key>CFBundleShortVersionString</key><integer>3</integer>"
             "<key>CFBundleVersion</key><string>3.1</string></dict></plist>");
    tmp.file("Shout.APP/Contents/Info.plist",
             "<plist><dict><key>CFBundleVersion</key><string>9</string></dict></plist>");
    tmp.folder("Empty.app");
    // A pipe in place of Info.plist would hold the listing until a writer came.
    tmp.folder("Pipe.app/Contents");
    ASSERT_EQ(::mkfifo(FilePaths::toNative(tmp.path() + "/Pipe.app/Contents/Info.plist").constData(), 0644), 0);
    DirectoryListingService service;
    auto first = byName(*service.listNow(tmp.path(), false));
    EXPECT_EQ(first["Tool.app"].version, QString("3.1"));
    EXPECT_TRUE(first["Tool.app"].isPackage);
    EXPECT_FALSE(first["Shout.APP"].version);
    EXPECT_FALSE(first["Empty.app"].version);
    EXPECT_FALSE(first["Pipe.app"].version);

    // Known versions and known absences are never read again by this service.
    tmp.file("Empty.app/Contents/Info.plist", "<plist><dict><key>CFBundleVersion</key><string>1</string></dict></plist>");
    tmp.file("Tool.app/Contents/Info.plist", "<plist><dict><key>CFBundleVersion</key><string>4</string></dict></plist>");
    auto second = byName(*service.listNow(tmp.path(), false));
    EXPECT_FALSE(second["Empty.app"].version);
    EXPECT_EQ(second["Tool.app"].version, QString("3.1"));
    EXPECT_EQ(byName(*DirectoryListingService().listNow(tmp.path(), false))["Empty.app"].version, QString("1"));
}

TEST(DirectoryListingService, KindsAreThoseOfEachWholeNameOnBothThreads)
{
    // Most kinds follow from a name's suffix, but some names are known whole
    // ("CMakeLists.txt", "README.md"): neither may lend its kind to the others.
    TemporaryFolder tmp;
    const QStringList special {"CMakeLists.txt", "README.md", "notes.md", "Makefile", "Makefile.am", "x.am",
                               "draft.txt~", "001.vdr", ".config.json", "libz.so.1", "archive.tar.gz", "noextension",
                               "core",          "1a2b3c4d"};
    for (const QString& name : special) tmp.file(name);
    const int count = DirectoryListingService::kParallelThreshold + 7;
    for (int i = int(special.size()); i < count; ++i) writeNative(tmp.path(), "item-" + QByteArray::number(i) + ".txt");

    auto result = DirectoryListingService().listNow(tmp.path(), true);
    ASSERT_TRUE(result);
    ASSERT_EQ(int(result->size()), count);
    const QMimeDatabase database;
    QSet<QString> ids;
    for (const auto& entry : *result) {
        ids.insert(entry.id);
        EXPECT_EQ(entry.localizedKind, database.mimeTypeForFile(entry.name, QMimeDatabase::MatchExtension).comment())
            << entry.name.toStdString();
    }
    EXPECT_EQ(ids.size(), count);
}

TEST(DirectoryListingService, SystemFoldersListWithoutTrouble)
{
    DirectoryListingService service;
    for (const char* path : {"/proc", "/sys/class", "/dev"}) {
        auto result = service.listNow(QString::fromLatin1(path), true);
        ASSERT_TRUE(result && !result->empty()) << path;
    }
    EXPECT_FALSE(byName(*service.listNow("/dev", true)).at("null").byteSize);
}

TEST(DirectoryListingService, DeliversThroughTheInterfaceUnlessCancelled)
{
    TemporaryFolder tmp;
    tmp.file("a");
    DirectoryListingService service;
    QObject context;
    std::optional<DirectoryListingProviding::Result> received;
    service.list(tmp.path(), false, TaskHandle::make(), &context,
                 [&](DirectoryListingProviding::Result result) { received = std::move(result); });
    ASSERT_TRUE(waitUntil([&] { return received.has_value(); }));
    EXPECT_EQ((*received)->size(), 1u);

    // Calls run and deliver in order: once a later call is in, a cancelled one
    // before it has had its chance.
    bool late = false;
    TaskHandle cancelled = TaskHandle::make();
    cancelled.cancel();
    service.list(tmp.path(), false, cancelled, &context, [&](DirectoryListingProviding::Result) { late = true; });
    received.reset();
    service.list(tmp.path(), false, TaskHandle::make(), &context,
                 [&](DirectoryListingProviding::Result result) { received = std::move(result); });
    ASSERT_TRUE(waitUntil([&] { return received.has_value(); }));
    EXPECT_FALSE(late);
}

TEST(DirectoryListingService, GoesAwayAtOnceWhileAListingRuns)
{
    // A pane closing while its listing runs (perhaps stuck on a dead network
    // mount) must not wait for it, nor pull the bundle caches from under it.
    TemporaryFolder tmp;
    tmp.file("Tool.app/Contents/Info.plist", "<plist><dict><key>CFBundleVersion</key><string>2</string></dict></plist>");
    for (int i = 0; i < 3000; ++i) writeNative(tmp.path(), "item-" + QByteArray::number(i));
    auto service = std::make_unique<DirectoryListingService>();
    ASSERT_TRUE(service->listNow(tmp.path(), false)); // the caches now hold something

    // The folder's opening says the listing has begun.
    const int events = ::inotify_init1(IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(events, FilePaths::toNative(tmp.path()).constData(), IN_OPEN), 0);
    QObject context;
    std::optional<DirectoryListingProviding::Result> received;
    service->list(tmp.path(), false, TaskHandle::make(), &context,
                  [&](DirectoryListingProviding::Result result) { received = std::move(result); });
    pollfd started {events, POLLIN, 0};
    ASSERT_EQ(::poll(&started, 1, 10'000), 1);
    ::close(events);
    service.reset();
    // The listing finishes on its own; its result is the task's business.
    ASSERT_TRUE(waitUntil([&] { return received.has_value(); }, 30'000));
    EXPECT_EQ(byName(received->value())["Tool.app"].version, QString("2"));
}

TEST(InlineFolderProbe, AnswersWhetherAnythingIsOnShow)
{
    TemporaryFolder tmp;
    tmp.folder("empty");
    tmp.file("dots/.only");
    tmp.file("full/a");
    tmp.file("listed/secret");
    tmp.file("listed/.hidden", "secret\n");
    EXPECT_FALSE(InlineFolderProbe::hasVisibleChildren(tmp.path() + "/listed", false));
    EXPECT_TRUE(InlineFolderProbe::hasVisibleChildren(tmp.path() + "/listed", true));
    EXPECT_FALSE(InlineFolderProbe::hasVisibleChildren(tmp.path() + "/empty", true));
    EXPECT_FALSE(InlineFolderProbe::hasVisibleChildren(tmp.path() + "/dots", false));
    EXPECT_TRUE(InlineFolderProbe::hasVisibleChildren(tmp.path() + "/dots", true));
    EXPECT_TRUE(InlineFolderProbe::hasVisibleChildren(tmp.path() + "/full", false));
    EXPECT_FALSE(InlineFolderProbe::hasVisibleChildren(tmp.path() + "/missing", true));
}
