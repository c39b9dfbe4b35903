#include "Services/InotifyDirectoryWatcher.h"

#include "PathKit/FilePaths.h"

#include <atomic>
#include <map>
#include <mutex>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

class InotifyDirectoryWatcher::Core {
public:
    Core()
    {
        inotifyFd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        wakeFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        if (inotifyFd_ >= 0 && wakeFd_ >= 0) reader_ = std::thread([this] { run(); });
    }

    ~Core()
    {
        if (reader_.joinable()) {
            const quint64 one = 1;
            [[maybe_unused]] auto written = ::write(wakeFd_, &one, sizeof one);
            reader_.join();
        }
        if (inotifyFd_ >= 0) ::close(inotifyFd_);
        if (wakeFd_ >= 0) ::close(wakeFd_);
    }

    // Returns the watch's id for `remove`, or -1 if the folder can't be watched.
    std::pair<int, quint64> add(const QString& path, std::function<void()> onChange)
    {
        if (!reader_.joinable()) return {-1, 0};
        constexpr uint32_t mask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_MODIFY
            | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_ONLYDIR;
        std::lock_guard lock(mutex_);
        const int wd = inotify_add_watch(inotifyFd_, FilePaths::toNative(path).constData(), mask);
        if (wd < 0) return {-1, 0};
        const quint64 id = ++nextId_;
        callbacks_[wd][id] = std::move(onChange);
        return {wd, id};
    }

    void remove(int wd, quint64 id)
    {
        std::lock_guard lock(mutex_);
        auto it = callbacks_.find(wd);
        if (it == callbacks_.end()) return;
        it->second.erase(id);
        if (it->second.empty()) {
            callbacks_.erase(it);
            inotify_rm_watch(inotifyFd_, wd);
        }
    }

private:
    void run()
    {
        alignas(inotify_event) char buffer[64 * 1024];
        pollfd fds[2] = {{inotifyFd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
        for (;;) {
            if (::poll(fds, 2, -1) < 0) continue;
            if (fds[1].revents) return;
            const ssize_t length = ::read(inotifyFd_, buffer, sizeof buffer);
            if (length <= 0) continue;
            dispatch(buffer, length);
        }
    }

    // One call per watch per batch: a burst of events is one change to the pane.
    void dispatch(const char* buffer, ssize_t length)
    {
        std::map<int, bool> touched;
        bool overflowed = false;
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            offset += ssize_t(sizeof(inotify_event) + event->len);
            // The kernel's queue ran over and events were lost, for any folder:
            // every watch must look again.
            if (event->mask & IN_Q_OVERFLOW) overflowed = true;
            else touched[event->wd] = touched[event->wd] || (event->mask & IN_IGNORED);
        }
        std::vector<std::function<void()>> calls;
        {
            std::lock_guard lock(mutex_);
            if (overflowed)
                for (const auto& [wd, callbacks] : callbacks_) touched.try_emplace(wd, false);
            for (const auto& [wd, ignored] : touched) {
                auto it = callbacks_.find(wd);
                if (it == callbacks_.end()) continue;
                for (const auto& [id, callback] : it->second) calls.push_back(callback);
                // The kernel dropped this watch (folder gone, file system unmounted).
                if (ignored) callbacks_.erase(it);
            }
        }
        // Outside the lock: a callback may start or end watches.
        for (const auto& call : calls) call();
    }

    int inotifyFd_ = -1;
    int wakeFd_ = -1;
    std::mutex mutex_;
    std::map<int, std::map<quint64, std::function<void()>>> callbacks_;
    quint64 nextId_ = 0;
    std::thread reader_;
};

namespace {

class InotifyWatchToken final : public DirectoryWatchToken {
public:
    InotifyWatchToken(std::shared_ptr<InotifyDirectoryWatcher::Core> core, int wd, quint64 id)
        : core_(std::move(core)), wd_(wd), id_(id)
    {
    }
    ~InotifyWatchToken() override { cancel(); }

    void cancel() override
    {
        if (cancelled_.exchange(true)) return;
        core_->remove(wd_, id_);
    }

private:
    std::shared_ptr<InotifyDirectoryWatcher::Core> core_;
    int wd_;
    quint64 id_;
    std::atomic<bool> cancelled_ = false;
};

} // namespace

InotifyDirectoryWatcher::InotifyDirectoryWatcher() : core_(std::make_shared<Core>()) { }

InotifyDirectoryWatcher::~InotifyDirectoryWatcher() = default;

std::shared_ptr<DirectoryWatchToken> InotifyDirectoryWatcher::watch(const QString& url, std::function<void()> onChange)
{
    auto [wd, id] = core_->add(FilePaths::standardized(url), std::move(onChange));
    if (wd < 0) return nullptr;
    return std::make_shared<InotifyWatchToken>(core_, wd, id);
}
