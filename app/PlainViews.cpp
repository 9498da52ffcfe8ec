#include "PlainViews.h"

#include <QEvent>
#include <QPainter>

#include <cmath>
#include <numbers>

namespace qv::app {

namespace {
const QColor kFrameGray(128, 128, 128);
}  // namespace

void WhiteView::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), Qt::white);
}

void ZKWhiteView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), Qt::white);
    p.setPen(QPen(kFrameGray, 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(rect().adjusted(0, 0, -1, -1));
}

ZKGrayView::ZKGrayView(QWidget* parent) : QWidget(parent), myGradient(fromPalette()), paletteGradient_(myGradient) {}

ZKGrayView::ZKGrayView(QGradientStops stops, QWidget* parent) : QWidget(parent), myGradient(std::move(stops)) {}

ZKDarkGrayView::ZKDarkGrayView(QWidget* parent)
    : ZKGrayView({{0.0, QColor(0x4a, 0x4a, 0x4a)}, {1.0, QColor(0x78, 0x78, 0x78)}}, parent) {}

QGradientStops ZKGrayView::fromPalette() const {
    const QColor window = palette().color(QPalette::Window);
    return {{0.0, window.darker(107)}, {1.0, window.lighter(104)}};
}

void ZKGrayView::changeEvent(QEvent* event) {
    // A new desktop theme: the gradient follows, unless someone chose its colours.
    if (event->type() == QEvent::PaletteChange && myGradient == paletteGradient_) {
        paletteGradient_ = myGradient = fromPalette();
        update();
    }
    QWidget::changeEvent(event);
}

void ZKGrayView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QRectF r = rect();
    const QPointF c = r.center();
    if (isRadial) {
        QRadialGradient g(c, std::hypot(r.width(), r.height()) / 2.0);
        g.setStops(myGradient);
        p.fillRect(r, g);
        return;
    }
    // The line runs through the centre at the angle, long enough that the first and last
    // colours reach the corners. Screen y grows downward, hence the minus.
    const double a = angle * std::numbers::pi / 180.0;
    const QPointF dir(std::cos(a), -std::sin(a));
    const double half = (std::abs(r.width() * dir.x()) + std::abs(r.height() * dir.y())) / 2.0;
    QLinearGradient g(c - dir * half, c + dir * half);
    g.setStops(myGradient);
    p.fillRect(r, g);
}

}  // namespace qv::app
