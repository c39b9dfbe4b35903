#include "Services/VolumeSpaceService.h"

#include "PathKit/FilePaths.h"
#include "Support/BackgroundTask.h"

#include <sys/statvfs.h>

#include <cerrno>
#include <limits>

VolumeSpaceService::VolumeSpaceService(std::shared_ptr<TaskExecutor> executor, QObject* parent)
    : QObject(parent), executor_(std::move(executor))
{
}

VolumeSpaceService::Result VolumeSpaceService::availableBytes(const QString& url)
{
    struct statvfs info {};
    const QString path = FilePaths::standardized(url);
    if (::statvfs(FilePaths::toNative(path).constData(), &info) != 0) {
        const int code = errno;
        return std::unexpected(FilePaths::displayName(path) + QStringLiteral(": ") + qt_error_string(code));
    }
    // Saturate rather than wrap: a huge volume must not read as a negative size.
    const unsigned long long limit = std::numeric_limits<qint64>::max();
    const unsigned long long blocks = info.f_bavail, blockSize = info.f_frsize ? info.f_frsize : info.f_bsize;
    if (blockSize != 0 && blocks > limit / blockSize) return std::numeric_limits<qint64>::max();
    return qint64(blocks * blockSize);
}

void VolumeSpaceService::ask(const QString& url, QObject* context, std::function<void(Result)> done)
{
    Question question {url, context, std::move(done)};
    if (asking_) {
        waiting_ = std::move(question);
        return;
    }
    start(std::move(question));
}

void VolumeSpaceService::start(Question question)
{
    asking_ = true;
    // Guarded by the service, not the asker, so that a question waiting behind
    // this one is still asked when the asker of this one has gone.
    // The folder is taken out first: the order in which the two callbacks below are
    // made is unspecified, and the second one takes the question.
    QString url = question.url;
    BackgroundTask::run(
        executor_.get(), this, [url = std::move(url)](std::stop_token) { return availableBytes(url); },
        [this, question = std::move(question)](Result result) {
            asking_ = false;
            if (waiting_) {
                Question next = std::move(*waiting_);
                waiting_.reset();
                start(std::move(next));
                return;
            }
            if (question.context) question.done(std::move(result));
        });
}
