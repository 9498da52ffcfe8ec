#include "GenerationReaders.h"

#include "DocumentKeys.h"
#include "DocumentTexts.h"
#include "MyDocument.h"

#include <algorithm>
#include <iterator>

namespace qv::GenerationReaders {

Family familyOf(std::uint64_t n) {
    if (n == 30000 || n == 40000 || n == MyDocument::kGenerationWritten) return Family::Current;
    static const std::uint64_t kWide[] = {2500, 2510, 2520, 2600, 2700, 2710, 2800, 20801, 20900, 20901, 21000};
    if (std::find(std::begin(kWide), std::end(kWide), n) != std::end(kWide) || (n >= 21100 && n <= 21110) ||
        (n >= 21200 && n <= 21207))
        return Family::Wide;
    if (n == 2400) return Family::Narrow;
    if (n == 2100 || n == 2200 || n == 2210 || n == 2300) return Family::Framed;
    if (n == 2000 || n == 2010 || n == 2020) return Family::WithCategories;
    return Family::RecordsOnly;
}

namespace {

Rect frameFrom(const Dictionary& d) {
    return Rect{double(d.value(keys::windowRecX).toInt()), double(d.value(keys::windowRecY).toInt()),
                double(d.value(keys::windowRecWidth).toInt()), double(d.value(keys::windowRecHeight).toInt())};
}

// The desktop's block of a current file: the window, the columns, the split view, the sort.
void takePlatformDictionary(MyDocument& doc, const Dictionary& p) {
    doc.myWinRectToUse = frameFrom(p);
    doc.startColumnSizes = p.value(keys::columnSizes);
    doc.startColumnVisibilities = p.value(keys::columnVisibilities);
    doc.splitLeftFrame = p.value(keys::splitLeftFrame).toRect();
    doc.splitRightFrame = p.value(keys::splitRightFrame).toRect();
    const Value toolbar = p.value(keys::makeToolbarVisibleAtDecrypt);
    doc.makeToolbarVisibleAtDecrypt = toolbar.isAbsent() ? true : toolbar.toBool();
    doc.customTableSettings = p.value(keys::customTableSettings);
    doc.latestOrderedColumn = p.value(keys::latestOrderedColumn);
    doc.latestOrderedColumnAscending = p.value(keys::latestOrderedColumnAscending).toBool();
}

void readCurrent(MyDocument& doc, const Dictionary& d) {
    doc.mySalt = d.value(keys::salt);
    doc.myIV = d.value(keys::IV);
    doc.myEncryptedArrayData = d.value(keys::dataArrayData);
    doc.myEncryptedCategoryArrayData = d.value(keys::catArrayData);
    doc.myEncryptedEmailArrayData = d.value(keys::emailArrayData);
    doc.myEncryptedDocumentCreationDateData = d.value(keys::documentCreationDateData);
    doc.myRCDataEncrypted = d.value(keys::rc);
    doc.mySha1_RcData = d.value(keys::sha1_rc);
    const Value platform = d.value(keys::OSXPlatformDictionary);
    if (platform.isDictionary()) {
        doc.useMyWinRect = true;
        takePlatformDictionary(doc, platform.toDictionary());
    }
    doc.myiOSPlatformDictionary = d.value(keys::iOSPlatformDictionary);
    doc.moreDocDescription = texts::compatibleWithPhone;
    doc.YouCanSave = true;
}

// The old layouts, each the next plainer one plus its own members. An old file is never saved
// as read: YouCanSave stays off until the conversion has run.
void readRecordsOnly(MyDocument& doc, const Dictionary& d) {
    doc.myEncriptedArray = d.value(keys::dataArray);
    doc.moreDocDescription = texts::notCompatibleWithPhone;
}

void readWithCategories(MyDocument& doc, const Dictionary& d) {
    doc.myEncryptedCategoryArray = d.value(keys::catArray);
    readRecordsOnly(doc, d);
}

void readFramed(MyDocument& doc, const Dictionary& d) {
    // Read but never applied: useMyWinRect stays off for old files.
    doc.myWinRectToUse = frameFrom(d);
    readWithCategories(doc, d);
}

void readNarrow(MyDocument& doc, const Dictionary& d) {
    doc.savedCategoryTableWidth = d.value(keys::categoryTableWidth);
    doc.savedNameTableWidth = d.value(keys::nameTableWidth);
    doc.savedUrlTableWidth = d.value(keys::urlTableWidth);
    // Deliberately into the fields without "saved", as the program always did.
    doc.accountTableWidth = d.value(keys::accountTableWidth);
    doc.userIDTableWidth = d.value(keys::userIDTableWidth);
    doc.useMyColumnWidth = true;
    readFramed(doc, d);
}

void readWide(MyDocument& doc, const Dictionary& d) {
    doc.savedPasswordTableWidth = d.value(keys::passwordTableWidth);
    doc.savedEmailTableWidth = d.value(keys::emailTableWidth);
    readNarrow(doc, d);
}

}  // namespace

void read(MyDocument& doc, const Dictionary& root, std::uint64_t generation) {
    switch (familyOf(generation)) {
    case Family::Current: return readCurrent(doc, root);
    case Family::Wide: return readWide(doc, root);
    case Family::Narrow: return readNarrow(doc, root);
    case Family::Framed: return readFramed(doc, root);
    case Family::WithCategories: return readWithCategories(doc, root);
    case Family::RecordsOnly: return readRecordsOnly(doc, root);
    }
}

}  // namespace qv::GenerationReaders
