#pragma once

#include <QtGlobal>
#include <memory>

// Monotonic uptime in nanoseconds. Stores take one so that tests can move time
// by hand instead of sleeping.
class MonotonicClock {
public:
    virtual ~MonotonicClock() = default;
    virtual quint64 uptimeNanoseconds() const = 0;

    // The clock of the running system (CLOCK_MONOTONIC).
    static std::shared_ptr<MonotonicClock> system();
};
