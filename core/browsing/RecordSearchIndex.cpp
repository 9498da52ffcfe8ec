#include "RecordSearchIndex.h"

#include "document/DocumentKeys.h"
#include "foundation/TwoThreads.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <unordered_map>

namespace qv {

namespace {

// After each field of a record, so that no match runs from one field into the next: in narrow
// text (every unit below 256) a zero, in wide text a noncharacter. A search text holding either
// (nobody types one) is looked for in the records themselves; in wide text the noncharacter
// itself is stored as its neighbour, which such a search text never reaches either.
constexpr char kNarrowSeparator = 0;
constexpr char16_t kWideSeparator = 0xFFFF, kWideStandIn = 0xFFFE;
// Marks an entry whose content object is no dictionary: it never passes.
constexpr std::uint32_t kNotARecord = UINT32_MAX;
// Below this many records one thread is quicker than starting a second.
constexpr size_t kTwoThreadsFrom = 20000;

// Appends the field folded, and a separator, to a record's narrow text; false, with nothing
// appended, when its folded form does not fit in eight bits a unit. Plain ASCII, most fields,
// folds to its lower case; anything else goes the whole way, as RecordSearch compares it.
bool appendNarrow(std::vector<char>& out, const QString& s) {
    const char16_t* p = reinterpret_cast<const char16_t*>(s.utf16());
    const size_t n = size_t(s.size()), at = out.size();
    char16_t any = 0;
    for (size_t i = 0; i < n; ++i) any |= p[i];
    if (any < 0x80) {
        out.resize(at + n + 1);
        char* w = out.data() + at;
        for (size_t i = 0; i < n; ++i) w[i] = char(char16_t(p[i] - u'A') < 26 ? p[i] + 32 : p[i]);
        w[n] = kNarrowSeparator;
        return true;
    }
    const QString folded = RecordSearch::fold(s);
    for (const QChar c : folded)
        if (c.unicode() >= 0x100) return false;
    out.reserve(at + size_t(folded.size()) + 1);
    for (const QChar c : folded) out.push_back(char(c.unicode()));
    out.push_back(kNarrowSeparator);
    return true;
}

// The same for a record's wide text, which takes any field.
void appendWide(std::vector<char16_t>& out, const QString& s) {
    const QString folded = RecordSearch::fold(s);
    for (const QChar c : folded) out.push_back(c.unicode() == kWideSeparator ? kWideStandIn : c.unicode());
    out.push_back(kWideSeparator);
}

// The first place at or after `from` where the needle stands in the text, or -1. Candidates are
// found by the needle's first unit, sixteen bytes at a time where the processor allows.
template <typename C>
qsizetype find(const C* text, qsizetype n, const C* needle, qsizetype nn, qsizetype from) {
    const qsizetype last = n - nn;  // the last place a match can start
    const C first = needle[0];
    auto restMatches = [&](qsizetype at) {
        for (qsizetype k = 1; k < nn; ++k)
            if (text[at + k] != needle[k]) return false;
        return true;
    };
    qsizetype i = from;
#if defined(__SSE2__)
    constexpr qsizetype lanes = 16 / sizeof(C);
    const __m128i wanted = sizeof(C) == 1 ? _mm_set1_epi8(char(first)) : _mm_set1_epi16(short(first));
    for (; i + lanes <= last + 1; i += lanes) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        unsigned candidates =
            unsigned(_mm_movemask_epi8(sizeof(C) == 1 ? _mm_cmpeq_epi8(c, wanted) : _mm_cmpeq_epi16(c, wanted)));
        while (candidates) {
            const int bit = __builtin_ctz(candidates);
            if (restMatches(i + bit / qsizetype(sizeof(C)))) return i + bit / qsizetype(sizeof(C));
            candidates &= ~((sizeof(C) == 1 ? 1u : 3u) << bit);
        }
    }
#endif
    for (; i <= last; ++i)
        if (text[i] == first && restMatches(i)) return i;
    return -1;
}

// Whether the folded needle stands in the folded text of one record, by the rules of
// RecordSearch::matches: no match may end before a combining mark, and a needle that begins
// with a mark matches only at the beginning of a field. Narrow text holds no marks.
bool wideTextHas(const char16_t* text, qsizetype n, const QString& needle, bool needleStartsWithMark) {
    const auto* nd = reinterpret_cast<const char16_t*>(needle.utf16());
    const qsizetype nn = needle.size();
    for (qsizetype from = 0;;) {
        const qsizetype at = find(text, n, nd, nn, from);
        if (at < 0) return false;
        const qsizetype end = at + nn;
        const bool cleanEnd = end >= n || !QChar(text[end]).isMark();
        const bool cleanStart = !needleStartsWithMark || at == 0 || text[at - 1] == kWideSeparator;
        if (cleanEnd && cleanStart) return true;
        from = at + 1;
    }
}

const void* identityOf(const Value& v) {
    const Dictionary* d = v.dictionaryIfAny();
    return d ? d->identity() : nullptr;
}

}  // namespace

void RecordSearchIndex::invalidate() {
    built_ = false;
    haveLast_ = false;
    records_.clear();
    for (Part& part : parts_) {
        part.entries.clear();
        part.narrow.clear();
        part.wide.clear();
        part.categories.clear();
        part.slots.clear();
    }
    categories_.clear();
    lastResult_.clear();
}

bool RecordSearchIndex::followsContent(const Array& content) const {
    if (!built_ || records_.size() != size_t(content.count())) return false;
    for (size_t i = 0; i < records_.size(); ++i) {
        const Value& now = content.at(qsizetype(i));
        const void* id = identityOf(now);
        if (id != identityOf(records_[i])) return false;
        if (!id && !now.isIdenticalTo(records_[i])) return false;
    }
    return true;
}

namespace {

struct Keys {
    std::array<const QString*, 6> searched;
    const QString* category;
};

void buildPart(const Array& content, size_t from, size_t to, const Keys& keys, std::vector<Value>& held,
               RecordSearchIndex::Part& part) {
    part.entries.reserve(to - from);
    part.narrow.reserve((to - from) * 160);
    part.categories.push_back(Value());
    // Records lie scattered over the heap: each is asked for some steps before it is read, its
    // dictionary first, then its entry table, then its text, as the record filter does.
    constexpr size_t kAhead = 6;
    auto dictionaryAt = [&](size_t i) { return i < to ? content.at(qsizetype(i)).dictionaryIfAny() : nullptr; };
    for (size_t r = from; r < to; ++r) {
        if (const Dictionary* d = dictionaryAt(r + 3 * kAhead)) __builtin_prefetch(d->identity());
        if (const Dictionary* d = dictionaryAt(r + 2 * kAhead)) d->prefetchEntries();
        if (const Dictionary* d = dictionaryAt(r + kAhead)) d->prefetchStringValues();
        held[r] = content.at(qsizetype(r));
        const Dictionary* d = held[r].dictionaryIfAny();
        // Most records fit in eight bits a unit, and half the bytes are half the time to search;
        // a record with one field that does not is moved to the wide text whole.
        RecordSearchIndex::Entry e{qsizetype(part.narrow.size()), 0, d ? 0 : kNotARecord, false};
        const qsizetype count = d ? d->count() : 0;
        for (qsizetype i = 0; i < count; ++i) {
            const QString* key = &d->keyAt(i);
            if (key == keys.category) {
                if (const Dictionary* category = d->valueAt(i).dictionaryIfAny()) {
                    auto [it, added] = part.slots.try_emplace(category->identity(), std::uint32_t(part.categories.size()));
                    if (added) part.categories.push_back(d->valueAt(i));
                    e.category = it->second;
                }
                continue;
            }
            if (std::find(keys.searched.begin(), keys.searched.end(), key) == keys.searched.end()) continue;
            const Value& v = d->valueAt(i);
            if (!v.isString()) continue;
            if (!e.wide) {
                if (appendNarrow(part.narrow, v.stringRef())) continue;
                const qsizetype wideStart = qsizetype(part.wide.size());
                for (auto c = part.narrow.begin() + e.start; c != part.narrow.end(); ++c)
                    part.wide.push_back(*c == kNarrowSeparator ? kWideSeparator : char16_t(static_cast<unsigned char>(*c)));
                part.narrow.resize(size_t(e.start));
                e.start = wideStart;
                e.wide = true;
            }
            appendWide(part.wide, v.stringRef());
        }
        e.length = qsizetype(e.wide ? part.wide.size() : part.narrow.size()) - e.start;
        part.entries.push_back(e);
    }
}

}  // namespace

void RecordSearchIndex::build(const Array& content) {
    invalidate();
    ++builds_;
    const size_t n = size_t(content.count());
    // The keys a record holds are the shared copies of this thread: compared by address.
    const Keys keys{{&internKey(keys::name), &internKey(keys::url), &internKey(keys::account), &internKey(keys::note),
                     &internKey(keys::userID), &internKey(keys::email)},
                    &internKey(keys::categoryPtr)};
    records_.resize(n);
    split_ = n < kTwoThreadsFrom ? n : n / 2;
    if (split_ == n) {
        buildPart(content, 0, n, keys, records_, parts_[0]);
        parts_[1].categories.push_back(Value());
    } else {
        onTwoThreads([&] { buildPart(content, 0, split_, keys, records_, parts_[0]); },
                     [&] { buildPart(content, split_, n, keys, records_, parts_[1]); });
    }
    // One list of categories: the second part's slots are renumbered into the first's.
    categories_ = parts_[0].categories;
    const Part& second = parts_[1];
    std::vector<std::uint32_t> renumbered(second.categories.size(), 0);
    for (size_t c = 1; c < second.categories.size(); ++c) {
        const auto known = parts_[0].slots.find(second.categories[c].dictionaryIfAny()->identity());
        if (known != parts_[0].slots.end()) {
            renumbered[c] = known->second;
        } else {
            renumbered[c] = std::uint32_t(categories_.size());
            categories_.push_back(second.categories[c]);
        }
    }
    for (Entry& e : parts_[1].entries)
        if (e.category != kNotARecord) e.category = renumbered[e.category];
    built_ = true;
}

std::vector<qsizetype> RecordSearchIndex::searchIndex(const QString& categoryString, const QString& needle,
                                                      const std::vector<qsizetype>* candidates) const {
    // A category's name is read now, once per category, so that a renamed one is followed.
    std::vector<char> categoryPasses(categories_.size(), 1);
    if (!categoryString.isEmpty()) {
        categoryPasses[0] = 0;
        for (size_t c = 1; c < categories_.size(); ++c) {
            const Value& name = categories_[c].dictionaryIfAny()->get(keys::cat_category);
            categoryPasses[c] = name.isString() && name.stringRef() == categoryString;
        }
    }
    const bool startsWithMark = !needle.isEmpty() && needle.at(0).isMark();
    // The needle in eight bits, when it fits: otherwise no narrow text can hold it.
    std::string narrowNeedle;
    for (const QChar c : needle) {
        if (c.unicode() >= 0x100) {
            narrowNeedle.clear();
            break;
        }
        narrowNeedle.push_back(char(c.unicode()));
    }
    auto passes = [&](qsizetype i) {
        const bool first = size_t(i) < split_;
        const Part& part = parts_[first ? 0 : 1];
        const Entry& e = part.entries[first ? size_t(i) : size_t(i) - split_];
        if (e.category == kNotARecord || !categoryPasses[e.category]) return false;
        if (needle.isEmpty()) return true;
        if (e.wide) return wideTextHas(part.wide.data() + e.start, e.length, needle, startsWithMark);
        return !narrowNeedle.empty() &&
               find(part.narrow.data() + e.start, e.length, narrowNeedle.data(), qsizetype(narrowNeedle.size()), 0) >= 0;
    };
    auto run = [&](size_t from, size_t to, std::vector<qsizetype>& out) {
        for (size_t k = from; k < to; ++k) {
            const qsizetype i = candidates ? (*candidates)[k] : qsizetype(k);
            if (passes(i)) out.push_back(i);
        }
    };
    const size_t count = candidates ? candidates->size() : records_.size();
    std::vector<qsizetype> out;
    out.reserve(count);
    if (count < kTwoThreadsFrom) {
        run(0, count, out);
        return out;
    }
    // Nothing here touches a record or a shared count: both halves only read the index.
    std::vector<qsizetype> second;
    second.reserve(count - count / 2);
    onTwoThreads([&] { run(0, count / 2, out); }, [&] { run(count / 2, count, second); });
    out.insert(out.end(), second.begin(), second.end());
    return out;
}

std::vector<qsizetype> RecordSearchIndex::searchRecords(const Array& content, const QString& categoryString,
                                                        const QString& searchString,
                                                        const std::vector<qsizetype>* candidates) {
    const RecordSearch search(searchString);
    std::vector<qsizetype> out;
    const size_t count = candidates ? candidates->size() : size_t(content.count());
    for (size_t k = 0; k < count; ++k) {
        const qsizetype i = candidates ? (*candidates)[k] : qsizetype(k);
        const Dictionary* d = content.at(i).dictionaryIfAny();
        if (d && RecordSearch::recordPasses(*d, categoryString, search)) out.push_back(i);
    }
    return out;
}

std::vector<qsizetype> RecordSearchIndex::filter(const Array& content, const QString& categoryString,
                                                 const QString& searchString) {
    const QString needle = RecordSearch(searchString).foldedNeedle();
    if (needle.isEmpty() && categoryString.isEmpty()) {
        // Nothing to test: every record (what is no record never passes), and no index needed.
        haveLast_ = false;
        std::vector<qsizetype> all;
        all.reserve(size_t(content.count()));
        for (qsizetype i = 0; i < content.count(); ++i)
            if (content.at(i).dictionaryIfAny()) all.push_back(i);
        return all;
    }
    if (!followsContent(content)) build(content);
    // A longer search text (its folded form extending the last one, not by a combining mark,
    // which would change what the last match ended on) can only keep fewer records: only those
    // the last pass kept are looked at.
    const bool narrows = haveLast_ && categoryString == lastCategory_ && needle.startsWith(lastNeedle_) &&
                         (needle.size() == lastNeedle_.size() || !needle.at(lastNeedle_.size()).isMark());
    const std::vector<qsizetype>* candidates = narrows ? &lastResult_ : nullptr;
    const bool indexCanHold = !needle.contains(QChar(kWideSeparator)) && !needle.contains(QChar(kWideStandIn)) &&
                              !needle.contains(QChar(char16_t(kNarrowSeparator)));
    std::vector<qsizetype> result = !indexCanHold
                                        ? searchRecords(content, categoryString, searchString, candidates)
                                        : searchIndex(categoryString, needle, candidates);
    lastResult_ = result;
    lastNeedle_ = needle;
    lastCategory_ = categoryString;
    haveLast_ = true;
    return result;
}

}  // namespace qv
