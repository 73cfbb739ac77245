// What a long loop needs from the screen: an event pump and a stop flag.
#pragma once

#include <atomic>
#include <functional>

namespace qm::app {

/// The Stop button's flag. Loops test it once per document (or file), so
/// Stop takes effect after the current one; atomic so that a run may count
/// on a worker thread while the screen sets it.
class StopFlag {
public:
    void set() { m_set.store(true); }
    void clear() { m_set.store(false); }
    bool isSet() const { return m_set.load(); }

private:
    std::atomic<bool> m_set{false};
};

/// Hooks a long loop calls: `pumpEvents` once per item (the GUI processes
/// pending events there, so Stop can be pressed), and the stop flag.
struct RunControl {
    std::function<void()> pumpEvents;
    StopFlag* stop = nullptr;

    void pump() const
    {
        if (pumpEvents)
            pumpEvents();
    }
    bool stopRequested() const { return stop && stop->isSet(); }
};

} // namespace qm::app
