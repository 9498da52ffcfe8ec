#pragma once

// The record list controller: its content is the document's record table. Adding and removing
// records here is where a category's count follows its records, through add, delete, undo and
// redo alike.

#include "ZKCategoryArrayController.h"

#include "foundation/ArrayController.h"

#include <functional>

namespace qv {

class FilteringArrayController : public ArrayController {
public:
    explicit FilteringArrayController(ZKCategoryArrayController* categories) : categories_(categories) {}

    // The clock for new dates; tests fix it.
    std::function<double()> now;

    Value newObject() override;
    Value catToAssignToNewObject();
    Dictionary duplicateRecord(const Dictionary& record) const;
    void addObject(const Value& record) override;
    void removeObject(const Value& record) override;
    void addObjectAfterSelection(const Value& record);
    bool assignCategory(const Value& category, const Value& record);
    bool removeRecordFromCategory(const Value& record);
    Value duplicateSelection();

private:
    double currentTime() const;
    ZKCategoryArrayController* categories_;
};

}  // namespace qv
