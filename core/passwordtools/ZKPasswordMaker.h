#pragma once

// The password generator: fixed alphabets (the upper-case one has 24 letters, without H and I,
// as every release has had it), a preference list of characters to avoid, type tags that choose
// the alphabets, readable passwords of alternating vowel and consonant groups, and a rating
// from the tag and the length alone. It draws from the secure random source, each character or
// group with equal chance.

#include <QString>
#include <QStringList>

#include <optional>

namespace qv {

class ZKPasswordMaker {
public:
    static ZKPasswordMaker& sharedPasswordMaker();
    ZKPasswordMaker();

    const QString lowercaseAlphaString;
    const QString uppercaseAlphaString;
    const QString numericString;
    const QString punctuationString;
    const QString exadecimalString;
    const QStringList readableVowelArray;
    const QStringList readableConsonantsArray;

    // The working copies, remade at every generation from the fixed ones and the preferences.
    QString lowercaseAlphaStringDisambiguated, uppercaseAlphaStringDisambiguated, numericStringDisambiguated,
        punctuationStringDisambiguated, exadecimalStringDisambiguated;
    QStringList readableVowelArrayDisambiguated, readableConsonantsArrayDisambiguated;

    // `enableDisambiguator` and `noCharStringDisambiguator` are the two preferences. nullopt when
    // the excluded characters left the chosen alphabet empty (where the original ended the
    // process, the window says so instead).
    std::optional<QString> generatePasswordType(int tag, int length, bool enableDisambiguator,
                                                const QString& noCharStringDisambiguator);
    QString generatePasswordFromStringArray(const QString& alphabet, int tag, int length) const;
    QString generatePasswordFromArrayOfVowels(const QStringList& vowels, const QStringList& consonants, int tag,
                                              int length) const;
    static QString removeCharsFromString(QString from, const QString& chars);
    static QStringList removeElementsFromArray(const QStringList& list, const QString& disambiguator);

    // The whole part of exponent * ln(base) / 10, in extended precision.
    static int calcStarNumberFromTypeTag(int tag, int length);
    // The alphabet a tag uses, from the working copies (empty for the readable tags).
    QString alphabetForTag(int tag) const;
    static bool isReadableTag(int tag) { return tag == 60 || tag == 61; }
    // The window's clamp of the length.
    static int clampLength(int length) { return length < 5 ? 5 : length > 42 ? 42 : length; }
};

// The rating shown: one star less than the number, between 1 and 10; red, yellow or green.
struct PasswordQuality {
    int qualityValue = 2;
    enum class Star { Red, Yellow, Green, None };
    void SetQualityValue(int rating) {
        const int v = rating - 1;
        qualityValue = v < 1 ? 1 : v > 10 ? 10 : v;
    }
    Star star() const {
        if (qualityValue >= 1 && qualityValue <= 2) return Star::Red;
        if (qualityValue >= 3 && qualityValue <= 4) return Star::Yellow;
        if (qualityValue >= 5 && qualityValue <= 10) return Star::Green;
        return Star::None;
    }
    QString text() const { return QStringLiteral("%1/10").arg(qualityValue); }
};

}  // namespace qv
