#pragma once

// The category list controller and its coloured subclass, whose content is the document's
// category table. Lookups walk the whole content; name tests look at the arranged (filtered)
// categories only, as they always did.

#include "foundation/ArrayController.h"

#include <cstdint>

namespace qv {

class ZKCategoryArrayController : public ArrayController {
public:
    // A plain new category named after "Untitled"; the coloured subclass replaces it.
    Value newObject() override;

    Value addDefault();
    Value addWithName(const QString& name);
    Value categoryWithTitle(const QString& title) const;
    Value getCategoryWithUniqueID(std::int64_t uniqueID) const;
    bool testForNewUniqueID(std::int64_t uniqueID) const;
    std::int64_t newUniqueID() const;
    bool incrementObj(const Value& category, std::int64_t by);
    bool incrementObjUsingThisInCategoryWithUniqueID(std::int64_t uniqueID, std::int64_t by);
    Value getLastCategory() const;
    QString unusedCategoryNameWithPostfix(const QString& name) const;
    bool testForUnusedString(const QString& string, const QString& key) const;
};

class ZKColoredCategoryArrayController : public ZKCategoryArrayController {
public:
    // "Generic" (or the first free "Generic N"), grey on white text, the next free id.
    Value newObject() override;
    // Brings categories of the first releases up to date: at least one category, ids numbered
    // from 1 in order, missing colours and counts filled in. No flow calls it today.
    // Colours still held as archived colour objects become colour dictionaries; a value that is
    // not such an archive is left as it is.
    static void adjustFromOldRelease(const Array& categories);
    void adjustFromAncientRelease(Array& categories);
};

}  // namespace qv
