#include "MyTableDelegate.h"

#include <cmath>

namespace qv {

QString MyTableDelegate::maskedText(const Value& value, bool showPasswordInTable) {
    if (!value.isAbsent() && showPasswordInTable) return value.toString();
    // The number of bullets tells the length of the secret; that is intended.
    return QString(value.isAbsent() ? 0 : value.toString().size(), QChar(0x2022));
}

QString MyTableDelegate::trimStringToFit(const QString& text, int limit,
                                         const std::function<double(const QString&)>& width) {
    if (width(text) <= limit) return text;
    QString kept = text;
    QString result = kept + QStringLiteral("..");
    while (width(result) > limit && kept.size() >= 2) {
        kept.chop(1);
        result = kept + QStringLiteral("..");
    }
    return result;
}

MyTableDelegate::LabelGeometry MyTableDelegate::categoryLabel(double w, double h) {
    LabelGeometry g{};
    if (std::trunc(h - 2) * std::trunc(w - 2) <= 0) return g;
    g.draw = true;
    const int W = int(std::trunc(w));
    const int H = int(std::trunc(h - 2));
    const int r = H / 2;
    g.x = 1;
    g.y = 0;
    g.w = W - 3;
    g.h = H;
    g.radius = r;
    const double m = r * 0.6;
    g.textX = 1 + m;
    g.textY = 1;
    g.textW = W - 2 * m - 2;
    g.textH = H;
    return g;
}

MyTableDelegate::PillGeometry MyTableDelegate::categoryPill(int W, int H) {
    PillGeometry p{};
    const int half = H / 2;
    p.barX = half + 1;
    p.barW = W - H;
    p.leftCircleX = 1;
    p.rightCircleX = W - H - 2;
    p.diameter = H;
    const double m = half * 0.6;
    p.textX = 1 + m;
    p.textW = W - 2 * m - 2;
    return p;
}

double TablePrinting::calculatePrintHeight() const {
    const double usable = paperHeight - top - bottom;
    const float row = float(rowHeight + intercellSpacing);
    return std::trunc(usable / row) * row;
}

int TablePrinting::pageCount(double tableHeight) const {
    const double page = calculatePrintHeight();
    return page > 0 ? int(std::ceil(tableHeight / page)) : 1;
}

Rect TablePrinting::rectForPage(int page) const {
    return Rect{0, (page - 1) * calculatePrintHeight(), calculatePrintWidth(), calculatePrintHeight()};
}

}  // namespace qv
