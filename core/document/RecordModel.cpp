#include "RecordModel.h"

#include "DocumentKeys.h"

#include <QDateTime>

#include <vector>

namespace qv {

double nowSince2001() { return seconds2001FromDateTime(QDateTime::currentDateTime()); }

Dictionary ZKColorUtilOSX::dictFromNSColor(const RgbaColor& c) {
    return Dictionary{{keys::r, Value::real(c.r)}, {keys::g, Value::real(c.g)}, {keys::b, Value::real(c.b)},
                      {keys::a, Value::real(c.a)}};
}

RgbaColor ZKColorUtilOSX::NSColorFromDict(const Dictionary& d) {
    auto f = [&](const QString& k) { return double(float(d.value(k).toDouble())); };
    return RgbaColor{f(keys::r), f(keys::g), f(keys::b), f(keys::a)};
}

namespace RecordModel {

Dictionary newRecord(double now) {
    Dictionary r;
    for (const QString* k : {&keys::name, &keys::account, &keys::url, &keys::userID, &keys::password, &keys::pin,
                             &keys::security, &keys::email, &keys::note})
        r.set(*k, Value(QString()));
    r.set(keys::creationDate, Value::date(now));
    r.set(keys::modificationDate, Value::date(now));
    r.set(keys::usageCount, Value::integer(0));
    return r;
}

Dictionary newCategory(const QString& title, std::int64_t uniqueID) {
    Dictionary c;
    c.set(keys::cat_category, Value(title));
    // Grey is stored as doubles with an integer alpha; white as four integers.
    c.set(keys::cat_backColor, Value(Dictionary{{keys::r, Value::real(0.75)}, {keys::g, Value::real(0.75)},
                                                {keys::b, Value::real(0.75)}, {keys::a, Value::integer(1)}}));
    c.set(keys::cat_textColor, Value(Dictionary{{keys::r, Value::integer(1)}, {keys::g, Value::integer(1)},
                                                {keys::b, Value::integer(1)}, {keys::a, Value::integer(1)}}));
    c.set(keys::cat_howManyUsingThis, Value::integer(0));
    c.set(keys::cat_uniqueID, Value::integer(uniqueID));
    c.set(keys::records, Value(Array()));
    return c;
}

Dictionary newEmailEntry(double now) {
    return Dictionary{{keys::email, Value("untitled@untitled")}, {keys::creationDate, Value::date(now)}};
}

Dictionary duplicateRecord(const Dictionary& record, double now) {
    Dictionary d = record.shallowCopy();
    d.setImmutableClass(false);
    d.set(keys::creationDate, Value::date(now));
    d.set(keys::modificationDate, Value::date(now));
    d.set(keys::usageCount, Value());
    return d;
}

Array keyArray() {
    const std::pair<const char*, const QString*> table[] = {
        {"Category", nullptr},     {"Name", &keys::name},         {"Url", &keys::url},
        {"Account", &keys::account}, {"User ID", &keys::userID},  {"Password", &keys::password},
        {"Pin", &keys::pin},       {"Security", &keys::security}, {"Email", &keys::email},
        {"Note", &keys::note}};
    Array a;
    for (const auto& [title, key] : table) {
        const QString inner = key ? *key : keys::categoryPtr + QStringLiteral(".") + keys::cat_category;
        a.append(Value(Dictionary{{keys::publicKey, Value(title)}, {keys::innerKey, Value(inner)}}));
    }
    a.setImmutableClass(true);
    return a;
}

std::int64_t unusedCategoryID(const Array& categories) {
    // The lowest id from 1 that no category has: among n categories it is at most n + 1, so one
    // pass marking the ids up to there finds it (an import that makes a category a row would
    // otherwise look through every category for every id it tries).
    const size_t n = size_t(categories.count());
    std::vector<char> used(n + 2, 0);
    for (const Value& c : categories) {
        const std::int64_t id = c.toDictionary().value(keys::cat_uniqueID).toInt64();
        if (id >= 1 && std::uint64_t(id) <= n + 1) used[size_t(id)] = 1;
    }
    std::int64_t id = 1;
    while (used[size_t(id)]) ++id;
    return id;
}

namespace {

bool titleIsFree(const Array& categories, const QString& title) {
    const Value wanted(title);
    for (const Value& c : categories)
        if (c.toDictionary().value(keys::cat_category) == wanted) return false;
    return true;
}

}  // namespace

QString unusedCategoryTitle(const Array& categories, const QString& title) {
    if (titleIsFree(categories, title)) return title;
    QString tried;
    for (int i = 1; i <= 31999; ++i) {
        tried = QStringLiteral("%1 %2").arg(title).arg(i);
        if (titleIsFree(categories, tried)) break;
    }
    return tried;
}

Value categoryWithTitle(const Array& categories, const QString& title) {
    for (const Value& c : categories)
        if (c.toDictionary().value(keys::cat_category).stringRef() == title) return c;
    return Value();
}

Value categoryForNewRecord(const Array& categories, const Value& lastRecord) {
    if (!lastRecord.isAbsent()) return lastRecord.toDictionary().value(keys::categoryPtr);
    return categories.value(categories.count() - 1);
}

void removeFromCategory(const Array& categories, const Value& record) {
    const Value category = record.toDictionary().value(keys::categoryPtr);
    if (category.isAbsent() || !categories.containsEqual(category)) return;
    Dictionary cat = category.toDictionary();
    Array list = cat.value(keys::records).toArray();
    if (!list.containsEqual(record)) return;
    for (qsizetype i = list.count() - 1; i >= 0; --i)
        if (list.at(i) == record) list.removeAt(i);
    cat.set(keys::cat_howManyUsingThis, Value::unsignedInteger(std::uint64_t(list.count())));
}

bool assignCategory(const Array& categories, const Value& category, const Value& record,
                    const std::function<Value()>& fallback) {
    Dictionary r = record.toDictionary();
    const Value current = r.value(keys::categoryPtr);
    Value k = category;
    if (current.isIdenticalTo(k) && k.isDictionary() &&
        k.toDictionary().value(keys::records).toArray().containsEqual(record))
        return false;
    if (!current.isAbsent()) removeFromCategory(categories, record);
    if (k.isAbsent()) k = fallback();
    r.set(keys::categoryPtr, k);
    Dictionary cat = k.toDictionary();
    const Value list = cat.value(keys::records);
    if (list.isArray()) {
        list.toArray().append(record);
    } else {
        // A category without its list counts nothing; the record goes to a list kept nowhere.
        cat.set(keys::cat_howManyUsingThis, Value::integer(0));
    }
    cat.set(keys::cat_howManyUsingThis, Value::unsignedInteger(std::uint64_t(cat.value(keys::records).toArray().count())));
    return true;
}

}  // namespace RecordModel

}  // namespace qv
