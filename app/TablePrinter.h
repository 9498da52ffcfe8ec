#pragma once

// Prints the record table as it shows: the visible columns at their widths, secrets masked as on
// screen, category labels in colour, and only whole rows on each page. Columns wider than the
// page are cut at the right edge; there is no horizontal pagination.

#include <QString>

class QPrinter;
class QTableView;

namespace qv::app {

class TablePrinter {
public:
    // Returns the number of pages printed.
    static int print(QTableView& table, QPrinter& printer, const QString& title);
};

}  // namespace qv::app
