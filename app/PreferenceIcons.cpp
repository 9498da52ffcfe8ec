#include "PreferenceIcons.h"

#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QtMath>

namespace qv::app {

namespace {

using Painter = void (*)(QPainter&);

QLinearGradient vertical(const QColor& top, const QColor& bottom, double y0 = 4, double y1 = 60) {
    QLinearGradient g(0, y0, 0, y1);
    g.setColorAt(0, top);
    g.setColorAt(1, bottom);
    return g;
}

void gear(QPainter& p) {
    QPainterPath teeth;
    const QPointF c(32, 32);
    for (int i = 0; i < 8; ++i) {
        QPainterPath tooth;
        tooth.addRoundedRect(QRectF(-5.5, -29, 11, 14), 2, 2);
        QTransform t;
        t.translate(c.x(), c.y());
        t.rotate(i * 45.0);
        teeth.addPath(t.map(tooth));
    }
    QPainterPath body;
    body.addEllipse(c, 20, 20);
    QPainterPath hole;
    hole.addEllipse(c, 8, 8);
    const QPainterPath shape = teeth.united(body).subtracted(hole);
    p.setPen(QPen(QColor(70, 74, 80), 1.5));
    p.setBrush(vertical(QColor(176, 182, 190), QColor(104, 110, 118)));
    p.drawPath(shape);
    p.setPen(QPen(QColor(255, 255, 255, 90), 1.2));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(c, 14, 14);
}

void letterT(QPainter& p) {
    p.setPen(QPen(QColor(90, 90, 96), 1.5));
    p.setBrush(vertical(QColor(252, 252, 250), QColor(226, 226, 222)));
    p.drawRoundedRect(QRectF(6, 6, 52, 52), 8, 8);
    QFont f(QStringLiteral("DejaVu Serif"));
    f.setPixelSize(44);
    f.setBold(true);
    p.setFont(f);
    p.setPen(QColor(40, 44, 52));
    p.drawText(QRectF(6, 4, 52, 54), Qt::AlignCenter, QStringLiteral("T"));
}

void key(QPainter& p) {
    QPainterPath k;
    k.addEllipse(QPointF(19, 23), 13, 13);
    QPainterPath shaft;
    shaft.moveTo(26, 31);
    shaft.lineTo(52, 57);
    shaft.lineTo(58, 51);
    shaft.lineTo(54, 47);
    shaft.lineTo(50, 51);
    shaft.lineTo(47, 48);
    shaft.lineTo(51, 44);
    shaft.lineTo(47, 40);
    shaft.lineTo(43, 44);
    shaft.lineTo(33, 34);
    shaft.closeSubpath();
    QPainterPath hole;
    hole.addEllipse(QPointF(15, 19), 4.5, 4.5);
    const QPainterPath shape = k.united(shaft).subtracted(hole);
    p.setPen(QPen(QColor(140, 100, 20), 1.5));
    p.setBrush(vertical(QColor(255, 218, 110), QColor(214, 152, 30)));
    p.drawPath(shape);
}

void alarmClock(QPainter& p) {
    p.setPen(QPen(QColor(120, 20, 20), 1.5));
    p.setBrush(vertical(QColor(236, 88, 80), QColor(176, 34, 30)));
    p.drawPie(QRectF(4, 4, 22, 22), 30 * 16, 180 * 16);
    p.drawPie(QRectF(38, 4, 22, 22), -30 * 16, 180 * 16);
    p.setPen(QPen(QColor(80, 80, 84), 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(20, 52), QPointF(14, 59));
    p.drawLine(QPointF(44, 52), QPointF(50, 59));
    p.setPen(QPen(QColor(120, 20, 20), 1.5));
    p.setBrush(vertical(QColor(236, 88, 80), QColor(176, 34, 30), 10, 58));
    p.drawEllipse(QPointF(32, 35), 23, 23);
    p.setBrush(QColor(252, 250, 246));
    p.setPen(QPen(QColor(150, 40, 36), 1));
    p.drawEllipse(QPointF(32, 35), 18, 18);
    p.setPen(QPen(QColor(60, 60, 64), 1.5));
    for (int i = 0; i < 12; ++i) {
        const double a = qDegreesToRadians(i * 30.0);
        p.drawLine(QPointF(32 + 15 * qSin(a), 35 - 15 * qCos(a)), QPointF(32 + 17 * qSin(a), 35 - 17 * qCos(a)));
    }
    p.setPen(QPen(QColor(30, 30, 34), 2.6, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(32, 35), QPointF(32, 24));
    p.drawLine(QPointF(32, 35), QPointF(40, 39));
}

void sliders(QPainter& p) {
    p.setPen(QPen(QColor(40, 70, 120), 1.5));
    p.setBrush(vertical(QColor(120, 170, 235), QColor(50, 100, 180)));
    p.drawRoundedRect(QRectF(6, 6, 52, 52), 10, 10);
    const double xs[] = {20, 32, 44};
    const double knobs[] = {38, 22, 32};
    for (int i = 0; i < 3; ++i) {
        p.setPen(QPen(QColor(255, 255, 255, 200), 3, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(xs[i], 15), QPointF(xs[i], 49));
        p.setPen(QPen(QColor(30, 50, 90), 1));
        p.setBrush(QColor(250, 250, 252));
        p.drawRoundedRect(QRectF(xs[i] - 5, knobs[i] - 3.5, 10, 7), 2, 2);
    }
}

void update(QPainter& p) {
    p.setPen(QPen(QColor(30, 100, 50), 1.5));
    p.setBrush(vertical(QColor(110, 210, 120), QColor(40, 150, 70)));
    p.drawEllipse(QPointF(32, 32), 27, 27);
    QPainterPath arrow;
    arrow.moveTo(27, 14);
    arrow.lineTo(37, 14);
    arrow.lineTo(37, 32);
    arrow.lineTo(46, 32);
    arrow.lineTo(32, 48);
    arrow.lineTo(18, 32);
    arrow.lineTo(27, 32);
    arrow.closeSubpath();
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255));
    p.drawPath(arrow);
    p.setBrush(QColor(255, 255, 255, 220));
    p.drawRoundedRect(QRectF(18, 50, 28, 4), 2, 2);
}

QPixmap render(Painter painter, int size, qreal ratio) {
    QPixmap pm(int(size * ratio), int(size * ratio));
    pm.setDevicePixelRatio(ratio);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.scale(size / 64.0, size / 64.0);
    painter(p);
    return pm;
}

}  // namespace

QIcon preferenceIcon(const QString& name) {
    static const QHash<QString, Painter> painters{{QStringLiteral("prefGeneral"), gear},
                                                  {QStringLiteral("t"), letterT},
                                                  {QStringLiteral("keys"), key},
                                                  {QStringLiteral("alarm_clock"), alarmClock},
                                                  {QStringLiteral("advanced"), sliders},
                                                  {QStringLiteral("swUpdate"), update}};
    const Painter painter = painters.value(name);
    if (!painter) return {};
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64}) {
        icon.addPixmap(render(painter, size, 1));
        icon.addPixmap(render(painter, size, 2));
    }
    return icon;
}

}  // namespace qv::app
