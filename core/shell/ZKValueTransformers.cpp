#include "ZKValueTransformers.h"

#include "ZKBookmark.h"
#include "ZKStringUtils.h"

#include <QFileInfo>
#include <QHash>
#include <QMutex>

namespace qv {

QVariant toVariant(const Value& value) {
    switch (value.type()) {
    case Value::Type::Absent: return {};
    case Value::Type::String: return value.stringRef();
    case Value::Type::Integer: return qlonglong(value.toInt64());
    case Value::Type::Real: return value.toDouble();
    case Value::Type::Boolean: return value.toBool();
    case Value::Type::Date: return QDateTime::fromSecsSinceEpoch(kUnixSecondsAt2001).addMSecs(qint64(value.toDate() * 1000));
    case Value::Type::Data: return value.toData();
    case Value::Type::Dictionary: {
        QVariantMap map;
        const Dictionary d = value.toDictionary();
        for (qsizetype i = 0; i < d.count(); ++i) map.insert(d.keyAt(i), toVariant(d.valueAt(i)));
        return map;
    }
    case Value::Type::Array: {
        QVariantList list;
        for (const Value& v : value.toArray()) list.append(toVariant(v));
        return list;
    }
    case Value::Type::Rect: return {};
    }
    return {};
}

Value fromVariant(const QVariant& value) {
    if (!value.isValid()) return {};
    switch (value.typeId()) {
    case QMetaType::Bool: return Value::boolean(value.toBool());
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::UInt:
    case QMetaType::ULongLong: return Value::integer(value.toLongLong());
    case QMetaType::Float: return Value::real32(value.toFloat());
    case QMetaType::Double: return Value::real(value.toDouble());
    case QMetaType::QString: return Value(value.toString());
    case QMetaType::QByteArray: return Value::data(value.toByteArray());
    case QMetaType::QDateTime:
        return Value::date(double(value.toDateTime().toMSecsSinceEpoch() - kUnixSecondsAt2001 * 1000) / 1000.0);
    case QMetaType::QVariantMap: {
        Dictionary d;
        const QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) d.set(it.key(), fromVariant(it.value()));
        return Value(d);
    }
    case QMetaType::QVariantList: {
        Array a;
        for (const QVariant& v : value.toList()) a.append(fromVariant(v));
        return Value(a);
    }
    default: break;
    }
    return Value(value.toString());
}

namespace {

bool absent(const QVariant& v) { return !v.isValid(); }
// The value as the controls read a short: wrapped into 16 bits.
std::int16_t shortOf(const QVariant& v) { return std::int16_t(fromVariant(v).toInt64()); }
int intOf(const QVariant& v) { return fromVariant(v).toInt(); }
bool boolOf(const QVariant& v) { return fromVariant(v).toBool(); }
QVariant yes(bool b) { return QVariant(b); }

bool sameValue(const QVariant& a, const QVariant& b) {
    return fromVariant(a) == fromVariant(b);
}

}  // namespace

QVariant ZKValueIsEqualToRef::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    return yes(shortOf(value) == myRefValue);
}

QVariant ZKValueIsEqualToRef::reverseTransformedValue(const QVariant& value) const {
    if (boolOf(value)) return QVariant(int(myRefValue));
    return {};
}

QVariant ZKValueNotEqualToRef::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    return yes(shortOf(value) != myRefValue);
}

QVariant ZKValueIsGreaterOfRef::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    return yes(shortOf(value) > myRefValue);
}

QVariant ZKValueIsSmallerOfRef::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    return yes(shortOf(value) < myRefValue);
}

QVariant ZKValueIsEqualToStr::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    return yes(value.typeId() == QMetaType::QString && value.toString() == myRefString);
}

QVariant ZKValueIsInSet::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    for (const QVariant& m : myRefSet)
        if (sameValue(m, value)) return yes(true);
    return yes(false);
}

QVariant ZKValueIsInArray::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    for (const QVariant& m : myRefArray)
        if (sameValue(m, value)) return yes(true);
    return yes(false);
}

QVariant ZKValueMultipliedBy::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    return QVariant(float(fromVariant(value).toDouble()) * float(myRefValue));
}

QVariant ZKIntToBool::transformedValue(const QVariant& value) const { return yes(intOf(value) != 0); }
QVariant ZKIntToBool::reverseTransformedValue(const QVariant& value) const { return QVariant(boolOf(value) ? 1 : 0); }

QVariant ZKNegateIntToBool::transformedValue(const QVariant& value) const { return yes(intOf(value) == 0); }
QVariant ZKNegateIntToBool::reverseTransformedValue(const QVariant& value) const {
    return QVariant(boolOf(value) ? 0 : 1);
}

QVariant ZK1IfNot0::transformedValue(const QVariant& value) const { return QVariant(intOf(value) != 0 ? 1 : 0); }

QVariant ZKNumberBoolToNumberNum::transformedValue(const QVariant& value) const {
    return QVariant(boolOf(value) ? 1 : 0);
}

QVariant ZKNumberBoolToNumberNum::reverseTransformedValue(const QVariant& value) const {
    return yes(fromVariant(value).toInt64() != 0);
}

QVariant ZKOneIfOneInArray::transformedValue(const QVariant& value) const {
    if (absent(value)) return QVariant(0);
    return QVariant(value.toList().size() > 1 ? 1 : 0);
}

QVariant ZKHeightForFontSize::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    const float size = float(fromVariant(value).toDouble());
    return QVariant(int(size * 1.4f + 2.0f));
}

QVariant ZKEmptyTrimmedString::transformedValue(const QVariant& value) const {
    if (absent(value)) return yes(true);
    return yes(ZKStringUtils::trimLateralSpace(fromVariant(value).toString()).isEmpty());
}

QVariant ZKFilledTrimmedString::transformedValue(const QVariant& value) const {
    return yes(!ZKEmptyTrimmedString().transformedValue(value).toBool());
}

QVariant ZKDateTagElaborated::transformedValue(const QVariant& value) const {
    if (absent(value)) return QString();
    QString text = fromVariant(value).toString();
    const QDateTime t = (now ? now() : QDateTime::currentDateTime()).toLocalTime();
    const QDate d = t.date();
    const QTime h = t.time();
    // One after another: what a tag puts in is never scanned for the tags before it.
    const std::pair<const char*, QString> tags[] = {
        {"<yy>", QString::asprintf("%02li", long(d.year() % 100))}, {"<YY>", QString::asprintf("%li", long(d.year()))},
        {"<mm>", QString::asprintf("%02li", long(d.month()))},      {"<dd>", QString::asprintf("%02li", long(d.day()))},
        {"<hh>", QString::asprintf("%02li", long(h.hour()))},       {"<ii>", QString::asprintf("%02li", long(h.minute()))},
        {"<ss>", QString::asprintf("%02li", long(h.second()))}};
    for (const auto& [tag, replacement] : tags) text.replace(QLatin1String(tag), replacement, Qt::CaseSensitive);
    return text;
}

std::optional<QString> ZKBookmarkTransformer::resolved(const QVariant& value) const {
    const QByteArray bytes = value.toByteArray();
    if (resolve) return resolve(bytes);
    bool stale = false;  // a stale bookmark still names the file
    return ZKBookmark::urlForBookmark(bytes, &stale);
}

QVariant ZKPathFromBookmark::transformedValue(const QVariant& value) const {
    const auto path = resolved(value);
    if (!path) return {};
    return path->isEmpty() ? QStringLiteral("FILe NOT FOUND") : *path;
}

QVariant ZKNameFromBookmark::transformedValue(const QVariant& value) const {
    const auto path = resolved(value);
    if (!path) return {};
    const QString name = QFileInfo(*path).fileName();
    return name.isEmpty() ? QStringLiteral("FILE NOT FOUND") : name;
}

QVariant ZKUnarchivieFromDataToText::transformedValue(const QVariant& value) const {
    // Styled text in the old archive format keeps its characters as the first string object:
    // the class "NSString" (or "NSMutableString"), then the type "+" with a length and UTF-8
    // bytes. The attributes that follow are of no use as plain text.
    const QByteArray data = value.toByteArray();
    if (!data.contains("streamtyped")) return {};
    qsizetype at = data.indexOf("NSString");
    if (at < 0) return {};
    at = data.indexOf(QByteArrayLiteral("\x84\x01+"), at);
    if (at < 0) return {};
    at += 3;
    if (at >= data.size()) return {};
    const auto byte = [&](qsizetype i) { return quint8(data.at(i)); };
    qint64 length = 0;
    if (byte(at) == 0x81) {
        if (at + 3 > data.size()) return {};
        length = byte(at + 1) | (byte(at + 2) << 8);
        at += 3;
    } else if (byte(at) == 0x82) {
        if (at + 5 > data.size()) return {};
        length = qint64(byte(at + 1)) | (qint64(byte(at + 2)) << 8) | (qint64(byte(at + 3)) << 16) |
                 (qint64(byte(at + 4)) << 24);
        at += 5;
    } else if (byte(at) < 0x80) {
        length = byte(at);
        at += 1;
    } else {
        return {};
    }
    if (length < 0 || at + length > data.size()) return {};
    return QString::fromUtf8(data.mid(at, length));
}

namespace {
QMutex tableLock;
QHash<QString, std::shared_ptr<const ZKValueTransformer>>& table() {
    static QHash<QString, std::shared_ptr<const ZKValueTransformer>> t;
    return t;
}
}  // namespace

void ValueTransformers::setValueTransformer(std::shared_ptr<const ZKValueTransformer> transformer, const QString& name) {
    QMutexLocker lock(&tableLock);
    table().insert(name, std::move(transformer));
}

std::shared_ptr<const ZKValueTransformer> ValueTransformers::valueTransformerForName(const QString& name) {
    QMutexLocker lock(&tableLock);
    return table().value(name);
}

namespace {
using Maker = std::function<std::shared_ptr<ZKValueTransformer>()>;
QHash<QString, Maker>& makers() {
    static QHash<QString, Maker> m{
        {QStringLiteral("ZKValueIs1"), [] { return std::make_shared<ZKValueIs1>(); }},
        {QStringLiteral("ZKIntToBool"), [] { return std::make_shared<ZKIntToBool>(); }},
        {QStringLiteral("ZKNegateIntToBool"), [] { return std::make_shared<ZKNegateIntToBool>(); }},
        {QStringLiteral("ZK1IfNot0"), [] { return std::make_shared<ZK1IfNot0>(); }},
        {QStringLiteral("ZKNumberBoolToNumberNum"), [] { return std::make_shared<ZKNumberBoolToNumberNum>(); }},
        {QStringLiteral("ZKOneIfOneInArray"), [] { return std::make_shared<ZKOneIfOneInArray>(); }},
        {QStringLiteral("ZKHeightForFontSize"), [] { return std::make_shared<ZKHeightForFontSize>(); }},
        {QStringLiteral("ZKEmptyTrimmedString"), [] { return std::make_shared<ZKEmptyTrimmedString>(); }},
        {QStringLiteral("ZKFilledTrimmedString"), [] { return std::make_shared<ZKFilledTrimmedString>(); }},
        {QStringLiteral("ZKDateTagElaborated"), [] { return std::make_shared<ZKDateTagElaborated>(); }},
        {QStringLiteral("ZKPathFromBookmark"), [] { return std::make_shared<ZKPathFromBookmark>(); }},
        {QStringLiteral("ZKNameFromBookmark"), [] { return std::make_shared<ZKNameFromBookmark>(); }},
        {QStringLiteral("ZKUnarchivieFromDataToText"), [] { return std::make_shared<ZKUnarchivieFromDataToText>(); }}};
    return m;
}
}  // namespace

void ValueTransformers::addTransformerClass(const QString& className, Maker maker) {
    QMutexLocker lock(&tableLock);
    makers().insert(className, std::move(maker));
}

std::shared_ptr<ZKValueTransformer> ValueTransformers::makeTransformerOfClass(const QString& className) {
    QMutexLocker lock(&tableLock);
    const auto maker = makers().value(className);
    return maker ? maker() : nullptr;
}

QVariant ValueTransformers::transform(const QString& name, const QVariant& value) {
    const auto t = valueTransformerForName(name);
    return t ? t->transformedValue(value) : QVariant();
}

}  // namespace qv
