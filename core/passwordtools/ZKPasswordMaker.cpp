#include "ZKPasswordMaker.h"

#include "crypto/ZKRandom.h"

#include <cmath>

namespace qv {

ZKPasswordMaker& ZKPasswordMaker::sharedPasswordMaker() {
    static ZKPasswordMaker maker;
    return maker;
}

ZKPasswordMaker::ZKPasswordMaker()
    : lowercaseAlphaString(QStringLiteral("abcdefghijklmnopqrstuvwxyz")),
      uppercaseAlphaString(QStringLiteral("ABCDEFGJKLMNOPQRSTUVWXYZ")),
      numericString(QStringLiteral("0123456789")),
      punctuationString(QStringLiteral("@!$%&()?#;,:._+-*/=")),
      exadecimalString(QStringLiteral("0123456789ABCDEF")),
      readableVowelArray({QStringLiteral("A"), QStringLiteral("AI"), QStringLiteral("AU"), QStringLiteral("E"),
                          QStringLiteral("EA"), QStringLiteral("EE"), QStringLiteral("I"), QStringLiteral("IA"),
                          QStringLiteral("IO"), QStringLiteral("O"), QStringLiteral("OA"), QStringLiteral("OI"),
                          QStringLiteral("OO"), QStringLiteral("OU"), QStringLiteral("U")}),
      readableConsonantsArray({QStringLiteral("B"),  QStringLiteral("C"),  QStringLiteral("CH"), QStringLiteral("CL"),
                               QStringLiteral("D"),  QStringLiteral("F"),  QStringLiteral("FF"), QStringLiteral("G"),
                               QStringLiteral("GH"), QStringLiteral("GL"), QStringLiteral("J"),  QStringLiteral("K"),
                               QStringLiteral("L"),  QStringLiteral("LL"), QStringLiteral("M"),  QStringLiteral("MN"),
                               QStringLiteral("N"),  QStringLiteral("P"),  QStringLiteral("PH"), QStringLiteral("PS"),
                               QStringLiteral("R"),  QStringLiteral("RH"), QStringLiteral("S"),  QStringLiteral("SC"),
                               QStringLiteral("SH"), QStringLiteral("SK"), QStringLiteral("ST"), QStringLiteral("T"),
                               QStringLiteral("TH"), QStringLiteral("V"),  QStringLiteral("W"),  QStringLiteral("X"),
                               QStringLiteral("Y"),  QStringLiteral("Z")}) {}

QString ZKPasswordMaker::removeCharsFromString(QString from, const QString& chars) {
    for (const QChar c : chars) from.remove(c, Qt::CaseSensitive);
    return from;
}

QStringList ZKPasswordMaker::removeElementsFromArray(const QStringList& list, const QString& disambiguator) {
    QStringList kept;
    for (const QString& element : list) {
        bool clean = true;
        for (const QChar c : disambiguator)
            if (element.contains(c, Qt::CaseSensitive)) clean = false;
        if (clean) kept << element;
    }
    return kept;
}

QString ZKPasswordMaker::alphabetForTag(int tag) const {
    const QString& lo = lowercaseAlphaStringDisambiguated;
    const QString& up = uppercaseAlphaStringDisambiguated;
    const QString& num = numericStringDisambiguated;
    const QString& punct = punctuationStringDisambiguated;
    switch (tag) {
    case 10: return lo + up;
    case 11: return lo;
    case 20: return lo + up + num;
    case 21: return lo + num;
    case 22: return up + num;
    case 30: return num;
    case 40: return lo + up + num + punct;
    case 41: return lo + punct + num;
    case 42: return up + punct + num;
    case 52: return exadecimalStringDisambiguated;
    case 60:
    case 61: return QString();
    default: return up;
    }
}

std::optional<QString> ZKPasswordMaker::generatePasswordType(int tag, int length, bool enableDisambiguator,
                                                            const QString& noChars) {
    const bool filtering = enableDisambiguator && !noChars.isEmpty();
    auto apply = [&](const QString& s) { return filtering ? removeCharsFromString(s, noChars) : s; };
    lowercaseAlphaStringDisambiguated = apply(lowercaseAlphaString);
    uppercaseAlphaStringDisambiguated = apply(uppercaseAlphaString);
    numericStringDisambiguated = apply(numericString);
    punctuationStringDisambiguated = apply(punctuationString);
    exadecimalStringDisambiguated = apply(exadecimalString);
    readableVowelArrayDisambiguated = filtering ? removeElementsFromArray(readableVowelArray, noChars) : readableVowelArray;
    readableConsonantsArrayDisambiguated =
        filtering ? removeElementsFromArray(readableConsonantsArray, noChars) : readableConsonantsArray;

    if (isReadableTag(tag)) {
        if (readableVowelArrayDisambiguated.isEmpty() || readableConsonantsArrayDisambiguated.isEmpty()) return std::nullopt;
        const QString p = generatePasswordFromArrayOfVowels(readableVowelArrayDisambiguated,
                                                            readableConsonantsArrayDisambiguated, tag, length);
        return tag == 60 ? p.toLower() : p.toUpper();
    }
    const QString alphabet = alphabetForTag(tag);
    if (alphabet.isEmpty() && length > 0) return std::nullopt;
    return generatePasswordFromStringArray(alphabet, tag, length);
}

QString ZKPasswordMaker::generatePasswordFromStringArray(const QString& alphabet, int, int length) const {
    QString out;
    for (int i = 0; i < length; ++i) out += alphabet.at(qsizetype(ZKSecureRandomBelow(std::uint64_t(alphabet.size()))));
    return out;
}

QString ZKPasswordMaker::generatePasswordFromArrayOfVowels(const QStringList& vowels, const QStringList& consonants,
                                                           int, int length) const {
    bool vowelTurn = ZKSecureRandomBelow(2) == 1;
    QString out;
    do {
        const QStringList& list = vowelTurn ? vowels : consonants;
        out += list.at(qsizetype(ZKSecureRandomBelow(std::uint64_t(list.size()))));
        vowelTurn = !vowelTurn;
    } while (out.size() < length);
    // A last group of two letters may be cut in half: the length is exact.
    if (out.size() > length) out.truncate(std::max(0, length));
    return out;
}

int ZKPasswordMaker::calcStarNumberFromTypeTag(int tag, int length) {
    long double base;
    switch (tag) {
    case 10: base = 52; break;
    case 20: base = 62; break;
    case 21:
    case 22: base = 36; break;
    case 30: base = 10; break;
    case 40: base = 71; break;
    case 41:
    case 42: base = 55; break;
    case 60:
    case 61: base = 49; break;
    default: base = 26; break;
    }
    long double exponent = length;
    if (isReadableTag(tag)) exponent = 49.0L * length / 74.0L;
    return int(std::trunc(logl(powl(base, exponent)) / 10.0L));
}

}  // namespace qv
