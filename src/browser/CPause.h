// A wait that keeps the screen alive, timed by a seconds-since-midnight timer.
#pragma once

#include <functional>

namespace qm::browser {

/// The timer a wait reads: seconds since local midnight, wrapping to 0.
class Clock {
public:
    virtual ~Clock() = default;
    virtual double secondsSinceMidnight() = 0;
    /// Called on every pass of a wait after the event pump; the system clock
    /// sleeps briefly here so that a wait does not spin a processor.
    virtual void idle() {}
};

class SystemClock : public Clock {
public:
    double secondsSinceMidnight() override;
    void idle() override;
};

/// Waits a number of seconds, minutes, hours or milliseconds, calling the
/// event pump on every pass so the user can still press Stop.
class CPause {
public:
    enum Unit { Seconds = 0, Minutes = 1, Hours = 2, Milliseconds = 3 };

    CPause(Clock& clock, std::function<void()> pumpEvents);

    void wait(double amount, int unit);

private:
    Clock& m_clock;
    std::function<void()> m_pump;
};

} // namespace qm::browser
