#include "Support/MonotonicClock.h"

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
};

} // namespace

std::shared_ptr<MonotonicClock> MonotonicClock::system()
{
    static const auto clock = std::make_shared<SystemMonotonicClock>();
    return clock;
}
