#include "TablePrinter.h"

#include "browsing/MyTableDelegate.h"

#include <QHeaderView>
#include <QPainter>
#include <QPainterPath>
#include <QPrinter>
#include <QTableView>

namespace qv::app {

int TablePrinter::print(QTableView& table, QPrinter& printer, const QString& title) {
    QAbstractItemModel* model = table.model();
    QPainter painter;
    if (!painter.begin(&printer)) return 0;
    const QRectF page = printer.pageLayout().paintRectPixels(printer.resolution());
    const double scale = double(printer.resolution()) / 96.0;  // screen pixels to printer pixels
    QFont font = table.font();
    font.setPointSizeF(font.pointSizeF());
    painter.setFont(font);
    const QFontMetricsF metrics(font, &printer);
    const double rowHeight = metrics.height() * 1.5;
    const double headerHeight = rowHeight * 1.3;

    std::vector<std::pair<int, double>> columns;  // visible sections in visual order, widths
    for (int visual = 0; visual < table.horizontalHeader()->count(); ++visual) {
        const int section = table.horizontalHeader()->logicalIndex(visual);
        if (!table.isColumnHidden(section)) columns.emplace_back(section, table.columnWidth(section) * scale);
    }

    // Whole rows per page, as the printed table has always paginated.
    // The page less the column titles above and the page number below.
    TablePrinting pagination{page.width(), page.height() - headerHeight - metrics.height() * 1.5, 0, 0, 0, 0, rowHeight, 0};
    const int rowsPerPage = std::max(1, int(pagination.calculatePrintHeight() / rowHeight));
    const int rows = model->rowCount();
    const int pages = std::max(1, (rows + rowsPerPage - 1) / rowsPerPage);

    for (int p = 0; p < pages; ++p) {
        if (p > 0) printer.newPage();
        painter.save();
        painter.setClipRect(QRectF(0, 0, page.width(), page.height()));
        // Header: the title on the first page, the column titles on every page.
        QFont bold = font;
        bold.setBold(true);
        painter.setFont(bold);
        double x = 0;
        for (const auto& [section, width] : columns) {
            painter.drawText(QRectF(x + 4, 0, width - 8, headerHeight), Qt::AlignLeft | Qt::AlignVCenter,
                             model->headerData(section, Qt::Horizontal).toString());
            x += width;
        }
        painter.drawLine(QPointF(0, headerHeight - 2), QPointF(std::min(x, page.width()), headerHeight - 2));
        painter.setFont(font);
        for (int r = p * rowsPerPage; r < std::min(rows, (p + 1) * rowsPerPage); ++r) {
            const double y = headerHeight + (r - p * rowsPerPage) * rowHeight;
            x = 0;
            for (const auto& [section, width] : columns) {
                const QModelIndex index = model->index(r, section);
                const QVariant back = index.data(Qt::BackgroundRole);
                if (back.isValid()) {
                    const auto g = MyTableDelegate::categoryLabel(width, rowHeight);
                    if (g.draw) {
                        QPainterPath path;
                        path.addRoundedRect(QRectF(x + g.x, y + 1 + g.y, g.w, g.h), g.radius, g.radius);
                        painter.fillPath(path, back.value<QColor>());
                        painter.setPen(index.data(Qt::ForegroundRole).value<QColor>());
                        const QString text = MyTableDelegate::trimStringToFit(
                            index.data().toString(), int(g.textW), [&](const QString& s) { return metrics.horizontalAdvance(s); });
                        painter.drawText(QRectF(x + g.textX, y + 1, g.textW, g.textH), Qt::AlignVCenter | Qt::AlignLeft, text);
                        painter.setPen(Qt::black);
                    }
                } else {
                    painter.drawText(QRectF(x + 4, y, width - 8, rowHeight), Qt::AlignLeft | Qt::AlignVCenter,
                                     metrics.elidedText(index.data().toString(), Qt::ElideRight, width - 8));
                }
                x += width;
            }
        }
        painter.setPen(Qt::gray);
        painter.drawText(QRectF(0, page.height() - metrics.height(), page.width(), metrics.height()), Qt::AlignRight,
                         QStringLiteral("%1 \u2014 page %2 of %3").arg(title).arg(p + 1).arg(pages));
        painter.setPen(Qt::black);
        painter.restore();
    }
    painter.end();
    return pages;
}

}  // namespace qv::app
