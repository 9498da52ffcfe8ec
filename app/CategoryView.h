#pragma once

// The selected record's category as a coloured label in the detail pane. A click copies the
// category's name to the clipboard. CategoryPill holds what every category label shares (the
// table's column, the detail pane, the printed table): how a title is fitted and which text
// colour stays readable on the category's background.

#include "foundation/Value.h"

#include <QColor>
#include <QWidget>

class QFontMetrics;
class QFontMetricsF;
class QPainter;

namespace qv::app {

struct CategoryPill {
    // WCAG 2 contrast ratio of two colours, from 1 (the same) to 21 (black on white). Colours
    // that are not opaque count as laid over white, as labels are on the table.
    static double contrastRatio(const QColor& a, const QColor& b);
    // The ratio below which a text colour counts as unreadable on its background.
    static constexpr double kMinimumContrast = 3.0;
    // The stored text colour when it reads well enough on the background; otherwise black or
    // white, whichever contrasts more. The document's colours themselves are never changed.
    static QColor readableTextColor(const QColor& background, const QColor& stored);

    // The title shortened to `width` pixels by leaving out its middle, so that titles that share
    // a beginning still differ ("Bank…count" and "Bank…rds"). Whole when it fits.
    static QString fittedTitle(const QFontMetrics& metrics, const QString& title, int width);
    static QString fittedTitle(const QFontMetricsF& metrics, const QString& title, double width);
    // The narrowest table column whose label shows `title` whole, at these metrics and a row of
    // `rowHeight` pixels (0: the row height the table takes for the font).
    static int widthForTitle(const QFontMetrics& metrics, const QString& title, int rowHeight = 0);

    // Draws the table's label for one cell: the rounded shape in the background colour and the
    // fitted title in a readable colour. Nothing when `background` is not a colour (no category).
    static void paintTableLabel(QPainter* painter, const QRect& cell, const QFont& font, const QString& title,
                                const QVariant& background, const QVariant& text);
};

class CategoryView : public QWidget {
    Q_OBJECT
public:
    explicit CategoryView(QWidget* parent = nullptr);
    void setCategory(const Value& category);
    QSize sizeHint() const override { return {220, 22}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    Value category_;
};

}  // namespace qv::app
