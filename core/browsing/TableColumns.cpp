#include "TableColumns.h"

#include "document/DocumentKeys.h"

namespace qv {

namespace {
const QString kName = QStringLiteral("name");
const QString kHidden = QStringLiteral("hidden");
const QString kSize = QStringLiteral("size");
const QStringList kCMA{QStringLiteral("createdDate"), QStringLiteral("modificationDate"), QStringLiteral("usageCount")};
}  // namespace

const QStringList& TableColumns::identifiers() {
    static const QStringList ids{QStringLiteral("category"), QStringLiteral("name"),      QStringLiteral("account"),
                                 QStringLiteral("userID"),   QStringLiteral("password"),  QStringLiteral("pin"),
                                 QStringLiteral("security"), QStringLiteral("url"),       QStringLiteral("email"),
                                 QStringLiteral("createdDate"), QStringLiteral("modificationDate"),
                                 QStringLiteral("usageCount")};
    return ids;
}

QString TableColumns::recordKeyFor(const QString& identifier) {
    if (identifier == QLatin1String("createdDate")) return keys::creationDate;
    if (identifier == QLatin1String("category")) return keys::categoryPtr;
    return identifier;
}

bool TableColumns::isSecret(const QString& identifier) {
    return identifier == keys::password || identifier == keys::pin || identifier == keys::security;
}

TableColumns::TableColumns() {
    for (const QString& id : identifiers()) {
        const double width = id == QLatin1String("name") ? 180 : id == QLatin1String("usageCount") ? 70 : 120;
        columns_.push_back(Column{id, width, false});
    }
    setColumnVisibilityCompactPlusCMA();
}

TableColumns::Column* TableColumns::find(const QString& identifier) {
    for (Column& c : columns_)
        if (c.identifier == identifier) return &c;
    return nullptr;
}

const TableColumns::Column* TableColumns::column(const QString& identifier) const {
    return const_cast<TableColumns*>(this)->find(identifier);
}

bool TableColumns::isHidden(const QString& identifier) const {
    const Column* c = column(identifier);
    return c && c->hidden;
}

void TableColumns::setHidden(const QString& identifier, bool hidden) {
    if (Column* c = find(identifier)) c->hidden = hidden;
}

void TableColumns::setWidth(const QString& identifier, double width) {
    if (Column* c = find(identifier)) c->width = width;
}

void TableColumns::moveColumn(int from, int to) {
    if (from < 0 || to < 0 || from >= int(columns_.size()) || to >= int(columns_.size())) return;
    const Column c = columns_[size_t(from)];
    columns_.erase(columns_.begin() + from);
    columns_.insert(columns_.begin() + to, c);
}

void TableColumns::preset(bool category, bool cma, bool rest) {
    for (Column& c : columns_) {
        if (c.identifier == kName) continue;
        if (c.identifier == QLatin1String("category")) c.hidden = !category;
        else if (kCMA.contains(c.identifier)) c.hidden = !cma;
        else c.hidden = !rest;
    }
}

void TableColumns::setColumnVisibilityCompact() { preset(true, false, false); }
void TableColumns::setColumnVisibilityCompactPlusCMA() { preset(true, true, false); }
void TableColumns::setColumnVisibilityAllMinusCMA() { preset(true, false, true); }
void TableColumns::setColumnVisibilityAll() { preset(true, true, true); }

void TableColumns::switchVisibilityColumnWithIdentifier(const QString& identifier) {
    if (Column* c = find(identifier)) c->hidden = !c->hidden;
}

Value TableColumns::getColumnVisibility() const {
    Array a;
    for (const Column& c : columns_) a.append(Value(Dictionary{{kName, Value(c.identifier)}, {kHidden, Value::boolean(c.hidden)}}));
    return Value(a);
}

Value TableColumns::getColumnSize() const {
    Array a;
    for (const Column& c : columns_) a.append(Value(Dictionary{{kName, Value(c.identifier)}, {kSize, Value::real32(float(c.width))}}));
    return Value(a);
}

void TableColumns::applyColumnVisibility(const Value& visibilities) {
    for (const Value& e : visibilities.toArray()) {
        const Dictionary d = e.toDictionary();
        if (Column* c = find(d.value(kName).toString())) c->hidden = d.value(kHidden).toBool();
    }
}

void TableColumns::applyColumnSize(const Value& sizes) {
    for (const Value& e : sizes.toArray()) {
        const Dictionary d = e.toDictionary();
        if (Column* c = find(d.value(kName).toString())) c->width = double(float(d.value(kSize).toDouble()));
    }
}

}  // namespace qv
