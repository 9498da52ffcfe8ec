#pragma once

// A document of the benchmark records: twenty categories "Category 1" to "Category 20", each
// record linked to its category as a document read from a file has it.

#include "BenchData.h"

#include "document/DocumentKeys.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"

#include <memory>

namespace qv::bench {

inline std::unique_ptr<MyDocument> makeDocument(int records) {
    auto doc = std::make_unique<MyDocument>();
    doc->prepareNewDocument();
    doc->myCategoryArray = Array();
    for (int c = 1; c <= 20; ++c)
        doc->myCategoryArray.append(Value(RecordModel::newCategory(QStringLiteral("Category %1").arg(c), c)));
    for (const Value& r : makeRecords(records)) {
        Dictionary rec = r.toDictionary();
        rec.set(keys::categoryPtr, doc->myCategoryArray.at(rec.value(keys::categoryID).toInt64() - 1));
        doc->myArray.append(r);
    }
    return doc;
}

}  // namespace qv::bench
