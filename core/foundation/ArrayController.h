#pragma once

// A list model over a shared array: the content, an optional filter, an optional order, the
// arranged objects (content filtered, then ordered) and a selection of arranged objects.
// Content is shared by reference with its owner, so the document's table and the controller
// are one array. Nothing is rearranged behind the caller's back: filter and order apply at
// rearrangeObjects, and at additions, which rearrange as the list controllers always did.

#include "Value.h"

#include <functional>
#include <vector>

namespace qv {

class ArrayController {
public:
    using Predicate = std::function<bool(const Value&)>;
    // Negative, zero or positive, as a comparison result.
    using Comparator = std::function<int(const Value&, const Value&)>;

    virtual ~ArrayController() = default;

    const Array& content() const { return content_; }
    void setContent(const Array& content);

    // A large content is filtered on two threads: the predicate is called once on the first
    // object alone (where it may prepare itself), then from both threads at once, so after that
    // first call of a pass it must only read.
    void setFilterPredicate(Predicate p);
    // A filter that answers for the whole content at once, with the positions (ascending) of
    // the objects that pass: for one that keeps its own index of the content rather than look
    // at every object. Replaces the predicate, and the other way round.
    using PositionFilter = std::function<std::vector<qsizetype>(const Array& content)>;
    void setPositionFilter(PositionFilter f);
    bool hasFilterPredicate() const { return filter_ || positionFilter_; }
    void setSortComparator(Comparator c);
    // Sorting by a key worked out once per object, then compared: much cheaper than a
    // comparator that digs into both objects at every comparison.
    using KeyFunction = std::function<Value(const Value&)>;
    void setSortKey(KeyFunction key, Comparator compareKeys);

    const Array& arrangedObjects() const { return arranged_; }
    virtual void rearrangeObjects();

    // Selection, by arranged index. selectionIndex is the first, or -1 without a selection.
    std::vector<qsizetype> selectionIndexes() const;
    qsizetype selectionIndex() const;
    bool setSelectionIndexes(const std::vector<qsizetype>& indexes);
    bool setSelectionIndex(qsizetype index);
    bool setSelectedObjects(const Array& objects);
    Array selectedObjects() const;
    bool canRemove() const { return !selected_.isEmpty(); }

    // When set (the default), a content change that leaves nothing selected selects the first
    // arranged object.
    bool avoidsEmptySelection = true;
    // When set (the default), an added object becomes the selection.
    bool selectsInsertedObjects = true;

    virtual Value newObject() { return Value(Dictionary()); }
    virtual void addObject(const Value& object);
    virtual void removeObject(const Value& object);  // the very object, wherever it stands
    // Inserts into the content before the object now at that arranged index (at the end past it).
    virtual void insertObjectAtArrangedObjectIndex(const Value& object, qsizetype index);
    void add() { addObject(newObject()); }
    void remove();  // the selected objects

    // "selection.key": sets the key on every selected object.
    void setValueForKeyPath(const QString& path, const Value& value);

private:
    void keepSelectionValid();
    Array content_;
    Array arranged_;
    Array selected_;  // selected objects, by identity
    Predicate filter_;
    PositionFilter positionFilter_;
    static constexpr qsizetype kParallelFilterFrom = 20000;
    void filterRange(qsizetype from, qsizetype to, std::vector<qsizetype>& out) const;
    Comparator sort_;
    KeyFunction sortKey_;

    // A large content keeps its whole sorted order, so that a keystroke in the search field
    // only picks what it keeps out of it instead of sorting again. The order stands while the
    // same records are in the content, the sort is the same, and no dictionary was changed on
    // this thread since it was made (a rename, a use counted, an edit may move a record).
    static constexpr qsizetype kRankedFrom = 4096;
    void orderByRank(std::vector<qsizetype>& order);
    bool rankedStillHolds() const;
    void sortAll(std::vector<qsizetype>& order) const;
    std::vector<qsizetype> ranked_;  // every content position, in sorted order
    std::vector<Value> rankedContent_;  // held, so that an identity seen here is never reused meanwhile
    std::uint64_t rankedEdits_ = 0;
    bool rankedValid_ = false;
};

}  // namespace qv
