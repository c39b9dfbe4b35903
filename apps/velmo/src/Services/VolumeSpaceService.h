#pragma once

#include "Support/TaskExecutor.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <expected>
#include <functional>
#include <memory>
#include <optional>

// The free space of the volume that holds a folder. statvfs can hang on a dead
// network mount, so the question runs on a background executor and the answer
// comes back to the main thread. One question per service is out at a time: a
// hung call holds one worker, never one per navigation. Questions asked meanwhile
// wait, and only the newest is asked next; an answer to an older question is
// dropped. Lives on the main thread.
class VolumeSpaceService : public QObject {
public:
    // Bytes an unprivileged user may still write, or the reason it is unknown.
    using Result = std::expected<qint64, QString>;

    explicit VolumeSpaceService(std::shared_ptr<TaskExecutor> executor = TaskExecutor::fileOperations(),
                                QObject* parent = nullptr);

    // `done` runs on the main thread with the answer for `url`, unless a newer
    // question came first or `context` is gone.
    void ask(const QString& url, QObject* context, std::function<void(Result)> done);

    // The question itself, on the caller's thread.
    static Result availableBytes(const QString& url);

private:
    struct Question {
        QString url;
        QPointer<QObject> context;
        std::function<void(Result)> done;
    };
    void start(Question question);

    std::shared_ptr<TaskExecutor> executor_;
    bool asking_ = false;
    std::optional<Question> waiting_;
};
