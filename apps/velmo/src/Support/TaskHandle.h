#pragma once

#include <memory>
#include <stop_token>

// The owner's handle on one background task: cancelling requests a stop that the
// work checks between items. Copies share the same task. An empty handle is no task.
class TaskHandle {
public:
    TaskHandle() = default;
    static TaskHandle make() { return TaskHandle(std::make_shared<std::stop_source>()); }

    bool isValid() const { return bool(source_); }
    void cancel() const
    {
        if (source_) source_->request_stop();
    }
    bool isCancelled() const { return source_ && source_->stop_requested(); }
    std::stop_token token() const { return source_ ? source_->get_token() : std::stop_token(); }

    bool operator==(const TaskHandle& other) const { return source_ == other.source_; }

private:
    explicit TaskHandle(std::shared_ptr<std::stop_source> source) : source_(std::move(source)) { }
    std::shared_ptr<std::stop_source> source_;
};
