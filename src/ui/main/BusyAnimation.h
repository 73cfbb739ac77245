// The busy animation shown while a count run or a folder search works.
#pragma once

#include <QTimer>
#include <QWidget>

namespace qm::ui {

/// Drawn by Qt in place of the video clips: mode 1 (a count or print run)
/// turns pages, mode 2 (a folder search) sweeps a magnifier. Hidden when stopped.
class BusyAnimation : public QWidget {
    Q_OBJECT
public:
    enum class Mode { Pages = 1, Search = 2 };

    explicit BusyAnimation(QWidget* parent = nullptr);

    void start(Mode mode);
    void stop();
    bool isRunning() const { return m_timer.isActive(); }
    Mode mode() const { return m_mode; }

    QSize sizeHint() const override { return {40, 40}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QTimer m_timer;
    Mode m_mode = Mode::Pages;
    int m_frame = 0;
};

} // namespace qm::ui
