#include "foundation/KeyedArchive.h"
#include "foundation/PropertyList.h"

#include "support/ResultText.h"
#include "support/SampleValues.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace qv;

namespace {

QByteArray archived(const Value& v) {
    auto bytes = KeyedArchiver::archivedDataWithRootObject(v);
    EXPECT_TRUE(bytes) << test::failureText(bytes).toStdString();
    return bytes ? *bytes : QByteArray();
}

Value uid(quint64 n) { return Value(Dictionary{{QStringLiteral("CF$UID"), Value::unsignedInteger(n)}}); }

Value classRecord(const char* name, std::initializer_list<const char*> chain) {
    Array classes;
    for (const char* c : chain) classes.append(Value(c));
    return Value(Dictionary{{QStringLiteral("$classname"), Value(name)}, {QStringLiteral("$classes"), Value(classes)}});
}

// An archive built by hand from a list of "$objects", for shapes our own archiver never writes.
QByteArray handArchive(const Array& objects, quint64 root = 1) {
    Dictionary top{{QStringLiteral("$version"), Value::integer(100000)},
                   {QStringLiteral("$archiver"), Value("NSKeyedArchiver")},
                   {QStringLiteral("$top"), Value(Dictionary{{QStringLiteral("root"), uid(root)}})},
                   {QStringLiteral("$objects"), Value(objects)}};
    return writeBinaryPropertyList(Value(top)).value();
}

// Every archive these tests read is also checked without keeping anything, as a save reads its
// new bytes back: the check must agree with reading, on success and on the reason of a failure.
Result<Value> unarchive(const QByteArray& bytes) {
    auto read = KeyedUnarchiver::unarchiveObjectWithData(bytes);
    const Status<> checked = KeyedUnarchiver::checkArchive(bytes);
    EXPECT_EQ(checked.ok(), read.ok());
    if (!read) {
        EXPECT_EQ(checked.message(), read.message());
    }
    return read;
}

}  // namespace

TEST(KeyedArchive, EveryKindRoundTripsExactly) {
    const Value tree = test::everyKindTree(true);
    auto back = unarchive(archived(tree));
    ASSERT_TRUE(back) << test::failureText(back).toStdString();
    test::expectStrictlyEqual(tree, *back);
    // Archiving what was read gives the same bytes again.
    EXPECT_EQ(archived(*back), archived(tree));

    // Found by fuzzing: a date or a rectangle holding NaN must come back as NaN.
    const double nan = std::nan("");
    const Value odd(Array{Value::date(nan), Value::rect(Rect{nan, -HUGE_VAL, HUGE_VAL, 1}), Value::real32(float(nan))});
    back = unarchive(archived(odd));
    ASSERT_TRUE(back);
    test::expectStrictlyEqual(odd, *back);
    // A null root comes back absent.
    back = unarchive(archived(Value()));
    ASSERT_TRUE(back);
    EXPECT_TRUE(back->isAbsent());
}

TEST(KeyedArchive, ClassNamesAndMutabilitySurvive) {
    Dictionary frozen{{QStringLiteral("k"), Value("v")}};
    frozen.setImmutableClass(true);
    Array frozenList{Value("x")};
    frozenList.setImmutableClass(true);
    Dictionary root{{QStringLiteral("frozen"), Value(frozen)},
                    {QStringLiteral("frozenList"), Value(frozenList)},
                    {QStringLiteral("mutableString"), Value("edit me").withMutableClass(true)},
                    {QStringLiteral("mutableData"), Value::data("abc").withMutableClass(true)}};
    const QByteArray bytes = archived(Value(root));

    // The layout: the published top keys in order, and class records naming the chain. Version,
    // archiver name and "$null" first are checked by the independent reader in plist_interop.py.
    auto plist = readBinaryPropertyList(bytes);
    ASSERT_TRUE(plist);
    const Dictionary top = plist->toDictionary();
    EXPECT_EQ(top.keys(), (QStringList{QStringLiteral("$version"), QStringLiteral("$archiver"), QStringLiteral("$top"),
                                       QStringLiteral("$objects")}));
    EXPECT_EQ(top.valueForKeyPath(QStringLiteral("$top.root.CF$UID")).toInt64(), 1);
    const Array objects = top.value(QStringLiteral("$objects")).toArray();
    QStringList classNames;
    for (const Value& o : objects)
        if (o.toDictionary().contains(QStringLiteral("$classname")))
            classNames << o.toDictionary().value(QStringLiteral("$classname")).toString();
    classNames.sort();
    EXPECT_EQ(classNames, (QStringList{QStringLiteral("NSArray"), QStringLiteral("NSDictionary"),
                                       QStringLiteral("NSMutableData"), QStringLiteral("NSMutableDictionary"),
                                       QStringLiteral("NSMutableString")}));
    const Value rootObject = objects.at(1);
    const quint64 rootClass = rootObject.toDictionary().valueForKeyPath(QStringLiteral("$class.CF$UID")).toUInt64();
    EXPECT_EQ(objects.at(qsizetype(rootClass)).toDictionary().value(QStringLiteral("$classes")),
              Value(Array{Value("NSMutableDictionary"), Value("NSDictionary"), Value("NSObject")}));

    auto back = unarchive(bytes);
    ASSERT_TRUE(back);
    test::expectStrictlyEqual(Value(root), *back);
}

TEST(KeyedArchive, SharedObjectsStaySharedAndStringsAreStoredOnce) {
    Dictionary category{{QStringLiteral("cat_category"), Value("Generic")}};
    Array records;
    for (int i = 0; i < 1000; ++i)
        records.append(Value(Dictionary{{QStringLiteral("name"), Value("same name")}, {QStringLiteral("cat"), Value(category)}}));
    const QByteArray bytes = archived(Value(records));
    const Array objects = readBinaryPropertyList(bytes)->toDictionary().value(QStringLiteral("$objects")).toArray();
    // $null, the array, 1000 records, "name", "cat", "same name", the one category, its key and
    // value, one class record for every dictionary and one for the array.
    EXPECT_EQ(objects.count(), 1010);

    auto back = unarchive(bytes);
    ASSERT_TRUE(back);
    const Array read = back->toArray();
    ASSERT_EQ(read.count(), 1000);
    const Dictionary first = read.at(0).toDictionary().value(QStringLiteral("cat")).toDictionary();
    const Dictionary last = read.at(999).toDictionary().value(QStringLiteral("cat")).toDictionary();
    EXPECT_TRUE(first.isSameObject(last));
}

TEST(KeyedArchive, ALargeArrayDecodedOnTwoThreadsIsTheSame) {
    // Long enough for two threads to share the elements; shared strings and a shared category
    // in both halves.
    const QString name = QStringLiteral("name"), pin = QStringLiteral("pin"), cat = QStringLiteral("cat");
    Dictionary category{{QStringLiteral("cat_category"), Value("Generic")}};
    Array records;
    for (int i = 0; i < 25000; ++i) {
        Dictionary r{{name, Value(QStringLiteral("Record %1").arg(i))}, {pin, Value(i % 7 ? "1234" : "")}};
        if (i % 5000 == 0) r.set(cat, Value(category));
        records.append(Value(r));
    }
    const QByteArray bytes = archived(Value(records));
    // Enough objects for the list to be written in two halves too.
    EXPECT_GE(qFromBigEndian<quint64>(bytes.constData() + bytes.size() - 24), 100000u);
    auto back = unarchive(bytes);
    ASSERT_TRUE(back);
    EXPECT_TRUE(isStrictlyEqual(*back, Value(records)));
    const Array read = back->toArray();
    EXPECT_TRUE(read.at(0).toDictionary().value(cat).toDictionary().isSameObject(
        read.at(20000).toDictionary().value(cat).toDictionary()));

    // Damage in the second half is found; with damage in the first half as well, that is the
    // one reported, as reading in order would.
    auto breakString = [](QByteArray& b, const QByteArray& text, char marker) {
        const qsizetype at = b.indexOf(char(0x50 + text.size()) + text);
        ASSERT_GT(at, 0) << text.constData();
        b[at] = marker;
    };
    QByteArray damaged = bytes;
    breakString(damaged, "Record 20001", '\x70');
    auto refused = unarchive(damaged);
    EXPECT_FALSE(refused);
    EXPECT_TRUE(test::failureText(refused).contains(QLatin1String("0x70"))) << test::failureText(refused).toStdString();
    breakString(damaged, "Record 3", '\x0f');
    refused = unarchive(damaged);
    EXPECT_FALSE(refused);
    EXPECT_TRUE(test::failureText(refused).contains(QLatin1String("0x0f"))) << test::failureText(refused).toStdString();
}

TEST(KeyedArchive, ALargeRewrittenArrayIsWrittenInTwoHalvesAndReadsBack) {
    // Each element's copy drops "skip" and gains "number", as saving's rewrite does with a
    // record's category. Values shared across the halves: a pin, a date, a mutable string.
    const QString name = QStringLiteral("name"), pin = QStringLiteral("pin"), skip = QStringLiteral("skip"),
                  note = QStringLiteral("note"), when = QStringLiteral("when"), number = QStringLiteral("number");
    const Value sharedNote = Value(QStringLiteral("mutable note")).withMutableClass(true);
    auto makeRecords = [&](int count) {
        Array records;
        for (int i = 0; i < count; ++i) {
            Dictionary r{{name, Value(QStringLiteral("Record %1").arg(i))}, {pin, Value("1234")},
                         {skip, Value::integer(i)}, {when, Value::date(i % 3)}};
            if (i % 1000 == 0) r.set(note, sharedNote);
            if (i % 2) r.set(QStringLiteral("small"), Value::real32(0.5f));
            records.append(Value(r));
        }
        return records;
    };
    const KeyedArchiver::ElementRewrite rewrite =
        [&](const Dictionary& d, std::vector<std::pair<const QString*, const Value*>>& entries, Value& extra) {
            extra = Value::integer(d.get(name).toString().size());
            for (qsizetype i = 0; i < d.count(); ++i)
                if (d.keyAt(i) != skip) entries.emplace_back(&d.keyAt(i), &d.valueAt(i));
            entries.emplace_back(&number, &extra);
        };
    auto expectedCopies = [&](const Array& records) {
        Array copies;
        for (const Value& v : records) {
            Dictionary c = v.toDictionary().shallowCopy();
            c.remove(skip);
            c.set(number, Value::integer(c.value(name).toString().size()));
            copies.append(Value(c));
        }
        return Value(copies);
    };
    auto occurrences = [](const QByteArray& bytes, const QByteArray& what) {
        int n = 0;
        for (qsizetype at = bytes.indexOf(what); at >= 0; at = bytes.indexOf(what, at + 1)) ++n;
        return n;
    };

    const Array records = makeRecords(24000);
    const auto bytes = KeyedArchiver::archivedArrayWithRewrittenElements(records, rewrite);
    ASSERT_TRUE(bytes) << test::failureText(bytes).toStdString();
    auto back = unarchive(*bytes);
    ASSERT_TRUE(back);
    test::expectStrictlyEqual(expectedCopies(records), *back);
    // Each half wrote the shared pin once: the halves really were written apart.
    EXPECT_EQ(occurrences(*bytes, QByteArray("\x54" "1234")), 2);

    // A container in the second half sends the whole array through one archiver, so that a
    // container in both halves is still one object when read back.
    Array withShared = makeRecords(24000);
    const Array list{Value("a"), Value("b")};
    withShared.at(5).toDictionary().set(QStringLiteral("list"), Value(list));
    withShared.at(23000).toDictionary().set(QStringLiteral("list"), Value(list));
    const auto whole = KeyedArchiver::archivedArrayWithRewrittenElements(withShared, rewrite);
    ASSERT_TRUE(whole);
    back = unarchive(*whole);
    ASSERT_TRUE(back);
    test::expectStrictlyEqual(expectedCopies(withShared), *back);
    EXPECT_EQ(occurrences(*whole, QByteArray("\x54" "1234")), 1);
    EXPECT_TRUE(back->toArray().at(5).toDictionary().value(QStringLiteral("list")).toArray().isSameObject(
        back->toArray().at(23000).toDictionary().value(QStringLiteral("list")).toArray()));
}

TEST(KeyedArchive, WhatCannotBeArchivedIsRefusedWithTheReason) {
    Array loop;
    loop.append(Value(Dictionary{{QStringLiteral("self"), Value(loop)}}));
    const auto looped = KeyedArchiver::archivedDataWithRootObject(Value(loop));
    EXPECT_FALSE(looped);
    EXPECT_EQ(test::failureText(looped), QStringLiteral("A container contains itself and cannot be archived."));
    // The same through the rewrite that saving uses, the loop inside one record's copy.
    const auto rewritten = KeyedArchiver::archivedArrayWithRewrittenElements(
        loop, [](const Dictionary& record, std::vector<std::pair<const QString*, const Value*>>& entries, Value&) {
            for (qsizetype i = 0; i < record.count(); ++i) entries.emplace_back(&record.keyAt(i), &record.valueAt(i));
        });
    EXPECT_FALSE(rewritten);
    EXPECT_EQ(test::failureText(rewritten), QStringLiteral("A container contains itself and cannot be archived."));
    loop.clear();  // break the cycle so the test does not leak it

    Value deep = Value("bottom");
    for (int i = 0; i < 600; ++i) deep = Value(Array{deep});
    const auto tooDeep = KeyedArchiver::archivedDataWithRootObject(deep);
    EXPECT_FALSE(tooDeep);
    EXPECT_EQ(test::failureText(tooDeep), QStringLiteral("The value is nested too deeply to be archived."));
}

TEST(KeyedArchive, ReadsImmutableClassesAndPrivateSubclasses) {
    // An immutable string and data in object form, and a class the archive names by a private
    // subclass whose chain leads to a public one.
    Array objects{Value("$null"),
                  Value(Dictionary{{QStringLiteral("NS.keys"), Value(Array{uid(2), uid(3)})},
                                   {QStringLiteral("NS.objects"), Value(Array{uid(4), uid(6)})},
                                   {QStringLiteral("$class"), uid(8)}}),
                  Value("s"),
                  Value("d"),
                  Value(Dictionary{{QStringLiteral("NS.string"), Value("text")}, {QStringLiteral("$class"), uid(5)}}),
                  classRecord("NSString", {"NSString", "NSObject"}),
                  Value(Dictionary{{QStringLiteral("NS.time"), Value::integer(60)}, {QStringLiteral("$class"), uid(7)}}),
                  classRecord("NSDate", {"NSDate", "NSObject"}),
                  classRecord("__NSDictionaryI", {"__NSDictionaryI", "NSDictionary", "NSObject"})};
    auto v = unarchive(handArchive(objects));
    ASSERT_TRUE(v) << test::failureText(v).toStdString();
    const Dictionary d = v->toDictionary();
    EXPECT_TRUE(d.isImmutableClass());
    EXPECT_EQ(d.value(QStringLiteral("s")).toString(), QStringLiteral("text"));
    EXPECT_FALSE(d.value(QStringLiteral("s")).isMutableClass());
    EXPECT_EQ(d.value(QStringLiteral("d")).toDate(), 60.0);
}

TEST(KeyedArchiveDamage, LoopsDanglingReferencesAndWrongTypesAreRefused) {
    const Value dictClass = classRecord("NSMutableDictionary", {"NSMutableDictionary", "NSDictionary", "NSObject"});
    auto dict = [&](Array keys, Array values, quint64 cls = 3) {
        return Value(Dictionary{{QStringLiteral("NS.keys"), Value(keys)},
                                {QStringLiteral("NS.objects"), Value(values)},
                                {QStringLiteral("$class"), uid(cls)}});
    };
    struct Case {
        const char* what;
        Array objects;
        const char* expect;
    } cases[] = {
        {"a dictionary holding itself", Array{Value("$null"), dict(Array{uid(2)}, Array{uid(1)}), Value("k"), dictClass}, "loop"},
        {"a reference past the end", Array{Value("$null"), dict(Array{uid(2)}, Array{uid(99)}), Value("k"), dictClass}, "past"},
        {"a key that is not a string", Array{Value("$null"), dict(Array{uid(2)}, Array{uid(2)}), Value::integer(5), dictClass}, "key"},
        {"unequal keys and values", Array{Value("$null"), dict(Array{uid(2)}, Array{}), Value("k"), dictClass}, "unequal"},
        {"keys that are not UIDs", Array{Value("$null"), dict(Array{Value("k")}, Array{Value("v")}), Value("k"), dictClass}, "UID"},
        {"a class record without a name", Array{Value("$null"), dict(Array{}, Array{}), Value("k"), Value(Dictionary())}, "class"},
        {"an unknown class", Array{Value("$null"), dict(Array{}, Array{}), Value("k"), classRecord("NSSet", {"NSSet", "NSObject"})}, "NSSet"},
        {"a date whose time is a string",
         Array{Value("$null"), Value(Dictionary{{QStringLiteral("NS.time"), Value("soon")}, {QStringLiteral("$class"), uid(2)}}),
               classRecord("NSDate", {"NSDate", "NSObject"})},
         "NSDate"},
        {"a value that is not a rectangle",
         Array{Value("$null"), Value(Dictionary{{QStringLiteral("NS.special"), Value::integer(4)}, {QStringLiteral("$class"), uid(2)}}),
               classRecord("NSValue", {"NSValue", "NSObject"})},
         "kind"},
    };
    for (const Case& c : cases) {
        const auto read = unarchive(handArchive(c.objects));
        EXPECT_FALSE(read) << c.what;
        const QString error = test::failureText(read);
        EXPECT_TRUE(error.contains(QLatin1String(c.expect))) << c.what << ": " << error.toStdString();
    }

    const auto text = unarchive(QByteArrayLiteral("definitely not an archive"));
    EXPECT_FALSE(text);
    EXPECT_EQ(test::failureText(text), QStringLiteral("The data is not a keyed archive."));
    // A property list that is not an archive.
    const auto list = unarchive(writeBinaryPropertyList(Value(Array{Value("x")})).value());
    EXPECT_FALSE(list);
    EXPECT_EQ(test::failureText(list), QStringLiteral("The data is not a keyed archive."));
}

TEST(KeyedArchiveDamage, TruncationAndCorruptionNeverCrash) {
    const QByteArray good = archived(test::everyKindTree(true));
    for (qsizetype n = 0; n < good.size(); n += 3) {
        if (const auto read = unarchive(good.left(n)); !read) {
            EXPECT_FALSE(read.message().isEmpty());
        }
    }
    std::mt19937 rng(2026);
    for (int round = 0; round < 3000; ++round) {
        QByteArray bad = good;
        for (int i = 0; i < 3; ++i) bad[qsizetype(rng() % quint32(bad.size()))] = char(rng() & 0xFF);
        if (const auto read = unarchive(bad); !read) {
            EXPECT_FALSE(read.message().isEmpty());
        }
    }
}
