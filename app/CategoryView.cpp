#include "CategoryView.h"

#include "browsing/MyTableDelegate.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QClipboard>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace qv::app {

namespace {

QColor colorOf(const Value& dict) {
    const RgbaColor c = ZKColorUtilOSX::NSColorFromDict(dict.toDictionary());
    return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a));
}

QColor overWhite(const QColor& c) {
    const double a = c.alphaF();
    return QColor::fromRgbF(float(c.redF() * a + (1 - a)), float(c.greenF() * a + (1 - a)),
                            float(c.blueF() * a + (1 - a)));
}

QColor over(const QColor& top, const QColor& below) {
    const double a = top.alphaF();
    return QColor::fromRgbF(float(top.redF() * a + below.redF() * (1 - a)), float(top.greenF() * a + below.greenF() * (1 - a)),
                            float(top.blueF() * a + below.blueF() * (1 - a)));
}

// Relative luminance of an sRGB colour, as WCAG 2 defines it.
double luminance(const QColor& c) {
    const auto channel = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
}

double ratioOfOpaque(const QColor& a, const QColor& b) {
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

}  // namespace

double CategoryPill::contrastRatio(const QColor& a, const QColor& b) {
    return ratioOfOpaque(overWhite(a), overWhite(b));
}

QColor CategoryPill::readableTextColor(const QColor& background, const QColor& stored) {
    const QColor back = overWhite(background);
    if (ratioOfOpaque(over(stored, back), back) >= kMinimumContrast) return stored;
    const QColor black(Qt::black), white(Qt::white);
    return ratioOfOpaque(black, back) >= ratioOfOpaque(white, back) ? black : white;
}

QString CategoryPill::fittedTitle(const QFontMetrics& metrics, const QString& title, int width) {
    return metrics.elidedText(title, Qt::ElideMiddle, std::max(0, width));
}

QString CategoryPill::fittedTitle(const QFontMetricsF& metrics, const QString& title, double width) {
    return metrics.elidedText(title, Qt::ElideMiddle, std::max(0.0, width));
}

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
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(cell.topLeft() + QPoint(0, 1));
    QPainterPath path;
    path.addRoundedRect(QRectF(g.x, g.y, g.w, g.h), g.radius, g.radius);
    painter->fillPath(path, back);
    painter->setFont(font);
    painter->setPen(readableTextColor(back, stored));
    const QFontMetrics metrics(font);
    painter->drawText(QRectF(g.textX, 0, g.textW, g.textH), Qt::AlignVCenter | Qt::AlignLeft,
                      fittedTitle(metrics, title, int(g.textW)));
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
    p.setPen(CategoryPill::readableTextColor(back, colorOf(c.value(keys::cat_textColor))));
    const QString title = c.value(keys::cat_category).toString();
    p.drawText(QRectF(g.textX, 0, g.textW, h), Qt::AlignVCenter | Qt::AlignLeft,
               CategoryPill::fittedTitle(QFontMetrics(f), title, int(g.textW)));
}

void CategoryView::mousePressEvent(QMouseEvent*) {
    // The working copy path of the category's name; it does not count a use.
    QGuiApplication::clipboard()->setText(category_.toDictionary().value(keys::cat_category).toString());
}

}  // namespace qv::app
