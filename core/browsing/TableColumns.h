#pragma once

// The twelve columns of the record table: which are hidden, how wide each is, the four presets,
// the stored custom arrangement, and the two arrays in which a document keeps them. The Qt table
// follows this model; the model is what a save and a lock write.

#include "foundation/Value.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace qv {

class TableColumns {
public:
    struct Column {
        QString identifier;
        double width;
        bool hidden;
    };

    TableColumns();  // the default order and widths

    // Identifiers in the table's order.
    static const QStringList& identifiers();
    // The key a column shows ("createdDate" shows creationDate; "category" the category).
    static QString recordKeyFor(const QString& identifier);
    static bool isSecret(const QString& identifier);

    const std::vector<Column>& columns() const { return columns_; }
    const Column* column(const QString& identifier) const;
    bool isHidden(const QString& identifier) const;
    void setHidden(const QString& identifier, bool hidden);
    void setWidth(const QString& identifier, double width);
    // The table's own reordering; the arrays follow the order, applying them does not reorder.
    void moveColumn(int from, int to);

    // Presets: each sets all eleven switchable columns; "name" is never touched.
    void setColumnVisibilityCompact();
    void setColumnVisibilityCompactPlusCMA();
    void setColumnVisibilityAllMinusCMA();
    void setColumnVisibilityAll();
    void switchVisibilityColumnWithIdentifier(const QString& identifier);

    // [{name, hidden}] and [{name, size}] in the table's order.
    Value getColumnVisibility() const;
    Value getColumnSize() const;
    // Entries naming no column are skipped; absent does nothing. An entry may hide "name".
    void applyColumnVisibility(const Value& visibilities);
    void applyColumnSize(const Value& sizes);

private:
    void preset(bool category, bool cma, bool rest);
    Column* find(const QString& identifier);
    std::vector<Column> columns_;
};

}  // namespace qv
