#include "RecordModel.h"

#include "DocumentKeys.h"

#include <QDateTime>

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

}  // namespace RecordModel

}  // namespace qv
