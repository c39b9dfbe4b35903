#pragma once

#include "Services/DirectoryListingProviding.h"
#include "Services/DirectoryWatchProviding.h"
#include "Services/FileOpeningProviding.h"
#include "Support/MonotonicClock.h"
#include "Support/TaskExecutor.h"

#include <QDir>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>

#include <deque>
#include <ostream>
#include <functional>
#include <map>

#include <sys/types.h>

// A fresh folder for one test (under TMPDIR, or `base`), removed afterwards
// whatever bytes its names hold and whatever modes its folders have, with
// helpers to fill it.
class TemporaryFolder {
public:
    TemporaryFolder();
    explicit TemporaryFolder(const QString& base);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    QString path() const;
    QString operator/(const QString& relative) const { return path() + u'/' + relative; }
    QString file(const QString& relative, const QByteArray& contents = "x") const;
    QString folder(const QString& relative) const;
    QString link(const QString& relative, const QString& target) const;

private:
    QTemporaryDir dir_;
};

// Time that moves only when a test says so; delayed calls run as it passes them.
class ManualClock final : public MonotonicClock {
public:
    quint64 uptimeNanoseconds() const override { return now; }
    void runAfter(quint64 delayNanoseconds, QObject* context, std::function<void()> callback) override;
    // Moves time on, running each call that comes due in the order of its time.
    void advance(quint64 nanoseconds);
    void advanceMilliseconds(quint64 milliseconds) { advance(milliseconds * 1'000'000); }

    quint64 now = 1'000'000'000;

private:
    struct Delayed {
        quint64 due;
        QPointer<QObject> context;
        std::function<void()> callback;
    };
    std::vector<Delayed> delayed_;
};

// A listing service whose answers the test gives, in any order it likes.
class FakeListingService final : public DirectoryListingProviding {
public:
    struct Call {
        QString url;
        bool includingHiddenFiles;
        TaskHandle task;
        QObject* context;
        Completion completion;
    };

    void list(const QString& url, bool includingHiddenFiles, const TaskHandle& task, QObject* context,
              Completion completion) override;

    // Answers call `index` (default: the oldest unanswered) the way the real
    // service would: nothing if the task was cancelled.
    void answer(std::size_t index, Result result);
    void answerNext(Result result) { answer(0, std::move(result)); }
    // Answers every waiting call from the fixed folder contents below.
    void answerAll();

    // Probes wait like listings, and are answered from `folders` (absent: false).
    void probe(const QString& url, bool includingHiddenFiles, const TaskHandle& task, QObject* context,
               std::function<void(bool)> completion) override;
    void answerProbes();
    struct Probe {
        QString url;
        TaskHandle task;
        std::function<void(bool)> completion;
    };
    std::deque<Probe> pendingProbes;

    std::deque<Call> pending;
    std::vector<QString> listedURLs;
    // Folder contents used by answerAll; other folders are not folders.
    std::map<QString, std::vector<FileEntry>> folders;
};

class FakeDirectoryWatcher final : public DirectoryWatchProviding {
public:
    std::shared_ptr<DirectoryWatchToken> watch(const QString& url, std::function<void()> onChange) override;
    // Fires the change callback of every live watch on `url`.
    void fire(const QString& url);
    int liveWatchCount(const QString& url) const;

private:
    struct Watch {
        QString url;
        std::function<void()> onChange;
        std::shared_ptr<bool> alive;
    };
    std::vector<Watch> watches_;
};

class FakeFileOpener final : public FileOpeningProviding {
public:
    bool openWithDefaultApplication(const QString& url) override
    {
        opened.push_back(url);
        return true;
    }
    std::vector<QString> opened;
};

// Entries as a listing would make them, without a disk.
FileEntry makeFileEntry(const QString& folder, const QString& name, bool isDirectory = false, qint64 size = 0);
std::vector<FileEntry> makeFileEntries(const QString& folder, const QStringList& names);

// Holds background work until the test runs it, on the main thread.
class ManualExecutor final : public TaskExecutor {
public:
    void start(std::function<void()> work) override { queue.push_back(std::move(work)); }
    // Runs the work queued so far and any it queues, then delivers what it posted.
    void runAll()
    {
        while (!queue.empty()) {
            auto work = std::move(queue.front());
            queue.pop_front();
            work();
        }
        QCoreApplication::processEvents();
    }
    std::deque<std::function<void()>> queue;
};

class DefaultsStore;
class FilePaneStore;
struct VelmoStoreDependencies;

// A store's dependencies on the fakes above: every pane lists through `listing`
// and watches through `watcher` (a fresh fake each when none is given).
VelmoStoreDependencies fakeStoreDependencies(std::shared_ptr<DefaultsStore> defaults,
                                             std::shared_ptr<FakeListingService> listing,
                                             std::shared_ptr<FakeDirectoryWatcher> watcher = nullptr);
// The names of a pane's rows, in the order shown.
QStringList rowNames(const FilePaneStore& pane);

// Files and folders by their bytes, so that any name works.
namespace TestTree {
void makeFolder(const QString& path, mode_t mode = 0755);
// Files get a fixed modification time in 2020.
void writeFile(const QString& path, const QByteArray& content, mode_t mode = 0644);
QByteArray readFile(const QString& path); // empty when unreadable
bool exists(const QString& path); // without following links
// Names in the folder, sorted by bytes.
QStringList childNames(const QString& folder);
} // namespace TestTree

// Spins the event loop until `done` holds or `milliseconds` pass.
bool waitUntil(const std::function<bool()>& done, int milliseconds = 5000);

// Readable values in failure messages.
inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
inline void PrintTo(const QStringList& list, std::ostream* out) { *out << '[' << list.join(", ").toStdString() << ']'; }
