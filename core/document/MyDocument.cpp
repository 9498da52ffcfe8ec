#include "MyDocument.h"

#include "DocumentKeys.h"
#include "DocumentTexts.h"
#include "GenerationReaders.h"
#include "RecordModel.h"

#include "crypto/SecretMemory.h"
#include "foundation/KeyedArchive.h"
#include "foundation/ZKAppSupportUtility.h"

#include <unordered_map>

namespace qv {

namespace {

template <class MaybeData>
Value dataOrAbsent(const MaybeData& d) { return d ? Value::data(*d) : Value(); }

// A category lists its records and each record points at its category, so the two hold each
// other. Tables that are let go are unlinked first, or they would stay in memory, secrets and
// all, for as long as the process runs.
void unlinkCategories(const Array& categories) {
    for (const Value& c : categories) {
        const Value records = c.toDictionary().value(keys::records);
        if (records.isArray()) records.toArray().clear();
    }
}

}  // namespace

MyDocument::MyDocument() {
    requiresMandatoryPassword = true;
    myKeyArrayForImport = RecordModel::keyArray();
    myKeyArrayForExport = RecordModel::keyArray();
    YouCanSave = true;
    appReleaseString = ZKAppSupportUtility::calcReleaseString(kReleaseNumber);
    secrets::keepOutOfCoreDumps();
}

MyDocument::~MyDocument() {
    unlinkCategories(myCategoryArray);
    wipePasswords();
}

void MyDocument::wipePasswords() {
    // The engines let go of their copies first, so that the document's own is the last one and
    // can be wiped.
    myCommonCrypto.reset();
    myCryptoEngine.setPassword(QString());
    for (QString* s : {&plainPassword, &plainPasswordInserted, &plainPasswordInsertedRetype, &plainPasswordPrevious})
        secrets::wipe(*s);
}

void MyDocument::prepareNewDocument() {
    documentCreationDate = Value::date(nowSince2001());
    if (myCategoryArray.isEmpty()) {
        myCategoryArray = Array();
        myCategoryArray.append(Value(RecordModel::newCategory(texts::defaultCategoryName, 1)));
    }
    if (onTablesInstalled) onTablesInstalled();
    if (ui()) ui()->setToolbarVisible(true);
    updateChangeCount(kChangeCleared);
}

void MyDocument::windowDidBecomeKey() {
    if (isDecrypted()) {
        if (requiresMandatoryPassword && plainPassword.isEmpty()) post([this] { askMandatoryPasswordToProtectDocument(); });
        requiresMandatoryPassword = false;
    } else if (ui() && ui()->isPasswordToDecryptFieldEmpty()) {
        ui()->focusPasswordToDecryptField();
    }
}

void MyDocument::updateChangeCount(int change) {
    // A locked document never becomes edited.
    if (!isEncrypted()) ZKCryptoDoc::updateChangeCount(change);
}

// ---------------------------------------------------------------------------------------------
// Writing

void MyDocument::makeCheckValues() {
    QByteArray p = ZKCommonCrypto::generateRandom256AsciiString().toUtf8();
    const secrets::WipeOnExit wipeP(p);
    mySha1_RcData = dataOrAbsent(ZKCommonCrypto::dataSHA1(p));
    myRCDataEncrypted = dataOrAbsent(myCommonCrypto->encrypt(p));
}

// A new engine (with its own salt and IV, and new check values) whenever the password changed
// since the last one was made: a change of password takes effect at the next enciphering.
void MyDocument::keepEngineForPassword() {
    if (myCommonCrypto && myCommonCrypto->password() == plainPassword) return;
    myCommonCrypto = ZKCommonCrypto::initWithPassword(plainPassword);
    mySalt = Value::data(myCommonCrypto->salt());
    myIV = Value::data(myCommonCrypto->IV());
    makeCheckValues();
}

std::optional<QByteArray> MyDocument::dataOfType(const QString& /*type*/) {
    if (!YouCanSave) return std::nullopt;
    // The window's layout is read here, on its own thread; the enciphering runs off it.
    const Value platform = isEncrypted() ? Value() : Value(buildPlatformDictionary(true));
    std::optional<QByteArray> out;
    runHeavy([&] {
        keepEngineForPassword();
        if (!isEncrypted()) {
            myCommonCrypto->recalcIV_Salt_AESKey();
            encryptData();
            mySalt = Value::data(myCommonCrypto->salt());
            myIV = Value::data(myCommonCrypto->IV());
            makeCheckValues();
        }
        Dictionary root;
        root.set(keys::appversion, Value::unsignedInteger(kGenerationWritten));
        root.set(keys::latestPlatform, Value("OSX"));
        root.set(keys::dataArrayData, myEncryptedArrayData);
        root.set(keys::catArrayData, myEncryptedCategoryArrayData);
        root.set(keys::emailArrayData, myEncryptedEmailArrayData);
        root.set(keys::documentCreationDateData, myEncryptedDocumentCreationDateData);
        root.set(keys::salt, mySalt);
        root.set(keys::IV, myIV);
        root.set(keys::rc, myRCDataEncrypted);
        root.set(keys::sha1_rc, mySha1_RcData);
        if (!isEncrypted()) OSXPlatformDictionary = platform;
        root.set(keys::OSXPlatformDictionary, OSXPlatformDictionary);
        root.set(keys::iOSPlatformDictionary, myiOSPlatformDictionary);
        if (auto bytes = KeyedArchiver::archivedDataWithRootObject(Value(root))) {
            out = std::move(*bytes);
            if (!isEncrypted()) keepMembersIn(*out);
        }
    });
    return out;
}

void MyDocument::keepMembersIn(const QByteArray& file) {
    // The members just sealed are in the file's bytes as well. Read back from there, a large one
    // shares those bytes instead of holding its own copy, so a large document is not held twice
    // while its file is written and read back.
    const auto root = KeyedUnarchiver::unarchiveObjectWithData(file);
    if (!root) return;
    const Dictionary d = root->toDictionary();
    auto share = [&d](Value& member, const QString& key) {
        const Value& inFile = d.get(key);
        if (inFile.isData() && member.isData() && inFile.isMutableClass() == member.isMutableClass() &&
            inFile.toData() == member.toData())
            member = inFile;
    };
    share(myEncryptedArrayData, keys::dataArrayData);
    share(myEncryptedCategoryArrayData, keys::catArrayData);
    share(myEncryptedEmailArrayData, keys::emailArrayData);
    share(myEncryptedDocumentCreationDateData, keys::documentCreationDateData);
}

Dictionary MyDocument::buildPlatformDictionary(bool withToolbarState) const {
    Dictionary d;
    const Rect frame = ui() ? ui()->windowFrame() : myWinRectToUse;
    const Value sizes = ui() ? ui()->columnSizes() : startColumnSizes;
    const Value visibilities = ui() ? ui()->columnVisibilities() : startColumnVisibilities;
    d.set(keys::windowRecHeight, Value::real(frame.height));
    d.set(keys::windowRecWidth, Value::real(frame.width));
    d.set(keys::windowRecX, Value::real(frame.x));
    d.set(keys::windowRecY, Value::real(frame.y));
    d.set(keys::columnSizes, sizes.isArray() ? sizes : Value(Array()));
    d.set(keys::columnVisibilities, visibilities.isArray() ? visibilities : Value(Array()));
    d.set(keys::splitLeftFrame, Value::rect(ui() ? ui()->splitLeftFrame() : splitLeftFrame));
    d.set(keys::splitRightFrame, Value::rect(ui() ? ui()->splitRightFrame() : splitRightFrame));
    if (withToolbarState)
        d.set(keys::makeToolbarVisibleAtDecrypt,
              Value::boolean(ui() ? ui()->isToolbarVisible() : makeToolbarVisibleAtDecrypt));
    if (!customTableSettings.isAbsent()) d.set(keys::customTableSettings, customTableSettings);
    if (!latestOrderedColumn.isAbsent()) d.set(keys::latestOrderedColumn, latestOrderedColumn);
    if (latestOrderedColumnAscending) d.set(keys::latestOrderedColumnAscending, Value::boolean(true));
    return d;
}

Array MyDocument::getCopyOfContentArrayForSaveOperation() const {
    Array out;
    out.reserve(myArray.count());
    for (const Value& v : myArray) {
        Dictionary copy = v.toDictionary().shallowCopy();
        copy.set(keys::categoryID,
                 Value::integer(copy.value(keys::categoryPtr).toDictionary().value(keys::cat_uniqueID).toInt64()));
        copy.remove(keys::categoryPtr);
        out.append(Value(copy));
    }
    return out;
}

Array MyDocument::getCopyOfCategoryArrayForSaveOperation() const {
    Array out;
    out.reserve(myCategoryArray.count());
    for (const Value& v : myCategoryArray) {
        Dictionary copy = v.toDictionary().shallowCopy();
        copy.remove(keys::records);
        out.append(Value(copy));
    }
    return out;
}

void MyDocument::encryptData() {
    // Archiving and enciphering every record: off the interface thread, the document busy
    // meanwhile so that nothing changes the tables being read.
    runHeavy([this] { encryptTables(); });
}

void MyDocument::encryptTables() {
    keepEngineForPassword();
    // The members of the last save are replaced whatever happens below (one that fails is left
    // out), so they go first: their memory then takes the new archive, instead of fresh memory
    // beside them.
    myEncryptedArrayData = Value();
    myEncryptedCategoryArrayData = Value();
    myEncryptedEmailArrayData = Value();
    myEncryptedDocumentCreationDateData = Value();
    const Array categories = getCopyOfCategoryArrayForSaveOperation();
    // The records are written as getCopyOfContentArrayForSaveOperation() would copy them, without
    // making the copies: a large document would otherwise hold a second set of its records.
    const QString* categoryIDKey = &internKey(keys::categoryID);
    auto a1 = KeyedArchiver::archivedArrayWithRewrittenElements(
        myArray, [categoryIDKey](const Dictionary& record, std::vector<std::pair<const QString*, const Value*>>& entries,
                                 Value& id) {
            // The category is picked up on the way through the keys; `id` is filled in after,
            // the entries only point at it.
            const Dictionary* category = nullptr;
            bool hadID = false;
            entries.reserve(size_t(record.count()) + 1);
            for (qsizetype i = 0; i < record.count(); ++i) {
                const QString& key = record.keyAt(i);
                if (key == keys::categoryPtr) {
                    category = record.valueAt(i).dictionaryIfAny();
                    continue;
                }
                if (key == keys::categoryID) {
                    entries.emplace_back(&key, &id);
                    hadID = true;
                } else {
                    entries.emplace_back(&key, &record.valueAt(i));
                }
            }
            if (!hadID) entries.emplace_back(categoryIDKey, &id);
            id = Value::integer(category ? category->get(keys::cat_uniqueID).toInt64() : 0);
        });
    auto a2 = KeyedArchiver::archivedDataWithRootObject(Value(categories));
    auto a3 = KeyedArchiver::archivedDataWithRootObject(Value(emailArray));
    auto a4 = KeyedArchiver::archivedDataWithRootObject(documentCreationDate);
    // A failed member is left out of the file, as it always was; the status is not looked at.
    // The plain archive is wiped once sealed.
    auto seal = [&](Result<QByteArray>& plain) {
        if (!plain) return Value();
        const secrets::WipeOnExit wipePlain(*plain);
        return dataOrAbsent(myCommonCrypto->encryptInPlace(std::move(*plain)));
    };
    myEncryptedArrayData = seal(a1);
    myEncryptedCategoryArrayData = seal(a2);
    myEncryptedEmailArrayData = seal(a3);
    myEncryptedDocumentCreationDateData = seal(a4);
    docVersionRapresentation = kGenerationWritten;
}

// ---------------------------------------------------------------------------------------------
// Lock

void MyDocument::lockDocument(const Sender&) {
    sheetAlert(Alert{texts::lockQuestion, texts::lockInformative, {texts::ok, texts::cancel}},
               [this](int code) {
                   if (code != kAlertFirstButtonReturn) return;
                   markLockPending();
                   post([this] { doLockDocument(); });
               });
}

void MyDocument::openAlertPanelCantDropDirectoryHere(const Sender&) {
    sheetAlert(Alert{texts::cantDropDirectoryMessage, texts::cantDropDirectoryInformative, {texts::ok}});
}

void MyDocument::markLockPending() {
    lockPending_ = true;
    if (onLockPending) onLockPending();
}

void MyDocument::doLockDocument() {
    // A save still enciphering the tables: the lock follows it.
    if (isBusy()) return whenIdle([this] { doLockDocument(); });
    lockPending_ = false;
    // The lock remembers what a save stores, so that unlocking restores the layout; it writes
    // nothing to disk and keeps the plain tables until the next decryption replaces them.
    if (!isEncrypted()) OSXPlatformDictionary = Value(buildPlatformDictionary(false));
    isEditable = false;
    encryptData();
    YouCanSave = false;
    setIsEncrypted(true);
    if (ui()) {
        ui()->selectTabPage(getEncryptedTabIndex());
        makeToolbarVisibleAtDecrypt = ui()->isToolbarVisible();
        ui()->setToolbarVisible(false);
        ui()->shrinkToMinimumSizeAndPin();
        ui()->focusPasswordToDecryptField();
    }
}

void MyDocument::lockAutomatically() {
    // Not while a save enciphers the tables: closing the records to the user hands a field being
    // edited to its record, which the worker is reading.
    if (isBusy()) return whenIdle([this] { lockAutomatically(); });
    if (isEncrypted() || plainPassword.isEmpty() || fileURL.isEmpty()) return;
    if (ui()) ui()->endAttachedSheet();
    markLockPending();
    post([this] { doLockDocument(); });
}

// ---------------------------------------------------------------------------------------------
// Reading

MyDocument::ReadStatus MyDocument::readFromData(const QByteArray& data, const QString& /*type*/) {
    ReadStatus r = read(data);
    if (!r && r.kind() == ReadFailure::TooNew && ui())
        ui()->runModal(Alert{texts::tooNewMessage, texts::tooNewInformative,
                            {texts::tooNewDownloadButton, texts::cancelButton}});
    return r;
}

MyDocument::ReadStatus MyDocument::read(const QByteArray& data) {
    YouCanSave = false;
    if (ui()) ui()->setToolbarVisible(false);
    requiresMandatoryPassword = false;

    const auto root = KeyedUnarchiver::unarchiveObjectWithData(data);
    if (!root || !root->isDictionary())
        return ReadStatus::failed(ReadFailure::Unreadable,
                                  root ? QStringLiteral("The file is not a Quorvane document.") : root.message());
    const Dictionary d = root->toDictionary();
    docVersionRapresentation = d.value(keys::appversion).toUInt64();
    docReleaseString = ZKAppSupportUtility::calcReleaseString(std::int64_t(docVersionRapresentation));
    if (docVersionRapresentation > kGenerationWritten) return ReadStatus::failed(ReadFailure::TooNew, texts::tooNewMessage);
    convertFormatString = docVersionRapresentation == kGenerationWritten ? texts::currentFormat : texts::oldFormat;
    setIsEncrypted(true);
    myEncryptedCategoryArray = Value();
    myEncryptedDocumentCreationDateData = Value();

    GenerationReaders::read(*this, d, docVersionRapresentation);
    setIsEncrypted(true);
    // Reading never leaves the document edited (the original queued this on the main queue;
    // doing it at once has the same visible effect and needs no event loop).
    ZKCryptoDoc::updateChangeCount(kChangeCleared);
    return {};
}

// ---------------------------------------------------------------------------------------------
// Decryption

std::int32_t MyDocument::Decript() {
    if (ui()) {
        ui()->setDecryptProgressAnimating(true);
        ui()->setDetailViewCollapsed(false);
    }
    documentCreationDate = Value();
    // Key derivation and deciphering take most of a second on a large document: they run off
    // the interface thread (runHeavy), on the engine and members only this step touches while
    // the document is busy. The window's steps and the new tables stay on the caller's thread.
    const bool derive = docVersionRapresentation >= 30000;
    auto deriveKey = [this] {
        myCommonCrypto = ZKCommonCrypto::initWithPassword(plainPassword);
        myCommonCrypto->setPasswordToDecrypt(plainPassword, myIV.toData(), mySalt.toData());
    };
    if (const int group = LegacyMigration::groupOf(docVersionRapresentation)) {
        if (derive) runHeavy(deriveKey);
        const Array before = myCategoryArray;
        const std::int32_t result = LegacyMigration::decript(*this, group);
        // A failed attempt's categories, replaced by this one's, are let go.
        if (!myCategoryArray.isSameObject(before)) unlinkCategories(before);
        if (result == 0 && onTablesInstalled) onTablesInstalled();
        return result;
    }

    // What the worker found, for this thread to act on in the order the steps always had.
    std::int32_t result = 0;
    bool stopsProgress = false;  // a failure that ends the bar at once (not a wrong check value)
    bool emailsOpened = false, dateOpened = false;
    Value records, categories, emails, created;
    runHeavy([&] {
        if (derive) deriveKey();
        if (!myCommonCrypto) {
            result = 1;
            return;
        }
        auto p = myCommonCrypto->decrypt(myRCDataEncrypted.toData());
        if (!p) {
            stopsProgress = true;
            result = p.kind();
            return;
        }
        const bool checked = ZKCommonCrypto::dataSHA1(*p) == mySha1_RcData.toData() && mySha1_RcData.isData();
        secrets::wipe(*p);
        if (!checked) {
            result = 1;
            return;
        }

        // Each member is consumed as it succeeds: a later failure leaves the earlier ones gone.
        auto open = [&](Value& member, Value* out) -> std::int32_t {
            // A member is deciphered where it lies, so that a large document never holds its cipher
            // text and its plain text at once, nor waits for a fresh buffer of that size. A failed
            // attempt leaves it as it was.
            const bool mutableClass = member.isMutableClass();
            auto plain = [&] {
                if (!member.isData()) return myCommonCrypto->decrypt(member.toData());
                QByteArray bytes = member.toData();
                member = Value();
                auto deciphered = myCommonCrypto->decryptInPlace(bytes);
                if (!deciphered) member = Value::data(bytes).withMutableClass(mutableClass);
                return deciphered;
            }();
            if (!plain) {
                stopsProgress = true;
                return plain.kind();
            }
            const secrets::WipeOnExit wipePlain(*plain);
            member = Value();
            const auto v = KeyedUnarchiver::unarchiveObjectWithData(*plain);
            if (!v) {
                // Deciphered to something that is not an archive: garbage. The member stays as it
                // was; the same key and vector encipher the plain text back to the very same bytes.
                if (auto restored = myCommonCrypto->encrypt(*plain))
                    member = Value::data(*restored).withMutableClass(mutableClass);
                return 1;
            }
            *out = *v;
            return 0;
        };
        if ((result = open(myEncryptedArrayData, &records))) return;
        if ((result = open(myEncryptedCategoryArrayData, &categories))) return;
        if ((result = open(myEncryptedEmailArrayData, &emails))) return;
        emailsOpened = true;
        if ((result = open(myEncryptedDocumentCreationDateData, &created))) return;
        dateOpened = true;

        // The new tables are linked here too: nothing else holds them yet.
        const Array recordArray = records.isArray() ? records.toArray() : Array();
        const Array categoryArray = categories.isArray() ? categories.toArray() : Array();
        restoreFromSaveOperationContent(recordArray, categoryArray);
        if (docVersionRapresentation == 30000) {
            for (const Value& r : recordArray) {
                r.toDictionary().set(keys::pin, Value(QString()));
                r.toDictionary().set(keys::security, Value(QString()));
            }
        }
        records = Value(recordArray);
        categories = Value(categoryArray);
    });
    if (stopsProgress && ui()) ui()->setDecryptProgressAnimating(false);
    if (emailsOpened) emailArray = emails.isArray() ? emails.toArray() : Array();
    if (dateOpened) documentCreationDate = created.isDate() ? created : Value();
    if (result != 0) return result;

    const Array recordArray = records.toArray();
    const Array categoryArray = categories.toArray();
    if (!myCategoryArray.isSameObject(categoryArray)) unlinkCategories(myCategoryArray);
    myArray = recordArray;
    myCategoryArray = categoryArray;
    if (onTablesInstalled) onTablesInstalled();
    return 0;
}

Value MyDocument::catInArray(const Array& categories, std::int64_t uniqueID) {
    for (const Value& c : categories)
        if (c.toDictionary().value(keys::cat_uniqueID).toInt64() == uniqueID) return c;
    return Value();
}

void MyDocument::restoreFromSaveOperationContent(const Array& records, const Array& categories) {
    for (const Value& c : categories) {
        Dictionary cat = c.toDictionary();
        cat.set(keys::records, Value(Array()));
        cat.set(keys::cat_howManyUsingThis, Value::integer(0));
    }
    // catInArray's answer for every id at once: the first category with it.
    std::unordered_map<std::int64_t, Value> byID;
    for (const Value& c : categories) byID.emplace(c.toDictionary().value(keys::cat_uniqueID).toInt64(), c);
    for (const Value& r : records) {
        Dictionary record = r.toDictionary();
        const auto found = byID.find(record.get(keys::categoryID).toInt64());
        const Value cat = found == byID.end() ? Value() : found->second;
        record.set(keys::categoryPtr, cat);
        if (cat.isDictionary()) {
            Dictionary c = cat.toDictionary();
            c.set(keys::cat_howManyUsingThis, Value::integer(c.value(keys::cat_howManyUsingThis).toInt64() + 1));
        }
    }
}

std::int32_t MyDocument::decryptDone() {
    if (ui()) ui()->synkCategorySubMenu();
    // This is what gives a converted old file its creation date.
    if (documentCreationDate.isAbsent()) documentCreationDate = Value::date(nowSince2001());
    if (ui()) {
        ui()->setDecryptProgressAnimating(false);
        ui()->liftMaximumWindowSize();
        ui()->applyColumnSize(startColumnSizes);
        ui()->setColumnVisibilityCompactPlusCMA();
        ui()->applyColumnVisibility(startColumnVisibilities);
        if (splitLeftFrame.width > 0) {
            DocumentWindowUi* ui = this->ui();
            const Rect left = splitLeftFrame, right = splitRightFrame;
            post([ui, left, right] { ui->setSplitViewFrames(left, right); });
        }
    }
    // Held back by updateChangeCount while still locked, and left in this place.
    updateChangeCount(kChangeCleared);
    setIsEncrypted(false);
    if (ui()) {
        ui()->selectTabPage(0);
        if (useMyWinRect) {
            ui()->setWindowFrame(myWinRectToUse);
        } else {
            Rect f = ui()->windowFrame();
            f.height = 460;
            ui()->setWindowFrame(f);
        }
        if (!latestOrderedColumn.isAbsent())
            ui()->orderByColumn(latestOrderedColumn.toString(), latestOrderedColumnAscending);
        ui()->clearPasswordToDecryptField();
        ui()->setToolbarVisible(makeToolbarVisibleAtDecrypt);
        if (makeToolbarVisibleAtDecrypt) ui()->focusSearchField();
    }
    YouCanSave = true;
    return 1;
}

}  // namespace qv
