#include "RecordSearch.h"

#include "document/DocumentKeys.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <tuple>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/ustring.h>


namespace qv {

namespace {
bool isAsciiText(const QString& s) {
    for (const QChar c : s)
        if (c.unicode() >= 0x80) return false;
    return true;
}

// Full case folding, so that "ß" meets "ss" and "ﬁ" meets "fi", as a case-insensitive search of
// the desktop does; Qt's own folding maps one character to one only.
QString foldFull(const QString& s) {
    if (s.isEmpty() || s.size() > (INT32_MAX - 64) / 3) return s.toCaseFolded();
    // Most text folds to its own length; the rare longer result is measured and made again.
    QString out(s.size() + 32, Qt::Uninitialized);
    auto fold = [&] {
        UErrorCode status = U_ZERO_ERROR;
        const int32_t n = u_strFoldCase(reinterpret_cast<char16_t*>(out.data()), int32_t(out.size()),
                                        reinterpret_cast<const char16_t*>(s.utf16()), int32_t(s.size()),
                                        U_FOLD_CASE_DEFAULT, &status);
        return std::pair{n, status};
    };
    auto [n, status] = fold();
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        out.resize(n);
        std::tie(n, status) = fold();
    }
    if (U_FAILURE(status)) return s.toCaseFolded();
    out.truncate(n);
    return out;
}
}  // namespace

QString RecordSearch::fold(const QString& s) {
    return foldFull(s.normalized(QString::NormalizationForm_C)).normalized(QString::NormalizationForm_C);
}

RecordSearch::RecordSearch(const QString& searchString) : needle_(fold(searchString)) { needleIsAscii_ = isAsciiText(needle_); }

namespace {

inline char16_t lowerAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

// Whether the needle (folded, lower case ASCII) stands at t[at], case aside.
inline bool asciiMatchAt(const char16_t* t, qsizetype at, const char16_t* n, qsizetype nn) {
    for (qsizetype k = 1; k < nn; ++k)
        if (t[at + k] >= 0x80 || lowerAscii(t[at + k]) != n[k]) return false;
    return true;
}

// -1: the text is not plain ASCII where it matters (the careful path decides); 0: not found;
// 1: found. The needle is already folded (lower case).
//
// A match followed by an ASCII character or the end is a match for the careful path too:
// folding and composing characters further on cannot undo it, and nothing before it is other
// than ASCII. So the scan stops at the first such match, and otherwise at the first character
// beyond ASCII. Eight characters are looked at a time where the processor allows.
int asciiContains(const QString& text, const QString& needle) {
    const char16_t* t = reinterpret_cast<const char16_t*>(text.constData());
    const char16_t* n = reinterpret_cast<const char16_t*>(needle.constData());
    const qsizetype tn = text.size(), nn = needle.size();
    const char16_t first = n[0];
    const char16_t firstUpper = (first >= u'a' && first <= u'z') ? char16_t(first - 32) : first;
    auto foundAt = [&](qsizetype i) {
        return i + nn <= tn && asciiMatchAt(t, i, n, nn) && (i + nn == tn || t[i + nn] < 0x80);
    };
    qsizetype i = 0;
#if defined(__SSE2__)
    const __m128i highBits = _mm_set1_epi16(short(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    const __m128i lower = _mm_set1_epi16(short(first));
    const __m128i upper = _mm_set1_epi16(short(firstUpper));
    for (; i + 8 <= tn; i += 8) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(c, highBits), zero)) != 0xFFFF) break;
        unsigned candidates = unsigned(
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(c, lower), _mm_cmpeq_epi16(c, upper))));
        while (candidates) {
            const int at = __builtin_ctz(candidates) / 2;
            if (foundAt(i + at)) return 1;
            candidates &= ~(3u << (2 * at));
        }
    }
#endif
    for (; i < tn; ++i) {
        if (t[i] >= 0x80) return -1;
        if ((t[i] == first || t[i] == firstUpper) && foundAt(i)) return 1;
    }
    return 0;
}

}  // namespace

bool RecordSearch::matches(const QString& text) const {
    if (needle_.isEmpty()) return true;
    // Most fields are plain ASCII: there case folding is simple and no character is composed, so
    // a case-insensitive search on the text as it stands gives the same answer, much faster.
    if (needleIsAscii_) {
        const int quick = asciiContains(text, needle_);
        if (quick >= 0) return quick == 1;
    }
    if (text.size() < needle_.size() / 3) return false;  // folding can triple a length, no more
    const QString hay = fold(text);
    qsizetype from = 0;
    while (true) {
        const qsizetype at = hay.indexOf(needle_, from);
        if (at < 0) return false;
        // A match must not cut a character in two: no combining mark right after it, and the
        // needle itself must not start inside a composed sequence.
        const qsizetype end = at + needle_.size();
        const bool cleanEnd = end >= hay.size() || !hay.at(end).isMark();
        const bool cleanStart = at == 0 || !needle_.at(0).isMark();
        if (cleanEnd && cleanStart) return true;
        from = at + 1;
    }
}

bool RecordSearch::recordPasses(const Dictionary& record, const QString& categoryString, const RecordSearch& search) {
    if (!categoryString.isEmpty()) {
        const Dictionary* category = record.get(keys::categoryPtr).dictionaryIfAny();
        if (!category) return false;
        const Value& name = category->get(keys::cat_category);
        if (!name.isString() || name.stringRef() != categoryString) return false;
    }
    if (search.isEmpty()) return true;
    // One pass over the record's entries, its keys compared as interned pointers: cheaper than
    // looking each searched key up, and the answer is the same whichever field matches first.
    static const std::array<const QString*, 6> searched = {&internKey(keys::name),   &internKey(keys::url),
                                                            &internKey(keys::account), &internKey(keys::note),
                                                            &internKey(keys::userID), &internKey(keys::email)};
    const qsizetype n = record.count();
    for (qsizetype i = 0; i < n; ++i) {
        if (std::find(searched.begin(), searched.end(), &record.keyAt(i)) == searched.end()) continue;
        const Value& v = record.valueAt(i);
        if (v.isString() && search.matches(v.stringRef())) return true;
    }
    return false;
}

QString filterSentence(const QString& categoryString, const QString& searchString) {
    QString s;
    if (!categoryString.isEmpty()) s += QStringLiteral(" category = '") + categoryString + QStringLiteral("'");
    if (!searchString.isEmpty()) {
        if (!s.isEmpty()) s += QStringLiteral(" and");
        s += QStringLiteral(" search string = '") + searchString + QStringLiteral("'");
    }
    return s;
}

TextComparison textComparisonForPreference(std::int64_t tableSortCompare) {
    const int v = int(tableSortCompare);
    if (v == 0) return TextComparison::Compare;
    if (v == 1) return TextComparison::LocalizedCompare;
    return TextComparison::LocalizedCaseInsensitiveCompare;
}

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

// A process without a locale (C, C.UTF-8 or POSIX, which ICU names en_US_POSIX) would get the
// POSIX collation, where every capital comes before every small letter even at a strength that
// ignores case: "Zebra" before "apple". The root collation is what such a user expects.
icu::Locale sortingLocale() {
    const icu::Locale& process = icu::Locale::getDefault();
    if (std::strcmp(process.getVariant(), "POSIX") == 0) return icu::Locale::getRoot();
    return process;
}

// Missing values first, then by kind, then by value.
int compareWith(const Value& a, const Value& b, const std::function<int(const QString&, const QString&)>& text) {
    if (a.isAbsent() || b.isAbsent()) return int(b.isAbsent()) - int(a.isAbsent());
    if (a.isString() && b.isString()) return sign(text(a.stringRef(), b.stringRef()));
    if (a.isData() && b.isData()) return sign(a.toData().compare(b.toData()));
    if ((a.isNumber() || a.isDate()) && (b.isNumber() || b.isDate())) {
        const double x = a.isDate() ? a.toDate() : a.toDouble();
        const double y = b.isDate() ? b.toDate() : b.toDouble();
        return (x > y) - (x < y);
    }
    return sign(int(a.type()) - int(b.type()));
}

std::shared_ptr<icu::Collator> collator(bool ignoreCase) {
    UErrorCode status = U_ZERO_ERROR;
    std::shared_ptr<icu::Collator> c(icu::Collator::createInstance(sortingLocale(), status));
    if (U_FAILURE(status) || !c) return nullptr;
    c->setStrength(ignoreCase ? icu::Collator::SECONDARY : icu::Collator::TERTIARY);
    c->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
    return c;
}

}  // namespace

int compareValues(const Value& a, const Value& b) {
    return compareWith(a, b, [](const QString& x, const QString& y) { return QString::compare(x, y); });
}

ValueComparator makeValueComparator(TextComparison comparison) {
    if (comparison == TextComparison::Compare) return compareValues;
    auto c = collator(comparison == TextComparison::LocalizedCaseInsensitiveCompare);
    if (!c) return compareValues;
    return [c](const Value& a, const Value& b) {
        return compareWith(a, b, [&c](const QString& x, const QString& y) {
            UErrorCode status = U_ZERO_ERROR;
            const auto r = c->compare(reinterpret_cast<const char16_t*>(x.utf16()), int32_t(x.size()),
                                      reinterpret_cast<const char16_t*>(y.utf16()), int32_t(y.size()), status);
            return r == UCOL_LESS ? -1 : r == UCOL_GREATER ? 1 : 0;
        });
    };
}

std::function<Value(const Value&)> makeSortKey(TextComparison comparison) {
    if (comparison == TextComparison::Compare) return [](const Value& v) { return v; };
    auto c = collator(comparison == TextComparison::LocalizedCaseInsensitiveCompare);
    if (!c) return [](const Value& v) { return v; };
    return [c](const Value& v) -> Value {
        if (!v.isString()) return v;
        const QString& s = v.stringRef();
        const auto* text = reinterpret_cast<const char16_t*>(s.utf16());
        QByteArray key(qsizetype(s.size()) * 4 + 16, Qt::Uninitialized);
        int32_t n = c->getSortKey(text, int32_t(s.size()), reinterpret_cast<uint8_t*>(key.data()), int32_t(key.size()));
        if (n > key.size()) {
            key.resize(n);
            n = c->getSortKey(text, int32_t(s.size()), reinterpret_cast<uint8_t*>(key.data()), int32_t(key.size()));
        }
        key.truncate(n);
        return Value::data(key);
    };
}

ColumnSort columnSortFor(const QString& identifier) {
    static const QStringList text{keys::name, keys::url, keys::account, keys::userID,
                                  keys::password, keys::pin, keys::security, keys::email};
    if (text.contains(identifier)) return ColumnSort{identifier, true};
    if (identifier == QLatin1String("category"))
        return ColumnSort{keys::categoryPtr + QStringLiteral(".") + keys::cat_category, true};
    // createdDate, modificationDate, usageCount and anything else: the identifier as the key,
    // plain comparison. "createdDate" is no record key, so that sort leaves the order as it is.
    return ColumnSort{identifier, false};
}

ColumnSort columnPrototypeFor(const QString& identifier) {
    if (identifier == QLatin1String("createdDate")) return ColumnSort{keys::creationDate, false};
    return columnSortFor(identifier);
}

}  // namespace qv
