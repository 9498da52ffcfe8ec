#pragma once

// The record table as a Qt model over the browser's arranged records: one row per record that
// passes the filter, in the sort order; twelve columns by identifier; secrets masked unless the
// document shows them. No per-record widgets, no copies: a reset per rearrangement only.

#include "foundation/Value.h"

#include <QAbstractTableModel>
#include <QStyledItemDelegate>

namespace qv {
class DocumentBrowser;
}

namespace qv::app {

class RecordTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit RecordTableModel(DocumentBrowser& browser, QObject* parent = nullptr);

    void reload();
    // The same records in the same order, some values changed: every cell is drawn again.
    void valuesChanged();
    QString identifierAt(int column) const;
    int columnOf(const QString& identifier) const;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    DocumentBrowser& browser_;
    Array arranged_;
};

// Draws the category column as a rounded label in the category's colours.
class CategoryLabelDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace qv::app
