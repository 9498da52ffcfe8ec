#include "CategoryView.h"

#include "browsing/MyTableDelegate.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace qv::app {

namespace {

QColor colorOf(const Value& dict) {
    const RgbaColor c = ZKColorUtilOSX::NSColorFromDict(dict.toDictionary());
    return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a));
}

}  // namespace

int CategoryPill::widthForTitle(const QFontMetrics& metrics, const QString& title, int rowHeight) {
    if (rowHeight <= 0) rowHeight = metrics.height() + 4;
    // The inverse of the label's geometry: the text gets the cell less a margin of 0.6 of the
    // corner radius on each side and two pixels.
    const int radius = int(std::trunc(rowHeight - 2.0)) / 2;
    const double margin = radius * 0.6;
    return int(std::ceil(metrics.horizontalAdvance(title) + 2 * margin + 2)) + 1;
}

void CategoryPill::paintTableLabel(QPainter* painter, const QRect& cell, const QFont& font, const QString& title,
                                   const QVariant& background, const QVariant& text) {
    if (!background.canConvert<QColor>() || !background.value<QColor>().isValid()) return;  // no category
    const auto g = MyTableDelegate::categoryLabel(cell.width(), cell.height());
    if (!g.draw) return;
    const QColor back = background.value<QColor>();
    const QColor stored = text.canConvert<QColor>() ? text.value<QColor>() : QColor(Qt::black);
    const QFontMetrics metrics(font);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(cell.topLeft() + QPoint(0, 1));
    QPainterPath path;
    path.addRoundedRect(QRectF(g.x, g.y, g.w, g.h), g.radius, g.radius);
    painter->fillPath(path, back);
    painter->setFont(font);
    painter->setPen(stored);
    painter->drawText(QRectF(g.textX, 0, g.textW, g.textH), Qt::AlignVCenter | Qt::AlignLeft,
                      MyTableDelegate::trimStringToFit(title, int(g.textW),
                                                       [&](const QString& t) { return double(metrics.horizontalAdvance(t)); }));
    painter->restore();
}

CategoryView::CategoryView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("categoryView"));
    setMinimumHeight(22);
    setToolTip(QStringLiteral("Click to copy the category's name"));
}

void CategoryView::setCategory(const Value& category) {
    category_ = category;
    update();
}

void CategoryView::paintEvent(QPaintEvent*) {
    if (!category_.isDictionary()) return;  // no selection or no category: blank
    const Dictionary c = category_.toDictionary();
    const int w = width(), h = height() - 2;
    const auto g = MyTableDelegate::categoryPill(w, h);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor back = colorOf(c.value(keys::cat_backColor));
    p.setPen(Qt::NoPen);
    p.setBrush(back);
    p.drawRect(QRectF(g.barX, 0, g.barW, h));
    p.drawEllipse(QRectF(g.leftCircleX, 0, g.diameter, g.diameter));
    p.drawEllipse(QRectF(g.rightCircleX, 0, g.diameter, g.diameter));
    QFont f = font();
    f.setPointSize(13 * 3 / 4 + 1);
    p.setFont(f);
    p.setPen(colorOf(c.value(keys::cat_textColor)));
    const QFontMetrics m(f);
    const QString text = MyTableDelegate::trimStringToFit(c.value(keys::cat_category).toString(), int(g.textW),
                                                          [&](const QString& s) { return double(m.horizontalAdvance(s)); });
    p.drawText(QRectF(g.textX, 0, g.textW, h), Qt::AlignVCenter | Qt::AlignLeft, text);
}

void CategoryView::mousePressEvent(QMouseEvent*) {
    // The working copy path of the category's name; it does not count a use.
    if (pasteboard_) pasteboard_->setString(category_.toDictionary().value(keys::cat_category).toString());
}

}  // namespace qv::app
