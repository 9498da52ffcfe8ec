#include "ZKAppSupportUtility.h"

namespace qv {

QString ZKAppSupportUtility::calcReleaseString(std::int64_t number) {
    const QString s = QString::number(number);
    const qsizetype l = s.size();
    if (l <= 3) return QString();
    QString first, second, third;
    if (l == 4) {
        // The four-digit numbers of the first releases keep their parts as written ("1.0.00").
        first = s.left(1);
        second = s.mid(1, 1);
        third = s.mid(2);
    } else {
        first = s.left(l - 4);
        second = s.mid(l - 4, 2);
        third = s.mid(l - 2);
        if (second.startsWith(QLatin1Char('0'))) second = second.right(1);
        if (third.startsWith(QLatin1Char('0'))) third = third.right(1);
    }
    QString result = QStringLiteral("%1.%2.%3").arg(first, second, third);
    if (result.endsWith(QLatin1String(".0"))) result.chop(2);
    return result;
}

}  // namespace qv
