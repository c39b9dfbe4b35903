#include "PathKit/FilePaths.h"
#include "Services/ClipboardFilePasteboard.h"
#include "Services/InMemoryFilePasteboard.h"
#include "Services/WorkspaceFileActionService.h"
#include "Support/FileURIList.h"
#include "Support/SystemErrorText.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QRegularExpression>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray native(const QString& path)
{
    return FilePaths::toNative(path);
}

QString writeFile(const QString& path, const QByteArray& contents)
{
    TestTree::writeFile(path, contents);
    return path;
}

using TestTree::readFile;

std::optional<struct stat> status(const QString& path)
{
    struct stat out {};
    if (::lstat(native(path).constData(), &out) != 0) return std::nullopt;
    return out;
}

// The .trashinfo that belongs to an item in the trash.
QString recordOf(const QString& trashed)
{
    const QString trash = FilePaths::parent(FilePaths::parent(trashed));
    return trash + "/info/" + FilePaths::lastComponent(trashed) + ".trashinfo";
}

// The original path bytes a record keeps, checked for the layout every reader expects.
QByteArray recordedPath(const QString& trashed)
{
    static const QRegularExpression layout(
        QStringLiteral("^\\[Trash Info\\]\nPath=([^\n]*)\nDeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\n$"));
    const auto match = layout.match(QString::fromLatin1(readFile(recordOf(trashed))));
    EXPECT_TRUE(match.hasMatch()) << readFile(recordOf(trashed)).toStdString();
    return FileURIList::percentDecoded(match.captured(1).toLatin1());
}

class FileActions : public ::testing::Test {
protected:
    TemporaryFolder tmp;
    // Not there yet: the first trashed item makes it.
    QString homeTrash = tmp / "data/Trash";
    WorkspaceFileActionService service{std::make_shared<InMemoryFilePasteboard>(), FreedesktopTrash(homeTrash)};
};

} // namespace

TEST_F(FileActions, TrashAndRestoreBringBackContentTimesAndOddNamesEvenForTwins)
{
    const QString folder = tmp.folder("docs/Photos");
    writeFile(folder + "/inside.jpg", "jpeg");
    const QString file = writeFile(tmp.path() + FilePaths::fromNative("/docs/re\nport \xff%.txt"), "text");
    const struct timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, native(file).constData(), times, 0), 0);
    const QString twin = writeFile(tmp.folder("twin") + '/' + FilePaths::lastComponent(file), "twin");

    const auto trashed = service.moveToTrash({file, folder + "/", twin});
    ASSERT_TRUE(trashed) << trashed.error().localizedDescription().toStdString();
    ASSERT_EQ(trashed->size(), 3u);
    EXPECT_EQ((*trashed)[0], (TrashedItem{file, homeTrash + "/files/" + FilePaths::lastComponent(file)}));
    EXPECT_EQ((*trashed)[1].originalURL, folder);
    EXPECT_NE((*trashed)[2].trashedURL, (*trashed)[0].trashedURL);
    EXPECT_EQ(readFile((*trashed)[2].trashedURL), "twin");
    EXPECT_FALSE(status(file));
    EXPECT_EQ(status(homeTrash)->st_mode & 07777, 0700u);
    for (const TrashedItem& item : *trashed) EXPECT_EQ(recordedPath(item.trashedURL), native(item.originalURL));

    const auto restored = service.restoreTrashedItems(*trashed);
    ASSERT_TRUE(restored);
    EXPECT_EQ(*restored, QStringList({file, folder, twin}));
    EXPECT_EQ(readFile(file) + readFile(twin), "texttwin");
    EXPECT_EQ(status(file)->st_mtim.tv_sec, 1'000'000'000);
    EXPECT_EQ(readFile(folder + "/inside.jpg"), "jpeg");
    for (const TrashedItem& item : *trashed) {
        EXPECT_FALSE(status(item.trashedURL));
        EXPECT_FALSE(status(recordOf(item.trashedURL)));
    }
}

TEST_F(FileActions, RestoreNumbersATakenNameAndKeepsItemsWhoseFolderVanished)
{
    const QString taken = writeFile(tmp / "a.txt", "old");
    const QString gone = writeFile(tmp.folder("gone") + "/b.txt", "kept");
    const auto trashed = service.moveToTrash({taken, gone});
    ASSERT_TRUE(trashed);
    writeFile(taken, "new");
    ASSERT_EQ(::rmdir(native(tmp / "gone").constData()), 0);

    EXPECT_EQ(service.restoreTrashedItems({(*trashed)[0]}), QStringList({tmp / "a 2.txt"}));
    EXPECT_EQ(readFile(tmp / "a 2.txt"), "old");
    EXPECT_EQ(readFile(taken), "new");

    const auto failed = service.restoreTrashedItems({(*trashed)[1]});
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), (FileActionError{ENOENT, tmp / "gone"}));
    EXPECT_EQ(readFile((*trashed)[1].trashedURL), "kept");
    EXPECT_TRUE(status(recordOf((*trashed)[1].trashedURL)));
}

// Another volume gets the trash at its own top: a tmpfs mounted in a mount
// namespace of this thread's own, where the process may do so.
TEST_F(FileActions, ItemsOnAnotherVolumeGoToThatVolumesTrash)
{
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        GTEST_SKIP() << "no mount namespace here";
    const QString uid = QString::number(::getuid());
    struct Case {
        const char* sharedTrash; // what "$top/.Trash" is
        QString expectedTrash;   // relative to the top
    };
    const Case cases[] = {
        {"none", ".Trash-" + uid},
        {"sticky", ".Trash/" + uid},
        {"not sticky", ".Trash-" + uid},
        {"link to sticky", ".Trash-" + uid},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.sharedTrash);
        const QString top = tmp.folder(QString::fromLatin1(each.sharedTrash));
        ASSERT_EQ(::mount("tmpfs", native(top).constData(), "tmpfs", 0, "mode=0755"), 0);
        const QByteArray shared = native(top + "/.Trash");
        if (each.sharedTrash == QByteArrayView("sticky")) ::mkdir(shared.constData(), 01777);
        if (each.sharedTrash == QByteArrayView("not sticky")) ::mkdir(shared.constData(), 0777);
        if (each.sharedTrash == QByteArrayView("link to sticky")) {
            ::mkdir(native(top + "/elsewhere").constData(), 01777);
            ::symlink("elsewhere", shared.constData());
        }
        const QString file = writeFile(tmp.folder(QString::fromLatin1(each.sharedTrash) + "/sub") + "/a.txt", "a");

        const auto trashed = service.moveToTrash({file});
        ASSERT_TRUE(trashed) << trashed.error().localizedDescription().toStdString();
        EXPECT_EQ(trashed->front().trashedURL, top + '/' + each.expectedTrash + "/files/a.txt");
        EXPECT_EQ(recordedPath(trashed->front().trashedURL), "sub/a.txt");
        EXPECT_EQ(status(top + '/' + each.expectedTrash)->st_mode & 07777, 0700u);
        EXPECT_EQ(service.restoreTrashedItems(*trashed), QStringList({file}));
        ::umount2(native(top).constData(), MNT_DETACH);
    }
    EXPECT_FALSE(status(homeTrash));
}

TEST_F(FileActions, RenameNeverReplacesAndKeepsANameAName)
{
    const QString a = writeFile(tmp / "a.txt", "a");
    const QString b = writeFile(tmp / "b.txt", "b");
    writeFile(tmp / "c.txt", "c");
    writeFile(tmp / "C.txt", "C");

    // The same name: nothing to do, not even a look at the disk.
    EXPECT_EQ(service.rename(tmp / "ghost.txt", "ghost.txt"), tmp / "ghost.txt");
    EXPECT_EQ(service.rename(a, "A.txt"), tmp / "A.txt");
    EXPECT_EQ(readFile(tmp / "A.txt"), "a");
    EXPECT_EQ(service.rename(tmp / "A.txt", "b.txt"), std::unexpected(FileActionError{EEXIST, b}));
    // A change of case where the new name is another item: refused too.
    EXPECT_EQ(service.rename(tmp / "c.txt", "C.txt"), std::unexpected(FileActionError{EEXIST, tmp / "C.txt"}));
    for (const QString& name : {QStringLiteral("../escaped.txt"), QStringLiteral("x/y"), QStringLiteral(".."),
                                QString(), QStringLiteral("nul") + QChar(0) + "x"})
        EXPECT_EQ(service.rename(b, name), std::unexpected(FileActionError{EINVAL, b}));
    EXPECT_EQ(readFile(tmp / "A.txt") + readFile(b) + readFile(tmp / "c.txt") + readFile(tmp / "C.txt"), "abcC");
    EXPECT_FALSE(status(tmp / "escaped.txt"));
    EXPECT_FALSE(status(tmp.path() + "/nul"));
}

TEST_F(FileActions, CreationNeverTouchesWhatIsThere)
{
    const QString kept = writeFile(tmp / "kept.txt", "keep");
    const QString dangling = tmp.link("dangling", tmp / "target");
    ASSERT_TRUE(service.createFile(tmp / "new.txt"));
    EXPECT_EQ(status(tmp / "new.txt")->st_size, 0);
    EXPECT_EQ(service.createFile(kept), std::unexpected(FileActionError{EEXIST, kept}));
    EXPECT_EQ(readFile(kept), "keep");
    EXPECT_EQ(service.createFile(dangling), std::unexpected(FileActionError{EEXIST, dangling}));
    EXPECT_FALSE(status(tmp / "target"));

    ASSERT_TRUE(service.createDirectory(tmp / "New Folder"));
    EXPECT_TRUE(S_ISDIR(status(tmp / "New Folder")->st_mode));
    EXPECT_EQ(service.createDirectory(tmp / "New Folder"),
              std::unexpected(FileActionError{EEXIST, tmp / "New Folder"}));
    EXPECT_EQ(service.createDirectory(tmp / "missing/child"),
              std::unexpected(FileActionError{ENOENT, tmp / "missing/child"}));
}

TEST_F(FileActions, TerminalOpensInTheFolderOrTheItemsFolder)
{
    const QString folder = tmp.folder("dir");
    EXPECT_EQ(service.terminalTargetURL(folder + "/"), folder);
    EXPECT_EQ(service.terminalTargetURL(writeFile(folder + "/f", "")), folder);
    EXPECT_EQ(service.terminalTargetURL(folder + "/missing"), folder);
}

// The same cut and copy through the desktop clipboard and through the store of
// its own; `contents` shows what a reader of each sees.
struct PasteboardKind {
    const char* name;
    std::function<std::shared_ptr<FilePasteboardProviding>()> make;
    std::function<const QMimeData*(FilePasteboardProviding&)> contents;
};

class Pasteboards : public ::testing::TestWithParam<PasteboardKind> { };

TEST_P(Pasteboards, CutAndCopyAreReadBackAsWritten)
{
    auto pasteboard = GetParam().make();
    WorkspaceFileActionService service(pasteboard, FreedesktopTrash(QStringLiteral("/nonexistent/Trash")));
    const QString odd = FilePaths::fromNative("/tmp/a b/\xff\nname");
    const qint64 before = pasteboard->changeCount();

    ASSERT_TRUE(service.cutItemsToPasteboard({odd + "/", "/tmp/x"}));
    const auto cut = service.pasteIntent();
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->urls, QStringList({odd, "/tmp/x"}));
    EXPECT_TRUE(cut->isCut);
    EXPECT_GT(cut->changeCount, before);
    const QMimeData* data = GetParam().contents(*pasteboard);
    EXPECT_EQ(data->data("text/uri-list"), "file:///tmp/a%20b/%FF%0Aname\r\nfile:///tmp/x\r\n");
    EXPECT_TRUE(data->data("x-special/gnome-copied-files").startsWith("cut\nfile:///tmp/a%20b/"));
    EXPECT_EQ(data->data("application/x-kde-cutselection"), "1");
    EXPECT_EQ(data->data("com.orvane.velmo.file-cut-operation"), "move");
    EXPECT_EQ(data->data("text/plain"), native(odd) + "\n/tmp/x\n");

    ASSERT_TRUE(service.copyItemsToPasteboard({"/tmp/y"}));
    data = GetParam().contents(*pasteboard);
    EXPECT_EQ(service.pasteIntent(), (FilePasteIntent{{"/tmp/y"}, false, pasteboard->changeCount()}));
    EXPECT_EQ(data->data("x-special/gnome-copied-files"), "copy\nfile:///tmp/y");
    EXPECT_FALSE(data->hasFormat("com.orvane.velmo.file-cut-operation"));
}

INSTANTIATE_TEST_SUITE_P(
    FileActions, Pasteboards,
    ::testing::Values(
        PasteboardKind{"Clipboard", [] { return std::make_shared<ClipboardFilePasteboard>(); },
                       [](FilePasteboardProviding&) { return QGuiApplication::clipboard()->mimeData(); }},
        PasteboardKind{"InMemory", [] { return std::make_shared<InMemoryFilePasteboard>(); },
                       [](FilePasteboardProviding& p) { return &static_cast<InMemoryFilePasteboard&>(p).contents(); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ClipboardFilePasteboard, ReadsWhatOtherProgramsPutOnTheClipboard)
{
    auto pasteboard = std::make_shared<ClipboardFilePasteboard>();
    WorkspaceFileActionService service(pasteboard, FreedesktopTrash(QStringLiteral("/nonexistent/Trash")));
    const QString own = QStringLiteral("com.orvane.velmo.file-cut-operation");
    const QByteArray list = "# comment\r\nfile:///a%20b\r\nhttp://host/c\r\nfile://other/d\nfile://localhost/e\n";
    struct Case {
        std::map<QString, QByteArray> formats;
        std::optional<FilePasteIntent> expected; // change count filled in below
    };
    const Case cases[] = {
        {{{"text/plain", "/etc/hosts"}}, std::nullopt},
        {{{"text/uri-list", list}}, FilePasteIntent{{"/a b", "/e"}, false}},
        {{{"text/uri-list", list}, {own, "move"}}, FilePasteIntent{{"/a b", "/e"}, true}},
        {{{"text/uri-list", list}, {own, "Move"}}, FilePasteIntent{{"/a b", "/e"}, false}},
        {{{"text/uri-list", list}, {"application/x-kde-cutselection", "1"}}, FilePasteIntent{{"/a b", "/e"}, true}},
        {{{"x-special/gnome-copied-files", "cut\nfile:///f"}}, FilePasteIntent{{"/f"}, true}},
        {{{"x-special/gnome-copied-files", "copy\nfile:///f/../g"}}, FilePasteIntent{{"/g"}, false}},
    };
    for (const Case& each : cases) {
        const qint64 before = pasteboard->changeCount();
        auto* data = new QMimeData;
        for (const auto& [format, bytes] : each.formats) data->setData(format, bytes);
        QGuiApplication::clipboard()->setMimeData(data);
        EXPECT_GT(pasteboard->changeCount(), before);
        std::optional<FilePasteIntent> expected = each.expected;
        if (expected) expected->changeCount = pasteboard->changeCount();
        EXPECT_EQ(service.pasteIntent(), expected) << each.formats.begin()->second.toStdString();
    }

    // Files of ours that another program replaced are not marked as cut afterwards.
    pasteboard->clearContents();
    ASSERT_TRUE(pasteboard->writeFileURLs({"/mine"}));
    QGuiApplication::clipboard()->setText(QStringLiteral("theirs"));
    EXPECT_FALSE(pasteboard->setCutOperationMarker());
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "theirs");
}

TEST(FileURIList, PathsTravelAsURIsByteForByte)
{
    const QString odd = FilePaths::fromNative("/d/ü \xfe\x01%#?~.-_\n");
    const QByteArray uri = FileURIList::uri(odd);
    EXPECT_EQ(uri, "file:///d/%C3%BC%20%FE%01%25%23%3F~.-_%0A");
    EXPECT_EQ(FileURIList::path(uri), odd);
    EXPECT_EQ(FileURIList::path("file:/x%zz"), "/x%zz");
    EXPECT_EQ(FileURIList::path("FILE://LocalHost/y"), "/y");
    for (const char* refused : {"file://host/x", "file:///x%00y", "file:x", "https:///x", "file://"})
        EXPECT_EQ(FileURIList::path(refused), std::nullopt) << refused;
}

TEST(SystemErrorText, NamesTheProblemAndShowsPathsOnOneLine)
{
    const QString path = FilePaths::fromNative("/x/a\nb\xff");
    EXPECT_EQ(SystemErrorText::describe(EEXIST, path), "An item named “a\uFFFDb\uFFFD” already exists.");
    EXPECT_EQ(SystemErrorText::describe(EACCES, path), "Access denied: /x/a\uFFFDb\uFFFD");
    EXPECT_EQ(SystemErrorText::describe(ENOSPC, path), "The disk is full.");
    EXPECT_EQ(SystemErrorText::describe(EIO, "/y"), "Input/output error: /y");
}
