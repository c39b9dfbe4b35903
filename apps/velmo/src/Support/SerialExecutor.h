#pragma once

#include <QThreadPool>

// A serial executor: one thread, calls run one at a time in the order given, so a
// service's caches need no lock.
class SerialExecutor {
public:
    SerialExecutor();
    ~SerialExecutor();
    SerialExecutor(const SerialExecutor&) = delete;
    SerialExecutor& operator=(const SerialExecutor&) = delete;

    QThreadPool* pool() { return &pool_; }

private:
    QThreadPool pool_;
};
