#include "TestSupport.h"

#include "PathKit/FilePaths.h"
#include "State/VelmoStore.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

TemporaryFolder::TemporaryFolder() : TemporaryFolder(QDir::tempPath()) { }

TemporaryFolder::TemporaryFolder(const QString& base) : dir_(base + QStringLiteral("/velmo-test-XXXXXX")) { }

TemporaryFolder::~TemporaryFolder()
{
    const QByteArray root = FilePaths::toNative(path());
    // Read-only folders would keep their content from an unprivileged user.
    ::nftw(root.constData(),
           [](const char* item, const struct stat* status, int, FTW*) {
               if (S_ISDIR(status->st_mode)) ::chmod(item, 0700);
               return 0;
           }, 16, FTW_PHYS);
    // QDir can't name what isn't UTF-8, so the removal goes by bytes; children first.
    ::nftw(root.constData(),
           [](const char* item, const struct stat*, int, FTW*) {
               std::remove(item);
               return 0;
           }, 16,
           FTW_DEPTH | FTW_PHYS);
}

QString TemporaryFolder::path() const
{
    return FilePaths::standardized(dir_.path());
}

QString TemporaryFolder::file(const QString& relative, const QByteArray& contents) const
{
    const QString full = FilePaths::appending(path(), relative);
    QDir().mkpath(FilePaths::parent(full));
    QFile file(full);
    if (file.open(QIODevice::WriteOnly)) file.write(contents);
    return full;
}

QString TemporaryFolder::folder(const QString& relative) const
{
    const QString full = FilePaths::appending(path(), relative);
    QDir().mkpath(full);
    return full;
}

QString TemporaryFolder::link(const QString& relative, const QString& target) const
{
    const QString full = FilePaths::appending(path(), relative);
    [[maybe_unused]] int rc = ::symlink(FilePaths::toNative(target).constData(), FilePaths::toNative(full).constData());
    return full;
}

void FakeListingService::list(const QString& url, bool includingHiddenFiles, const TaskHandle& task,
                              QObject* context, Completion completion)
{
    listedURLs.push_back(url);
    pending.push_back({url, includingHiddenFiles, task, context, std::move(completion)});
}

void FakeListingService::answer(std::size_t index, Result result)
{
    if (index >= pending.size()) return;
    Call call = std::move(pending[index]);
    pending.erase(pending.begin() + std::ptrdiff_t(index));
    if (!call.task.isCancelled()) call.completion(std::move(result));
}

void FakeListingService::answerAll()
{
    while (!pending.empty()) {
        const QString url = pending.front().url;
        auto it = folders.find(url);
        if (it == folders.end())
            answerNext(std::unexpected(DirectoryListingError {DirectoryListingError::NotDirectory {url}}));
        else
            answerNext(it->second);
    }
}

void FakeListingService::probe(const QString& url, bool, const TaskHandle& task, QObject*,
                               std::function<void(bool)> completion)
{
    pendingProbes.push_back({url, task, std::move(completion)});
}

void FakeListingService::answerProbes()
{
    while (!pendingProbes.empty()) {
        Probe probe = std::move(pendingProbes.front());
        pendingProbes.pop_front();
        auto it = folders.find(probe.url);
        if (!probe.task.isCancelled()) probe.completion(it != folders.end() && !it->second.empty());
    }
}

void ManualClock::runAfter(quint64 delayNanoseconds, QObject* context, std::function<void()> callback)
{
    delayed_.push_back({now + delayNanoseconds, context, std::move(callback)});
}

void ManualClock::advance(quint64 nanoseconds)
{
    const quint64 until = now + nanoseconds;
    for (;;) {
        // The earliest due call first; among equals, the one asked for first.
        auto next = std::min_element(delayed_.begin(), delayed_.end(),
                                     [](const Delayed& a, const Delayed& b) { return a.due < b.due; });
        if (next == delayed_.end() || next->due > until) break;
        Delayed call = std::move(*next);
        delayed_.erase(next);
        now = std::max(now, call.due);
        if (call.context) call.callback();
    }
    now = until;
}

std::shared_ptr<DirectoryWatchToken> FakeDirectoryWatcher::watch(const QString& url, std::function<void()> onChange)
{
    class Token final : public DirectoryWatchToken {
    public:
        explicit Token(std::shared_ptr<bool> alive) : alive_(std::move(alive)) { }
        ~Token() override { cancel(); }
        void cancel() override { *alive_ = false; }

    private:
        std::shared_ptr<bool> alive_;
    };
    auto alive = std::make_shared<bool>(true);
    watches_.push_back({url, std::move(onChange), alive});
    return std::make_shared<Token>(alive);
}

void FakeDirectoryWatcher::fire(const QString& url)
{
    for (const Watch& watch : watches_)
        if (watch.url == url && *watch.alive) watch.onChange();
}

int FakeDirectoryWatcher::liveWatchCount(const QString& url) const
{
    int count = 0;
    for (const Watch& watch : watches_)
        if (watch.url == url && *watch.alive) ++count;
    return count;
}

FileEntry makeFileEntry(const QString& folder, const QString& name, bool isDirectory, qint64 size)
{
    FileEntry entry;
    entry.id = FilePaths::appending(folder, name);
    entry.url = entry.id;
    entry.name = name;
    entry.isDirectory = isDirectory;
    entry.isHidden = name.startsWith(u'.');
    if (!isDirectory) entry.byteSize = size;
    entry.localizedKind = isDirectory ? QStringLiteral("Folder") : QStringLiteral("Document");
    return entry;
}

std::vector<FileEntry> makeFileEntries(const QString& folder, const QStringList& names)
{
    std::vector<FileEntry> entries;
    for (const QString& name : names) {
        const bool folderName = name.endsWith(u'/');
        entries.push_back(makeFileEntry(folder, folderName ? name.chopped(1) : name, folderName));
    }
    return entries;
}

VelmoStoreDependencies fakeStoreDependencies(std::shared_ptr<DefaultsStore> defaults,
                                             std::shared_ptr<FakeListingService> listing,
                                             std::shared_ptr<FakeDirectoryWatcher> watcher)
{
    VelmoStoreDependencies d;
    d.defaults = std::move(defaults);
    d.listingServiceFactory = [listing](PaneID) { return listing; };
    d.directoryWatcherFactory = [watcher](PaneID) {
        return watcher ? watcher : std::make_shared<FakeDirectoryWatcher>();
    };
    d.fileOpeningServiceFactory = [](PaneID) { return std::make_shared<FakeFileOpener>(); };
    return d;
}

QStringList rowNames(const FilePaneStore& pane)
{
    QStringList names;
    for (const auto& row : pane.treeRows()) names << row.entry->name;
    return names;
}

bool waitUntil(const std::function<bool()>& done, int milliseconds)
{
    return QTest::qWaitFor(done, milliseconds);
}

void TestTree::makeFolder(const QString& path, mode_t mode)
{
    if (::mkdir(FilePaths::toNative(path).constData(), mode) != 0) ADD_FAILURE() << "mkdir failed: " << path.toStdString();
    ::chmod(FilePaths::toNative(path).constData(), mode);
}

void TestTree::writeFile(const QString& path, const QByteArray& content, mode_t mode)
{
    const int fd = ::open(FilePaths::toNative(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        ADD_FAILURE() << "create failed: " << path.toStdString();
        return;
    }
    if (::write(fd, content.constData(), size_t(content.size())) != content.size()) ADD_FAILURE() << "short write";
    ::fchmod(fd, mode);
    // A fixed time, so that trees built at different moments compare equal and a
    // copy that did not keep the time shows.
    const struct timespec times[2] = {{1'600'000'000, 0}, {1'600'000'000, 0}};
    ::futimens(fd, times);
    ::close(fd);
}

QByteArray TestTree::readFile(const QString& path)
{
    QByteArray content;
    const int fd = ::open(FilePaths::toNative(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return content;
    char buffer[65536];
    for (ssize_t count; (count = ::read(fd, buffer, sizeof buffer)) > 0;) content.append(buffer, count);
    ::close(fd);
    return content;
}

bool TestTree::exists(const QString& path)
{
    struct stat status {};
    return ::lstat(FilePaths::toNative(path).constData(), &status) == 0;
}

// std::filesystem keeps names as the bytes they are.
QStringList TestTree::childNames(const QString& folder)
{
    std::vector<QByteArray> bytes;
    std::error_code error;
    for (const auto& item : std::filesystem::directory_iterator(FilePaths::toNative(folder).toStdString(), error))
        bytes.emplace_back(QByteArray::fromStdString(item.path().filename().native()));
    std::sort(bytes.begin(), bytes.end());
    QStringList names;
    for (const QByteArray& name : bytes) names.append(FilePaths::fromNative(name));
    return names;
}
