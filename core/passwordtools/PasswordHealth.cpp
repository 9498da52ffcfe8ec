#include "PasswordHealth.h"

#include "ZKPasswordMaker.h"

#include "document/DocumentKeys.h"
#include "foundation/TwoThreads.h"

#include <QRandomGenerator>

#include <zxcvbn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

namespace qv {

namespace {

// The generator's alphabets, as bits of one table for the first 128 characters, so that rating a
// password costs one look-up per character instead of a search through four strings.
enum CharKind : unsigned char { kLower = 1, kUpper = 2, kDigit = 4, kPunct = 8, kHex = 16 };

struct Alphabets {
    const ZKPasswordMaker maker;
    std::array<unsigned char, 128> ascii{};
    bool allAscii = true;  // when an alphabet holds a wider character, those are looked up the slow way

    Alphabets() {
        const std::pair<const QString*, CharKind> sets[] = {
            {&maker.lowercaseAlphaString, kLower}, {&maker.uppercaseAlphaString, kUpper},
            {&maker.numericString, kDigit},        {&maker.punctuationString, kPunct},
            {&maker.exadecimalString, kHex}};
        for (const auto& [set, kind] : sets)
            for (QChar c : *set) {
                if (c.unicode() < 128) ascii[c.unicode()] |= kind;
                else allAscii = false;
            }
    }

    unsigned kindOf(QChar c) const {
        if (c.unicode() < 128) return ascii[c.unicode()];
        if (allAscii) return 0;
        unsigned kind = 0;
        if (maker.lowercaseAlphaString.contains(c)) kind |= kLower;
        if (maker.uppercaseAlphaString.contains(c)) kind |= kUpper;
        if (maker.numericString.contains(c)) kind |= kDigit;
        if (maker.punctuationString.contains(c)) kind |= kPunct;
        if (maker.exadecimalString.contains(c)) kind |= kHex;
        return kind;
    }
};

const Alphabets& alphabets() {
    static const Alphabets table;
    return table;
}

// The generator's rating depends only on the type and the length; working it out takes a power
// and a logarithm in long double, so the ratings of the usual lengths are worked out once.
constexpr int kRatedTags[] = {10, 11, 20, 21, 22, 30, 40, 41, 42, 52};
constexpr int kRatedLengths = 256;

int ratingFor(int tag, int length) {
    static const auto table = [] {
        std::array<std::array<int, kRatedLengths>, std::size(kRatedTags)> t{};
        for (size_t k = 0; k < std::size(kRatedTags); ++k)
            for (int n = 0; n < kRatedLengths; ++n) t[k][size_t(n)] = ZKPasswordMaker::calcStarNumberFromTypeTag(kRatedTags[k], n);
        return t;
    }();
    const auto* found = std::find(std::begin(kRatedTags), std::end(kRatedTags), tag);
    if (found == std::end(kRatedTags) || length < 0 || length >= kRatedLengths)
        return ZKPasswordMaker::calcStarNumberFromTypeTag(tag, length);
    return table[size_t(found - std::begin(kRatedTags))][size_t(length)];
}

// Equal passwords, found with one hash per record. The hash is seeded anew for each process, so a
// document cannot be made to put all its passwords in one bucket.
quint64 mixed(quint64 x) {
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ULL;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebULL;
    return x ^ (x >> 31);
}

quint64 hashOf(const QString& s, quint64 seed) {
    const QChar* p = s.constData();
    qsizetype n = s.size();
    quint64 h = seed ^ (quint64(n) * 0x9e3779b97f4a7c15ULL);
    for (; n >= 4; n -= 4, p += 4) {
        quint64 v;
        std::memcpy(&v, p, sizeof v);
        h = (h ^ v) * 0x9e3779b97f4a7c15ULL;
        h ^= h >> 29;
    }
    quint64 tail = 0;
    std::memcpy(&tail, p, size_t(n) * sizeof(QChar));
    return mixed(h ^ tail);
}

struct DistinctPasswords {
    static constexpr quint32 kNone = ~quint32(0);
    std::vector<const QString*> passwords;      // in the order they first appear
    std::vector<std::vector<qsizetype>> users;  // the records of each, in document order
    std::vector<quint32> slotOfEntry;           // kNone for a record without a password

    explicit DistinctPasswords(const std::vector<HealthEntry>& entries) {
        static const quint64 seed = QRandomGenerator::system()->generate64();
        size_t capacity = 16;
        while (capacity < entries.size() * 2) capacity *= 2;
        struct Bucket {
            quint64 hash = 0;
            quint32 slot = kNone;
        };
        std::vector<Bucket> buckets(capacity);
        slotOfEntry.resize(entries.size(), kNone);
        for (size_t i = 0; i < entries.size(); ++i) {
            const HealthEntry& e = entries[i];
            if (e.password.isEmpty()) continue;
            const quint64 h = hashOf(e.password, seed);
            size_t at = size_t(h) & (capacity - 1);
            while (buckets[at].slot != kNone &&
                   (buckets[at].hash != h || *passwords[buckets[at].slot] != e.password))
                at = (at + 1) & (capacity - 1);
            if (buckets[at].slot == kNone) {
                buckets[at] = Bucket{h, quint32(passwords.size())};
                passwords.push_back(&e.password);
                users.emplace_back();
            }
            slotOfEntry[i] = buckets[at].slot;
            users[buckets[at].slot].push_back(e.index);
        }
    }
};

}  // namespace

std::vector<HealthEntry> PasswordHealth::entriesOf(const Array& records) {
    std::vector<HealthEntry> entries;
    entries.reserve(size_t(records.count()));
    for (qsizetype i = 0; i < records.count(); ++i) {
        const Dictionary r = records.at(i).toDictionary();
        HealthEntry e;
        e.index = i;
        e.name = r.value(keys::name).toString();
        e.password = r.value(keys::password).toString();
        e.hasLogin = !r.value(keys::userID).toString().isEmpty() || !r.value(keys::url).toString().isEmpty();
        const Value modified = r.value(keys::modificationDate);
        e.hasModificationDate = modified.isDate();
        e.modified = e.hasModificationDate ? modified.toDate() : 0;
        entries.push_back(std::move(e));
    }
    return entries;
}

int PasswordHealth::typeTagFor(const QString& password) {
    const Alphabets& table = alphabets();
    unsigned seen = 0;
    bool other = false;
    bool hexOnly = true;
    for (QChar c : password) {
        const unsigned kind = table.kindOf(c);
        // The first alphabet that holds the character is the one it counts for.
        if (kind & kLower) seen |= kLower;
        else if (kind & kUpper) seen |= kUpper;
        else if (kind & kDigit) seen |= kDigit;
        else if (kind & kPunct) seen |= kPunct;
        else other = true;  // a letter no alphabet has (H, I, accents), a space, any other sign
        hexOnly = hexOnly && (kind & kHex);
    }
    const bool lower = seen & kLower, upper = seen & kUpper, digit = seen & kDigit, punct = seen & kPunct;
    if (other || (lower && upper && punct)) return 40;
    if (punct) return upper ? 42 : 41;
    if (lower && upper) return digit ? 20 : 10;
    if (lower) return digit ? 21 : 11;
    if (upper) {
        // Hexadecimal digits are a smaller alphabet than letters and digits.
        if (hexOnly && digit) return 52;
        return digit ? 22 : 11;  // upper-case letters alone: as many as the lower-case ones
    }
    return 30;  // digits only, or nothing
}

int PasswordHealth::starsFor(const QString& password) {
    const int rating = ratingFor(typeTagFor(password), int(password.size()));
    return std::clamp(rating - 1, 1, 10);
}

double PasswordHealth::estimatedBits(const QString& password) {
    if (password.isEmpty()) return 0;
    const QByteArray utf8 = password.toUtf8();
    return ZxcvbnMatch(utf8.constData(), nullptr, nullptr);
}

HealthReport PasswordHealth::examine(const std::vector<HealthEntry>& entries, double now, int olderThanDays,
                                     const std::function<bool()>& cancelled) {
    HealthReport report;
    report.olderThanDays = olderThanDays;

    // Each distinct password is rated and estimated once. The two threads take the next batch of
    // passwords as they finish one, so that one of them being kept waiting by the rest of the
    // machine does not leave the other idle with half the work undone.
    DistinctPasswords distinct(entries);
    const size_t count = distinct.passwords.size();
    std::vector<double> bits(count, 0);
    std::vector<int> stars(count, 0);
    constexpr size_t kBatch = 32;
    std::atomic<size_t> next{0};
    std::atomic<bool> stopped{false};
    auto estimate = [&] {
        for (;;) {
            if (stopped.load(std::memory_order_relaxed)) return;
            if (cancelled && cancelled()) {
                stopped = true;
                return;
            }
            const size_t from = next.fetch_add(kBatch);
            if (from >= count) return;
            for (size_t i = from; i < std::min(count, from + kBatch); ++i) {
                stars[i] = starsFor(*distinct.passwords[i]);
                bits[i] = estimatedBits(*distinct.passwords[i]);
            }
        }
    };
    if (count < 64) estimate();
    else onTwoThreads(estimate, estimate);
    if (stopped || (cancelled && cancelled())) return report;

    const double limit = now - double(olderThanDays) * 86400.0;
    for (size_t i = 0; i < entries.size(); ++i) {
        const HealthEntry& e = entries[i];
        const quint32 slot = distinct.slotOfEntry[i];
        if (slot == DistinctPasswords::kNone) {
            if (e.hasLogin) report.empty.push_back(e.index);
        } else {
            QStringList reasons;
            if (stars[slot] <= kWeakStars) reasons << QStringLiteral("low rating");
            if (e.password.size() < kShortestLength) reasons << QStringLiteral("shorter than %1 characters").arg(kShortestLength);
            if (bits[slot] < kWeakBits) reasons << QStringLiteral("easy to guess");
            if (!reasons.isEmpty())
                report.weak.push_back(WeakPassword{e.index, reasons.join(QStringLiteral(", ")), bits[slot], stars[slot]});
        }
        if (e.hasModificationDate && e.modified < limit) report.old.push_back(e.index);
    }
    for (auto& group : distinct.users)
        if (group.size() > 1) report.reused.push_back(std::move(group));
    std::stable_sort(report.reused.begin(), report.reused.end(),
                     [](const auto& a, const auto& b) { return a.size() > b.size(); });
    return report;
}

}  // namespace qv
