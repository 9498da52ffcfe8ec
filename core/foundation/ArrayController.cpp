#include "ArrayController.h"

#include "TwoThreads.h"

#include <algorithm>

namespace qv {

void ArrayController::setContent(const Array& content) {
    content_ = content;
    rankedValid_ = false;
    rearrangeObjects();
}

void ArrayController::setFilterPredicate(Predicate p) {
    filter_ = std::move(p);
    positionFilter_ = nullptr;
    rearrangeObjects();
}

void ArrayController::setPositionFilter(PositionFilter f) {
    positionFilter_ = std::move(f);
    filter_ = nullptr;
    rearrangeObjects();
}

void ArrayController::setSortComparator(Comparator c) {
    sort_ = std::move(c);
    sortKey_ = nullptr;
    rankedValid_ = false;
    rearrangeObjects();
}

void ArrayController::setSortKey(KeyFunction key, Comparator compareKeys) {
    sort_ = std::move(compareKeys);
    sortKey_ = std::move(key);
    rankedValid_ = false;
    rearrangeObjects();
}

void ArrayController::rearrangeObjects() {
    // Positions, not values, are filtered and sorted: no copies until the result is built.
    std::vector<qsizetype> order;
    const qsizetype n = content_.count();
    if (positionFilter_) {
        order = positionFilter_(content_);
    } else if (!filter_) {
        order.reserve(size_t(n));
        for (qsizetype i = 0; i < n; ++i) order.push_back(i);
    } else if (n < kParallelFilterFrom) {
        order.reserve(size_t(n));
        filterRange(0, n, order);
    } else {
        // A keystroke in the search field filters everything again; a hundred thousand records
        // take two cores to stay within a frame. The second half is found beside the first. The
        // first record is tested alone beforehand: a predicate may prepare itself on its first
        // call, and that must happen before two threads call it.
        order.reserve(size_t(n));
        if (filter_(content_.at(0))) order.push_back(0);
        const qsizetype half = n / 2;
        std::vector<qsizetype> second;
        second.reserve(size_t(n - half));
        onTwoThreads([&] { filterRange(1, half, order); }, [&] { filterRange(half, n, second); });
        order.insert(order.end(), second.begin(), second.end());
    }
    if (sort_ && n >= kRankedFrom)
        orderByRank(order);
    else if (sort_)
        sortAll(order);
    // The arranged list of a large filter is built, and the old one let go, on two threads too.
    // Each copy or release of a record's handle writes to the record's shared count, and so
    // waits for memory unless that was asked for a few steps before.
    constexpr size_t kAhead = 8;
    std::vector<Value> arranged(order.size());
    auto fill = [&](size_t from, size_t to) {
        for (size_t k = from; k < to; ++k) {
            if (k + kAhead < to) content_.at(order[k + kAhead]).prefetchForCopy();
            arranged[k] = content_.at(order[k]);
        }
    };
    std::vector<Value> previous = arranged_.takeValuesIfUnshared();
    // A result that keeps records of the old one in the same order (a longer search text, or
    // the same again) takes their handles over instead of copying them: a record is then
    // touched only when it leaves the list, and never twice. Only the rest is copied.
    size_t reused = 0;
    for (size_t k = 0; reused < order.size(); ++reused) {
        const Dictionary* wanted = content_.at(order[reused]).dictionaryIfAny();
        if (!wanted) break;
        while (k < previous.size() &&
               (!previous[k].dictionaryIfAny() || previous[k].dictionaryIfAny()->identity() != wanted->identity()))
            ++k;
        if (k == previous.size()) break;
        arranged[reused] = std::move(previous[k++]);
    }
    auto release = [&previous](size_t from, size_t to) {
        for (size_t k = from; k < to; ++k) {
            if (k + kAhead < to) previous[k + kAhead].prefetchForCopy();
            previous[k] = Value();
        }
    };
    arranged_ = Array();
    const size_t toFill = arranged.size() - reused;
    if (qsizetype(toFill + previous.size()) >= kParallelFilterFrom) {
        const size_t half = reused + toFill / 2, previousHalf = previous.size() / 2;
        onTwoThreads(
            [&] {
                fill(reused, half);
                release(0, previousHalf);
            },
            [&] {
                fill(half, arranged.size());
                release(previousHalf, previous.size());
            });
    } else {
        fill(reused, arranged.size());
    }
    arranged_ = Array(std::move(arranged));
    keepSelectionValid();
}

void ArrayController::sortAll(std::vector<qsizetype>& order) const {
    if (sortKey_) {
        std::vector<Value> keys(size_t(content_.count()));
        for (qsizetype i : order) keys[size_t(i)] = sortKey_(content_.at(i));
        std::stable_sort(order.begin(), order.end(),
                         [this, &keys](qsizetype a, qsizetype b) { return sort_(keys[size_t(a)], keys[size_t(b)]) < 0; });
    } else {
        std::stable_sort(order.begin(), order.end(),
                         [this](qsizetype a, qsizetype b) { return sort_(content_.at(a), content_.at(b)) < 0; });
    }
}

bool ArrayController::rankedStillHolds() const {
    if (!rankedValid_ || rankedEdits_ != dictionaryEditsOnThisThread() ||
        rankedContent_.size() != size_t(content_.count()))
        return false;
    for (size_t i = 0; i < rankedContent_.size(); ++i) {
        const Dictionary* now = content_.at(qsizetype(i)).dictionaryIfAny();
        const Dictionary* then = rankedContent_[i].dictionaryIfAny();
        if (!now || !then || now->identity() != then->identity()) return false;
    }
    return true;
}

void ArrayController::orderByRank(std::vector<qsizetype>& order) {
    // A stable sort orders by the key, then by position in the content; the whole content's
    // order restricted to some positions is therefore exactly what sorting those would give.
    if (!rankedStillHolds()) {
        const qsizetype n = content_.count();
        ranked_.resize(size_t(n));
        for (qsizetype i = 0; i < n; ++i) ranked_[size_t(i)] = i;
        sortAll(ranked_);
        rankedContent_.assign(content_.begin(), content_.end());
        rankedEdits_ = dictionaryEditsOnThisThread();
        rankedValid_ = true;
        for (const Value& v : rankedContent_)
            if (!v.dictionaryIfAny()) rankedValid_ = false;  // only records are followed by identity
    }
    if (order.size() == ranked_.size()) {
        order = ranked_;
        return;
    }
    std::vector<char> kept(ranked_.size(), 0);
    for (qsizetype i : order) kept[size_t(i)] = 1;
    order.clear();
    for (qsizetype i : ranked_)
        if (kept[size_t(i)]) order.push_back(i);
}

void ArrayController::filterRange(qsizetype from, qsizetype to, std::vector<qsizetype>& out) const {
    // Records lie scattered over the heap, and a filter that waits for each one in turn spends
    // most of its time waiting. So each record is asked for some steps before it is tested: its
    // dictionary first, then its entry table, then the text of its strings, each stage once the
    // one before has had time to arrive.
    constexpr qsizetype kAhead = 6;
    auto dictionaryAt = [&](qsizetype i) -> const Dictionary* {
        return i < to ? content_.at(i).dictionaryIfAny() : nullptr;
    };
    for (qsizetype i = from; i < to; ++i) {
        if (const Dictionary* d = dictionaryAt(i + 3 * kAhead)) __builtin_prefetch(d->identity());
        if (const Dictionary* d = dictionaryAt(i + 2 * kAhead)) d->prefetchEntries();
        if (const Dictionary* d = dictionaryAt(i + kAhead)) d->prefetchStringValues();
        if (filter_(content_.at(i))) out.push_back(i);
    }
}

void ArrayController::keepSelectionValid() {
    Array still;
    for (const Value& s : selected_)
        if (arranged_.indexOfIdentical(s) >= 0) still.append(s);
    selected_ = still;
    if (selected_.isEmpty() && avoidsEmptySelection && !arranged_.isEmpty()) selected_.append(arranged_.at(0));
}

std::vector<qsizetype> ArrayController::selectionIndexes() const {
    std::vector<qsizetype> out;
    for (const Value& s : selected_) {
        const qsizetype i = arranged_.indexOfIdentical(s);
        if (i >= 0) out.push_back(i);
    }
    std::sort(out.begin(), out.end());
    return out;
}

qsizetype ArrayController::selectionIndex() const {
    const auto idx = selectionIndexes();
    return idx.empty() ? -1 : idx.front();
}

bool ArrayController::setSelectionIndexes(const std::vector<qsizetype>& indexes) {
    Array chosen;
    for (qsizetype i : indexes)
        if (i >= 0 && i < arranged_.count() && chosen.indexOfIdentical(arranged_.at(i)) < 0) chosen.append(arranged_.at(i));
    selected_ = chosen;
    return true;
}

bool ArrayController::setSelectionIndex(qsizetype index) {
    return setSelectionIndexes(index >= 0 ? std::vector<qsizetype>{index} : std::vector<qsizetype>{});
}

bool ArrayController::setSelectedObjects(const Array& objects) {
    Array chosen;
    for (const Value& o : objects)
        if (arranged_.indexOfIdentical(o) >= 0) chosen.append(o);
    selected_ = chosen;
    return true;
}

Array ArrayController::selectedObjects() const {
    Array out;
    for (qsizetype i : selectionIndexes()) out.append(arranged_.at(i));
    return out;
}

void ArrayController::addObject(const Value& object) {
    content_.append(object);
    rearrangeObjects();
    if (selectsInsertedObjects && arranged_.indexOfIdentical(object) >= 0) selected_ = Array{object};
}

void ArrayController::removeObject(const Value& object) {
    const qsizetype i = content_.indexOfIdentical(object);
    if (i < 0) return;
    content_.removeAt(i);
    rearrangeObjects();
}

void ArrayController::insertObjectAtArrangedObjectIndex(const Value& object, qsizetype index) {
    const qsizetype before = (index >= 0 && index < arranged_.count()) ? content_.indexOfIdentical(arranged_.at(index)) : -1;
    if (before >= 0) content_.insert(before, object);
    else content_.append(object);
    rearrangeObjects();
    if (selectsInsertedObjects && arranged_.indexOfIdentical(object) >= 0) selected_ = Array{object};
}

void ArrayController::remove() {
    const Array doomed = selectedObjects();
    for (const Value& o : doomed) removeObject(o);
}

void ArrayController::setValueForKeyPath(const QString& path, const Value& value) {
    static const QString prefix = QStringLiteral("selection.");
    if (!path.startsWith(prefix)) return;
    const QString rest = path.mid(prefix.size());
    for (const Value& o : selectedObjects())
        if (o.isDictionary()) o.toDictionary().setValueForKeyPath(rest, value);
}

}  // namespace qv
