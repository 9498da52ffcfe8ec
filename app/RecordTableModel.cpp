#include "RecordTableModel.h"

#include "CategoryView.h"

#include "browsing/DocumentBrowser.h"
#include "browsing/MyTableDelegate.h"
#include "browsing/TableColumns.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QDateTime>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

namespace qv::app {

namespace {

QString title(const QString& id) {
    static const QHash<QString, QString> titles{
        {QStringLiteral("category"), QStringLiteral("Category")}, {QStringLiteral("name"), QStringLiteral("Name")},
        {QStringLiteral("account"), QStringLiteral("Account")},   {QStringLiteral("userID"), QStringLiteral("User ID")},
        {QStringLiteral("password"), QStringLiteral("Password")}, {QStringLiteral("pin"), QStringLiteral("PIN")},
        {QStringLiteral("security"), QStringLiteral("Security")}, {QStringLiteral("url"), QStringLiteral("URL")},
        {QStringLiteral("email"), QStringLiteral("Email")},       {QStringLiteral("createdDate"), QStringLiteral("Created")},
        {QStringLiteral("modificationDate"), QStringLiteral("Modified")},
        {QStringLiteral("usageCount"), QStringLiteral("Uses")}};
    return titles.value(id, id);
}

QColor colorOf(const Value& dict) {
    const RgbaColor c = ZKColorUtilOSX::NSColorFromDict(dict.toDictionary());
    return QColor::fromRgbF(float(c.r), float(c.g), float(c.b), float(c.a));
}

}  // namespace

RecordTableModel::RecordTableModel(DocumentBrowser& browser, QObject* parent)
    : QAbstractTableModel(parent), browser_(browser) {}

void RecordTableModel::reload() {
    beginResetModel();
    arranged_ = browser_.myArrayController().arrangedObjects();
    endResetModel();
}

void RecordTableModel::valuesChanged() {
    if (!arranged_.isEmpty()) Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

QString RecordTableModel::identifierAt(int column) const { return TableColumns::identifiers().value(column); }
int RecordTableModel::columnOf(const QString& identifier) const { return int(TableColumns::identifiers().indexOf(identifier)); }

int RecordTableModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : int(arranged_.count()); }
int RecordTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(TableColumns::identifiers().size());
}

QVariant RecordTableModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= arranged_.count()) return {};
    const Dictionary record = arranged_.at(index.row()).toDictionary();
    const QString id = identifierAt(index.column());
    if (id == QLatin1String("category")) {
        const Value category = record.value(keys::categoryPtr);
        if (role == Qt::DisplayRole) return category.toDictionary().value(keys::cat_category).toString();
        if (role == Qt::BackgroundRole && category.isDictionary()) return colorOf(category.toDictionary().value(keys::cat_backColor));
        if (role == Qt::ForegroundRole && category.isDictionary()) return colorOf(category.toDictionary().value(keys::cat_textColor));
        return {};
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole) return {};
    const Value v = record.value(TableColumns::recordKeyFor(id));
    if (TableColumns::isSecret(id)) return MyTableDelegate::maskedText(v, browser_.myShowPasswordInTable.toBool());
    if (v.isDate())
        return dateTimeFromSeconds2001(v.toDate()).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    return v.toString();
}

QVariant RecordTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal) return {};
    return title(identifierAt(section));
}

void CategoryLabelDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyledItemDelegate::paint(painter, option, QModelIndex());  // the row's selection background only
    // Middle-elided titles, in text that stays readable on pale colours.
    CategoryPill::paintTableLabel(painter, option.rect, option.font, index.data(Qt::DisplayRole).toString(),
                                  index.data(Qt::BackgroundRole), index.data(Qt::ForegroundRole));
}

}  // namespace qv::app
