#pragma once

// What the record table draws, as numbers and texts the Qt view paints: the masking of secret
// columns, the category label's geometry and its shortened text, and whole-row pagination for
// printing.

#include "foundation/Value.h"

#include <QString>

#include <functional>

namespace qv {

class MyTableDelegate {
public:
    // password, pin and security: the value when shown, else one bullet per UTF-16 unit.
    static QString maskedText(const Value& value, bool showPasswordInTable);

    // The longest prefix of `text` that fits `limit` with ".." added; at least one character.
    static QString trimStringToFit(const QString& text, int limit, const std::function<double(const QString&)>& width);

    struct LabelGeometry {
        bool draw;               // false when the cell is too small: leave it unchanged
        double x, y, w, h, radius;  // the rounded rectangle
        double textX, textY, textW, textH;
    };
    // The label of the category column for a cell of width w and row height h.
    static LabelGeometry categoryLabel(double columnWidth, double rowHeight);
    // The older label of the detail pane: a bar between two circles.
    struct PillGeometry {
        double barX, barW, leftCircleX, rightCircleX, diameter;
        double textX, textW;
    };
    static PillGeometry categoryPill(int width, int height);
};

// Whole rows per page.
struct TablePrinting {
    double paperWidth, paperHeight, top, bottom, left, right;
    double rowHeight, intercellSpacing;

    double calculatePrintHeight() const;
    double calculatePrintWidth() const { return paperWidth - left - right; }
    int pageCount(double tableHeight) const;
    // The part of the table printed on page p (from 1).
    Rect rectForPage(int page) const;
};

}  // namespace qv
