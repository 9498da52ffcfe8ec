#pragma once

// The value model every document, preference and archive is made of.
//
// Records, categories and e-mail entries are string-keyed dictionaries whose key strings are
// the file format, so they are not turned into structs. A Value is one of the property-list
// kinds (or absent); Dictionary and Array are shared, mutable containers held by reference,
// exactly like the objects in an archive: copying a handle shares the container.
//
// The absent-key rule: setting a key to an absent value removes it; reading a missing key gives
// an absent value, which reads as 0, false and "" wherever a number, flag or text is asked for.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

class QDateTime;

namespace qv {

// Every date a document holds is a count of seconds since 2001-01-01 00:00 UTC; this many seconds
// lie between the Unix epoch and then.
inline constexpr std::int64_t kUnixSecondsAt2001 = 978307200;
// Such a date as a date and time in local time, to the millisecond, and back.
QDateTime dateTimeFromSeconds2001(double seconds);
double seconds2001FromDateTime(const QDateTime& when);


class Value;
class Dictionary;
class Array;

struct Rect {
    double x = 0, y = 0, width = 0, height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;
};

namespace detail {
struct DictionaryStorage;
struct ArrayStorage;
}  // namespace detail

// The one shared copy of a dictionary key on this thread. Dictionaries store their keys through
// it and the program's key constants are made with it, so that looking a key up is mostly a
// comparison of pointers, and a hundred thousand records share one "name".
const QString& internKey(const QString& key);

// How many times a dictionary was changed in place on the calling thread. A cache of something
// worked out from records (a sort order, say) compares it to see whether any could have changed.
std::uint64_t dictionaryEditsOnThisThread();

// A mutable, insertion-ordered dictionary with string keys, held by reference.
class Dictionary {
public:
    Dictionary();  // a new, empty, mutable dictionary
    explicit Dictionary(std::initializer_list<std::pair<QString, Value>> entries);

    qsizetype count() const;
    bool isEmpty() const { return count() == 0; }

    // Absent when the key is missing.
    Value value(const QString& key) const;
    // The same without a copy, for hot loops; valid until the dictionary changes.
    const Value& get(const QString& key) const;
    bool contains(const QString& key) const;
    // An absent value removes the key; a new key goes last, an existing one keeps its place.
    void set(const QString& key, const Value& value);
    // set() for a key that internKey() returned, as readers building many records use it.
    void setInternedKey(const QString& internedKey, Value&& value);
    void remove(const QString& key);
    void clear();
    // Room for n keys, for dictionaries made by the thousand whose size is known.
    void reserve(qsizetype n);

    // "categoryPtr.cat_category": walks through nested dictionaries; anything else on the way
    // gives absent. Setting through a missing or non-dictionary step does nothing.
    Value valueForKeyPath(const QString& path) const;
    void setValueForKeyPath(const QString& path, const Value& value);

    QStringList keys() const;  // in insertion order
    const QString& keyAt(qsizetype i) const;
    const Value& valueAt(qsizetype i) const;

    // A new container holding the same values (containers inside are shared, as with -copy).
    Dictionary shallowCopy() const;
    // A new tree: nested dictionaries and arrays are copied too.
    Dictionary deepCopy() const;

    // Whether the archive names it as an immutable dictionary; new dictionaries are mutable.
    bool isImmutableClass() const;
    void setImmutableClass(bool immutable);

    // Identity: the very same container (what a record's categoryPtr relies on).
    bool isSameObject(const Dictionary& other) const { return d_ == other.d_; }
    const void* identity() const { return d_.get(); }

    // Hints for loops over many dictionaries (a filter of a hundred thousand records), which
    // otherwise wait on memory at every step: ask for the entry table ahead of use, and later,
    // once it has arrived, for the text of the string values. Neither changes anything.
    void prefetchEntries() const;
    void prefetchStringValues() const;

private:
    friend class Value;
    explicit Dictionary(std::shared_ptr<detail::DictionaryStorage> d) : d_(std::move(d)) {}
    std::shared_ptr<detail::DictionaryStorage> d_;
};

// A mutable array of values, held by reference.
class Array {
public:
    Array();
    explicit Array(std::initializer_list<Value> values);
    // Takes the values over without copying them.
    explicit Array(std::vector<Value>&& values);
    // The values themselves when no other handle shares this array, which is left empty; when
    // one does, nothing. Lets a large array be let go of in pieces.
    std::vector<Value> takeValuesIfUnshared();

    qsizetype count() const;
    bool isEmpty() const { return count() == 0; }
    const Value& at(qsizetype i) const;  // index must be valid
    Value value(qsizetype i) const;      // absent when out of range
    void append(const Value& v);
    void append(Value&& v);
    void insert(qsizetype i, const Value& v);
    void replace(qsizetype i, const Value& v);
    void removeAt(qsizetype i);
    void clear();
    void reserve(qsizetype n);

    // Deep equality, as containsObject: / indexOfObject: do.
    qsizetype indexOf(const Value& v) const;
    bool containsEqual(const Value& v) const { return indexOf(v) >= 0; }
    // Identity, as indexOfObjectIdenticalTo: does.
    qsizetype indexOfIdentical(const Value& v) const;

    std::vector<Value>::const_iterator begin() const;
    std::vector<Value>::const_iterator end() const;

    Array shallowCopy() const;
    Array deepCopy() const;

    bool isImmutableClass() const;
    void setImmutableClass(bool immutable);

    bool isSameObject(const Array& other) const { return d_ == other.d_; }
    const void* identity() const { return d_.get(); }

private:
    friend class Value;
    explicit Array(std::shared_ptr<detail::ArrayStorage> d) : d_(std::move(d)) {}
    std::shared_ptr<detail::ArrayStorage> d_;
};

class Value {
public:
    enum class Type : std::uint8_t {
        Absent,
        String,
        Integer,
        Real,
        Boolean,
        Date,
        Data,
        Dictionary,
        Array,
        Rect
    };

    Value() = default;  // absent
    Value(const QString& s) : v_(s) {}
    Value(const char* utf8) : v_(QString::fromUtf8(utf8)) {}
    Value(const Dictionary& d) : v_(d) {}
    Value(const Array& a) : v_(a) {}

    static Value string(const QString& s) { return Value(s); }
    static Value integer(std::int64_t i);
    static Value unsignedInteger(std::uint64_t u);
    static Value real(double d);    // 64-bit real
    static Value real32(float f);   // 32-bit real, kept as such through an archive
    static Value boolean(bool b);
    static Value date(double secondsSince2001);
    static Value data(const QByteArray& bytes);
    static Value rect(const Rect& r);

    Type type() const {
        const std::size_t i = v_.index();
        return i < kMutableString ? static_cast<Type>(i) : i == kMutableString ? Type::String : Type::Data;
    }
    bool isAbsent() const { return type() == Type::Absent; }
    bool isString() const { return type() == Type::String; }
    bool isNumber() const;  // integer, real or boolean
    bool isInteger() const { return type() == Type::Integer; }
    bool isReal() const { return type() == Type::Real; }
    bool isBoolean() const { return type() == Type::Boolean; }
    bool isDate() const { return type() == Type::Date; }
    bool isData() const { return type() == Type::Data; }
    bool isDictionary() const { return type() == Type::Dictionary; }
    bool isArray() const { return type() == Type::Array; }
    bool isRect() const { return type() == Type::Rect; }

    // The nature a number keeps through an archive.
    bool isUnsignedInteger() const;  // an integer stored above the signed 64-bit range
    bool isReal32() const;

    // Whether an archive names a string or data as its mutable class.
    bool isMutableClass() const { return v_.index() >= kMutableString; }
    Value withMutableClass(bool m) const;

    // Reading under the absent-key rule. Each mirrors what the original accessor gives for the
    // kinds it is used on: numbers convert, strings are parsed leniently, anything else is zero.
    QString toString() const;      // stringValue / description of a number
    std::int64_t toInt64() const;  // longLongValue
    std::uint64_t toUInt64() const;
    int toInt() const;  // intValue: truncates like a C cast
    double toDouble() const;
    bool toBool() const;  // boolValue
    double toDate() const;  // seconds since 2001-01-01; 0 when not a date
    QByteArray toData() const;
    Dictionary toDictionary() const;  // a new empty dictionary when not one
    // The stored dictionary without a copy of the handle, or null; for hot loops.
    const Dictionary* dictionaryIfAny() const { return std::get_if<Dictionary>(&v_); }
    Array toArray() const;            // a new empty array when not one
    Rect toRect() const;

    // The stored string, or a reference to an empty one; no conversion.
    const QString& stringRef() const;

    // Deep equality with Foundation's rules: numbers of any nature compare by value, strings
    // by UTF-16 units, dictionaries regardless of key order.
    friend bool operator==(const Value& a, const Value& b);
    // Identity for containers, equality for everything else.
    bool isIdenticalTo(const Value& other) const;

    // Copies nested containers too.
    Value deepCopy() const;

    // A hint ahead of copying or dropping many handles: asks for the container's shared count,
    // which each copy or release writes. Does nothing for other kinds.
    void prefetchForCopy() const;

private:
    struct Integer {
        std::int64_t bits;
        bool isUnsigned;
    };
    struct Real {
        double v;
        bool is32;
    };
    struct Date {
        double t;
    };
    // A string or data that an archive names by its mutable class is kept as a kind of its own,
    // so that the flag costs no room: a value is then 32 bytes instead of 40, in every entry
    // of every record.
    struct MutableString {
        QString text;
    };
    struct MutableData {
        QByteArray bytes;
    };
    // The first ten kinds stand in the order of Type.
    using Storage = std::variant<std::monostate, QString, Integer, Real, bool, Date, QByteArray,
                                 Dictionary, Array, std::shared_ptr<const Rect>, MutableString, MutableData>;
    static constexpr std::size_t kMutableString = 10;
    explicit Value(Storage s) : v_(std::move(s)) {}
    Storage v_;
};

// Strict comparison used where exact preservation matters (archives, tests): same kinds, same
// number natures, same key order, same class mutability, recursively.
bool isStrictlyEqual(const Value& a, const Value& b);

// A readable one-line rendering for messages and test failures.
QString describe(const Value& v);

}  // namespace qv
