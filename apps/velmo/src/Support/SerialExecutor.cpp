#include "Support/SerialExecutor.h"

#include <deque>
#include <mutex>
#include <thread>

struct SerialExecutor::Queue {
    std::mutex mutex;
    std::deque<std::function<void()>> calls;
    bool hasThread = false;
    bool closed = false;

    // The thread's loop: it ends when nothing is left to do, so an idle executor
    // holds no thread, and a closed one ends after its running call.
    static void drain(const std::shared_ptr<Queue>& queue)
    {
        for (;;) {
            std::function<void()> call;
            {
                std::lock_guard lock(queue->mutex);
                if (queue->closed || queue->calls.empty()) {
                    queue->hasThread = false;
                    return;
                }
                call = std::move(queue->calls.front());
                queue->calls.pop_front();
            }
            call();
        }
    }
};

SerialExecutor::SerialExecutor() : queue_(std::make_shared<Queue>()) { }

SerialExecutor::~SerialExecutor()
{
    std::deque<std::function<void()>> dropped;
    std::lock_guard lock(queue_->mutex);
    queue_->closed = true;
    dropped.swap(queue_->calls);
}

void SerialExecutor::start(std::function<void()> call)
{
    std::lock_guard lock(queue_->mutex);
    queue_->calls.push_back(std::move(call));
    if (queue_->hasThread) return;
    queue_->hasThread = true;
    // Detached: nobody ever waits for this thread; it holds the queue it drains.
    std::thread([queue = queue_] { Queue::drain(queue); }).detach();
}
