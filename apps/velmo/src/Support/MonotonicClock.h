#pragma once

#include <QtGlobal>

#include <functional>
#include <memory>

class QObject;

// Monotonic uptime in nanoseconds, and delayed calls measured on the same time.
// Stores take one so that tests move time by hand instead of sleeping: a manual
// clock runs what has come due when it is advanced.
class MonotonicClock {
public:
    virtual ~MonotonicClock() = default;
    virtual quint64 uptimeNanoseconds() const = 0;

    // Calls `callback` on `context`'s thread once `delayNanoseconds` have passed,
    // unless `context` is gone by then. Nothing cancels it: callbacks check
    // whether they still apply.
    virtual void runAfter(quint64 delayNanoseconds, QObject* context, std::function<void()> callback) = 0;

    // The clock of the running system (CLOCK_MONOTONIC, Qt timers).
    static std::shared_ptr<MonotonicClock> system();
};
