#include "FilteringArrayController.h"

#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

namespace qv {

double FilteringArrayController::currentTime() const { return now ? now() : nowSince2001(); }

Value FilteringArrayController::newObject() {
    Dictionary r = RecordModel::newRecord(currentTime());
    r.set(keys::categoryPtr, catToAssignToNewObject());
    return Value(r);
}

Value FilteringArrayController::catToAssignToNewObject() {
    if (!categories_->canRemove()) return categories_->addDefault();
    const Array selected = selectedObjects();
    if (!selected.isEmpty()) return selected.at(selected.count() - 1).toDictionary().value(keys::categoryPtr);
    return categories_->getLastCategory();
}

Dictionary FilteringArrayController::duplicateRecord(const Dictionary& record) const {
    return RecordModel::duplicateRecord(record, currentTime());
}

void FilteringArrayController::addObject(const Value& record) {
    assignCategory(record.toDictionary().value(keys::categoryPtr), record);
    ArrayController::addObject(record);
}

void FilteringArrayController::removeObject(const Value& record) {
    removeRecordFromCategory(record);
    ArrayController::removeObject(record);
}

void FilteringArrayController::addObjectAfterSelection(const Value& record) {
    assignCategory(record.toDictionary().value(keys::categoryPtr), record);
    const qsizetype at = selectionIndex();
    ArrayController::insertObjectAtArrangedObjectIndex(record, at < 0 ? arrangedObjects().count() : at + 1);
}

bool FilteringArrayController::assignCategory(const Value& category, const Value& record) {
    Dictionary r = record.toDictionary();
    const Value current = r.value(keys::categoryPtr);
    Value k = category;
    if (current.isIdenticalTo(k) && k.isDictionary() &&
        k.toDictionary().value(keys::records).toArray().containsEqual(record))
        return false;
    if (!current.isAbsent()) removeRecordFromCategory(record);
    if (k.isAbsent()) k = catToAssignToNewObject();
    r.set(keys::categoryPtr, k);
    Dictionary cat = k.toDictionary();
    const Value list = cat.value(keys::records);
    if (list.isArray()) {
        list.toArray().append(record);
    } else {
        // A category without its list counts nothing; the record goes to a list kept nowhere.
        cat.set(keys::cat_howManyUsingThis, Value::integer(0));
    }
    cat.set(keys::cat_howManyUsingThis, Value::unsignedInteger(std::uint64_t(cat.value(keys::records).toArray().count())));
    return true;
}

bool FilteringArrayController::removeRecordFromCategory(const Value& record) {
    const Value category = record.toDictionary().value(keys::categoryPtr);
    if (!categories_->arrangedObjects().containsEqual(category) || category.isAbsent()) return true;
    Dictionary cat = category.toDictionary();
    Array list = cat.value(keys::records).toArray();
    if (!list.containsEqual(record)) return true;
    // Every equal entry goes, as a removal from a list by value does.
    for (qsizetype i = list.count() - 1; i >= 0; --i)
        if (list.at(i) == record) list.removeAt(i);
    cat.set(keys::cat_howManyUsingThis, Value::unsignedInteger(std::uint64_t(list.count())));
    return true;
}

Value FilteringArrayController::duplicateSelection() {
    const Array selected = selectedObjects();
    if (selected.isEmpty()) return Value();
    return Value(duplicateRecord(selected.at(0).toDictionary()));
}

}  // namespace qv
