#pragma once

// A look back at the passwords a document holds: which are weak, which are used by more than one
// record, which have not been changed for a long time, and which records have a login but no
// password. Everything is computed here, on this machine; nothing is sent anywhere.

#include "foundation/Value.h"

#include <QString>

#include <functional>
#include <vector>

namespace qv {

// What the examination needs of one record, taken from the document on the thread that owns it,
// so that the work itself can run on any thread.
struct HealthEntry {
    qsizetype index = 0;  // the record's place in the document
    QString name;
    QString password;
    bool hasLogin = false;         // a user ID or a URL
    double modified = 0;           // seconds since 2001; 0 when the record has no date
    bool hasModificationDate = false;
};

struct WeakPassword {
    qsizetype index = 0;
    QString reason;  // "low rating, shorter than 8 characters, easy to guess", as many as apply
    double bits = 0;  // the estimated strength
    int stars = 0;    // the generator's rating for a password of its kind and length
};

struct HealthReport {
    std::vector<WeakPassword> weak;
    std::vector<std::vector<qsizetype>> reused;  // largest group first
    std::vector<qsizetype> old;
    std::vector<qsizetype> empty;
    int olderThanDays = 365;
    bool isClean() const { return weak.empty() && reused.empty() && old.empty() && empty.empty(); }
};

class PasswordHealth {
public:
    static constexpr int kWeakStars = 3;        // this many stars or fewer is weak
    static constexpr int kShortestLength = 8;
    static constexpr double kWeakBits = 40.0;
    static constexpr int kDefaultOlderThanDays = 365;

    static std::vector<HealthEntry> entriesOf(const Array& records);

    // The generator's type whose alphabet holds every character of the password with the fewest
    // characters, as if the generator had made it.
    static int typeTagFor(const QString& password);
    // The stars the generator would show for it: its rating less one, from 1 to 10.
    static int starsFor(const QString& password);
    // Strength in bits by an estimator that knows common passwords, words, dates and keyboard runs.
    static double estimatedBits(const QString& password);

    // `now` in seconds since 2001. `cancelled`, when given, is asked now and then; a cancelled
    // examination returns what it had, which the caller throws away.
    static HealthReport examine(const std::vector<HealthEntry>& entries, double now, int olderThanDays,
                                const std::function<bool()>& cancelled = {});
};

}  // namespace qv
