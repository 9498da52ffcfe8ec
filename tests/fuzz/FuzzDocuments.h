#pragma once

// Documents for the document fuzz target: the password every fuzz document is opened with, the
// sealing of plain templates, and the templates the seed corpus starts from.

#include "crypto/ZKCommonCrypto.h"
#include "crypto/ZKCrypto.h"
#include "document/DocumentKeys.h"
#include "document/LegacyMigration.h"
#include "foundation/KeyedArchive.h"
#include "foundation/MacRoman.h"

#include <optional>

namespace qv::fuzzdoc {

inline const QString kPassword = QStringLiteral("fuzz password");

// The members of a current template and the fields of an old one hold plain bytes; this
// enciphers them in place with the password and gives the file. Fixed salt and vector keep a
// template's file the same from run to run.
inline std::optional<QByteArray> sealTemplate(const QByteArray& bytes) {
    const auto root = KeyedUnarchiver::unarchiveObjectWithData(bytes);
    if (!root || !root->isDictionary()) return std::nullopt;
    Dictionary d = root->toDictionary();
    if (LegacyMigration::groupOf(d.value(keys::appversion).toUInt64()) == 0) {
        ZKCommonCrypto engine(kPassword);
        engine.setPasswordToDecrypt(kPassword, QByteArray(16, '\x5a'), QByteArray(8, '\x17'));
        for (const QString* k : {&keys::dataArrayData, &keys::catArrayData, &keys::emailArrayData,
                                 &keys::documentCreationDateData}) {
            const Value v = d.value(*k);
            if (!v.isData()) continue;
            const auto sealed = engine.encrypt(v.toData());
            d.set(*k, Value::data(sealed ? *sealed : QByteArray()));
        }
        const QByteArray check = QByteArrayLiteral("the check string of a fuzz document");
        d.set(keys::salt, Value::data(engine.salt()));
        d.set(keys::IV, Value::data(engine.IV()));
        const auto sealedCheck = engine.encrypt(check);
        d.set(keys::rc, Value::data(sealedCheck ? *sealedCheck : QByteArray()));
        d.set(keys::sha1_rc, Value::data(ZKCommonCrypto::dataSHA1(check).value_or(QByteArray())));
    } else {
        const ZKCrypto engine(LegacyMigration::kInitVector, kPassword);
        for (const QString* table : {&keys::catArray, &keys::dataArray}) {
            const Value t = d.value(*table);
            if (!t.isArray()) continue;
            for (const Value& entry : t.toArray()) {
                if (!entry.isDictionary()) continue;
                Dictionary e = entry.toDictionary();
                for (const QString& k : e.keys())
                    if (e.value(k).isData()) e.set(k, Value::data(engine.cryptData(e.value(k).toData()).value_or(QByteArray())));
            }
        }
    }
    if (auto sealed = KeyedArchiver::archivedDataWithRootObject(Value(d))) return std::move(*sealed);
    return std::nullopt;
}

// ---- Templates for the seeds ----

inline Value macRoman(const QString& s) { return Value::data(MacRoman::encode(s).value_or(QByteArray())); }
inline Value littleEndian(std::int64_t v, int width) {
    QByteArray b(width, '\0');
    for (int i = 0; i < width; ++i) b[i] = char((std::uint64_t(v) >> (8 * i)) & 0xFF);
    return Value::data(b);
}

// An old colour archive of a calibrated RGB colour.
inline QByteArray oldColour() {
    return QByteArray::fromHex("040b73747265616d747970656481e803840140848484074e53436f6c6f72008484084e534f626a65637400"
                               "858401630184046666666683000080" "3e830000003f010186");
}

inline QByteArray currentTemplate(std::uint64_t generation) {
    Array categories;
    for (int i = 1; i <= 2; ++i) {
        Dictionary c;
        c.set(keys::cat_category, Value(i == 1 ? QStringLiteral("Generic") : QStringLiteral("Bank \u00e9")));
        c.set(keys::cat_uniqueID, Value::integer(i));
        Dictionary colour;
        colour.set(keys::r, Value::real(0.5));
        colour.set(keys::g, Value::real(0.25));
        colour.set(keys::b, Value::real(1));
        colour.set(keys::a, Value::real(1));
        c.set(keys::cat_backColor, Value(colour));
        categories.append(Value(c));
    }
    Array records;
    for (int i = 0; i < 3; ++i) {
        Dictionary r;
        r.set(keys::name, Value(QStringLiteral("record %1").arg(i)));
        r.set(keys::password, Value(QStringLiteral("p\u00e4ss%1").arg(i)));
        r.set(keys::note, Value(QStringLiteral("line one\nline two")));
        r.set(keys::creationDate, Value::date(300000000.5 + i));
        r.set(keys::usageCount, Value::integer(i));
        r.set(keys::categoryID, Value::integer(i % 3));
        records.append(Value(r));
    }
    Array emails;
    Dictionary e;
    e.set(keys::email, Value("someone@example.org"));
    emails.append(Value(e));
    Dictionary root;
    root.set(keys::appversion, Value::unsignedInteger(generation));
    root.set(keys::dataArrayData, Value::data(*KeyedArchiver::archivedDataWithRootObject(Value(records))));
    root.set(keys::catArrayData, Value::data(*KeyedArchiver::archivedDataWithRootObject(Value(categories))));
    root.set(keys::emailArrayData, Value::data(*KeyedArchiver::archivedDataWithRootObject(Value(emails))));
    root.set(keys::documentCreationDateData,
             Value::data(*KeyedArchiver::archivedDataWithRootObject(Value::date(250000000))));
    return *KeyedArchiver::archivedDataWithRootObject(Value(root));
}

// Every field an old generation may hold; each group reads the ones it knows.
inline QByteArray oldTemplate(std::uint64_t generation) {
    Array categories;
    Dictionary c;
    c.set(keys::cat_category, macRoman(QStringLiteral("Caf\u00e9")));
    c.set(keys::cat_uniqueID, littleEndian(7, 4));
    c.set(keys::cat_mark, macRoman(QStringLiteral("*")));
    c.set(keys::cat_backColor, Value::data(oldColour()));
    c.set(keys::cat_textColor, Value::data(oldColour()));
    categories.append(Value(c));
    Array records;
    for (int i = 0; i < 2; ++i) {
        Dictionary r;
        r.set(keys::category, macRoman(i ? QStringLiteral("Caf\u00e9") : QStringLiteral("None")));
        r.set(keys::cat_uniqueID, littleEndian(7, 8));
        for (const QString* k : {&keys::account, &keys::name, &keys::note, &keys::password, &keys::url,
                                 &keys::email, &keys::userID})
            r.set(*k, macRoman(*k + QStringLiteral(" \u00fc%1").arg(i)));
        r.set(keys::creationDate, macRoman(QStringLiteral("2004-03-07 10:15:20 +0100")));
        r.set(keys::modificationDate, macRoman(QStringLiteral("not a date")));
        r.set(keys::usageCount, littleEndian(-3, 4));
        records.append(Value(r));
    }
    Dictionary root;
    root.set(keys::appversion, Value::unsignedInteger(generation));
    root.set(keys::catArray, Value(categories));
    root.set(keys::dataArray, Value(records));
    root.set(keys::windowRecX, Value::integer(10));
    return *KeyedArchiver::archivedDataWithRootObject(Value(root));
}

}  // namespace qv::fuzzdoc
