#include "ZKCategoryArrayController.h"

#include "document/DocumentKeys.h"
#include "document/DocumentTexts.h"
#include "document/RecordModel.h"
#include "foundation/TypedStream.h"

namespace qv {

Value ZKCategoryArrayController::newObject() {
    Dictionary c;
    c.set(keys::cat_category, Value(unusedCategoryNameWithPostfix(QStringLiteral("Untitled"))));
    return Value(c);
}

Value ZKCategoryArrayController::addDefault() {
    const Value c = newObject();
    addObject(c);
    return c;
}

Value ZKCategoryArrayController::addWithName(const QString& name) {
    const Value c = newObject();
    c.toDictionary().set(keys::cat_category, Value(name));
    addObject(c);
    return c;
}

Value ZKCategoryArrayController::categoryWithTitle(const QString& title) const {
    return RecordModel::categoryWithTitle(content(), title);
}

Value ZKCategoryArrayController::getCategoryWithUniqueID(std::int64_t uniqueID) const {
    for (const Value& c : content())
        if (c.toDictionary().value(keys::cat_uniqueID).toInt64() == uniqueID) return c;
    return Value();
}

bool ZKCategoryArrayController::testForNewUniqueID(std::int64_t uniqueID) const {
    return getCategoryWithUniqueID(uniqueID).isAbsent();
}

std::int64_t ZKCategoryArrayController::newUniqueID() const { return RecordModel::unusedCategoryID(content()); }

bool ZKCategoryArrayController::incrementObj(const Value& category, std::int64_t by) {
    // Containment by value, as the arranged objects' own test does.
    if (!arrangedObjects().containsEqual(category)) return false;
    Dictionary c = category.toDictionary();
    c.set(keys::cat_howManyUsingThis, Value::integer(c.value(keys::cat_howManyUsingThis).toInt64() + by));
    return true;
}

bool ZKCategoryArrayController::incrementObjUsingThisInCategoryWithUniqueID(std::int64_t uniqueID, std::int64_t by) {
    if (uniqueID == 0) return false;
    const Value c = getCategoryWithUniqueID(uniqueID);
    if (c.isAbsent()) return false;
    Dictionary d = c.toDictionary();
    d.set(keys::cat_howManyUsingThis, Value::integer(d.value(keys::cat_howManyUsingThis).toInt64() + by));
    return true;
}

Value ZKCategoryArrayController::getLastCategory() const { return RecordModel::categoryForNewRecord(content(), Value()); }

// Among the arranged categories, as it always looked.
QString ZKCategoryArrayController::unusedCategoryNameWithPostfix(const QString& name) const {
    return RecordModel::unusedCategoryTitle(arrangedObjects(), name);
}

bool ZKCategoryArrayController::testForUnusedString(const QString& string, const QString& key) const {
    for (const Value& c : arrangedObjects())
        if (c.toDictionary().value(key) == Value(string)) return false;
    return true;
}

Value ZKColoredCategoryArrayController::newObject() {
    return Value(RecordModel::newCategory(unusedCategoryNameWithPostfix(texts::defaultCategoryName), newUniqueID()));
}

}  // namespace qv

namespace qv {

void ZKColoredCategoryArrayController::adjustFromOldRelease(const Array& categories) {
    for (const Value& v : categories) {
        Dictionary c = v.toDictionary();
        for (const QString* key : {&keys::cat_backColor, &keys::cat_textColor}) {
            const Value archived = c.value(*key);
            if (!archived.isData()) continue;
            if (const auto color = TypedStream::decodeColor(archived.toData()))
                c.set(*key, Value(ZKColorUtilOSX::dictFromNSColor(RgbaColor{color->r, color->g, color->b, color->a})));
        }
    }
}

void ZKColoredCategoryArrayController::adjustFromAncientRelease(Array& categories) {
    if (categories.isEmpty()) categories.append(newObject());
    const Dictionary fresh = RecordModel::newCategory(QString(), 0);
    std::int64_t number = 1;
    for (const Value& v : categories) {
        Dictionary c = v.toDictionary();
        if (!c.contains(keys::cat_backColor)) c.set(keys::cat_backColor, fresh.value(keys::cat_backColor).deepCopy());
        if (!c.contains(keys::cat_textColor)) c.set(keys::cat_textColor, fresh.value(keys::cat_textColor).deepCopy());
        c.set(keys::cat_uniqueID, Value::integer(number++));
        if (!c.contains(keys::cat_howManyUsingThis)) c.set(keys::cat_howManyUsingThis, Value::integer(0));
    }
}

}  // namespace qv
