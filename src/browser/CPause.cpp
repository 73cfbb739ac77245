// The wait loop, counted across midnight where the timer wraps.
#include "browser/CPause.h"

#include <chrono>
#include <ctime>
#include <thread>

namespace qm::browser {

namespace {
constexpr double secondsPerDay = 86400.0;
}

double SystemClock::secondsSinceMidnight()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t t = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&t, &local);
    const double fraction =
        std::chrono::duration<double>(now - std::chrono::system_clock::from_time_t(t)).count();
    return local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec + fraction;
}

void SystemClock::idle()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

CPause::CPause(Clock& clock, std::function<void()> pumpEvents)
    : m_clock(clock)
    , m_pump(std::move(pumpEvents))
{
}

void CPause::wait(double amount, int unit)
{
    switch (unit) {
    case Minutes:
        amount *= 60;
        break;
    case Hours:
        amount *= 3600;
        break;
    case Milliseconds:
        amount /= 1000;
        break;
    default:
        break;
    }
    auto pass = [this] {
        if (m_pump)
            m_pump();
        m_clock.idle();
    };
    // The timer wraps to 0 at midnight: adding up the steps between readings,
    // with a day added across the wrap, makes a wait that spans midnight (or
    // several) last its full amount.
    double previous = m_clock.secondsSinceMidnight();
    double elapsed = 0;
    while (elapsed < amount) {
        pass();
        const double now = m_clock.secondsSinceMidnight();
        elapsed += now >= previous ? now - previous : now + secondsPerDay - previous;
        previous = now;
    }
}

} // namespace qm::browser
