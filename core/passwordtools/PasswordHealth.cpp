#include "PasswordHealth.h"

#include "ZKPasswordMaker.h"

#include "document/DocumentKeys.h"
#include "foundation/TwoThreads.h"

#include <zxcvbn.h>

#include <algorithm>
#include <unordered_map>

namespace qv {

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
    static const ZKPasswordMaker alphabets;
    bool lower = false, upper = false, digit = false, punct = false, other = false;
    for (QChar c : password) {
        if (alphabets.lowercaseAlphaString.contains(c)) lower = true;
        else if (alphabets.uppercaseAlphaString.contains(c)) upper = true;
        else if (alphabets.numericString.contains(c)) digit = true;
        else if (alphabets.punctuationString.contains(c)) punct = true;
        else other = true;  // a letter no alphabet has (H, I, accents), a space, any other sign
    }
    if (other || (lower && upper && punct)) return 40;
    if (punct) return upper ? 42 : 41;
    if (lower && upper) return digit ? 20 : 10;
    if (lower) return digit ? 21 : 11;
    if (upper) {
        // Hexadecimal digits are a smaller alphabet than letters and digits.
        bool hex = true;
        for (QChar c : password) hex = hex && alphabets.exadecimalString.contains(c);
        if (hex && digit) return 52;
        return digit ? 22 : 11;  // upper-case letters alone: as many as the lower-case ones
    }
    return 30;  // digits only, or nothing
}

int PasswordHealth::starsFor(const QString& password) {
    const int rating = ZKPasswordMaker::calcStarNumberFromTypeTag(typeTagFor(password), int(password.size()));
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

    // Each distinct password is estimated once; the estimates are made on two threads.
    std::unordered_map<QString, size_t> distinct;
    std::vector<const QString*> passwords;
    std::vector<std::vector<qsizetype>> users;
    for (const HealthEntry& e : entries) {
        if (e.password.isEmpty()) continue;
        const auto [it, added] = distinct.try_emplace(e.password, passwords.size());
        if (added) {
            passwords.push_back(&e.password);
            users.emplace_back();
        }
        users[it->second].push_back(e.index);
    }
    std::vector<double> bits(passwords.size(), 0);
    auto estimate = [&](size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
            if ((i & 255) == 0 && cancelled && cancelled()) return;
            bits[i] = estimatedBits(*passwords[i]);
        }
    };
    const size_t half = passwords.size() / 2;
    if (passwords.size() < 64) estimate(0, passwords.size());
    else onTwoThreads([&] { estimate(0, half); }, [&] { estimate(half, passwords.size()); });
    if (cancelled && cancelled()) return report;

    const double limit = now - double(olderThanDays) * 86400.0;
    for (const HealthEntry& e : entries) {
        if (e.password.isEmpty()) {
            if (e.hasLogin) report.empty.push_back(e.index);
        } else {
            const size_t slot = distinct.at(e.password);
            const int stars = starsFor(e.password);
            QStringList reasons;
            if (stars <= kWeakStars) reasons << QStringLiteral("low rating");
            if (e.password.size() < kShortestLength) reasons << QStringLiteral("shorter than %1 characters").arg(kShortestLength);
            if (bits[slot] < kWeakBits) reasons << QStringLiteral("easy to guess");
            if (!reasons.isEmpty())
                report.weak.push_back(WeakPassword{e.index, reasons.join(QStringLiteral(", ")), bits[slot], stars});
        }
        if (e.hasModificationDate && e.modified < limit) report.old.push_back(e.index);
    }
    for (auto& group : users)
        if (group.size() > 1) report.reused.push_back(std::move(group));
    std::stable_sort(report.reused.begin(), report.reused.end(),
                     [](const auto& a, const auto& b) { return a.size() > b.size(); });
    return report;
}

}  // namespace qv
