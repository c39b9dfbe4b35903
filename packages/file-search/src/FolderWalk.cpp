#include "FolderWalk.h"

#include "FileSearch/FileNameSearchService.h"
#include "FileTypeNames.h"
#include "QueryMatcher.h"
#include "SearchResultSink.h"
#include "TextFolding.h"

#include "CScanKit/sg_mounts.h"
#include "PathKit/FileDescriptor.h"
#include "PathKit/FilePaths.h"

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;
constexpr int kFileFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY;
constexpr int kStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
constexpr std::size_t kNamesBufferBytes = 128 * 1024;
constexpr std::size_t kSniffBytes = 4096;
constexpr int kMountTableRereads = 3;

// Layout of the kernel's linux_dirent64 up to the name.
constexpr std::size_t kRecordLengthOffset = 16;
constexpr std::size_t kTypeOffset = 18;
constexpr std::size_t kNameOffset = 19;

std::string childPath(const std::string& folder, std::string_view name)
{
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path = folder;
    if (path.back() != '/') path += '/';
    path += name;
    return path;
}

// Reads until `size` bytes are in or the file ends; how many came.
std::size_t readFully(int fd, char* buffer, std::size_t size)
{
    std::size_t got = 0;
    while (got < size) {
        const ssize_t n = ::read(fd, buffer + got, size - got);
        if (n > 0) got += std::size_t(n);
        else if (n < 0 && errno == EINTR) continue;
        else break;
    }
    return got;
}

// Which folders lie on pseudo file systems, for all threads of one walk.
class PseudoMounts {
public:
    PseudoMounts() = default;
    PseudoMounts(const PseudoMounts&) = delete;
    PseudoMounts& operator=(const PseudoMounts&) = delete;
    ~PseudoMounts()
    {
        if (loaded_) sg_mount_table_free(&table_);
    }

    void setRoot(const struct statx& root)
    {
        rootMajor_ = root.stx_dev_major;
        rootMinor_ = root.stx_dev_minor;
    }
    bool isPseudo(const struct statx& sx)
    {
        std::lock_guard lock(mutex_);
        if (!loaded_) {
            loaded_ = true;
            sg_mount_table_read(&table_);
        }
        return sg_mount_table_is_pseudo(&table_, &sx, &rereads_, kMountTableRereads);
    }
    // Only a folder on another device than the root's can be a mount of its own.
    bool isForeignPseudo(const struct statx& sx)
    {
        return sg_may_be_foreign_mount(&sx, rootMajor_, rootMinor_) && isPseudo(sx);
    }

private:
    std::mutex mutex_;
    sg_mount_table_t table_ {};
    bool loaded_ = false;
    int rereads_ = 0;
    unsigned rootMajor_ = 0, rootMinor_ = 0;
};

// What the threads of one walk share: the folders still to read, and the end.
struct WalkState {
    WalkState(const QueryMatcher& matcher, FileSearchTarget target, SearchResultSink& sink, std::stop_token stop)
        : matcher(matcher), byName(FileSearchTargets::includesName(target)),
          byContent(FileSearchTargets::includesContent(target)), sink(sink), stop(std::move(stop))
    {
    }

    bool shouldEnd() const { return stop.stop_requested() || sink.hasEnded(); }

    // The next folder to read; nothing once all are read or the walk has ended.
    std::optional<std::string> take()
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return !folders.empty() || unfinished == 0 || abandoned; });
        if (abandoned || folders.empty()) return std::nullopt;
        std::string folder = std::move(folders.back());
        folders.pop_back();
        return folder;
    }
    // One folder read, and the folders found in it.
    void finish(std::vector<std::string>& found)
    {
        {
            std::lock_guard lock(mutex);
            unfinished += found.size();
            --unfinished;
            for (std::string& folder : found) folders.push_back(std::move(folder));
        }
        found.clear();
        changed.notify_all();
    }
    void abandon()
    {
        {
            std::lock_guard lock(mutex);
            abandoned = true;
        }
        changed.notify_all();
    }

    const QueryMatcher& matcher;
    const bool byName;
    const bool byContent;
    SearchResultSink& sink;
    const std::stop_token stop;
    PseudoMounts mounts;

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> folders; // a stack: depth first keeps paths warm in the caches
    std::size_t unfinished = 1;       // queued or being read; the root counts from the start
    bool abandoned = false;
};

// One thread's share of the walk, with its own buffers and caches.
class Walker {
public:
    explicit Walker(WalkState& state) : state_(state), names_(kNamesBufferBytes) { }

    void work()
    {
        while (auto folder = state_.take()) {
            const FileDescriptor fd(::open(folder->c_str(), kFolderFlags | O_NOFOLLOW));
            if (fd.get() >= 0) readFolder(fd.get(), *folder);
            else if (errno != ENOENT && errno != ENOTDIR) state_.sink.addSkipped(); // gone is not skipped
            state_.finish(found_);
            if (state_.shouldEnd()) {
                state_.abandon();
                return;
            }
        }
    }

    void readRoot(int fd, const std::string& path)
    {
        readFolder(fd, path);
        state_.finish(found_);
    }

private:
    void readFolder(int fd, const std::string& path)
    {
        for (;;) {
            const long read = ::syscall(SYS_getdents64, fd, names_.data(), names_.size());
            if (read == 0) return;
            if (read < 0) {
                // A folder removed while open reads as ENOENT: it is gone, not unreadable.
                if (errno != ENOENT) state_.sink.addSkipped();
                return;
            }
            for (long offset = 0; offset < read;) {
                const char* record = names_.data() + offset;
                unsigned short recordLength;
                std::memcpy(&recordLength, record + kRecordLengthOffset, sizeof recordLength);
                offset += recordLength;
                const char* name = record + kNameOffset;
                if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
                if (state_.shouldEnd()) return;
                visit(fd, path, name, static_cast<unsigned char>(record[kTypeOffset]));
            }
        }
    }

    void visit(int fd, const std::string& folder, const char* name, unsigned char type)
    {
        struct statx sx {};
        bool stated = false;
        if (type == DT_UNKNOWN) {
            // Without a type from the file system the item is stat'ed; one that can't be
            // still matches by name, as neither a folder nor a file.
            stated = ::statx(fd, name, kStatFlags, STATX_TYPE | STATX_MNT_ID, &sx) == 0;
            if (stated) type = IFTODT(sx.stx_mode);
        }
        const std::string_view nameView(name);
        bool matched = state_.byName && state_.matcher.nameMatches(nameView, folding_, scratch_);
        if (!matched && state_.byContent && type == DT_REG) matched = contentMatches(fd, nameView);
        if (matched) report(folder, nameView, type == DT_DIR);
        if (type != DT_DIR) return;
        if (!stated && ::statx(fd, name, kStatFlags, STATX_TYPE | STATX_MNT_ID, &sx) != 0) return;
        if (S_ISDIR(sx.stx_mode) && !state_.mounts.isForeignPseudo(sx)) found_.push_back(childPath(folder, nameView));
    }

    bool contentMatches(int folderFd, std::string_view name)
    {
        const FileTypeNames::Content content = types_.contentByName(name);
        if (content == FileTypeNames::Content::other) return false;
        const FileDescriptor fd(::openat(folderFd, name.data(), kFileFlags));
        struct stat status {};
        if (fd.get() < 0 || ::fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)
            || status.st_size > FileNameSearchService::kMaximumContentBytes)
            return false;
        const std::size_t size = std::size_t(status.st_size);
        if (size > capacity_) {
            content_ = std::make_unique_for_overwrite<char[]>(size);
            capacity_ = size;
        }
        std::size_t got = 0;
        if (content == FileTypeNames::Content::unknown) {
            // A name that says nothing: a NUL near the start marks binary, not worth reading on.
            got = readFully(fd.get(), content_.get(), std::min(size, kSniffBytes));
            if (std::memchr(content_.get(), 0, got) && !QueryMatcher::startsWithUtf16Mark({content_.get(), got}))
                return false;
        }
        got += readFully(fd.get(), content_.get() + got, size - got);
        return state_.matcher.contentMatches({content_.get(), got}, folding_, scratch_);
    }

    void report(const std::string& folder, std::string_view name, bool isDirectory)
    {
        std::string path = childPath(folder, name);
        const QString standard = FilePaths::fromNative(path.data(), qsizetype(path.size()));
        auto kind = isDirectory ? FileTypeNames::folderKind() : types_.kindByName(name);
        state_.sink.add(FileSearchPhase::recursive, std::move(path), FileSearchResult::make(standard, isDirectory, kind));
    }

    WalkState& state_;
    std::vector<char> names_;
    std::vector<std::string> found_;
    TextFolder folding_;
    FileTypeNames types_;
    std::string scratch_;
    std::unique_ptr<char[]> content_;
    std::size_t capacity_ = 0;
};

} // namespace

FolderWalk::FolderWalk(const QueryMatcher& matcher, FileSearchTarget target, SearchResultSink& sink,
                       std::stop_token stop, int threads)
    : matcher_(matcher), target_(target), sink_(sink), stop_(std::move(stop)), threads_(std::max(1, threads))
{
}

FolderWalk::End FolderWalk::run(const std::string& folder)
{
    WalkState state(matcher_, target_, sink_, stop_);
    struct statx root {};
    if (::statx(AT_FDCWD, folder.c_str(), AT_NO_AUTOMOUNT, STATX_TYPE | STATX_MNT_ID, &root) != 0
        || !S_ISDIR(root.stx_mode))
        return End::unreadableFolder;
    state.mounts.setRoot(root);
    // A folder on a pseudo file system holds nothing to find, and reading it can block.
    if (state.mounts.isPseudo(root)) return End::finished;
    const FileDescriptor fd(::open(folder.c_str(), kFolderFlags));
    if (fd.get() < 0) return End::unreadableFolder;

    // The MIME database is loaded on first use by whichever thread asks; this thread,
    // not a helper that ends with the walk, must own what Qt keeps of it for good.
    FileTypeNames::prepare();
    std::vector<Walker> walkers;
    walkers.reserve(std::size_t(threads_));
    for (int i = 0; i < threads_; ++i) walkers.emplace_back(state);
    walkers[0].readRoot(fd.get(), folder);
    std::vector<std::jthread> helpers;
    for (int i = 1; i < threads_; ++i) {
        try {
            helpers.emplace_back([&walker = walkers[std::size_t(i)]] { walker.work(); });
        } catch (const std::system_error&) {
            break; // fewer threads walk; the work is the same
        }
    }
    walkers[0].work();
    helpers.clear(); // joins
    if (stop_.stop_requested()) return End::cancelled;
    if (sink_.hasEnded()) return End::limited;
    return End::finished;
}
