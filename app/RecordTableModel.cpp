#include "RecordTableModel.h"

#include "document/DocumentKeys.h"

namespace qv::app {

namespace {

struct Column {
    const char* title;
    QString keyPath;
    bool secret;
};

const std::vector<Column>& columns() {
    static const std::vector<Column> c{
        {"Category", keys::categoryPtr + QStringLiteral(".") + keys::cat_category, false},
        {"Name", keys::name, false},
        {"Account", keys::account, false},
        {"User ID", keys::userID, false},
        {"Password", keys::password, true},
        {"Url", keys::url, false},
        {"Email", keys::email, false},
    };
    return c;
}

}  // namespace

void RecordTableModel::setRecords(const Array& records) {
    beginResetModel();
    records_ = records;
    endResetModel();
}

int RecordTableModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(records_.count()); }

int RecordTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(columns().size()); }

QVariant RecordTableModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole || !index.isValid()) return {};
    const Column& c = columns()[size_t(index.column())];
    const QString text = records_.at(index.row()).toDictionary().valueForKeyPath(c.keyPath).toString();
    if (c.secret && !text.isEmpty()) return QString(8, QChar(0x2022));
    return text;
}

QVariant RecordTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) return {};
    return QString::fromLatin1(columns()[size_t(section)].title);
}

}  // namespace qv::app
