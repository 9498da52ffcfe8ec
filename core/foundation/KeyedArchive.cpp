#include "KeyedArchive.h"

#include "MemoryTuning.h"
#include "PropertyList.h"
#include "TwoThreads.h"

#include <QHash>
#include <QLocale>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace qv {

namespace {

// The rectangle value's text form, "{{x, y}, {w, h}}", as the platform's own string conversion
// writes it; numbers in their shortest exact form so that nothing is lost.
QString rectText(const Rect& r) {
    auto n = [](double d) { return QString::number(d, 'g', QLocale::FloatingPointShortest); };
    return QStringLiteral("{{%1, %2}, {%3, %4}}").arg(n(r.x), n(r.y), n(r.width), n(r.height));
}

// Reads the numbers of "{{x, y}, {w, h}}" in order; like the platform, missing ones are 0.
Rect parseRectText(const QString& text) {
    double v[4] = {0, 0, 0, 0};
    int found = 0;
    const QByteArray latin = text.toLatin1();
    const char* p = latin.constData();
    const char* end = p + latin.size();
    while (p < end && found < 4) {
        // Digits, signs and points start a number; so do "nan" and "inf", which the writer
        // produces for such values.
        if ((*p >= '0' && *p <= '9') || *p == '-' || *p == '+' || *p == '.' || *p == 'n' || *p == 'N' ||
            *p == 'i' || *p == 'I') {
            char* stop = nullptr;
            const double d = std::strtod(p, &stop);
            if (stop == p) {
                ++p;
                continue;
            }
            v[found++] = d;
            p = stop;
        } else {
            ++p;
        }
    }
    return Rect{v[0], v[1], v[2], v[3]};
}

enum class ClassKind { Dictionary, Array, String, Data, Date, RectValue, Unknown };

struct ClassInfo {
    ClassKind kind = ClassKind::Unknown;
    bool isMutable = false;
    QString name;
};

ClassInfo classifyName(const QString& name) {
    ClassInfo c;
    c.name = name;
    const bool m = name.startsWith(QLatin1String("NSMutable"));
    const QString base = m ? QStringLiteral("NS") + name.mid(9) : name;
    c.isMutable = m;
    if (base == QLatin1String("NSDictionary")) c.kind = ClassKind::Dictionary;
    else if (base == QLatin1String("NSArray")) c.kind = ClassKind::Array;
    else if (base == QLatin1String("NSString")) c.kind = ClassKind::String;
    else if (base == QLatin1String("NSData")) c.kind = ClassKind::Data;
    else if (name == QLatin1String("NSDate")) c.kind = ClassKind::Date;
    else if (name == QLatin1String("NSValue")) c.kind = ClassKind::RectValue;
    return c;
}

// ---------------------------------------------------------------------------------------------

class Archiver {
public:
    using Ref = BinaryPlistWriter::Ref;

private:
    std::uint64_t push(Ref r) {
        objects_.push_back(r);
        return objects_.size() - 1;
    }

    // Plain objects (strings, numbers, data) are uniqued by value, as the published archiver
    // does for them. The writer already uniques them, so its object reference identifies the
    // value: one hash lookup per value instead of two. "$null" is never reused for a user's
    // string of the same spelling.
    std::uint64_t plain(Ref r) {
        // Grown by doubling: growing by one at each new object cost a call per object.
        if (r >= plainUids_.size()) plainUids_.resize(std::max(size_t(r) + 1, 2 * plainUids_.size()), 0);
        std::uint32_t& uid = plainUids_[r];
        if (uid == 0) uid = std::uint32_t(push(r));
        return uid;
    }

    template <typename Map, typename Key, typename Make>
    std::uint64_t unique(Map& map, const Key& key, Make make) {
        if (auto it = map.constFind(key); it != map.cend()) return *it;
        const std::uint64_t uid = push(make());
        map.insert(key, uid);
        return uid;
    }

    // Dictionary keys are mostly the very same string objects in every record, and every value
    // being archived stays alive until the end, so the string's storage identifies it cheaply.
    std::uint64_t keyUid(const QString& k) {
        const auto id = std::make_pair(static_cast<const void*>(k.constData()), k.size());
        if (auto it = keyUids_.find(id); it != keyUids_.end()) return it->second;
        const std::uint64_t uid = plain(w_.string(k));
        keyUids_.emplace(id, uid);
        return uid;
    }

    Ref key(const char* k) {
        auto it = keyRefs_.find(k);
        if (it != keyRefs_.end()) return it->second;
        const Ref r = w_.string(QLatin1String(k));
        keyRefs_.emplace(k, r);
        return r;
    }

    std::uint64_t classUid(const QString& name, const QStringList& chain) {
        if (auto it = classes_.constFind(name); it != classes_.cend()) return *it;
        const Ref r = w_.reserve();
        const std::uint64_t uid = push(r);
        classes_.insert(name, uid);
        const Ref list = w_.reserve();
        std::vector<Ref> names;
        for (const QString& c : chain) names.push_back(w_.string(c));
        w_.setArray(list, names);
        w_.setDictionary(r, {w_.string(QStringLiteral("$classname")), w_.string(QStringLiteral("$classes"))},
                         {w_.string(name), list});
        return uid;
    }

    std::uint64_t classFor(const char* base, bool isMutable) {
        // Asked for every container and date: remembered by the literal's address.
        for (const ClassCacheEntry& c : classCache_)
            if (c.base == base && c.isMutable == isMutable) return c.uid;
        const std::uint64_t uid = classForName(base, isMutable);
        classCache_.push_back(ClassCacheEntry{base, isMutable, uid});
        return uid;
    }

    std::uint64_t classForName(const char* base, bool isMutable) {
        const QString b = QLatin1String(base);
        if (isMutable) {
            const QString m = QStringLiteral("NSMutable") + b;
            return classUid(m, {m, QStringLiteral("NS") + b, QStringLiteral("NSObject")});
        }
        return classUid(QStringLiteral("NS") + b, {QStringLiteral("NS") + b, QStringLiteral("NSObject")});
    }

    // An object with a class: its slot is taken first, so that it precedes what it contains.
    void object(const std::vector<std::pair<const char*, Ref>>& fields, std::uint64_t cls, Ref slot) {
        Ref keys[4], values[4];
        std::size_t n = 0;
        for (const auto& [k, v] : fields) {
            keys[n] = key(k);
            values[n++] = v;
        }
        keys[n] = key("$class");
        values[n++] = w_.uid(cls);
        w_.setDictionary(slot, keys, values, n);
    }

    std::optional<std::uint64_t> encode(const Value& v, int depth) {
        if (depth > kMaxPropertyListDepth) return refuse(QStringLiteral("The value is nested too deeply to be archived."));
        switch (v.type()) {
        case Value::Type::Absent: return 0;
        case Value::Type::String:
            if (v.isMutableClass()) {
                return unique(mutableStrings_, v.stringRef(), [&] { return w_.reserve(); });
            }
            return plain(w_.string(v.stringRef()));
        case Value::Type::Integer:
            return plain(v.isUnsignedInteger() ? w_.unsignedInteger(v.toUInt64()) : w_.integer(v.toInt64()));
        case Value::Type::Real:
            return plain(v.isReal32() ? w_.real32(float(v.toDouble())) : w_.real(v.toDouble()));
        case Value::Type::Boolean: return plain(w_.boolean(v.toBool()));
        case Value::Type::Data:
            if (v.isMutableClass()) return unique(mutableData_, v.toData(), [&] { return w_.reserve(); });
            return plain(w_.data(v.toData()));
        case Value::Type::Date: {
            const double t = v.toDate();
            quint64 bits;
            std::memcpy(&bits, &t, 8);
            std::uint32_t& known = dates_.slot(bits);
            if (known != 0) return known;
            const Ref slot = w_.reserve();
            const std::uint64_t uid = push(slot);
            known = std::uint32_t(uid);
            object({{"NS.time", w_.real(t)}}, classFor("Date", false), slot);
            return uid;
        }
        case Value::Type::Rect: {
            const Ref slot = w_.reserve();
            const std::uint64_t uid = push(slot);
            const std::uint64_t cls = classUid(QStringLiteral("NSValue"), {QStringLiteral("NSValue"), QStringLiteral("NSObject")});
            object({{"NS.special", w_.integer(3)}, {"NS.rectval", w_.string(rectText(v.toRect()))}}, cls, slot);
            return uid;
        }
        case Value::Type::Array:
        case Value::Type::Dictionary: break;
        }
        return encodeContainer(v, depth);
    }

    std::optional<std::uint64_t> encodeContainer(const Value& v, int depth) {
        const bool isArray = v.isArray();
        const void* id = isArray ? v.toArray().identity() : v.toDictionary().identity();
        if (auto it = containers_.constFind(id); it != containers_.cend()) return *it;
        if (!inProgress_.insert(id).second)
            return refuse(QStringLiteral("A container contains itself and cannot be archived."));
        const Ref slot = w_.reserve();
        const std::uint64_t uid = push(slot);
        if (isArray) {
            const Array a = v.toArray();
            std::vector<std::uint64_t> elements;
            elements.reserve(size_t(a.count()));
            for (const Value& e : a) {
                auto u = encode(e, depth + 1);
                if (!u) return std::nullopt;
                elements.push_back(*u);
            }
            object({{"NS.objects", uids(elements)}}, classFor("Array", !a.isImmutableClass()), slot);
        } else {
            const Dictionary d = v.toDictionary();
            if (!dictionaryBody(d.count(), [&d](qsizetype i) -> const QString& { return d.keyAt(i); },
                                [&d](qsizetype i) -> const Value& { return d.valueAt(i); }, d.isImmutableClass(),
                                slot, depth))
                return std::nullopt;
        }
        inProgress_.erase(id);
        containers_.insert(id, uid);
        return uid;
    }

    template <typename KeyAt, typename ValueAt>
    bool dictionaryBody(qsizetype count, KeyAt keyAt, ValueAt valueAt, bool immutable, Ref slot, int depth) {
        // Lists reused from one dictionary to the next at the same depth (a deque keeps the
        // deeper ones in place while they are added).
        while (scratch_.size() <= size_t(depth)) scratch_.emplace_back();
        auto& [keys, values, hashes] = scratch_[size_t(depth)];
        keys.clear();
        values.clear();
        hashes.clear();
        for (qsizetype i = 0; i < count; ++i) keys.push_back(keyUid(keyAt(i)));
        // The places of all the plain strings in the writer's table are asked for before the
        // first is looked up, so that their waits on memory overlap.
        for (qsizetype i = 0; i < count; ++i) {
            const Value& v = valueAt(i);
            std::uint32_t h = 0;
            if (v.isString() && !v.isMutableClass()) {
                h = BinaryPlistWriter::stringHash(v.stringRef());
                w_.prefetchString(h);
            } else if (v.isDate()) {
                const double t = v.toDate();
                std::uint64_t bits;
                std::memcpy(&bits, &t, 8);
                dates_.prefetch(bits);
                w_.prefetchReal(t);
            }
            hashes.push_back(h);
        }
        for (qsizetype i = 0; i < count; ++i) {
            const Value& v = valueAt(i);
            if (v.isString() && !v.isMutableClass()) {
                values.push_back(plain(w_.string(v.stringRef(), hashes[size_t(i)])));
                continue;
            }
            auto u = encode(v, depth + 1);
            if (!u) return false;
            values.push_back(*u);
        }
        const Ref k = uids(keys);
        const Ref o = uids(values);
        object({{"NS.keys", k}, {"NS.objects", o}}, classFor("Dictionary", !immutable), slot);
        return true;
    }

    Ref uids(const std::vector<std::uint64_t>& list) {
        uidRefs_.clear();
        for (auto u : list) uidRefs_.push_back(w_.uid(u));
        const Ref arr = w_.reserve();
        w_.setArray(arr, uidRefs_.data(), uidRefs_.size());
        return arr;
    }

    // The root is written as a new mutable array whose dictionaries are new copies with the
    // entries the rewrite gives: each element is its own object, as a fresh copy would be,
    // while what the entries hold is shared and uniqued as usual.
    std::optional<std::uint64_t> encodeRewritten(const Array& a, const KeyedArchiver::ElementRewrite& rewrite) {
        const Ref slot = w_.reserve();
        const std::uint64_t uid = push(slot);
        std::vector<std::uint64_t> elements;
        elements.reserve(size_t(a.count()));
        const qsizetype n = a.count();
        qsizetype done = 0;
        bool failed = false;
        auto ownHalf = [&](qsizetype to) {
            Entries entries;
            Value extra;
            for (; done < to && !failed; ++done) {
                auto u = encodeElement(a.at(done), rewrite, entries, extra);
                if (!u) failed = true;
                else elements.push_back(*u);
            }
        };
        // A large array (a document's records) is written in two halves at once when its
        // elements hold nothing but plain values; see encodePart().
        constexpr qsizetype kTwoThreadElements = 20000;
        if (n >= kTwoThreadElements) {
            const qsizetype mid = n / 2;
            Archiver part;
            std::vector<std::uint64_t> partElements;
            bool partDone = false;
            onTwoThreads([&] { ownHalf(mid); },
                         [&] { partDone = part.encodePart(a, mid, n, rewrite, partElements); });
            if (failed) return std::nullopt;
            if (partDone) {
                const auto shift = Ref(w_.objectCount());
                const std::uint64_t uidShift = objects_.size() - 1;
                w_.append(std::move(part.w_), uidShift);
                wroteInTwoHalves_ = true;
                for (std::size_t i = 1; i < part.objects_.size(); ++i) objects_.push_back(part.objects_[i] + shift);
                for (const std::uint64_t u : partElements) elements.push_back(u == 0 ? 0 : u + uidShift);
                done = n;
            }
        }
        ownHalf(n);
        if (failed) return std::nullopt;
        object({{"NS.objects", uids(elements)}}, classFor("Array", true), slot);
        return uid;
    }

    using Entries = std::vector<std::pair<const QString*, const Value*>>;

    std::optional<std::uint64_t> encodeElement(const Value& e, const KeyedArchiver::ElementRewrite& rewrite,
                                               Entries& entries, Value& extra) {
        const Dictionary* d = e.dictionaryIfAny();
        if (!d) return encode(e, 1);
        entries.clear();
        rewrite(*d, entries, extra);
        return encodeCopy(*d, entries);
    }

    // An element's copy, holding the entries its rewrite gave, as a dictionary of its own.
    std::optional<std::uint64_t> encodeCopy(const Dictionary& element, const Entries& entries) {
        const Ref slot = w_.reserve();
        const std::uint64_t uid = push(slot);
        if (!dictionaryBody(qsizetype(entries.size()),
                            [&entries](qsizetype i) -> const QString& { return *entries[size_t(i)].first; },
                            [&entries](qsizetype i) -> const Value& { return *entries[size_t(i)].second; },
                            element.isImmutableClass(), slot, 1))
            return std::nullopt;
        return uid;
    }

    // Archives elements [from, to) on its own, as the second half of a large array, into UIDs
    // of its own (0 stays "$null": a place is kept for it) that the first half's archiver then
    // raises past its own. Nothing is shared with the first half, so a string in both halves is
    // written twice; that is harmless for strings, numbers and dates, but a container would lose
    // its identity, so any element holding one (or not being a dictionary) gives up the attempt
    // (false) and the first half's archiver goes on alone, as if no attempt had been made.
    bool encodePart(const Array& a, qsizetype from, qsizetype to, const KeyedArchiver::ElementRewrite& rewrite,
                    std::vector<std::uint64_t>& elements) {
        objects_.push_back(0);
        Entries entries;
        Value extra;
        elements.reserve(size_t(to - from));
        for (qsizetype i = from; i < to; ++i) {
            const Dictionary* d = a.at(i).dictionaryIfAny();
            if (!d) return false;
            entries.clear();
            rewrite(*d, entries, extra);
            for (const auto& entry : entries)
                if (entry.second->isDictionary() || entry.second->isArray()) return false;
            const auto uid = encodeCopy(*d, entries);
            if (!uid) return false;
            elements.push_back(*uid);
        }
        finishMutableObjects();
        return true;
    }

public:
    bool wroteInTwoHalves() const { return wroteInTwoHalves_; }

    // Mutable strings and data were given a reserved slot when first met; fill them in.
    void finishMutableObjects() {
        for (auto it = mutableStrings_.cbegin(); it != mutableStrings_.cend(); ++it)
            object({{"NS.string", w_.string(it.key())}}, classFor("String", true), objects_[*it]);
        for (auto it = mutableData_.cbegin(); it != mutableData_.cend(); ++it)
            object({{"NS.data", w_.data(it.key())}}, classFor("Data", true), objects_[*it]);
        mutableStrings_.clear();
        mutableData_.clear();
    }

    Result<QByteArray> archive(const Value& root, const KeyedArchiver::ElementRewrite* rewrite = nullptr) {
        const Ref top = w_.reserve();
        objects_.push_back(w_.string(QStringLiteral("$null")));
        auto rootUid = rewrite ? encodeRewritten(root.toArray(), *rewrite) : encode(root, 0);
        if (!rootUid) return Result<QByteArray>::failed(0, refusal_);
        finishMutableObjects();
        const Ref objectsArray = w_.reserve();
        const Ref topInner = w_.reserve();
        w_.setDictionary(topInner, {w_.string(QStringLiteral("root"))}, {w_.uid(*rootUid)});
        w_.setArray(objectsArray, objects_);
        w_.setDictionary(top,
                         {w_.string(QStringLiteral("$version")), w_.string(QStringLiteral("$archiver")),
                          w_.string(QStringLiteral("$top")), w_.string(QStringLiteral("$objects"))},
                         {w_.integer(archive::kVersion), w_.string(QLatin1String(archive::kArchiverName)),
                          topInner, objectsArray});
        w_.dropLookupTables();
        releaseTables();
        giveBackMemoryAfterLargeWork();
        return w_.finish(top);
    }

private:
    // Everything the encoding looked things up in: finish() needs only the writer, and for the
    // records of a large document these tables are tens of megabytes beside the archive it makes.
    void releaseTables() {
        std::vector<ClassCacheEntry>().swap(classCache_);
        scratch_.clear();
        std::vector<Ref>().swap(uidRefs_);
        std::vector<Ref>().swap(objects_);
        std::vector<std::uint32_t>().swap(plainUids_);
        keyRefs_ = {};
        keyUids_ = {};
        mutableStrings_ = {};
        mutableData_ = {};
        dates_ = DateTable();
        containers_ = {};
        classes_ = {};
        inProgress_ = {};
    }

    // The reason the value cannot be archived, kept until archive() reports it; the encoding
    // functions below only say that they gave up.
    std::nullopt_t refuse(const QString& why) {
        refusal_ = why;
        return std::nullopt;
    }

    QString refusal_;
    BinaryPlistWriter w_;
    struct ClassCacheEntry {
        const char* base;
        bool isMutable;
        std::uint64_t uid;
    };
    std::vector<ClassCacheEntry> classCache_;
    struct Scratch {
        std::vector<std::uint64_t> keys, values;
        std::vector<std::uint32_t> hashes;
    };
    std::deque<Scratch> scratch_;
    std::vector<Ref> uidRefs_;
    std::vector<Ref> objects_;
    std::vector<std::uint32_t> plainUids_;  // writer reference -> UID, 0 when not yet archived
    std::unordered_map<const char*, Ref> keyRefs_;
    struct PairHash {
        size_t operator()(const std::pair<const void*, qsizetype>& p) const {
            return std::hash<const void*>()(p.first) ^ (size_t(p.second) * 0x9E3779B97F4A7C15ull);
        }
    };
    std::unordered_map<std::pair<const void*, qsizetype>, std::uint64_t, PairHash> keyUids_;
    QHash<QString, std::uint64_t> mutableStrings_;
    QHash<QByteArray, std::uint64_t> mutableData_;
    // Dates by their bits, open addressing: two in every record, nearly all different, and a
    // hash node each was a wait on memory at every lookup. A free slot holds UID 0, which is
    // always "$null" and never a date.
    struct DateTable {
        std::vector<std::pair<std::uint64_t, std::uint32_t>> slots;
        std::size_t used = 0;
        static std::size_t mix(std::uint64_t x) {
            x ^= x >> 31;
            x *= 0x9E3779B97F4A7C15ull;
            return std::size_t(x ^ (x >> 29));
        }
        void prefetch(std::uint64_t bits) const {
            if (!slots.empty()) __builtin_prefetch(&slots[mix(bits) & (slots.size() - 1)]);
        }
        // The UID kept for these bits, or else a new slot for them, holding 0, that the caller
        // fills in.
        std::uint32_t& slot(std::uint64_t bits) {
            if (slots.size() < 2 * (used + 1)) grow();
            const std::size_t mask = slots.size() - 1;
            std::size_t i = mix(bits) & mask;
            while (slots[i].second != 0 && slots[i].first != bits) i = (i + 1) & mask;
            if (slots[i].second == 0) {
                slots[i].first = bits;
                ++used;
            }
            return slots[i].second;
        }
        void grow() {
            std::vector<std::pair<std::uint64_t, std::uint32_t>> bigger(std::max<std::size_t>(64, slots.size() * 2));
            const std::size_t mask = bigger.size() - 1;
            for (const auto& e : slots) {
                if (e.second == 0) continue;
                std::size_t i = mix(e.first) & mask;
                while (bigger[i].second != 0) i = (i + 1) & mask;
                bigger[i] = e;
            }
            slots.swap(bigger);
        }
    };
    DateTable dates_;
    QHash<const void*, std::uint64_t> containers_;
    QHash<QString, std::uint64_t> classes_;
    bool wroteInTwoHalves_ = false;
    std::unordered_set<const void*> inProgress_;
};

// ---------------------------------------------------------------------------------------------

class Unarchiver {
public:
    using Obj = BinaryPlistReader::Object;
    using Kind = BinaryPlistReader::Kind;

    // Decodes every object as run() does but keeps no element of any array: for a check that the
    // data would unarchive, without the memory of what it would make.
    explicit Unarchiver(bool keepsElements = true) : keepsElements_(keepsElements) {}

    Result<Value> run(const QByteArray& data) {
        const auto refused = [](const QString& why) { return Result<Value>::failed(0, why); };
        const QString notAnArchive = QStringLiteral("The data is not a keyed archive.");
        if (auto opened = r_.open(data); !opened) {
            // Not even a property list: say so plainly, keeping the detail for damaged lists.
            return refused(data.startsWith("bplist") ? opened.message() : notAnArchive);
        }
        const auto top = r_.object(r_.topObject());
        if (!top || top->kind != Kind::Dictionary) return refused(notAnArchive);
        const auto archiverRef = r_.lookup(*top, "$archiver");
        const auto versionRef = r_.lookup(*top, "$version");
        const auto topRef = r_.lookup(*top, "$top");
        const auto objectsRef = r_.lookup(*top, "$objects");
        if (!archiverRef || !versionRef || !topRef || !objectsRef) return refused(notAnArchive);
        const auto archiver = r_.object(*archiverRef);
        if (!archiver || !r_.stringEquals(*archiver, archive::kArchiverName)) return refused(notAnArchive);
        const auto version = r_.object(*versionRef);
        if (!version || version->kind != Kind::Integer) return refused(notAnArchive);
        const auto objects = r_.object(*objectsRef);
        if (!objects || objects->kind != Kind::Array)
            return refused(damaged(QStringLiteral("\"$objects\" is not an array")));
        objects_ = *objects;
        const auto topDict = r_.object(*topRef);
        if (!topDict || topDict->kind != Kind::Dictionary)
            return refused(damaged(QStringLiteral("\"$top\" is not a dictionary")));
        const auto rootRef = r_.lookup(*topDict, "root");
        if (!rootRef) return refused(damaged(QStringLiteral("there is no root object")));
        std::uint64_t rootUid;
        if (!uidOf(*rootRef, &rootUid)) return refused(error_);

        shared_ = std::make_shared<SharedState>();
        shared_->state.assign(size_t(objects_.count), 0);
        countReferences(rootUid);
        auto root = decode(rootUid, 0);
        if (!root) return refused(error_);
        return std::move(*root);
    }

private:
    static QString damaged(const QString& what) {
        return QStringLiteral("The archive is damaged: %1.").arg(what);
    }

    // The decoding functions below give up with nothing (or false); the first reason is kept
    // here for run() to report.
    std::nullopt_t failed(const QString& text) {
        error_ = text;
        return std::nullopt;
    }

    // Most archived objects are referred to once: only those referred to more often are kept
    // after decoding, so that they are shared (and containers keep their identity) without a
    // table of every object of a large archive. The count reads each archived object's fields
    // that hold UIDs, directly or in an array; counting more than decoding follows is harmless.
    void countReferences(std::uint64_t rootUid) {
        auto& state = shared_->state;
        if (rootUid < objects_.count) state[rootUid] = kReferredOnce;
        const std::uint64_t n = objects_.count;
        if (n < 2 * kTwoThreadsFrom) {
            countReferencesIn(r_, 1, n, state);
            return;
        }
        // A large archive is counted in two halves at once, each into its own table; the two
        // are added up after, as the count saturates at two anyway.
        const std::uint64_t half = n / 2;
        std::vector<std::uint8_t> second(size_t(n), 0);
        const BinaryPlistReader reader = r_;
        onTwoThreads([&] { countReferencesIn(r_, 1, half, state); },
                     [&] { countReferencesIn(reader, half, n, second); });
        for (size_t i = 0; i < state.size(); ++i)
            state[i] = std::uint8_t(std::min<unsigned>(kReferredTwice, unsigned(state[i]) + second[i]));
    }

    // Counts the references held by the archived objects from..to-1 into `counts`.
    void countReferencesIn(const BinaryPlistReader& r, std::uint64_t from, std::uint64_t to,
                           std::vector<std::uint8_t>& counts) const {
        auto count = [this, &counts](std::uint64_t uid) {
            if (uid < objects_.count && counts[uid] < kReferredTwice) counts[uid] += kReferredOnce;
        };
        for (std::uint64_t i = from; i < to; ++i) {
            const auto o = r.object(r.reference(objects_, i));
            if (!o || o->kind != Kind::Dictionary) continue;
            for (std::uint64_t k = 0; k < o->count; ++k) {
                const auto v = r.object(r.reference(*o, o->count + k));
                if (!v) continue;
                if (v->kind == Kind::Uid) {
                    count(std::uint64_t(v->intBits));
                } else if (v->kind == Kind::Array) {
                    for (std::uint64_t e = 0; e < v->count; ++e) {
                        const auto u = r.object(r.reference(*v, e));
                        if (u && u->kind == Kind::Uid) count(std::uint64_t(u->intBits));
                    }
                }
            }
        }
    }

    bool uidOf(std::uint64_t plistRef, std::uint64_t* uid) {
        if (r_.uidAt(plistRef, uid)) return true;
        const auto o = r_.object(plistRef);
        if (!o) return failed(o.message()), false;
        if (o->kind != Kind::Uid) return failed(damaged(QStringLiteral("a reference is not a UID"))), false;
        *uid = std::uint64_t(o->intBits);
        return true;
    }

    bool archivedObject(std::uint64_t uid, Obj* o) {
        if (uid >= objects_.count)
            return failed(damaged(QStringLiteral("a reference points past the last archived object"))), false;
        auto read = r_.object(r_.reference(objects_, uid));
        if (!read) return failed(read.message()), false;
        *o = *read;
        return true;
    }

    // The UIDs listed in an array field of an object ("NS.keys", "NS.objects").
    bool uidList(const Obj& owner, const char* key, std::vector<std::uint64_t>* out) {
        out->clear();
        const auto ref = r_.lookup(owner, key);
        if (!ref) return true;  // an empty collection may leave its list out
        const auto read = r_.object(*ref);
        if (!read) return failed(read.message()), false;
        const Obj& arr = *read;
        if (arr.kind != Kind::Array) return failed(damaged(QStringLiteral("\"%1\" is not an array").arg(QLatin1String(key)))), false;
        out->reserve(size_t(arr.count));
        for (std::uint64_t i = 0; i < arr.count; ++i) {
            std::uint64_t u;
            if (!uidOf(r_.reference(arr, i), &u)) return false;
            out->push_back(u);
        }
        return true;
    }

    bool classOf(const Obj& o, ClassInfo* info) {
        const auto ref = r_.lookup(o, "$class");
        if (!ref) return failed(damaged(QStringLiteral("an object without a class"))), false;
        std::uint64_t uid;
        if (!uidOf(*ref, &uid)) return false;
        if (auto it = classMemo_.constFind(uid); it != classMemo_.cend()) {
            *info = *it;
            return true;
        }
        Obj c;
        if (!archivedObject(uid, &c)) return false;
        const auto nameRef = r_.lookup(c, "$classname");
        const auto nameObj = nameRef ? r_.object(*nameRef) : Result<Obj>::failed(0, QString());
        if (c.kind != Kind::Dictionary || !nameObj ||
            (nameObj->kind != Kind::AsciiString && nameObj->kind != Kind::Utf16String))
            return failed(damaged(QStringLiteral("a class record without a name"))), false;
        ClassInfo ci = classifyName(r_.string(*nameObj));
        // A private subclass is understood through the public class it names in "$classes".
        if (ci.kind == ClassKind::Unknown) {
            const auto chainRef = r_.lookup(c, "$classes");
            if (const auto chain = chainRef ? r_.object(*chainRef) : Result<Obj>::failed(0, QString());
                chain && chain->kind == Kind::Array) {
                for (std::uint64_t i = 0; i < chain->count && ci.kind == ClassKind::Unknown; ++i) {
                    const auto n = r_.object(r_.reference(*chain, i));
                    if (!n) continue;
                    const ClassInfo base = classifyName(r_.string(*n));
                    if (base.kind != ClassKind::Unknown) {
                        ci.kind = base.kind;
                        ci.isMutable = base.isMutable;
                    }
                }
            }
        }
        classMemo_.insert(uid, ci);
        *info = ci;
        return true;
    }

    std::optional<Value> decode(std::uint64_t uid, int depth) {
        if (uid == 0) return Value();
        if (uid >= objects_.count)
            return failed(damaged(QStringLiteral("a reference points past the last archived object")));
        if (!shared_->twoThreads) return decodeArchived(uid, depth);
        // Two threads at work: what was decoded before they started is only read; anything
        // else that more than one place refers to is decoded by one thread at a time, so that
        // it is decoded once and shared.
        const std::uint8_t s = std::atomic_ref<std::uint8_t>(shared_->state[uid]).load(std::memory_order_relaxed);
        if (s & kPrepared) return shared_->prepared.at(uid);
        if ((s & kReferredTwice) == kReferredTwice) {
            std::lock_guard lock(shared_->mutex);
            return decodeArchived(uid, depth);
        }
        return decodeArchived(uid, depth);
    }

    std::optional<Value> decodeArchived(std::uint64_t uid, int depth) {
        std::atomic_ref<std::uint8_t> state(shared_->state[uid]);
        const std::uint8_t s = state.load(std::memory_order_relaxed);
        const bool referredTwice = (s & kReferredTwice) == kReferredTwice;
        if (s & kDecoded) {
            if (referredTwice) {
                if (auto it = shared_->memo.find(uid); it != shared_->memo.end()) return it->second;
            }
            // Decoded before although counted once: only a damaged archive gets here.
            return failed(damaged(QStringLiteral("an object referred to more often than it is listed")));
        }
        if (s & kBeingDecoded) return failed(damaged(QStringLiteral("a reference loop")));
        if (depth > kMaxPropertyListDepth) return failed(damaged(QStringLiteral("nesting too deep")));
        Obj o;
        if (!archivedObject(uid, &o)) return std::nullopt;
        // With two threads, a damaged archive may lead both to the same object: the one that
        // marks it second sees the mark.
        const std::uint8_t before = shared_->twoThreads ? state.fetch_or(kBeingDecoded, std::memory_order_relaxed)
                                                        : std::exchange(shared_->state[uid], std::uint8_t(s | kBeingDecoded));
        if (before & (kBeingDecoded | kDecoded))
            return failed(damaged(QStringLiteral("an object referred to more often than it is listed")));
        std::optional<Value> v;
        switch (o.kind) {
        case Kind::Null: v = Value(); break;
        case Kind::Dictionary: v = decodeObject(o, depth); break;
        case Kind::Uid:
        case Kind::Array: return failed(damaged(QStringLiteral("an unexpected object among the archived objects")));
        default: v = plainObject(o); break;
        }
        if (!v) return std::nullopt;
        state.store(std::uint8_t((s & ~kBeingDecoded) | kDecoded), std::memory_order_relaxed);
        if (referredTwice) shared_->memo.emplace(uid, *v);
        return v;
    }

    // A string, number, boolean, date or data as a value; nothing for any other kind.
    std::optional<Value> plainObject(const Obj& o) const {
        switch (o.kind) {
        case Kind::AsciiString:
        case Kind::Utf16String: return Value(r_.string(o));
        case Kind::Integer:
            return o.isUnsigned ? Value::unsignedInteger(std::uint64_t(o.intBits)) : Value::integer(o.intBits);
        case Kind::Real: return o.is32 ? Value::real32(float(o.real)) : Value::real(o.real);
        case Kind::Boolean: return Value::boolean(o.boolValue);
        case Kind::Data: return Value::data(r_.data(o));
        case Kind::Date: return Value::date(o.real);
        default: return std::nullopt;
        }
    }

    // Plain objects (strings, numbers, dates, data) that several places refer to, decoded
    // before two threads start, so that the threads only read them. Containers are left to
    // the threads, and so is anything malformed: it fails only if something reaches it.
    void prepareSharedPlainObjects() {
        auto& state = shared_->state;
        std::vector<std::pair<std::uint64_t, Value>> found;
        for (std::uint64_t uid = 1; uid < objects_.count; ++uid) {
            // Prepared for an earlier pair of threads: prepared again, whatever happened since.
            const bool preparedBefore = state[uid] & kPrepared;
            if (!preparedBefore &&
                ((state[uid] & kReferredTwice) != kReferredTwice || (state[uid] & (kDecoded | kBeingDecoded))))
                continue;
            const auto o = r_.object(r_.reference(objects_, uid));
            if (!o) continue;
            auto v = plainObject(*o);
            if (!v) continue;
            found.emplace_back(uid, std::move(*v));
            state[uid] |= kPrepared;
        }
        shared_->prepared.fill(std::move(found));
    }

    // The elements of a large array, the records of a document, decoded by two threads: this
    // one takes the first half, a copy of this decoder the second. The first failure in the
    // order of the elements is the one reported.
    bool decodeElementsOnTwoThreads(const std::vector<std::uint64_t>& elements, int depth, std::vector<Value>* out) {
        prepareSharedPlainObjects();
        shared_->twoThreads = true;
        if (keepsElements_) out->assign(elements.size(), Value());
        const size_t half = elements.size() / 2;
        Unarchiver other(*this);
        // Its own table of classes: a copy shared with this one's would be detached by both
        // threads at once.
        other.classMemo_ = QHash<std::uint64_t, ClassInfo>();
        std::atomic<bool> stop{false};
        bool otherOk = false, ok = false;
        std::exception_ptr otherException, exception;
        std::thread helper([&] {
            try {
                otherOk = other.decodeElements(elements, half, elements.size(), depth, out, stop);
            } catch (...) {
                otherException = std::current_exception();
            }
            if (!otherOk) stop = true;
        });
        try {
            ok = decodeElements(elements, 0, half, depth, out, stop);
        } catch (...) {
            exception = std::current_exception();
        }
        if (!ok) stop = true;
        helper.join();
        shared_->twoThreads = false;
        if (exception) std::rethrow_exception(exception);
        if (!ok) return false;
        if (otherException) std::rethrow_exception(otherException);
        if (!otherOk) return failed(other.error_), false;
        return true;
    }

    bool decodeElements(const std::vector<std::uint64_t>& elements, size_t from, size_t to, int depth,
                        std::vector<Value>* out, const std::atomic<bool>& stop) {
        for (size_t i = from; i < to; ++i) {
            // The other half failed: this half's result no longer matters. (A failure in
            // the first half is still found and reported, being earlier.)
            if (from > 0 && (i & 255) == 0 && stop.load(std::memory_order_relaxed)) return failed(QString()), false;
            auto v = decode(elements[i], depth);
            if (!v) return false;
            if (v->isAbsent()) return failed(damaged(QStringLiteral("an array element that is null"))), false;
            if (keepsElements_) (*out)[i] = std::move(*v);
        }
        return true;
    }

    // A dictionary key as the shared key string. The same few keys recur in every record, so
    // the last answer for each is remembered by its UID (a key read once is never asked again).
    const QString* internedKey(std::uint64_t uid, int depth) {
        KeyCacheEntry& slot = keyCache_[uid % std::size(keyCache_)];
        if (slot.key && slot.uid == uid) return slot.key;
        auto k = decode(uid, depth);
        if (!k) return nullptr;
        if (!k->isString()) return failed(damaged(QStringLiteral("a dictionary key that is not a string"))), nullptr;
        slot = KeyCacheEntry{uid, &internKey(k->stringRef())};
        return slot.key;
    }

    // A field that must hold a plain object of one of the given kinds.
    bool field(const Obj& owner, const char* key, Obj* out) {
        const auto ref = r_.lookup(owner, key);
        if (!ref) return false;
        const auto read = r_.object(*ref);
        if (!read) return false;
        *out = *read;
        return true;
    }

    std::optional<Value> decodeObject(const Obj& o, int depth) {
        ClassInfo ci;
        if (!classOf(o, &ci)) return std::nullopt;
        const QString wrongType = QStringLiteral("a %1 whose contents have the wrong type").arg(ci.name);
        switch (ci.kind) {
        case ClassKind::Dictionary: {
            std::vector<std::uint64_t> keys, values;
            if (!uidList(o, "NS.keys", &keys) || !uidList(o, "NS.objects", &values)) return std::nullopt;
            if (keys.size() != values.size())
                return failed(damaged(QStringLiteral("a dictionary with unequal numbers of keys and values")));
            Dictionary d;
            d.setImmutableClass(!ci.isMutable);
            // Room for one more key: a document's records gain their category link right after.
            d.reserve(qsizetype(keys.size()) + 1);
            for (size_t i = 0; i < keys.size(); ++i) {
                const QString* key = internedKey(keys[i], depth + 1);
                if (!key) return std::nullopt;
                auto v = decode(values[i], depth + 1);
                if (!v) return std::nullopt;
                if (v->isAbsent()) return failed(damaged(QStringLiteral("a dictionary value that is null")));
                d.setInternedKey(*key, std::move(*v));
            }
            return Value(d);
        }
        case ClassKind::Array: {
            std::vector<std::uint64_t> elements;
            if (!uidList(o, "NS.objects", &elements)) return std::nullopt;
            if (elements.size() >= kTwoThreadsFrom && !shared_->twoThreads) {
                std::vector<Value> values;
                if (!decodeElementsOnTwoThreads(elements, depth + 1, &values)) return std::nullopt;
                Array a(std::move(values));
                a.setImmutableClass(!ci.isMutable);
                return Value(a);
            }
            Array a;
            a.setImmutableClass(!ci.isMutable);
            a.reserve(qsizetype(elements.size()));
            for (auto e : elements) {
                auto v = decode(e, depth + 1);
                if (!v) return std::nullopt;
                if (v->isAbsent()) return failed(damaged(QStringLiteral("an array element that is null")));
                if (keepsElements_) a.append(std::move(*v));
            }
            return Value(a);
        }
        case ClassKind::String: {
            Obj s;
            if (field(o, "NS.string", &s) && (s.kind == Kind::AsciiString || s.kind == Kind::Utf16String))
                return Value(r_.string(s)).withMutableClass(ci.isMutable);
            if (field(o, "NS.bytes", &s) && s.kind == Kind::Data)
                return Value(QString::fromUtf8(r_.data(s))).withMutableClass(ci.isMutable);
            return failed(damaged(wrongType));
        }
        case ClassKind::Data: {
            Obj s;
            if ((field(o, "NS.data", &s) || field(o, "NS.bytes", &s)) && s.kind == Kind::Data)
                return Value::data(r_.data(s)).withMutableClass(ci.isMutable);
            return failed(damaged(wrongType));
        }
        case ClassKind::Date: {
            Obj t;
            if (field(o, "NS.time", &t) && (t.kind == Kind::Real || t.kind == Kind::Integer))
                return Value::date(t.kind == Kind::Real ? t.real : double(t.intBits));
            return failed(damaged(wrongType));
        }
        case ClassKind::RectValue: {
            Obj special, text;
            if (!field(o, "NS.special", &special) || special.kind != Kind::Integer || special.intBits != 3)
                return failed(QStringLiteral("The archive holds a value of a kind this program does not use."));
            if (!field(o, "NS.rectval", &text) || (text.kind != Kind::AsciiString && text.kind != Kind::Utf16String))
                return failed(damaged(wrongType));
            return Value::rect(parseRectText(r_.string(text)));
        }
        case ClassKind::Unknown: break;
        }
        return failed(QStringLiteral("The archive holds an object of class \"%1\", which this program does not use.").arg(ci.name));
    }

    BinaryPlistReader r_;
    bool keepsElements_ = true;
    Obj objects_;
    // Per archived object: how often it is referred to (none, once, more: the low two bits),
    // and whether it is being decoded or has been, or was decoded before two threads started.
    static constexpr std::uint8_t kReferredOnce = 1, kReferredTwice = 2, kBeingDecoded = 4, kDecoded = 8,
                                  kPrepared = 16;
    // Arrays this long (a document's records) are decoded by two threads.
    static constexpr size_t kTwoThreadsFrom = 20000;
    // What was decoded before two threads started, by UID: an open-addressing table, as it is
    // looked up for nearly every field of every record. Only UIDs it holds are looked up.
    struct PreparedTable {
        std::vector<std::pair<std::uint64_t, Value>> slots;  // UID 0 ($null) marks a free slot
        std::size_t mask = 0;
        static std::size_t slotOf(std::uint64_t uid) { return std::size_t((uid * 0x9E3779B97F4A7C15ull) >> 20); }
        void fill(std::vector<std::pair<std::uint64_t, Value>>&& entries) {
            std::size_t size = 16;
            while (size < 2 * entries.size()) size *= 2;
            slots.assign(size, {});
            mask = size - 1;
            for (auto& e : entries) {
                std::size_t i = slotOf(e.first) & mask;
                while (slots[i].first != 0) i = (i + 1) & mask;
                slots[i] = std::move(e);
            }
        }
        const Value& at(std::uint64_t uid) const {
            static const Value absent;
            for (std::size_t i = slotOf(uid) & mask;; i = (i + 1) & mask) {
                if (slots[i].first == uid) return slots[i].second;
                if (slots[i].first == 0) return absent;  // the table is never full
            }
        }
    };
    struct SharedState {
        std::vector<std::uint8_t> state;
        std::unordered_map<std::uint64_t, Value> memo;
        PreparedTable prepared;
        std::recursive_mutex mutex;
        bool twoThreads = false;
    };
    // Shared with the copy that decodes beside this one.
    std::shared_ptr<SharedState> shared_;
    struct KeyCacheEntry {
        std::uint64_t uid = 0;
        const QString* key = nullptr;
    };
    KeyCacheEntry keyCache_[64];
    QHash<std::uint64_t, ClassInfo> classMemo_;
    QString error_;
};

}  // namespace

Result<QByteArray> KeyedArchiver::archivedDataWithRootObject(const Value& root) {
    Archiver a;
    return a.archive(root);
}

Result<QByteArray> KeyedArchiver::archivedArrayWithRewrittenElements(const Array& root, const ElementRewrite& rewrite) {
    bool twoThreads = false;
    Result<QByteArray> bytes = QByteArray();
    {
        Archiver a;
        bytes = a.archive(Value(root), &rewrite);
        twoThreads = a.wroteInTwoHalves();
    }
    // The second half's tables came from the heap of its own thread, which the C library keeps
    // apart: once freed they stay there, of no use to this thread, while the caller goes on to
    // need a block of the archive's size (the file around it). A program that saves once gives
    // them back: converting a 100 000-record document then peaks 65 MB lower.
    if (twoThreads) giveBackMemoryAfterLargeWork();
    return bytes;
}

Result<Value> KeyedUnarchiver::unarchiveObjectWithData(const QByteArray& data) {
    Unarchiver u;
    return u.run(data);
}

Status<> KeyedUnarchiver::checkArchive(const QByteArray& data) {
    Unarchiver u(false);
    auto root = u.run(data);
    if (!root) return Status<>::failed(0, root.message());
    return {};
}

}  // namespace qv
