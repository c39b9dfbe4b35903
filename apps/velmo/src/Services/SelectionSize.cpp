#include "Services/SelectionSize.h"

#include "CScanKit/sg_mounts.h"
#include "PathKit/FileDescriptor.h"
#include "PathKit/FilePaths.h"
#include "PathKit/HiddenFileList.h"
#include "Support/DirectoryStream.h"
#include "Support/MonotonicClock.h"

#include <cerrno>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;
constexpr int kStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
constexpr std::size_t kReadBufferBytes = 64 * 1024;
constexpr qint64 kReportEvery = 32;
constexpr int kMountTableRereads = 3;

// Which folders are on pseudo file systems. The mount table is read at most a
// few times per walk; a folder is looked up only when it may be a mount of its
// own on another device than the walk's root.
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
        if (!loaded_) {
            loaded_ = true;
            sg_mount_table_read(&table_);
        }
        return sg_mount_table_is_pseudo(&table_, &sx, &rereads_, kMountTableRereads);
    }
    bool isForeignPseudo(const struct statx& sx)
    {
        return sg_may_be_foreign_mount(&sx, rootMajor_, rootMinor_) && isPseudo(sx);
    }

private:
    sg_mount_table_t table_ {};
    bool loaded_ = false;
    int rereads_ = 0;
    unsigned rootMajor_ = 0, rootMinor_ = 0;
};

qint64 saturatingAdd(qint64 total, quint64 bytes)
{
    const quint64 room = quint64(LLONG_MAX - total);
    return bytes > room ? LLONG_MAX : total + qint64(bytes);
}

std::string childPath(const std::string& folder, const char* name, int length)
{
    std::string path;
    path.reserve(folder.size() + 1 + std::size_t(length));
    path = folder;
    if (path.back() != '/') path += '/';
    path.append(name, std::size_t(length));
    return path;
}

class Walk {
public:
    Walk(const std::optional<SelectionSize::Budget>& budget, const MonotonicClock& clock, std::stop_token stop,
         const SelectionSize::ProgressCallback& progress)
        : budget_(budget), clock_(clock), stop_(std::move(stop)), progress_(progress),
          startedAt_(clock.uptimeNanoseconds())
    {
    }

    std::expected<SelectionSize::BudgetedResult, int> run(const QString& folder)
    {
        const QByteArray native = FilePaths::toNative(FilePaths::standardized(folder));
        // The folder itself is taken as given, a link to a folder followed.
        struct statx root {};
        if (::statx(AT_FDCWD, native.constData(), AT_NO_AUTOMOUNT, STATX_TYPE | STATX_MNT_ID, &root) != 0)
            return std::unexpected(errno);
        if (!S_ISDIR(root.stx_mode)) return std::unexpected(ENOTDIR);
        mounts_.setRoot(root);
        if (mounts_.isPseudo(root)) return SelectionSize::BudgetedResult {};
        const FileDescriptor fd(::open(native.constData(), kFolderFlags));
        if (fd.get() < 0) return std::unexpected(errno);
        std::vector<std::string> pending;
        walkFolder(fd.get(), native.toStdString(), pending);
        // Depth first from a list of paths rather than by recursion: any depth
        // fits, and only one folder is open at a time.
        while (!pending.empty() && !ended_) {
            const std::string path = std::move(pending.back());
            pending.pop_back();
            // O_NOFOLLOW: a folder swapped for a link since it was seen is not followed.
            const FileDescriptor child(::open(path.c_str(), kFolderFlags | O_NOFOLLOW));
            if (child.get() < 0) continue; // unreadable, or a path too long: left out
            walkFolder(child.get(), path, pending);
        }
        return SelectionSize::BudgetedResult {reached_, exceeded_};
    }

private:
    void walkFolder(int fd, const std::string& path, std::vector<std::string>& pending)
    {
        DirectoryStream stream(fd, kReadBufferBytes);
        // A read error part way keeps what was read: the folder is partly unreadable.
        stream.forEach([&](const DirectoryStream::Name& name) {
            if (!admit()) return false;
            visit(fd, path, name, pending);
            return true;
        });
    }

    // The per-item checks, in order: stop, time, count.
    bool admit()
    {
        if (stop_.stop_requested()) {
            ended_ = true;
            return false;
        }
        if (!budget_) return true;
        if (budget_->maxDurationNanoseconds
            && clock_.uptimeNanoseconds() - startedAt_ > *budget_->maxDurationNanoseconds)
            return exceed(SelectionSize::Limit::time);
        if (++examined_ > budget_->maxScannedItemCount) return exceed(SelectionSize::Limit::items);
        return true;
    }

    bool exceed(SelectionSize::Limit limit)
    {
        exceeded_ = limit;
        ended_ = true;
        return false;
    }

    void visit(int fd, const std::string& path, const DirectoryStream::Name& name, std::vector<std::string>& pending)
    {
        // Links, devices, pipes and sockets count nothing and need no call.
        if (name.type != DT_REG && name.type != DT_DIR && name.type != DT_UNKNOWN) return;
        struct statx sx {};
        const unsigned mask = name.type == DT_DIR ? STATX_TYPE | STATX_MNT_ID
            : name.type == DT_REG                 ? STATX_TYPE | STATX_SIZE
                                                  : STATX_TYPE | STATX_SIZE | STATX_MNT_ID;
        if (::statx(fd, name.name, kStatFlags, mask, &sx) != 0) return;
        if (S_ISREG(sx.stx_mode)) addFile(sx.stx_size);
        else if (S_ISDIR(sx.stx_mode) && !mounts_.isForeignPseudo(sx))
            pending.push_back(childPath(path, name.name, name.length));
    }

    void addFile(quint64 bytes)
    {
        reached_.totalBytes = saturatingAdd(reached_.totalBytes, bytes);
        ++reached_.scannedItemCount;
        if (!progress_) return;
        if (reported_ && reached_.scannedItemCount - lastReported_ < kReportEvery) return;
        reported_ = true;
        lastReported_ = reached_.scannedItemCount;
        progress_(reached_);
    }

    const std::optional<SelectionSize::Budget>& budget_;
    const MonotonicClock& clock_;
    std::stop_token stop_;
    const SelectionSize::ProgressCallback& progress_;
    const quint64 startedAt_;
    PseudoMounts mounts_;
    SelectionSize::Progress reached_;
    SelectionSize::Limit exceeded_ = SelectionSize::Limit::none;
    qint64 examined_ = 0;
    qint64 lastReported_ = 0;
    bool reported_ = false;
    bool ended_ = false;
};

} // namespace

namespace SelectionSize {

std::expected<BudgetedResult, int> totalProgress(const QString& folder, const std::optional<Budget>& budget,
                                                 const MonotonicClock& clock, std::stop_token stop,
                                                 const ProgressCallback& progress)
{
    return Walk(budget, clock, std::move(stop), progress).run(folder);
}

std::expected<FolderContentCount, int> contentCount(const QString& folder, bool includingHiddenFiles,
                                                    std::stop_token stop)
{
    const QByteArray native = FilePaths::toNative(FilePaths::standardized(folder));
    const FileDescriptor fd(::open(native.constData(), kFolderFlags));
    if (fd.get() < 0) return std::unexpected(errno);
    const QSet<QByteArray> hidden = includingHiddenFiles ? QSet<QByteArray>() : HiddenFileList::read(fd.get());
    FolderContentCount count;
    DirectoryStream stream(fd.get(), kReadBufferBytes);
    const int error = stream.forEach([&](const DirectoryStream::Name& name) {
        if (stop.stop_requested()) return false;
        if (!includingHiddenFiles
            && (name.name[0] == '.' || hidden.contains(QByteArray::fromRawData(name.name, name.length))))
            return true;
        bool isFolder = name.type == DT_DIR;
        if (name.type == DT_UNKNOWN) {
            struct statx sx {};
            isFolder = ::statx(fd.get(), name.name, kStatFlags, STATX_TYPE, &sx) == 0 && S_ISDIR(sx.stx_mode);
        }
        ++(isFolder ? count.folderCount : count.fileCount);
        return true;
    });
    if (error != 0) return std::unexpected(error);
    return count;
}

} // namespace SelectionSize
