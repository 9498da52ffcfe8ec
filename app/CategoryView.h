#pragma once

// The selected record's category as a coloured label in the detail pane. A click copies the
// category's name to the clipboard. CategoryPill holds what the table's labels share: their
// drawing, and the column width that shows a title whole.

#include "foundation/Pasteboard.h"
#include "foundation/Value.h"

#include <QColor>
#include <QWidget>

class QFontMetrics;
class QPainter;

namespace qv::app {

struct CategoryPill {
    // The narrowest table column whose label shows `title` whole, at these metrics and a row of
    // `rowHeight` pixels (0: the row height the table takes for the font).
    static int widthForTitle(const QFontMetrics& metrics, const QString& title, int rowHeight = 0);

    // Draws the table's label for one cell: the rounded shape in the background colour and the
    // title in the text colour, shortened with ".." when the cell is too narrow. Nothing when
    // `background` is not a colour (no category).
    static void paintTableLabel(QPainter* painter, const QRect& cell, const QFont& font, const QString& title,
                                const QVariant& background, const QVariant& text);
};

class CategoryView : public QWidget {
    Q_OBJECT
public:
    explicit CategoryView(QWidget* parent = nullptr);
    void setCategory(const Value& category);
    // The clipboard the program's other copies go through; without one a click copies nothing.
    void setPasteboard(Pasteboard* pasteboard) { pasteboard_ = pasteboard; }
    QSize sizeHint() const override { return {220, 22}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    Value category_;
    Pasteboard* pasteboard_ = nullptr;
};

}  // namespace qv::app
