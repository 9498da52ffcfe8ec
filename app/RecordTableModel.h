#pragma once

// The record table as a Qt model over the document's records; secrets show as bullets.

#include "foundation/Value.h"

#include <QAbstractTableModel>

namespace qv::app {

class RecordTableModel : public QAbstractTableModel {
    Q_OBJECT
public:
    using QAbstractTableModel::QAbstractTableModel;

    void setRecords(const Array& records);
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    Array records_;
};

}  // namespace qv::app
