#pragma once

#include "PathKit/FilePaths.h"
#include "Services/CompressionOutputs.h"
#include "Support/BackgroundTask.h"
#include "Support/TaskExecutor.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QUuid>

#include <algorithm>
#include <expected>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

enum class CompressionTaskStatus { pending, processing, done, error };
QString rawValue(CompressionTaskStatus status);

// What an image and a PDF in a compression queue have in common.
template <typename Settings>
struct CompressionTask {
    QUuid id;
    QString sourceURL;
    QString fileName;
    qint64 originalSize = 0;
    std::optional<QString> compressedFileURL;
    std::optional<qint64> compressedSize;
    std::optional<QString> outputFileExtension;
    std::optional<QString> compressionSignature;
    Settings settings;
    CompressionTaskStatus status = CompressionTaskStatus::pending;
    std::optional<QString> errorMessage;
};

struct CompressionIssue {
    QString fileName;
    QString reason;
    bool operator==(const CompressionIssue&) const = default;
};

// The words that differ between the image and the PDF queue.
struct CompressionQueueTexts {
    const char* noun;         // "image": "Added 2 images."
    const char* adding;       // "Adding images..."
    const char* noneAdded;    // "No new images added."
    const char* nothingSaved; // "No compressed images to save."
    const char* titlePrefix;  // "Images: "
    const char* emptyTitle;   // "Image Compression"
};

// Which run of each task is the newest, readable from the workers, and whether the
// queue has closed. A run puts its result into the cache only while holding the lock
// and only when it is still the newest, so a slow run that ends late never replaces
// a newer result, and nothing lands in a cache folder that closing removes.
struct CompressionWriteTokens {
    std::mutex mutex;
    QHash<QUuid, QUuid> current;
    bool closed = false;
};

class CompressionQueueSignals : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

signals:
    void tasksChanged();
    void taskChanged(const QUuid& id);
    void statusChanged();
    void titleChanged();
};

QString compressionCountText(qsizetype count, const char* noun);

// One compression tab's queue: files, each compressed into a cache folder private to
// the tab so the result can be looked at before anything is written beside its
// source, and saved on request. Lives on the main thread; reading and compressing run
// on the executor. `Kind` says what is compressed and how (ImageCompressionKind,
// PDFCompressionKind):
//   Settings, Info, Produced, Processing, Task (a CompressionTask<Settings> with more)
//   texts                            the words of its status lines
//   read(processing, path)           -> std::expected<Info, QString>
//   makeTask(info, task&)            fills in what the file's information gives
//   produce(processing, path, settings, cacheFolder, stop)
//                                    -> std::expected<Produced, QString>
//   commit(produced&, cacheFolder)   -> std::expected<QString, QString>: the result's
//                                       file in the cache (called only for the newest run)
//   discard(produced&)               a result no one wants any more
//   apply(produced, task&)           what a finished result tells of itself
//   signature(settings, livePreview) when a result matches its task's settings
//   exportExtension(task)            the saved copy's extension
template <typename Kind>
class CompressionQueue : public CompressionQueueSignals {
public:
    using Settings = typename Kind::Settings;
    using Task = typename Kind::Task;
    using Info = typename Kind::Info;
    using Produced = typename Kind::Produced;
    using Processing = typename Kind::Processing;

    struct Dependencies {
        std::shared_ptr<const Processing> processor;
        std::shared_ptr<TaskExecutor> executor; // the compression pool when empty
        QString cacheRoot;                      // CompressionOutputs' default when empty
        QString trashFolder;                    // the home trash when empty
    };

    CompressionQueue(const QStringList& urls, std::optional<QUuid> originBrowserTabID, Settings settings,
                     Dependencies dependencies, QObject* parent = nullptr)
        : CompressionQueueSignals(parent)
        , originBrowserTabID_(originBrowserTabID)
        , settings_(std::move(settings))
        , processor_(std::move(dependencies.processor))
        , executor_(dependencies.executor ? std::move(dependencies.executor) : TaskExecutor::compression())
        , cacheRoot_(dependencies.cacheRoot.isEmpty() ? CompressionOutputs::defaultCacheRoot() : dependencies.cacheRoot)
        , cacheDirectory_(FilePaths::appending(cacheRoot_, id_.toString(QUuid::WithoutBraces)))
        , trash_(dependencies.trashFolder.isEmpty() ? FreedesktopTrash::defaultHomeTrash() : dependencies.trashFolder)
        , tokens_(std::make_shared<CompressionWriteTokens>())
    {
        restorableSourceURLs_ = urls;
        if (!urls.isEmpty()) addURLs(urls);
    }
    ~CompressionQueue() override { teardown(); }

    const QUuid& id() const { return id_; }
    const std::optional<QUuid>& originBrowserTabID() const { return originBrowserTabID_; }
    const std::vector<Task>& tasks() const { return tasks_; }
    const Task* task(const QUuid& id) const
    {
        const auto found = std::find_if(tasks_.begin(), tasks_.end(), [&id](const Task& each) { return each.id == id; });
        return found == tasks_.end() ? nullptr : &*found;
    }
    const Settings& settings() const { return settings_; }
    const QStringList& restorableSourceURLs() const { return restorableSourceURLs_; }
    const std::vector<CompressionIssue>& importIssues() const { return importIssues_; }
    const std::vector<CompressionIssue>& exportIssues() const { return exportIssues_; }
    bool isSaving() const { return isSaving_; }
    bool isImporting() const { return importsRunning_ > 0; }
    int runningCompressions() const { return int(stops_.size()); }
    const std::optional<QString>& statusMessage() const { return statusMessage_; }
    const QString& cacheDirectory() const { return cacheDirectory_; }
    const Processing& processor() const { return *processor_; }

    // Its result matches its settings, so it may be saved without a new run.
    static bool isUpToDate(const Task& task)
    {
        return task.compressedFileURL && task.compressionSignature == Kind::signature(task.settings, false);
    }

    void setStatusMessage(const std::optional<QString>& message)
    {
        statusMessage_ = message;
        emit statusChanged();
    }

    // Reads each file in the background; what is already queued or cannot be read is
    // an import issue. Every new task is compressed at once.
    void addURLs(const QStringList& urls)
    {
        if (isTornDown_) return;
        setStatusMessage(QString::fromLatin1(Kind::texts.adding));
        ++importsRunning_;
        using Read = std::vector<std::pair<QString, std::expected<Info, QString>>>;
        QStringList paths;
        for (const QString& url : urls) paths << FilePaths::standardized(url);
        BackgroundTask::run(
            executor_.get(), this,
            [processor = processor_, paths, stop = importStop_.get_token()](std::stop_token) {
                Read read;
                for (const QString& path : paths) {
                    if (stop.stop_requested()) break;
                    read.emplace_back(path, Kind::read(*processor, path));
                }
                return read;
            },
            [this](Read read) { imported(std::move(read)); });
    }

    // New settings for the tasks `ids`, or for all and the defaults of new ones when
    // `ids` is empty. Nothing runs: the caller decides which results to renew.
    void updateSettings(const Settings& settings, const QList<QUuid>& ids = {})
    {
        if (ids.isEmpty()) settings_ = settings;
        for (Task& each : tasks_) {
            if (!ids.isEmpty() && !ids.contains(each.id)) continue;
            each.settings = settings;
            emit taskChanged(each.id);
        }
    }

    // Compresses the task again with its settings; an earlier run of it is stopped and
    // its result, should it still come, is dropped. A live preview's result does not
    // count as the final one where the kind says so.
    void recompress(const QUuid& taskID, bool livePreview = false)
    {
        Task* task = mutableTask(taskID);
        if (!task || isTornDown_) return;
        if (auto previous = stops_.find(taskID); previous != stops_.end()) previous->request_stop();
        const QUuid token = QUuid::createUuid();
        {
            const std::lock_guard lock(tokens_->mutex);
            tokens_->current.insert(taskID, token);
        }
        std::stop_source stop;
        stops_.insert(taskID, stop);
        task->status = CompressionTaskStatus::processing;
        emit taskChanged(taskID);

        const Settings snapshot = task->settings;
        using Outcome = std::expected<Landed, QString>;
        BackgroundTask::runToOutcome(
            executor_.get(), this, stop.get_token(),
            [processor = processor_, path = task->sourceURL, snapshot, tokens = tokens_, taskID, token,
             cacheRoot = cacheRoot_, cache = cacheDirectory_, sessionID = id_](std::stop_token stop) -> Outcome {
                auto folder = CompressionOutputs::makeCacheFolder(cacheRoot, sessionID.toString(QUuid::WithoutBraces));
                if (!folder) return std::unexpected(folder.error().message);
                auto produced = Kind::produce(*processor, path, snapshot, cache, stop);
                if (!produced) return std::unexpected(stop.stop_requested() ? QString() : produced.error());
                const std::lock_guard lock(tokens->mutex);
                if (tokens->closed || stop.stop_requested() || tokens->current.value(taskID) != token) {
                    Kind::discard(*produced);
                    // The queue closed while this ran: its folder may already be gone.
                    if (tokens->closed) CompressionOutputs::removeCacheFolder(cache);
                    return std::unexpected(QString());
                }
                auto path = Kind::commit(*produced, cache);
                if (!path) return std::unexpected(path.error());
                return Landed {std::move(*produced), *path};
            },
            [this, taskID, token, snapshot](Outcome outcome) { compressionEnded(taskID, token, snapshot, std::move(outcome)); });
        // Kept for the signature of the result, which depends on how it was asked for.
        livePreviewRuns_.insert(token, livePreview);
    }

    // Copies each task's result beside its source, compressing first what is stale. A
    // task without any result yet is left out.
    void saveTasks(const QList<QUuid>& ids)
    {
        if (isTornDown_ || isSaving_) return;
        isSaving_ = true;
        exportIssues_.clear();
        savedCount_ = 0;
        emit statusChanged();
        schedulingSaves_ = true;
        for (const QUuid& id : ids) {
            const Task* task = this->task(id);
            if (!task || !task->compressedFileURL) continue;
            if (isUpToDate(*task)) {
                saveReady(id);
            } else {
                waitingToSave_ << id;
                recompress(id);
            }
        }
        schedulingSaves_ = false;
        finishSavingIfDone();
    }

    // Stops every run under way; their tasks go back to pending.
    void cancelRuns()
    {
        for (auto& stop : stops_) stop.request_stop();
    }

    void removeTask(const QUuid& id)
    {
        const auto found = std::find_if(tasks_.begin(), tasks_.end(), [&id](const Task& each) { return each.id == id; });
        if (found == tasks_.end()) return;
        forgetRun(id);
        if (found->compressedFileURL) CompressionOutputs::removeResult(*found->compressedFileURL);
        tasks_.erase(found);
        waitingToSave_.removeOne(id);
        refreshRestorableSourceURLs();
        emit tasksChanged();
        emit titleChanged();
        finishSavingIfDone();
    }

    // Stops every run and removes the cache folder, in the background, once no run can
    // write into it any more.
    void teardown()
    {
        if (isTornDown_) return;
        isTornDown_ = true;
        importStop_.request_stop();
        for (auto& stop : stops_) stop.request_stop();
        stops_.clear();
        {
            const std::lock_guard lock(tokens_->mutex);
            tokens_->current.clear();
            tokens_->closed = true;
        }
        executor_->start([tokens = tokens_, folder = cacheDirectory_] {
            const std::lock_guard lock(tokens->mutex);
            CompressionOutputs::removeCacheFolder(folder);
        });
    }

    // "Images: a.jpg", "Images: a.jpg (3)", "Image Compression".
    QString title() const
    {
        if (tasks_.empty()) return QString::fromLatin1(Kind::texts.emptyTitle);
        QString title = QString::fromLatin1(Kind::texts.titlePrefix) + FilePaths::displayName(tasks_.front().fileName);
        if (tasks_.size() > 1) title += QStringLiteral(" (%1)").arg(tasks_.size());
        return title;
    }

private:
    struct Landed {
        Produced produced;
        QString path;
    };

    Task* mutableTask(const QUuid& id) { return const_cast<Task*>(task(id)); }

    void forgetRun(const QUuid& id)
    {
        if (auto stop = stops_.find(id); stop != stops_.end()) stop->request_stop();
        stops_.remove(id);
        const std::lock_guard lock(tokens_->mutex);
        tokens_->current.remove(id);
    }

    void imported(std::vector<std::pair<QString, std::expected<Info, QString>>> read)
    {
        --importsRunning_;
        if (isTornDown_) return;
        QSet<QString> queued;
        for (const Task& each : tasks_) queued.insert(each.sourceURL);
        std::vector<QUuid> added;
        for (auto& [path, info] : read) {
            const QString name = FilePaths::lastComponent(path);
            if (queued.contains(path)) {
                importIssues_.push_back({name, QStringLiteral("Already in queue")});
                continue;
            }
            if (!info) {
                importIssues_.push_back({name, QStringLiteral("Unsupported file type")});
                continue;
            }
            queued.insert(path);
            Task task;
            task.id = QUuid::createUuid();
            task.sourceURL = path;
            task.fileName = name;
            task.settings = settings_;
            Kind::makeTask(*info, task);
            added.push_back(task.id);
            tasks_.push_back(std::move(task));
        }
        refreshRestorableSourceURLs();
        statusMessage_ = added.empty()
                             ? QString::fromLatin1(Kind::texts.noneAdded)
                             : QStringLiteral("Added %1.").arg(compressionCountText(qsizetype(added.size()), Kind::texts.noun));
        emit tasksChanged();
        emit statusChanged();
        emit titleChanged();
        for (const QUuid& id : added) recompress(id);
    }

    void refreshRestorableSourceURLs()
    {
        restorableSourceURLs_.clear();
        for (const Task& each : tasks_) restorableSourceURLs_ << each.sourceURL;
    }

    void compressionEnded(const QUuid& taskID, const QUuid& token, const Settings& snapshot,
                          std::expected<Landed, QString> result)
    {
        const bool livePreview = livePreviewRuns_.take(token);
        Task* task = mutableTask(taskID);
        bool isCurrent = false;
        {
            const std::lock_guard lock(tokens_->mutex);
            isCurrent = task && !isTornDown_ && tokens_->current.value(taskID) == token;
            if (isCurrent) tokens_->current.remove(taskID);
        }
        if (!isCurrent) {
            // Gone from the queue or superseded after its result landed: it goes too.
            if (result) CompressionOutputs::removeResult(result->path);
            return;
        }
        const bool wasStopped = stops_.value(taskID).stop_requested();
        stops_.remove(taskID);
        const bool waitingToSave = waitingToSave_.removeOne(taskID);
        if (result) {
            if (task->compressedFileURL) CompressionOutputs::removeResult(*task->compressedFileURL);
            task->compressedFileURL = result->path;
            task->compressionSignature = Kind::signature(snapshot, livePreview);
            task->status = CompressionTaskStatus::done;
            task->errorMessage.reset();
            Kind::apply(result->produced, *task);
            emit taskChanged(taskID);
            if (waitingToSave) saveReady(taskID);
            return;
        }
        if (wasStopped || result.error().isEmpty()) {
            task->status = CompressionTaskStatus::pending;
        } else {
            task->status = CompressionTaskStatus::error;
            task->errorMessage = result.error();
        }
        emit taskChanged(taskID);
        if (waitingToSave) {
            exportIssues_.push_back({task->fileName, task->errorMessage.value_or(QStringLiteral("Compression stopped."))});
            finishSavingIfDone();
        }
    }

    void saveReady(const QUuid& taskID)
    {
        const Task* task = this->task(taskID);
        if (!task || !task->compressedFileURL) return;
        const auto target = CompressionOutputs::exportPath(task->sourceURL, Kind::suffix(task->settings),
                                                           Kind::exportExtension(*task));
        if (!target) {
            exportIssues_.push_back({task->fileName, target.error().message});
            finishSavingIfDone();
            return;
        }
        ++savesRunning_;
        using Saved = std::expected<void, CompressionOutputs::Error>;
        BackgroundTask::runToOutcome(
            executor_.get(), this, {},
            [result = *task->compressedFileURL, target = *target, trash = trash_](std::stop_token) -> Saved {
                return CompressionOutputs::save(result, target, trash);
            },
            [this, name = task->fileName](Saved saved) {
                --savesRunning_;
                if (saved) ++savedCount_;
                else exportIssues_.push_back({name, saved.error().message});
                finishSavingIfDone();
            });
    }

    void finishSavingIfDone()
    {
        if (!isSaving_ || schedulingSaves_ || savesRunning_ > 0 || !waitingToSave_.isEmpty()) return;
        isSaving_ = false;
        const qsizetype failed = qsizetype(exportIssues_.size());
        const char* noun = Kind::texts.noun;
        if (savedCount_ == 0) {
            if (failed == 0) statusMessage_ = QString::fromLatin1(Kind::texts.nothingSaved);
            else if (failed == 1) statusMessage_ = QStringLiteral("Save failed for %1.").arg(exportIssues_.front().fileName);
            else statusMessage_ = QStringLiteral("%1 failed.").arg(compressionCountText(failed, noun));
        } else if (failed == 0) {
            statusMessage_ = QStringLiteral("Saved %1.").arg(compressionCountText(savedCount_, noun));
        } else {
            statusMessage_ = QStringLiteral("Saved %1, %2 failed.").arg(compressionCountText(savedCount_, noun)).arg(failed);
        }
        emit statusChanged();
    }

    QUuid id_ = QUuid::createUuid();
    std::optional<QUuid> originBrowserTabID_;
    std::vector<Task> tasks_;
    Settings settings_;
    QStringList restorableSourceURLs_;
    std::vector<CompressionIssue> importIssues_;
    std::vector<CompressionIssue> exportIssues_;
    bool isSaving_ = false;
    std::optional<QString> statusMessage_;
    std::shared_ptr<const Processing> processor_;
    std::shared_ptr<TaskExecutor> executor_;
    QString cacheRoot_;
    QString cacheDirectory_;
    FreedesktopTrash trash_;
    std::shared_ptr<CompressionWriteTokens> tokens_;
    QHash<QUuid, std::stop_source> stops_; // task → how to stop its newest run
    QHash<QUuid, bool> livePreviewRuns_;   // run token → asked for as a live preview
    int importsRunning_ = 0;
    std::stop_source importStop_;
    // Saving: tasks waiting for a new run before they are saved, copies under way, done.
    QList<QUuid> waitingToSave_;
    int savesRunning_ = 0;
    int savedCount_ = 0;
    bool schedulingSaves_ = false;
    bool isTornDown_ = false;
};
