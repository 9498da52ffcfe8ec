#include "DocumentMerge.h"

#include "DocumentKeys.h"
#include "LegacyMigration.h"
#include "MyDocument.h"
#include "RecordModel.h"

#include <cmath>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace qv {

namespace {

// The fields a person sees; two records that agree on all of them and on the category's title
// are the same, whatever their counts and dates say.
const QString* const kTextFields[] = {&keys::name, &keys::account, &keys::url,   &keys::userID, &keys::password,
                                      &keys::pin,  &keys::security, &keys::email, &keys::note};

QString categoryTitleOf(const Dictionary& record) {
    return record.value(keys::categoryPtr).toDictionary().value(keys::cat_category).toString();
}

bool sameContent(const Dictionary& a, const Dictionary& b) {
    for (const QString* key : kTextFields)
        if (a.value(*key).toString() != b.value(*key).toString()) return false;
    return categoryTitleOf(a) == categoryTitleOf(b);
}

// A date to the microsecond, the identity of a record made by any release that dates records.
std::optional<std::int64_t> microseconds(const Value& date) {
    if (!date.isDate()) return std::nullopt;
    return std::int64_t(std::llround(date.toDate() * 1e6));
}

// Old generations' records carry no dates: they are matched on what they hold.
QString contentKey(const Dictionary& record) {
    QString key;
    for (const QString* field : kTextFields) key += record.value(*field).toString() + QChar(0x1F);
    return key + categoryTitleOf(record);
}

double modified(const Dictionary& record) {
    const Value v = record.value(keys::modificationDate);
    return v.isDate() ? v.toDate() : -1e300;
}

}  // namespace

MergeReport DocumentMerge::merge(MyDocument& a, const MyDocument& b) {
    // A side read from an old generation got its records' dates when it was converted.
    const bool old = LegacyMigration::groupOf(a.docVersionRapresentation) != 0 ||
                     LegacyMigration::groupOf(b.docVersionRapresentation) != 0;
    return merge(a.myArray, a.myCategoryArray, a.emailArray, b.myArray, b.emailArray, old);
}

MergeReport DocumentMerge::merge(Array& recordsA, Array& categoriesA, Array& emailsA, const Array& recordsB,
                                 const Array& emailsB, bool byContent) {
    MergeReport report;

    // Categories by title: A's own, and B's that A lacks, made once with B's colours.
    std::unordered_map<QString, Value> categoryByTitle;
    std::int64_t highestID = 0;
    for (const Value& c : categoriesA) {
        const Dictionary d = c.toDictionary();
        categoryByTitle.try_emplace(d.value(keys::cat_category).toString(), c);
        highestID = std::max(highestID, d.value(keys::cat_uniqueID).toInt64());
    }
    auto categoryInA = [&](const Dictionary& recordB) -> Value {
        const Value fromB = recordB.value(keys::categoryPtr);
        if (!fromB.isDictionary()) return Value();
        const Dictionary catB = fromB.toDictionary();
        const QString title = catB.value(keys::cat_category).toString();
        const auto found = categoryByTitle.find(title);
        if (found != categoryByTitle.end()) return found->second;
        Dictionary made = RecordModel::newCategory(title, ++highestID);
        for (const QString* colour : {&keys::cat_backColor, &keys::cat_textColor})
            if (catB.contains(*colour)) made.set(*colour, catB.value(*colour).deepCopy());
        const Value category(made);
        categoriesA.append(category);
        categoryByTitle.emplace(title, category);
        report.categoriesAdded << title;
        return category;
    };
    // A copy of B's record that belongs to A: its own containers, A's category.
    auto adopt = [&](const Dictionary& recordB) {
        Dictionary copy;
        for (const QString& key : recordB.keys())
            if (key != keys::categoryPtr) copy.set(key, recordB.value(key).deepCopy());
        const Value category = categoryInA(recordB);
        if (!category.isAbsent()) copy.set(keys::categoryPtr, category);
        return copy;
    };

    // A's records by creation date, and by content for those without one.
    std::unordered_map<std::int64_t, std::vector<qsizetype>> byDate;
    std::unordered_map<QString, std::vector<qsizetype>> contentIndex;
    const qsizetype countA = recordsA.count();
    for (qsizetype i = 0; i < countA; ++i) {
        const Dictionary r = recordsA.at(i).toDictionary();
        const auto when = byContent ? std::nullopt : microseconds(r.value(keys::creationDate));
        if (when) byDate[*when].push_back(i);
        else contentIndex[contentKey(r)].push_back(i);
    }
    std::vector<bool> matched(size_t(countA), false);

    for (const Value& vb : recordsB) {
        const Dictionary rb = vb.toDictionary();
        qsizetype partner = -1;
        if (const auto when = byContent ? std::nullopt : microseconds(rb.value(keys::creationDate))) {
            const auto found = byDate.find(*when);
            if (found != byDate.end()) {
                std::vector<qsizetype> open;
                for (qsizetype i : found->second)
                    if (!matched[size_t(i)]) open.push_back(i);
                if (open.size() == 1) {
                    partner = open.front();
                } else {
                    // Several made in the same microsecond: the name tells them apart.
                    const QString name = rb.value(keys::name).toString();
                    for (qsizetype i : open)
                        if (recordsA.at(i).toDictionary().value(keys::name).toString() == name) {
                            partner = i;
                            break;
                        }
                }
            }
        } else {
            const auto found = contentIndex.find(contentKey(rb));
            if (found != contentIndex.end())
                for (qsizetype i : found->second)
                    if (!matched[size_t(i)]) {
                        partner = i;
                        break;
                    }
        }

        if (partner < 0) {
            recordsA.append(Value(adopt(rb)));
            report.added << rb.value(keys::name).toString();
            continue;
        }
        matched[size_t(partner)] = true;
        Dictionary ra = recordsA.at(partner).toDictionary();
        const std::int64_t uses = std::max(ra.value(keys::usageCount).toInt64(), rb.value(keys::usageCount).toInt64());
        if (sameContent(ra, rb)) {
            // Only the count of uses can differ: the larger is the truth of both machines.
            if (uses > ra.value(keys::usageCount).toInt64()) {
                ra.set(keys::usageCount, Value::integer(uses));
                ++report.usageCountsRaised;
            }
            continue;
        }
        const double ma = modified(ra), mb = modified(rb);
        if (mb > ma) {
            // B's is the later edit and wins whole; the record stays A's object, so whatever
            // points at it (a selection, the undo history) still does.
            const Dictionary fresh = adopt(rb);
            ra.clear();
            for (const QString& key : fresh.keys()) ra.set(key, fresh.value(key));
            if (uses > 0) ra.set(keys::usageCount, Value::integer(uses));
            report.updatedFromB << ra.value(keys::name).toString();
        } else if (mb < ma) {
            if (uses > ra.value(keys::usageCount).toInt64()) ra.set(keys::usageCount, Value::integer(uses));
            report.keptFromA << ra.value(keys::name).toString();
        } else {
            // Changed on both sides at the same moment: nothing says which to keep, so both stay.
            // A copy made by an earlier merge of these two is not made again.
            const QString copyName = rb.value(keys::name).toString() + kConflictSuffix;
            bool copied = false;
            if (const auto when = microseconds(rb.value(keys::creationDate)))
                for (qsizetype i : byDate[*when]) {
                    Dictionary candidate = recordsA.at(i).toDictionary().shallowCopy();
                    if (candidate.value(keys::name).toString() != copyName) continue;
                    candidate.set(keys::name, rb.value(keys::name));
                    copied = copied || sameContent(candidate, rb);
                }
            if (copied) continue;
            Dictionary copy = adopt(rb);
            copy.set(keys::name, Value(copyName));
            if (uses > ra.value(keys::usageCount).toInt64()) ra.set(keys::usageCount, Value::integer(uses));
            recordsA.append(Value(copy));
            report.conflicts << copy.value(keys::name).toString();
        }
    }
    for (qsizetype i = 0; i < countA; ++i)
        if (!matched[size_t(i)]) report.onlyInA << recordsA.at(i).toDictionary().value(keys::name).toString();

    // The e-mail list: every address once.
    std::unordered_set<QString> addresses;
    for (const Value& e : emailsA) addresses.insert(e.toDictionary().value(keys::email).toString());
    for (const Value& e : emailsB) {
        const QString address = e.toDictionary().value(keys::email).toString();
        if (addresses.insert(address).second) {
            emailsA.append(e.deepCopy());
            ++report.emailsAdded;
        }
    }
    return report;
}

}  // namespace qv
