#include "LegacyMigration.h"

#include "DocumentKeys.h"
#include "DocumentTexts.h"
#include "MyDocument.h"
#include "RecordModel.h"

#include "foundation/TypedStream.h"

#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <memory>
#include <vector>

namespace qv::LegacyMigration {

int groupOf(std::uint64_t n) {
    if (n > 21099) return ((n >= 21100 && n <= 21110) || (n >= 21200 && n <= 21207)) ? 7 : 0;
    if (n <= 2499) {
        switch (n) {
        case 2000: case 2010: case 2020: return 2;
        case 1000: return 1;
        case 2100: return 3;
        case 2200: case 2210: case 2300: return 4;
        case 2400: return 5;
        default: return 0;
        }
    }
    if (n <= 2599) return (n == 2500 || n == 2510 || n == 2520) ? 5 : 0;
    if (n <= 2799) return (n == 2600 || n == 2700 || n == 2710) ? 5 : 0;
    if (n <= 20899) return (n == 2800 || n == 20801) ? 5 : 0;
    return (n == 20900 || n == 20901 || n == 21000) ? 6 : 0;
}

std::optional<double> dateFromString(const QString& text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString pattern(reinterpret_cast<const UChar*>(kDatePattern.utf16()), int32_t(kDatePattern.size()));
    icu::SimpleDateFormat format(pattern, icu::Locale("en_US_POSIX"), status);
    if (U_FAILURE(status)) return std::nullopt;
    format.adoptTimeZone(icu::TimeZone::createDefault());
    // The old formatter was strict: the whole pattern has to match.
    format.setLenient(false);
    const icu::UnicodeString source(reinterpret_cast<const UChar*>(text.utf16()), int32_t(text.size()));
    icu::ParsePosition pos(0);
    const UDate when = format.parse(source, pos);
    if (pos.getErrorIndex() >= 0 || pos.getIndex() == 0) return std::nullopt;
    // UDate counts milliseconds since 1970; documents count seconds since 2001.
    return when / 1000.0 - double(kUnixSecondsAt2001);
}

namespace {

enum class Kind { String, Long, Data };

struct Field {
    const QString& key;
    Kind kind;
};

// The fields of each group in the order they are deciphered; the first failure ends the attempt,
// so the order is part of what an old file means.
std::vector<Field> categoryFields(int group) {
    using K = Kind;
    switch (group) {
    case 2: return {{keys::cat_category, K::String}};
    case 3: case 4: case 6:
        return {{keys::cat_category, K::String}, {keys::cat_uniqueID, K::Long}, {keys::cat_backColor, K::Data},
                {keys::cat_textColor, K::Data}, {keys::cat_mark, K::String}};
    case 5:
        return {{keys::cat_category, K::String}, {keys::cat_uniqueID, K::Long}, {keys::cat_mark, K::String},
                {keys::cat_backColor, K::Data}, {keys::cat_textColor, K::Data}};
    case 7: return {{keys::cat_category, K::String}, {keys::cat_backColor, K::Data}, {keys::cat_textColor, K::Data}};
    default: return {};
    }
}

std::vector<Field> recordFields(int group) {
    using K = Kind;
    std::vector<Field> f;
    if (group == 7) {
        return {{keys::category, K::String}, {keys::account, K::String},      {keys::name, K::String},
                {keys::note, K::String},     {keys::password, K::String},     {keys::url, K::String},
                {keys::email, K::String},    {keys::userID, K::String},       {keys::creationDate, K::String},
                {keys::modificationDate, K::String}, {keys::usageCount, K::Long}};
    }
    if (group >= 2) f.push_back({keys::category, K::String});
    if (group >= 3) f.push_back({keys::cat_uniqueID, K::Long});
    for (const QString* k : {&keys::account, &keys::name, &keys::note, &keys::password, &keys::url})
        f.push_back({*k, K::String});
    if (group >= 4) f.push_back({keys::email, K::String});
    if (group >= 5) f.push_back({keys::userID, K::String});
    if (group >= 6) {
        f.push_back({keys::creationDate, K::String});
        f.push_back({keys::modificationDate, K::String});
    }
    return f;
}

// A record field's value as the record takes it: dates parsed at once (a text that doesn't fit
// gives no value, so the key goes), counts as numbers.
Value recordValue(const QString& key, const Value& plain) {
    if (key == keys::creationDate || key == keys::modificationDate) {
        const auto when = dateFromString(plain.toString());
        return when ? Value::date(*when) : Value();
    }
    return plain;
}

// The conversion builds the tables as the list controllers would when the user adds each
// category and record in turn: records go to the end of the record table, categories to the end
// of the category table, each through the record model's own rules.
class Branch {
public:
    Branch(MyDocument& doc, int group) : doc_(doc), group_(group) {}

    std::int32_t run() {
        if (group_ == 1) return runGeneration1000();
        const Array old = doc_.myEncryptedCategoryArray.isArray() ? doc_.myEncryptedCategoryArray.toArray() : Array();
        doc_.myCategoryArray = Array();
        doc_.myCategoryArray.reserve(old.count());
        for (const Value& entry : old)
            if (const std::int32_t code = category(entry.toDictionary())) return stop(code);
        for (const Value& entry : records())
            if (const std::int32_t code = record(entry.toDictionary())) return stop(code);
        return 0;
    }

private:
    // A failing field ends the conversion, and with it the progress bar.
    std::int32_t stop(std::int32_t code) {
        if (doc_.ui()) doc_.ui()->setDecryptProgressAnimating(false);
        return code;
    }

    Array records() const {
        return doc_.myEncriptedArray.isArray() ? doc_.myEncriptedArray.toArray() : Array();
    }

    // A category as a new one is made: "Generic" or the first free "Generic N", the next free id.
    Value newCategory() const {
        const Array& categories = doc_.myCategoryArray;
        return Value(RecordModel::newCategory(RecordModel::unusedCategoryTitle(categories, texts::defaultCategoryName),
                                              RecordModel::unusedCategoryID(categories)));
    }

    void addCategory(const Value& category) { doc_.myCategoryArray.append(category); }

    // The category a new record gets. Without any category, a new one is added first, as the
    // list controller adds one when none is selected; otherwise that of the record added last
    // (the one selected), or the last category.
    Value categoryForNewRecord() {
        if (doc_.myCategoryArray.isEmpty()) {
            const Value made = newCategory();
            addCategory(made);
            return made;
        }
        return RecordModel::categoryForNewRecord(doc_.myCategoryArray, doc_.myArray.value(doc_.myArray.count() - 1));
    }

    Value newRecord() {
        Dictionary r = RecordModel::newRecord(doc_.conversionClock ? doc_.conversionClock() : nowSince2001());
        r.set(keys::categoryPtr, categoryForNewRecord());
        return Value(r);
    }

    // Counted in its category (placed in the one a new record gets when it has none), then added.
    void addRecord(const Value& record) {
        RecordModel::assignCategory(doc_.myCategoryArray, record.toDictionary().value(keys::categoryPtr), record,
                                    [this] { return categoryForNewRecord(); });
        doc_.myArray.append(record);
    }

    // Deciphers one field into `out`: a string, a number or bytes as the field's kind says.
    std::int32_t decipher(const Dictionary& entry, const Field& f, Value* out) {
        const QByteArray bytes = entry.value(f.key).toData();
        const ZKCrypto& e = doc_.myCryptoEngine;
        switch (f.kind) {
        case Kind::String: {
            const auto s = e.decryptToString(bytes);
            if (!s) return s.kind();
            *out = Value(*s);
            break;
        }
        case Kind::Long: {
            const auto v = e.decryptToLong(bytes);
            if (!v) return v.kind();
            *out = Value::integer(*v);
            break;
        }
        case Kind::Data: {
            const auto d = e.decryptToData(bytes);
            if (!d) return d.kind();
            *out = Value::data(*d);
            break;
        }
        }
        return ZKCrypto::kSuccess;
    }

    // A colour of the old archive, into the category's colour dictionary. A stream that holds no
    // colour leaves the new category's own colour in place rather than failing the document.
    static void setColor(Dictionary& category, const QString& key, const Value& archived) {
        const auto c = TypedStream::decodeColor(archived.toData());
        if (!c) return;
        category.set(key, Value(ZKColorUtilOSX::dictFromNSColor(RgbaColor{c->r, c->g, c->b, c->a})));
    }

    std::int32_t category(const Dictionary& entry) {
        Dictionary plain;
        for (const Field& f : categoryFields(group_)) {
            Value v;
            if (const std::int32_t code = decipher(entry, f, &v)) return code;
            plain.set(f.key, v);
        }
        // Made once every field is deciphered; nothing is added between, so its title and id are
        // the same as when the oldest groups made it before deciphering.
        const Value made = newCategory();
        Dictionary cat = made.toDictionary();
        cat.set(keys::cat_category, plain.value(keys::cat_category));
        if (group_ != 2) {
            setColor(cat, keys::cat_backColor, plain.value(keys::cat_backColor));
            setColor(cat, keys::cat_textColor, plain.value(keys::cat_textColor));
        }
        addCategory(made);
        return 0;
    }

    std::int32_t record(const Dictionary& entry) {
        Dictionary plain;
        for (const Field& f : recordFields(group_)) {
            Value v;
            if (const std::int32_t code = decipher(entry, f, &v)) return code;
            plain.set(f.key, recordValue(f.key, v));
        }
        const Value made = newRecord();
        Dictionary r = made.toDictionary();
        for (const QString* k : {&keys::account, &keys::name, &keys::note, &keys::password, &keys::url})
            r.set(*k, plain.value(*k));
        if (group_ >= 4) r.set(keys::email, plain.value(keys::email));
        if (group_ >= 5) r.set(keys::userID, plain.value(keys::userID));
        if (group_ >= 6) {
            // No value (a date that didn't fit) removes the key, the opening moment included.
            r.set(keys::creationDate, plain.value(keys::creationDate));
            r.set(keys::modificationDate, plain.value(keys::modificationDate));
        }
        if (group_ == 7) r.set(keys::usageCount, plain.value(keys::usageCount));
        // Found by title alone; no match removes the key, and adding then gives the record the
        // category a new record would get.
        r.set(keys::categoryPtr,
              RecordModel::categoryWithTitle(doc_.myCategoryArray, plain.value(keys::category).toString()));
        addRecord(made);
        return 0;
    }

    std::int32_t runGeneration1000() {
        const Array old = records();
        if (old.isEmpty()) return 0;
        doc_.myCategoryArray = Array();
        doc_.myCategoryArray.reserve(1);
        const Value generic = newCategory();
        generic.toDictionary().set(keys::cat_category, Value(texts::defaultCategoryName));
        addCategory(generic);
        for (qsizetype i = 0; i < old.count(); ++i) {
            const Dictionary entry = old.at(i).toDictionary();
            Dictionary plain;
            for (const Field& f : recordFields(1)) {
                Value v;
                if (const std::int32_t code = decipher(entry, f, &v)) return stop(code);
                plain.set(f.key, v);
            }
            // The record keeps the category it was given: the only one there is.
            const Value made = newRecord();
            Dictionary r = made.toDictionary();
            for (const QString* k : {&keys::account, &keys::name, &keys::note, &keys::password, &keys::url})
                r.set(*k, plain.value(*k));
            addRecord(made);
        }
        return 0;
    }

    MyDocument& doc_;
    int group_;
};

}  // namespace

std::int32_t decript(MyDocument& doc, int group) {
    doc.myCryptoEngine.setPassword(doc.plainPassword);
    return Branch(doc, group).run();
}

}  // namespace qv::LegacyMigration
