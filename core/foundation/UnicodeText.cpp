#include "UnicodeText.h"

namespace qv {

namespace {
// The index of the first lone surrogate at or after `from`, or -1.
qsizetype nextLoneSurrogate(QStringView text, qsizetype from) {
    for (qsizetype i = from; i < text.size(); ++i) {
        const char16_t u = text[i].unicode();
        if (QChar::isHighSurrogate(u)) {
            if (i + 1 < text.size() && QChar::isLowSurrogate(text[i + 1].unicode())) {
                ++i;
                continue;
            }
            return i;
        }
        if (QChar::isLowSurrogate(u)) return i;
    }
    return -1;
}
}  // namespace

bool hasLoneSurrogate(QStringView text) { return nextLoneSurrogate(text, 0) >= 0; }

QString withoutLoneSurrogates(QString text) {
    for (qsizetype i = nextLoneSurrogate(text, 0); i >= 0; i = nextLoneSurrogate(text, i + 1))
        text[i] = QChar(QChar::ReplacementCharacter);
    return text;
}

}  // namespace qv
