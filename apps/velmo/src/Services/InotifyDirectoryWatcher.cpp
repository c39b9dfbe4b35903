#include "Services/InotifyDirectoryWatcher.h"

#include "PathKit/FilePaths.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

class InotifyDirectoryWatcher::Core : public std::enable_shared_from_this<Core> {
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

    // Starts a watch and answers its id for `remove`, or 0 if the folder can't
    // be watched. Adding a watch resolves the path, which can hang on a dead
    // network mount: it runs on a thread of its own, and the caller waits for
    // it only `patience` long. A watch still being added then counts as
    // watching, and is dropped if it fails or is removed first.
    quint64 add(const QString& path, std::function<void()> onChange, std::chrono::milliseconds patience)
    {
        if (!reader_.joinable()) return 0;
        auto adding = std::make_shared<Adding>();
        {
            std::lock_guard lock(mutex_);
            adding->id = ++nextId_;
            adding_[adding->id] = adding;
        }
        std::thread([core = shared_from_this(), adding, native = FilePaths::toNative(path),
                     onChange = std::move(onChange)]() mutable {
            const int wd = inotify_add_watch(core->inotifyFd_, native.constData(), kMask);
            core->finishAdding(*adding, wd, std::move(onChange));
        }).detach();
        std::unique_lock lock(mutex_);
        addedOrTimedOut_.wait_for(lock, patience, [&] { return adding->isFinished; });
        if (adding->isFinished && adding->wd < 0) return 0;
        return adding->id;
    }

    void remove(quint64 id)
    {
        std::lock_guard lock(mutex_);
        if (auto pending = adding_.find(id); pending != adding_.end()) {
            pending->second->isRemoved = true;
            return;
        }
        for (auto it = callbacks_.begin(); it != callbacks_.end(); ++it) {
            if (!it->second.erase(id)) continue;
            if (it->second.empty()) {
                inotify_rm_watch(inotifyFd_, it->first);
                callbacks_.erase(it);
            }
            return;
        }
    }

private:
    static constexpr uint32_t kMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_MODIFY
        | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_ONLYDIR;

    struct Adding {
        quint64 id = 0;
        int wd = -1;
        bool isFinished = false;
        bool isRemoved = false; // removed before the watch was in place
    };

    void finishAdding(Adding& adding, int wd, std::function<void()> onChange)
    {
        {
            std::lock_guard lock(mutex_);
            adding.wd = wd;
            adding.isFinished = true;
            adding_.erase(adding.id);
            if (wd >= 0) {
                if (!adding.isRemoved)
                    callbacks_[wd][adding.id] = std::move(onChange);
                else if (!callbacks_.contains(wd))
                    inotify_rm_watch(inotifyFd_, wd);
            }
        }
        addedOrTimedOut_.notify_all();
    }

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
    std::condition_variable addedOrTimedOut_;
    std::map<quint64, std::shared_ptr<Adding>> adding_;
    std::map<int, std::map<quint64, std::function<void()>>> callbacks_;
    quint64 nextId_ = 0;
    std::thread reader_;
};

namespace {

class InotifyWatchToken final : public DirectoryWatchToken {
public:
    InotifyWatchToken(std::shared_ptr<InotifyDirectoryWatcher::Core> core, quint64 id)
        : core_(std::move(core)), id_(id)
    {
    }
    ~InotifyWatchToken() override { cancel(); }

    void cancel() override
    {
        if (cancelled_.exchange(true)) return;
        core_->remove(id_);
    }

private:
    std::shared_ptr<InotifyDirectoryWatcher::Core> core_;
    quint64 id_;
    std::atomic<bool> cancelled_ = false;
};

} // namespace

InotifyDirectoryWatcher::InotifyDirectoryWatcher() : core_(std::make_shared<Core>()) { }

InotifyDirectoryWatcher::~InotifyDirectoryWatcher() = default;

std::shared_ptr<DirectoryWatchToken> InotifyDirectoryWatcher::watch(const QString& url, std::function<void()> onChange)
{
    // Long enough for any healthy file system, short enough not to be felt.
    constexpr std::chrono::milliseconds kPatience {100};
    const quint64 id = core_->add(FilePaths::standardized(url), std::move(onChange), kPatience);
    if (id == 0) return nullptr;
    return std::make_shared<InotifyWatchToken>(core_, id);
}
