#include "TablePrinter.h"

#include "CategoryView.h"

#include "browsing/MyTableDelegate.h"

#include <QHeaderView>
#include <QPainter>
#include <QPainterPath>
#include <QPrinter>
#include <QTableView>

#include <algorithm>
#include <cmath>
#include <numeric>

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

    // Visible sections in visual order, each measured on the printer: its title in bold, and
    // every row's text (a category's label with the margins of its rounded shape).
    QFont boldFont = font;
    boldFont.setBold(true);
    const QFontMetricsF boldMetrics(boldFont, &printer);
    // The cell draws its text 4 printer pixels in from each side; a little more keeps columns apart.
    const double padding = 8 + metrics.averageCharWidth() / 2;
    const double labelMargins = 2 * (int((rowHeight - 2) / 2) * 0.6) + 4;
    std::vector<int> sections;
    std::vector<double> wanted, onScreen;
    for (int visual = 0; visual < table.horizontalHeader()->count(); ++visual) {
        const int section = table.horizontalHeader()->logicalIndex(visual);
        if (table.isColumnHidden(section)) continue;
        double widest = boldMetrics.horizontalAdvance(model->headerData(section, Qt::Horizontal).toString()) + padding;
        for (int r = 0; r < model->rowCount(); ++r) {
            const QModelIndex index = model->index(r, section);
            const double margins = index.data(Qt::BackgroundRole).isValid() ? labelMargins : padding;
            widest = std::max(widest, metrics.horizontalAdvance(index.data().toString()) + margins);
        }
        sections.push_back(section);
        wanted.push_back(std::ceil(widest) + 1);
        onScreen.push_back(table.columnWidth(section) * scale);
    }
    const std::vector<double> widths = fitColumns(wanted, onScreen, page.width());
    std::vector<std::pair<int, double>> columns;
    for (size_t i = 0; i < sections.size(); ++i) columns.emplace_back(sections[i], widths[i]);

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
        painter.setFont(boldFont);
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
                            index.data().toString(), int(g.textW), [&](const QString& t) { return metrics.horizontalAdvance(t); });
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

std::vector<double> TablePrinter::fitColumns(const std::vector<double>& wanted, const std::vector<double>& onScreen,
                                             double pageWidth) {
    const size_t n = wanted.size();
    std::vector<double> widths(wanted);
    const double total = std::accumulate(wanted.begin(), wanted.end(), 0.0);
    if (n == 0 || pageWidth <= 0) return widths;
    if (total <= pageWidth) {
        const double screenTotal = std::accumulate(onScreen.begin(), onScreen.end(), 0.0);
        const double spare = pageWidth - total;
        for (size_t i = 0; i < n; ++i)
            widths[i] += screenTotal > 0 && i < onScreen.size() ? spare * onScreen[i] / screenTotal : spare / double(n);
        return widths;
    }
    // The limit: the narrowest columns keep their width one by one while the rest share what is
    // left equally; the first column that wants more than its share sets the limit for itself
    // and every wider one.
    std::vector<double> sorted(wanted);
    std::sort(sorted.begin(), sorted.end());
    double left = pageWidth;
    double limit = 0;
    for (size_t i = 0; i < n; ++i) {
        const double share = left / double(n - i);
        if (sorted[i] > share) {
            limit = share;
            break;
        }
        left -= sorted[i];
    }
    for (double& w : widths) w = std::min(w, limit);
    return widths;
}

}  // namespace qv::app
