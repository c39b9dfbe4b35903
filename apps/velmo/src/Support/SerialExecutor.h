#pragma once

#include <functional>
#include <memory>

// A serial executor: calls run one at a time, in the order given, on a thread of
// the executor's own, so a service's state needs no lock.
//
// Destroying it returns at once, whatever runs: calls not yet started are
// dropped, and a running one (perhaps stuck in a system call on a dead network
// mount) finishes on its thread, which then ends. A call must therefore hold
// what it uses itself (shared state), never its owner.
class SerialExecutor {
public:
    SerialExecutor();
    ~SerialExecutor();
    SerialExecutor(const SerialExecutor&) = delete;
    SerialExecutor& operator=(const SerialExecutor&) = delete;

    void start(std::function<void()> call);

private:
    struct Queue;
    std::shared_ptr<Queue> queue_;
};
