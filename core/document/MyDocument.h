#pragma once

// One open document: its three tables, its enciphered members, its engines and the layout it
// remembers. The file is read into enciphered members (readFromData), a password turns them into
// the plain tables (Decript), and a save or lock turns the tables back into members
// (encryptData) and the members into file bytes (dataOfType).
//
// Fields keep the names of the file format's document so that each rule reads the same here.

#include "crypto/ZKCommonCrypto.h"
#include "document/ZKCryptoDoc.h"
#include "crypto/ZKCrypto.h"
#include "document/DocumentWindowUi.h"
#include "document/LegacyMigration.h"
#include "foundation/Result.h"
#include "foundation/Sender.h"
#include "foundation/Value.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace qv {

class MyDocument : public ZKCryptoDoc {
public:
    static constexpr std::uint64_t kGenerationWritten = 40100;

    MyDocument();  // init
    ~MyDocument() override;

    // Wipes the master passwords and lets go of the engine and its derived key, as closing does
    // first: for a document that is done with but not freed at once.
    void wipePasswords();

    // Without a window (setUi), the layout remembered from the file is written back as read.

    // The first key-window event: a new document asks for its password (from the main queue),
    // a locked one puts the focus in its empty password field.
    void windowDidBecomeKey();

    // The store steps of a new, empty document: its creation date and one category "Generic".
    void prepareNewDocument();

    // Told when the three tables were replaced whole (a decryption, a new document), so that the
    // list controllers take the new tables as their content.
    std::function<void()> onTablesInstalled;

    // ---- Container (file bytes) ----
    // Why a file was not taken: written by a newer release, or not a document at all.
    enum class ReadFailure { TooNew, Unreadable };
    using ReadStatus = Status<ReadFailure>;
    // The type arguments are ignored; there is one format. Nothing while saving is off.
    std::optional<QByteArray> dataOfType(const QString& type);
    // As read; a file too new is also told to the user in the window's alert.
    ReadStatus readFromData(const QByteArray& data, const QString& type);
    // Takes a file's bytes into the document, locked, with the reader of the file's generation;
    // a refusal carries the kind and a sentence saying why.
    ReadStatus read(const QByteArray& data);
    // Nothing while the document is locked or has no password: such a save could not be
    // opened again.
    bool canAutosave() const { return isDecrypted() && !plainPassword.isEmpty(); }

    // ---- Lock ----
    // Where the document was last saved or read from; empty for a document never saved.
    QString fileURL;
    bool isEditable = false;
    int getEncryptedTabIndex() const { return isEncrypted() ? 1 : 0; }
    // The command: asks, and locks from the main queue on "OK".
    void lockDocument(const Sender& sender = {});
    // A ready sheet for a drop area that refuses directories; no drop area refuses them today
    // (a dropped directory becomes a file URL like any file), so nothing calls it.
    void openAlertPanelCantDropDirectoryHere(const Sender& sender = {});
    void doLockDocument();
    // The background path: no question; skips locked, passwordless and never-saved documents.
    void lockAutomatically();
    // From the moment a lock is decided (the question answered, or the background path taken)
    // until it is carried out from the main queue. The window treats such a document as locked
    // already, so that no command, key or drop in between reaches its records.
    bool isLockPending() const { return lockPending_; }
    std::function<void()> onLockPending;

    // ---- Pipeline ----
    void encryptData();
    Array getCopyOfContentArrayForSaveOperation() const;
    Array getCopyOfCategoryArrayForSaveOperation() const;
    std::int32_t Decript() override;
    std::int32_t decryptDone() override;
    static Value catInArray(const Array& categories, std::int64_t uniqueID);
    void restoreFromSaveOperationContent(const Array& records, const Array& categories);
    void updateChangeCount(int change) override;

    // ---- State ----
    Array myArray;
    Array myCategoryArray;
    Array emailArray;
    Value documentCreationDate;  // a date, or absent
    // The time an old file's records are made at when it is converted; the system's clock unless
    // a test sets one.
    std::function<double()> conversionClock;
    std::uint64_t docVersionRapresentation = 0;

    std::unique_ptr<ZKCommonCrypto> myCommonCrypto;
    // The old files' engine, with the vector all of them share; Decript gives it the password.
    ZKCrypto myCryptoEngine{LegacyMigration::kInitVector, QString()};
    Value mySalt, myIV, myRCDataEncrypted, mySha1_RcData;  // data, or absent
    Value myEncryptedArrayData, myEncryptedCategoryArrayData, myEncryptedEmailArrayData,
        myEncryptedDocumentCreationDateData;
    Value myEncriptedArray, myEncryptedCategoryArray;  // raw tables of an old file

    Value OSXPlatformDictionary;      // rebuilt at each save and lock
    Value myiOSPlatformDictionary;    // the phone edition's block, kept whole
    bool YouCanSave = true;
    bool requiresMandatoryPassword = true;
    bool useMyWinRect = false;
    Rect myWinRectToUse;
    bool useMyColumnWidth = false;
    Rect splitLeftFrame, splitRightFrame;
    bool makeToolbarVisibleAtDecrypt = false;
    Value startColumnSizes, startColumnVisibilities, customTableSettings;
    Value latestOrderedColumn;
    bool latestOrderedColumnAscending = false;
    Value savedCategoryTableWidth, savedNameTableWidth, savedUrlTableWidth, savedPasswordTableWidth,
        savedEmailTableWidth, accountTableWidth, userIDTableWidth;

    QString convertFormatString, docReleaseString, appReleaseString, moreDocDescription;

    Array myKeyArrayForImport, myKeyArrayForExport;

private:
    void markLockPending();
    bool lockPending_ = false;
    Dictionary buildPlatformDictionary(bool withToolbarState) const;
    void makeCheckValues();
    void keepEngineForPassword();
    void encryptTables();
    void keepMembersIn(const QByteArray& file);
};

}  // namespace qv
