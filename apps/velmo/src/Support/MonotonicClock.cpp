#include "Support/MonotonicClock.h"

#include <QTimer>

#include <ctime>

namespace {

class SystemMonotonicClock final : public MonotonicClock {
public:
    quint64 uptimeNanoseconds() const override
    {
        timespec ts {};
        clock_gettime(CLOCK_MONOTONIC, &ts);
        return quint64(ts.tv_sec) * 1'000'000'000ull + quint64(ts.tv_nsec);
    }

    void runAfter(quint64 delayNanoseconds, QObject* context, std::function<void()> callback) override
    {
        // Rounded up: a timer must never fire before its time.
        const auto milliseconds = std::chrono::milliseconds((delayNanoseconds + 999'999) / 1'000'000);
        QTimer::singleShot(milliseconds, context, std::move(callback));
    }
};

} // namespace

std::shared_ptr<MonotonicClock> MonotonicClock::system()
{
    static const auto clock = std::make_shared<SystemMonotonicClock>();
    return clock;
}
