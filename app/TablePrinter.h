#pragma once

// Prints the record table as it shows: the visible columns in their order, secrets masked as on
// screen, category labels in colour, and only whole rows on each page. Each column is as wide as
// its longest text where the page has room, so dates and short values print whole; only when the
// page is too narrow for everything are the longest columns cut, never the short ones. There is
// no horizontal pagination.

#include <QString>

#include <vector>

class QPrinter;
class QTableView;

namespace qv::app {

class TablePrinter {
public:
    // Returns the number of pages printed.
    static int print(QTableView& table, QPrinter& printer, const QString& title);

    // Widths for columns that need `wanted` to show their texts whole, on a page `pageWidth`
    // wide. When everything fits, each column gets what it wants and the room left over is
    // shared in proportion to `onScreen` (the widths the columns have in the window). Otherwise
    // the columns wider than a common limit are cut to it, the limit chosen so that the page is
    // filled, and narrower columns keep their whole width.
    static std::vector<double> fitColumns(const std::vector<double>& wanted, const std::vector<double>& onScreen,
                                          double pageWidth);
};

}  // namespace qv::app
