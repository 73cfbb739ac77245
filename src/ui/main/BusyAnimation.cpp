// A small animation painted frame by frame from a timer.
#include "ui/main/BusyAnimation.h"

#include <QPainter>
#include <QPainterPath>
#include <QtMath>

namespace qm::ui {

BusyAnimation::BusyAnimation(QWidget* parent) : QWidget(parent)
{
    setObjectName("aniMovies");
    setFixedSize(sizeHint());
    m_timer.setInterval(80);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_frame = (m_frame + 1) % 24;
        update();
    });
    hide();
}

void BusyAnimation::start(Mode mode)
{
    m_mode = mode;
    m_frame = 0;
    show();
    m_timer.start();
}

void BusyAnimation::stop()
{
    m_timer.stop();
    hide();
}

void BusyAnimation::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor ink = palette().color(QPalette::Highlight);
    const QRectF box = QRectF(rect()).adjusted(4, 4, -4, -4);
    if (m_mode == Mode::Pages) {
        // A stack of pages, the top one turning over from right to left.
        p.setPen(QPen(palette().color(QPalette::WindowText), 1));
        p.setBrush(palette().color(QPalette::Base));
        p.drawRect(box.adjusted(6, 2, 0, 0));
        p.drawRect(box.adjusted(3, 1, -3, -1));
        const double turn = std::abs(std::cos(m_frame * M_PI / 12.0));
        const double width = (box.width() - 6) * turn;
        const double left = box.center().x() - width / 2.0;
        p.setBrush(ink);
        p.drawRect(QRectF(left, box.top(), std::max(1.0, width), box.height() - 2));
    } else {
        // A magnifier sweeping in a circle.
        const double angle = m_frame * 2 * M_PI / 24.0;
        const QPointF centre = box.center() + QPointF(std::cos(angle) * 5, std::sin(angle) * 5);
        p.setPen(QPen(ink, 3));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(centre, 8, 8);
        p.drawLine(centre + QPointF(6, 6), centre + QPointF(13, 13));
    }
}

} // namespace qm::ui
