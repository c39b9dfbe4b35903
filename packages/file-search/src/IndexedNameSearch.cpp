#include "IndexedNameSearch.h"

#include "ChildProcess.h"
#include "FileTypeNames.h"
#include "QueryMatcher.h"
#include "SearchResultSink.h"
#include "TextFolding.h"

#include "PathKit/FileDescriptor.h"
#include "PathKit/FilePaths.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t kBlockBytes = 0x10000;

bool isBelow(std::string_view path, const std::string& folder)
{
    if (folder == "/") return path.size() > 1 && path[0] == '/';
    return path.size() > folder.size() + 1 && path.starts_with(folder) && path[folder.size()] == '/';
}

class Pass {
public:
    Pass(const std::string& folder, const QueryMatcher& matcher, SearchResultSink& sink)
        : folder_(folder), matcher_(matcher), sink_(sink)
    {
    }

    // False once the sink has ended the search.
    bool take(std::string_view record)
    {
        if (record.empty() || !Utf8::isCleanText(record) || !isBelow(record, folder_)) return true;
        const std::string_view name = record.substr(record.rfind('/') + 1);
        if (!matcher_.nameMatches(name, textFolder_, scratch_)) return true;
        const std::string path(record);
        struct statx sx {};
        bool isDirectory = false;
        std::optional<QString> kind;
        if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE, &sx) == 0) {
            isDirectory = S_ISDIR(sx.stx_mode);
            kind = isDirectory ? FileTypeNames::folderKind() : types_.kindByName(name);
        } else if (errno == ENOENT || errno == ENOTDIR) {
            return true; // gone since the index was made
        }
        const QString standard = FilePaths::standardized(FilePaths::fromNative(path.data(), qsizetype(path.size())));
        sink_.add(FileSearchPhase::indexed, path, FileSearchResult::make(standard, isDirectory, std::move(kind)));
        return !sink_.hasEnded();
    }

private:
    const std::string& folder_;
    const QueryMatcher& matcher_;
    SearchResultSink& sink_;
    TextFolder textFolder_;
    FileTypeNames types_;
    std::string scratch_;
};

} // namespace

namespace IndexedNameSearch {

End run(const std::vector<std::string>& command, const std::string& folder, const QueryMatcher& matcher,
        SearchResultSink& sink, std::stop_token stop)
{
    // A stop wakes the read at once, even while the tool is quiet.
    const FileDescriptor wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (wake.get() < 0) return End::failed;
    std::stop_callback wakeOnStop(stop, [fd = wake.get()] {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(fd, &one, sizeof one);
    });
    if (stop.stop_requested()) return End::cancelled;
    auto child = ChildProcess::start(command);
    if (!child) return End::failed;

    Pass pass(folder, matcher, sink);
    std::string pending;
    std::vector<char> block(kBlockBytes);
    for (;;) {
        if (stop.stop_requested()) return End::cancelled; // the child is ended as it goes
        const auto read = child->read(block.data(), block.size(), wake.get());
        if (read.status == ChildProcess::ReadStatus::woken) return End::cancelled;
        if (read.status != ChildProcess::ReadStatus::data) break;
        pending.append(block.data(), read.bytes);
        std::size_t start = 0;
        for (std::size_t end; (end = pending.find('\0', start)) != std::string::npos; start = end + 1)
            if (!pass.take(std::string_view(pending).substr(start, end - start))) return End::limited;
        pending.erase(0, start);
    }
    const int exitCode = child->wait();
    if (stop.stop_requested()) return End::cancelled;
    if (!pass.take(pending)) return End::limited;
    if (exitCode != 0) {
        // Whatever was taken is in the seen set, so the walk won't report it: send it.
        sink.flush(FileSearchPhase::indexed, false);
        return End::failed;
    }
    sink.flush(FileSearchPhase::indexed, false);
    return End::finished;
}

} // namespace IndexedNameSearch
