#include "Support/TaskExecutor.h"

#include <QThreadPool>

namespace {

class ThreadPoolExecutor final : public TaskExecutor {
public:
    explicit ThreadPoolExecutor(int threads, QThread::Priority priority = QThread::InheritPriority)
    {
        pool_.setMaxThreadCount(threads);
        pool_.setExpiryTimeout(30'000);
        pool_.setThreadPriority(priority);
    }
    void start(std::function<void()> work) override { pool_.start(std::move(work)); }

private:
    QThreadPool pool_;
};

} // namespace

std::shared_ptr<TaskExecutor> TaskExecutor::fileOperations()
{
    // Never destroyed: a pool's destructor waits for its work, and an operation
    // stuck on a dead mount must not hold the program's exit.
    // Operations wait on disks, not on the processor: a few may run at once
    // (one per pane and tab), and none waits for a listing or a scan.
    static auto* executor = new std::shared_ptr<TaskExecutor>(std::make_shared<ThreadPoolExecutor>(8));
    return *executor;
}

std::shared_ptr<TaskExecutor> TaskExecutor::folderProbes()
{
    // A pane runs at most 16 probes at once, each a single directory read.
    static auto* executor = new std::shared_ptr<TaskExecutor>(std::make_shared<ThreadPoolExecutor>(4));
    return *executor;
}

std::shared_ptr<TaskExecutor> TaskExecutor::folderSizes()
{
    // Each pane walks one folder at a time; a walk stuck on a dead mount holds
    // one thread, never the program's exit (never destroyed, as above).
    static auto* executor
        = new std::shared_ptr<TaskExecutor>(std::make_shared<ThreadPoolExecutor>(4, QThread::LowPriority));
    return *executor;
}

std::shared_ptr<TaskExecutor> TaskExecutor::searches()
{
    // One per search tab at a time; a stopped search ends soon unless a system call
    // holds it (never destroyed, as above).
    static auto* executor = new std::shared_ptr<TaskExecutor>(std::make_shared<ThreadPoolExecutor>(4));
    return *executor;
}

std::shared_ptr<TaskExecutor> TaskExecutor::compression()
{
    // Encoders keep a core busy each; saving copies go through the same queue, so a
    // save waits behind at most the encodes already running (never destroyed).
    static auto* executor = new std::shared_ptr<TaskExecutor>(
        std::make_shared<ThreadPoolExecutor>(std::max(2, QThread::idealThreadCount()), QThread::LowPriority));
    return *executor;
}

std::shared_ptr<TaskExecutor> TaskExecutor::previews()
{
    // Reading and decoding what a side preview shows; a read stuck on a dead mount
    // holds one of these threads only (never destroyed, as above).
    static auto* executor = new std::shared_ptr<TaskExecutor>(std::make_shared<ThreadPoolExecutor>(3));
    return *executor;
}
