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
    return RecordModel::categoryForNewRecord(categories_->content(), selected.value(selected.count() - 1));
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
    return RecordModel::assignCategory(categories_->arrangedObjects(), category, record,
                                       [this] { return catToAssignToNewObject(); });
}

bool FilteringArrayController::removeRecordFromCategory(const Value& record) {
    RecordModel::removeFromCategory(categories_->arrangedObjects(), record);
    return true;
}

Value FilteringArrayController::duplicateSelection() {
    const Array selected = selectedObjects();
    if (selected.isEmpty()) return Value();
    return Value(duplicateRecord(selected.at(0).toDictionary()));
}

}  // namespace qv
