#pragma once

#include "Support/TaskHandle.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThreadPool>

#include <type_traits>
#include <utility>

// The one way Velmo runs work off the main thread:
//   work(std::stop_token) runs on `executor` (a QThreadPool, a SerialExecutor:
//   anything with start(callable)); its result comes back by value to
//   done(result) on the main thread. The continuation is dropped when the task
//   was cancelled or `context` has gone, so late results never land.
namespace BackgroundTask {

template <typename Executor, typename Work, typename Done>
TaskHandle run(Executor* executor, QObject* context, Work work, Done done, TaskHandle handle = TaskHandle::make())
{
    QPointer<QObject> guard(context);
    executor->start([handle, guard, work = std::move(work), done = std::move(done)]() mutable {
        if (handle.isCancelled()) return;
        auto result = work(handle.token());
        if (handle.isCancelled() || !guard) return;
        // Post to the application object, which outlives every context: posting to
        // `context` itself would race with its deletion on the main thread.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [handle, guard, done = std::move(done), result = std::move(result)]() mutable {
                if (handle.isCancelled() || !guard) return;
                done(std::move(result));
            },
            Qt::QueuedConnection);
    });
    return handle;
}

// Like run, but a stop still has an outcome: the result reaches `done` after a
// stop was requested too (a stopped copy keeps what it finished). Only a gone
// `context` drops it.
template <typename Executor, typename Work, typename Done>
void runToOutcome(Executor* executor, QObject* context, std::stop_token stop, Work work, Done done)
{
    QPointer<QObject> guard(context);
    executor->start([stop, guard, work = std::move(work), done = std::move(done)]() mutable {
        auto result = work(stop);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [guard, done = std::move(done), result = std::move(result)]() mutable {
                if (guard) done(std::move(result));
            },
            Qt::QueuedConnection);
    });
}

// Runs `fn` on `context`'s thread later, unless the handle is cancelled first.
template <typename Fn>
void post(QObject* context, const TaskHandle& handle, Fn fn)
{
    QMetaObject::invokeMethod(
        context,
        [handle, fn = std::move(fn)]() mutable {
            if (!handle.isCancelled()) fn();
        },
        Qt::QueuedConnection);
}

} // namespace BackgroundTask
