#include "Value.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QLocale>

#include <cmath>
#include <limits>
#include <mutex>
#include <unordered_set>

namespace qv {

QDateTime dateTimeFromSeconds2001(double seconds) {
    return QDateTime::fromMSecsSinceEpoch(qint64((seconds + double(kUnixSecondsAt2001)) * 1000));
}

double seconds2001FromDateTime(const QDateTime& when) {
    return double(when.toMSecsSinceEpoch()) / 1000.0 - double(kUnixSecondsAt2001);
}

namespace detail {

// Small dictionaries (records have about a dozen keys) are searched linearly; a hash index is
// built only when a dictionary grows past that, so big ones stay fast without costing the small.
struct DictionaryStorage {
    static constexpr qsizetype kIndexThreshold = 24;
    // Keys point into the process-wide pool of interned keys: a record's dozen keys then cost a
    // pointer each instead of a string.
    std::vector<std::pair<const QString*, Value>> entries;
    std::unique_ptr<QHash<QString, qsizetype>> index;
    bool immutable = false;

    qsizetype find(const QString& key) const {
        if (index) return index->value(key, -1);
        const qsizetype n = qsizetype(entries.size());
        // Keys are mostly the very same shared strings: try identity before comparing text.
        const QChar* data = key.constData();
        for (qsizetype i = 0; i < n; ++i)
            if (entries[size_t(i)].first->constData() == data && entries[size_t(i)].first->size() == key.size()) return i;
        for (qsizetype i = 0; i < n; ++i)
            if (*entries[size_t(i)].first == key) return i;
        return -1;
    }
    void reindex() {
        if (qsizetype(entries.size()) <= kIndexThreshold) {
            index.reset();
            return;
        }
        if (!index) index = std::make_unique<QHash<QString, qsizetype>>();
        index->clear();
        index->reserve(qsizetype(entries.size()));
        for (qsizetype i = 0; i < qsizetype(entries.size()); ++i) index->insert(*entries[size_t(i)].first, i);
    }
};

struct ArrayStorage {
    std::vector<Value> items;
    bool immutable = false;
};

}  // namespace detail

namespace {
const QString kEmptyString;
}  // namespace

// ---- Dictionary ----

namespace {

struct QStringHasher {
    size_t operator()(const QString& s) const noexcept { return size_t(qHash(s)); }
};

}  // namespace

const QString& internKey(const QString& key) {
    // One pool for the process, whose strings never move or go, so that dictionaries can keep
    // pointers to them from any thread; each thread remembers what it looked up already.
    static std::mutex mutex;
    static std::unordered_set<QString, QStringHasher> pool;
    thread_local QHash<QString, const QString*> seen;
    if (const auto it = seen.constFind(key); it != seen.cend()) return **it;
    const QString* interned;
    {
        std::lock_guard lock(mutex);
        interned = &*pool.insert(key).first;
    }
    seen.insert(*interned, interned);
    return *interned;
}

Dictionary::Dictionary() : d_(std::make_shared<detail::DictionaryStorage>()) {}

Dictionary::Dictionary(std::initializer_list<std::pair<QString, Value>> entries) : Dictionary() {
    for (const auto& [k, v] : entries) set(k, v);
}

qsizetype Dictionary::count() const { return qsizetype(d_->entries.size()); }

void Dictionary::reserve(qsizetype n) { d_->entries.reserve(size_t(std::max<qsizetype>(n, 0))); }

Value Dictionary::value(const QString& key) const {
    const qsizetype i = d_->find(key);
    return i < 0 ? Value() : d_->entries[size_t(i)].second;
}

bool Dictionary::contains(const QString& key) const { return d_->find(key) >= 0; }

const Value& Dictionary::get(const QString& key) const {
    static const Value absent;
    const qsizetype i = d_->find(key);
    return i < 0 ? absent : d_->entries[size_t(i)].second;
}

namespace {
thread_local std::uint64_t dictionaryEdits = 0;
}  // namespace

std::uint64_t dictionaryEditsOnThisThread() { return dictionaryEdits; }

void Dictionary::setInternedKey(const QString& key, Value&& value) {
    ++dictionaryEdits;
    if (value.isAbsent() || d_->index) {
        set(key, value);
        return;
    }
    // Every stored key is interned, so the same text is the same pointer.
    for (auto& e : d_->entries) {
        if (e.first == &key) {
            e.second = std::move(value);
            return;
        }
    }
    d_->entries.emplace_back(&key, std::move(value));
    if (qsizetype(d_->entries.size()) > detail::DictionaryStorage::kIndexThreshold) d_->reindex();
}

void Dictionary::set(const QString& key, const Value& value) {
    ++dictionaryEdits;
    if (value.isAbsent()) {
        remove(key);
        return;
    }
    if (!d_->index) {
        // Stored keys are interned: once the key's own storage isn't among them, its interned
        // copy is the only thing left to look for, and no text needs comparing.
        const QChar* data = key.constData();
        for (auto& e : d_->entries) {
            if (e.first->constData() == data && e.first->size() == key.size()) {
                e.second = value;
                return;
            }
        }
        const QString* interned = &internKey(key);
        if (interned->constData() != data) {
            for (auto& e : d_->entries) {
                if (e.first == interned) {
                    e.second = value;
                    return;
                }
            }
        }
        d_->entries.emplace_back(interned, value);
        if (qsizetype(d_->entries.size()) > detail::DictionaryStorage::kIndexThreshold) d_->reindex();
        return;
    }
    const qsizetype i = d_->find(key);
    if (i >= 0) {
        d_->entries[size_t(i)].second = value;
        return;
    }
    d_->entries.emplace_back(&internKey(key), value);
    if (d_->index)
        d_->index->insert(key, qsizetype(d_->entries.size()) - 1);
    else if (qsizetype(d_->entries.size()) > detail::DictionaryStorage::kIndexThreshold)
        d_->reindex();
}

void Dictionary::prefetchEntries() const {
    const auto* begin = reinterpret_cast<const char*>(d_->entries.data());
    const auto* end = reinterpret_cast<const char*>(d_->entries.data() + d_->entries.size());
    for (const char* p = begin; p < end; p += 64) __builtin_prefetch(p);
}

void Dictionary::prefetchStringValues() const {
    for (const auto& e : d_->entries)
        if (e.second.isString()) __builtin_prefetch(e.second.stringRef().constData());
}

void Value::prefetchForCopy() const {
    // The shared count sits just before the container in the one block it shares with it.
    const void* container = nullptr;
    if (const auto* d = std::get_if<Dictionary>(&v_)) container = d->identity();
    else if (const auto* a = std::get_if<Array>(&v_)) container = a->identity();
    if (container) __builtin_prefetch(static_cast<const char*>(container) - 16, 1);
}

void Dictionary::remove(const QString& key) {
    ++dictionaryEdits;
    const qsizetype i = d_->find(key);
    if (i < 0) return;
    d_->entries.erase(d_->entries.begin() + i);
    if (d_->index) d_->reindex();
}

void Dictionary::clear() {
    ++dictionaryEdits;
    d_->entries.clear();
    d_->index.reset();
}

Value Dictionary::valueForKeyPath(const QString& path) const {
    const QStringList steps = path.split(QLatin1Char('.'));
    Value current = Value(*this);
    for (const QString& step : steps) {
        if (!current.isDictionary()) return Value();
        current = current.toDictionary().value(step);
    }
    return current;
}

void Dictionary::setValueForKeyPath(const QString& path, const Value& value) {
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot < 0) {
        set(path, value);
        return;
    }
    const Value owner = valueForKeyPath(path.left(dot));
    if (owner.isDictionary()) owner.toDictionary().set(path.mid(dot + 1), value);
}

QStringList Dictionary::keys() const {
    QStringList out;
    out.reserve(count());
    for (const auto& e : d_->entries) out.append(*e.first);
    return out;
}

const QString& Dictionary::keyAt(qsizetype i) const { return *d_->entries.at(size_t(i)).first; }
const Value& Dictionary::valueAt(qsizetype i) const { return d_->entries.at(size_t(i)).second; }

Dictionary Dictionary::shallowCopy() const {
    auto s = std::make_shared<detail::DictionaryStorage>();
    s->entries = d_->entries;
    s->immutable = d_->immutable;
    s->reindex();
    return Dictionary(std::move(s));
}

Dictionary Dictionary::deepCopy() const {
    Dictionary out = shallowCopy();
    for (auto& e : out.d_->entries) e.second = e.second.deepCopy();
    return out;
}

bool Dictionary::isImmutableClass() const { return d_->immutable; }
void Dictionary::setImmutableClass(bool immutable) { d_->immutable = immutable; }

// ---- Array ----

Array::Array() : d_(std::make_shared<detail::ArrayStorage>()) {}
Array::Array(std::initializer_list<Value> values) : Array() { d_->items.assign(values); }
Array::Array(std::vector<Value>&& values) : Array() { d_->items = std::move(values); }
std::vector<Value> Array::takeValuesIfUnshared() {
    if (d_.use_count() != 1) return {};
    return std::exchange(d_->items, {});
}

qsizetype Array::count() const { return qsizetype(d_->items.size()); }
const Value& Array::at(qsizetype i) const { return d_->items.at(size_t(i)); }
Value Array::value(qsizetype i) const {
    return (i >= 0 && i < count()) ? d_->items[size_t(i)] : Value();
}
void Array::append(const Value& v) { d_->items.push_back(v); }
void Array::append(Value&& v) { d_->items.push_back(std::move(v)); }
void Array::insert(qsizetype i, const Value& v) { d_->items.insert(d_->items.begin() + i, v); }
void Array::replace(qsizetype i, const Value& v) { d_->items.at(size_t(i)) = v; }
void Array::removeAt(qsizetype i) { d_->items.erase(d_->items.begin() + i); }
void Array::clear() { d_->items.clear(); }
void Array::reserve(qsizetype n) { d_->items.reserve(size_t(n)); }

qsizetype Array::indexOf(const Value& v) const {
    for (qsizetype i = 0; i < count(); ++i)
        if (d_->items[size_t(i)] == v) return i;
    return -1;
}

qsizetype Array::indexOfIdentical(const Value& v) const {
    for (qsizetype i = 0; i < count(); ++i)
        if (d_->items[size_t(i)].isIdenticalTo(v)) return i;
    return -1;
}

std::vector<Value>::const_iterator Array::begin() const { return d_->items.cbegin(); }
std::vector<Value>::const_iterator Array::end() const { return d_->items.cend(); }

Array Array::shallowCopy() const {
    Array out;
    out.d_->items = d_->items;
    out.d_->immutable = d_->immutable;
    return out;
}

Array Array::deepCopy() const {
    Array out = shallowCopy();
    for (auto& v : out.d_->items) v = v.deepCopy();
    return out;
}

bool Array::isImmutableClass() const { return d_->immutable; }
void Array::setImmutableClass(bool immutable) { d_->immutable = immutable; }

// ---- Value ----

Value Value::integer(std::int64_t i) { return Value(Storage(Integer{i, false})); }

Value Value::unsignedInteger(std::uint64_t u) {
    // Only values beyond the signed range need the unsigned marking; below it the two natures
    // are one and the same number in an archive.
    return Value(Storage(Integer{static_cast<std::int64_t>(u),
                                 u > std::uint64_t(std::numeric_limits<std::int64_t>::max())}));
}

Value Value::real(double d) { return Value(Storage(Real{d, false})); }
Value Value::real32(float f) { return Value(Storage(Real{double(f), true})); }
Value Value::boolean(bool b) { return Value(Storage(b)); }
Value Value::date(double secondsSince2001) { return Value(Storage(Date{secondsSince2001})); }
Value Value::data(const QByteArray& bytes) { return Value(Storage(bytes)); }
Value Value::rect(const Rect& r) { return Value(Storage(std::make_shared<const Rect>(r))); }

bool Value::isNumber() const { return isInteger() || isReal() || isBoolean(); }

bool Value::isUnsignedInteger() const {
    const auto* i = std::get_if<Integer>(&v_);
    return i && i->isUnsigned;
}

bool Value::isReal32() const {
    const auto* r = std::get_if<Real>(&v_);
    return r && r->is32;
}

Value Value::withMutableClass(bool m) const {
    if (isString()) return m ? Value(Storage(MutableString{stringRef()})) : Value(Storage(stringRef()));
    if (isData()) return m ? Value(Storage(MutableData{toData()})) : Value(Storage(toData()));
    return *this;
}

namespace {

QString numberText(double d) {
    if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 1e15)
        return QString::number(static_cast<qint64>(d));
    return QString::number(d, 'g', QLocale::FloatingPointShortest);
}

// The leading decimal integer of a string, as the original's string-to-number accessors read it:
// blanks skipped, an optional sign, digits up to the first other character; saturating.
std::int64_t leadingInteger(const QString& s) {
    qsizetype i = 0;
    const qsizetype n = s.size();
    while (i < n && (s[i] == QLatin1Char(' ') || s[i] == QLatin1Char('\t') || s[i] == QLatin1Char('\n')))
        ++i;
    bool negative = false;
    if (i < n && (s[i] == QLatin1Char('+') || s[i] == QLatin1Char('-'))) negative = s[i++] == QLatin1Char('-');
    std::int64_t v = 0;
    for (; i < n && s[i] >= QLatin1Char('0') && s[i] <= QLatin1Char('9'); ++i) {
        const int digit = s[i].unicode() - '0';
        if (v > (std::numeric_limits<std::int64_t>::max() - digit) / 10)
            return negative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
        v = v * 10 + digit;
    }
    return negative ? -v : v;
}

double leadingReal(const QString& s) {
    const QString t = s.trimmed();
    qsizetype end = 0;
    // Take the longest prefix that parses as a number, like strtod does.
    const QByteArray latin = t.toLatin1();
    char* stop = nullptr;
    const double d = std::strtod(latin.constData(), &stop);
    end = stop - latin.constData();
    return end > 0 ? d : 0.0;
}

}  // namespace

QString Value::toString() const {
    switch (type()) {
    case Type::String: return stringRef();
    case Type::Integer: {
        const auto i = std::get<Integer>(v_);
        return i.isUnsigned ? QString::number(static_cast<std::uint64_t>(i.bits)) : QString::number(i.bits);
    }
    case Type::Real: return numberText(std::get<Real>(v_).v);
    case Type::Boolean: return std::get<bool>(v_) ? QStringLiteral("1") : QStringLiteral("0");
    default: return QString();
    }
}

const QString& Value::stringRef() const {
    if (const auto* s = std::get_if<QString>(&v_)) return *s;
    if (const auto* m = std::get_if<MutableString>(&v_)) return m->text;
    return kEmptyString;
}

std::int64_t Value::toInt64() const {
    switch (type()) {
    case Type::Integer: return std::get<Integer>(v_).bits;
    case Type::Real: {
        const double d = std::get<Real>(v_).v;
        if (!std::isfinite(d)) return 0;
        if (d >= 9.2233720368547758e18) return std::numeric_limits<std::int64_t>::max();
        if (d <= -9.2233720368547758e18) return std::numeric_limits<std::int64_t>::min();
        return static_cast<std::int64_t>(d);
    }
    case Type::Boolean: return std::get<bool>(v_) ? 1 : 0;
    case Type::String: return leadingInteger(stringRef());
    default: return 0;
    }
}

std::uint64_t Value::toUInt64() const {
    if (isReal()) {
        const double d = std::get<Real>(v_).v;
        if (!(d > 0)) return static_cast<std::uint64_t>(toInt64());
        if (d >= 1.8446744073709552e19) return std::numeric_limits<std::uint64_t>::max();
        return static_cast<std::uint64_t>(d);
    }
    return static_cast<std::uint64_t>(toInt64());
}

int Value::toInt() const { return static_cast<int>(static_cast<std::uint32_t>(toInt64())); }

double Value::toDouble() const {
    switch (type()) {
    case Type::Integer: {
        const auto i = std::get<Integer>(v_);
        return i.isUnsigned ? double(static_cast<std::uint64_t>(i.bits)) : double(i.bits);
    }
    case Type::Real: return std::get<Real>(v_).v;
    case Type::Boolean: return std::get<bool>(v_) ? 1.0 : 0.0;
    case Type::String: return leadingReal(stringRef());
    case Type::Date: return std::get<Date>(v_).t;
    default: return 0.0;
    }
}

bool Value::toBool() const {
    switch (type()) {
    case Type::Integer: return std::get<Integer>(v_).bits != 0;
    case Type::Real: return std::get<Real>(v_).v != 0.0;
    case Type::Boolean: return std::get<bool>(v_);
    case Type::String: {
        // After leading white space, a Y, y, T, t or a digit 1-9 means YES; anything else, a sign
        // or a zero included ("+1", "01"), means NO.
        const QString& s = stringRef();
        qsizetype i = 0;
        while (i < s.size() && s[i].isSpace()) ++i;
        if (i >= s.size()) return false;
        const QChar c = s[i];
        return c == QLatin1Char('Y') || c == QLatin1Char('y') || c == QLatin1Char('T') ||
               c == QLatin1Char('t') || (c >= QLatin1Char('1') && c <= QLatin1Char('9'));
    }
    default: return false;
    }
}

double Value::toDate() const {
    const auto* d = std::get_if<Date>(&v_);
    return d ? d->t : 0.0;
}

QByteArray Value::toData() const {
    if (const auto* d = std::get_if<QByteArray>(&v_)) return *d;
    if (const auto* m = std::get_if<MutableData>(&v_)) return m->bytes;
    return QByteArray();
}

Dictionary Value::toDictionary() const {
    const auto* d = std::get_if<Dictionary>(&v_);
    return d ? *d : Dictionary();
}

Array Value::toArray() const {
    const auto* a = std::get_if<Array>(&v_);
    return a ? *a : Array();
}

Rect Value::toRect() const {
    const auto* r = std::get_if<std::shared_ptr<const Rect>>(&v_);
    return r ? **r : Rect();
}

namespace {

bool dictionariesEqual(const Dictionary& a, const Dictionary& b) {
    if (a.isSameObject(b)) return true;
    if (a.count() != b.count()) return false;
    for (qsizetype i = 0; i < a.count(); ++i) {
        const Value other = b.value(a.keyAt(i));
        if (other.isAbsent() || !(a.valueAt(i) == other)) return false;
    }
    return true;
}

bool arraysEqual(const Array& a, const Array& b) {
    if (a.isSameObject(b)) return true;
    if (a.count() != b.count()) return false;
    for (qsizetype i = 0; i < a.count(); ++i)
        if (!(a.at(i) == b.at(i))) return false;
    return true;
}

}  // namespace

bool operator==(const Value& a, const Value& b) {
    if (a.isNumber() && b.isNumber()) {
        if (a.isReal() || b.isReal()) return a.toDouble() == b.toDouble();
        if (a.isUnsignedInteger() != b.isUnsignedInteger()) return false;
        return a.toInt64() == b.toInt64();
    }
    if (a.type() != b.type()) return false;
    switch (a.type()) {
    case Value::Type::Absent: return true;
    case Value::Type::String: return a.stringRef() == b.stringRef();
    case Value::Type::Date: return a.toDate() == b.toDate();
    case Value::Type::Data: return a.toData() == b.toData();
    case Value::Type::Dictionary: return dictionariesEqual(a.toDictionary(), b.toDictionary());
    case Value::Type::Array: return arraysEqual(a.toArray(), b.toArray());
    case Value::Type::Rect: return a.toRect() == b.toRect();
    default: return false;
    }
}

bool Value::isIdenticalTo(const Value& other) const {
    if (isDictionary() && other.isDictionary())
        return std::get<Dictionary>(v_).isSameObject(std::get<Dictionary>(other.v_));
    if (isArray() && other.isArray()) return std::get<Array>(v_).isSameObject(std::get<Array>(other.v_));
    if (isDictionary() || isArray() || other.isDictionary() || other.isArray()) return false;
    return *this == other;
}

Value Value::deepCopy() const {
    if (isDictionary()) return Value(std::get<Dictionary>(v_).deepCopy());
    if (isArray()) return Value(std::get<Array>(v_).deepCopy());
    return *this;
}

bool isStrictlyEqual(const Value& a, const Value& b) {
    if (a.type() != b.type() || a.isMutableClass() != b.isMutableClass()) return false;
    switch (a.type()) {
    case Value::Type::Integer:
        return a.isUnsignedInteger() == b.isUnsignedInteger() && a.toInt64() == b.toInt64();
    case Value::Type::Real: {
        if (a.isReal32() != b.isReal32()) return false;
        const double x = a.toDouble(), y = b.toDouble();
        return (std::isnan(x) && std::isnan(y)) || (x == y && std::signbit(x) == std::signbit(y));
    }
    case Value::Type::Boolean: return a.toBool() == b.toBool();
    case Value::Type::Date: {
        const double x = a.toDate(), y = b.toDate();
        return (std::isnan(x) && std::isnan(y)) || x == y;
    }
    case Value::Type::Dictionary: {
        const Dictionary x = a.toDictionary(), y = b.toDictionary();
        if (x.count() != y.count() || x.isImmutableClass() != y.isImmutableClass()) return false;
        for (qsizetype i = 0; i < x.count(); ++i)
            if (x.keyAt(i) != y.keyAt(i) || !isStrictlyEqual(x.valueAt(i), y.valueAt(i))) return false;
        return true;
    }
    case Value::Type::Array: {
        const Array x = a.toArray(), y = b.toArray();
        if (x.count() != y.count() || x.isImmutableClass() != y.isImmutableClass()) return false;
        for (qsizetype i = 0; i < x.count(); ++i)
            if (!isStrictlyEqual(x.at(i), y.at(i))) return false;
        return true;
    }
    case Value::Type::Rect: {
        const Rect x = a.toRect(), y = b.toRect();
        auto same = [](double p, double q) { return (std::isnan(p) && std::isnan(q)) || p == q; };
        return same(x.x, y.x) && same(x.y, y.y) && same(x.width, y.width) && same(x.height, y.height);
    }
    default: return a == b;
    }
}

QString describe(const Value& v) {
    switch (v.type()) {
    case Value::Type::Absent: return QStringLiteral("(absent)");
    case Value::Type::String: return QLatin1Char('"') + v.stringRef() + QLatin1Char('"');
    case Value::Type::Integer: return v.toString() + (v.isUnsignedInteger() ? QStringLiteral("u") : QString());
    case Value::Type::Real: return v.toString() + (v.isReal32() ? QStringLiteral("f") : QString());
    case Value::Type::Boolean: return v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case Value::Type::Date: return QStringLiteral("date(%1)").arg(v.toDate(), 0, 'g', 17);
    case Value::Type::Data: return QStringLiteral("<%1>").arg(QString::fromLatin1(v.toData().toHex()));
    case Value::Type::Rect: {
        const Rect r = v.toRect();
        return QStringLiteral("{{%1, %2}, {%3, %4}}").arg(r.x).arg(r.y).arg(r.width).arg(r.height);
    }
    case Value::Type::Array: {
        QStringList parts;
        for (const Value& e : v.toArray()) parts << describe(e);
        return QLatin1Char('[') + parts.join(QStringLiteral(", ")) + QLatin1Char(']');
    }
    case Value::Type::Dictionary: {
        const Dictionary d = v.toDictionary();
        QStringList parts;
        for (qsizetype i = 0; i < d.count(); ++i) parts << d.keyAt(i) + QStringLiteral(": ") + describe(d.valueAt(i));
        return QLatin1Char('{') + parts.join(QStringLiteral(", ")) + QLatin1Char('}');
    }
    }
    return QString();
}

}  // namespace qv
