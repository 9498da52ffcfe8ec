#pragma once

// Two versions of one document, as a sync folder leaves them: the records, categories and
// e-mail addresses of B are brought into A, and nothing of either side is lost. The format keeps
// no history and records no deletions, so a merge never deletes; it reports what came from where.

#include "foundation/Value.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace qv {

class MyDocument;

struct MergeReport {
    // Names of the records in each case, in A's order then B's.
    QStringList added;        // only in B, now in A too
    QStringList updatedFromB; // in both, B's was changed later and replaced A's
    QStringList keptFromA;    // in both and different, A's was changed later
    QStringList conflicts;    // in both, different, changed at the same moment: B's added as "… (conflict)"
    QStringList onlyInA;      // A's own: perhaps deleted in B
    QStringList categoriesAdded;
    int emailsAdded = 0;
    int usageCountsRaised = 0;  // same record, only its count of uses was higher in B
    bool changedA() const {
        return !added.isEmpty() || !updatedFromB.isEmpty() || !conflicts.isEmpty() || !categoriesAdded.isEmpty() ||
               emailsAdded > 0 || usageCountsRaised > 0;
    }
};

class DocumentMerge {
public:
    static inline const QString kConflictSuffix = QStringLiteral(" (conflict)");

    // Brings B's tables into A's. Both documents must be open (their tables installed); B is read,
    // never changed. A keeps its password, layout and phone-edition block; records keep their
    // own dates.
    static MergeReport merge(MyDocument& a, const MyDocument& b);
    // The same on bare tables, for callers that hold them apart from a document. With
    // `byContent`, records match on their fields alone: the dates of a document converted from an
    // old generation were made at its conversion and say nothing about the records.
    static MergeReport merge(Array& recordsA, Array& categoriesA, Array& emailsA, const Array& recordsB,
                             const Array& emailsB, bool byContent = false);
};

}  // namespace qv
