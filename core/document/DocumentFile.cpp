#include "DocumentFile.h"

#include "crypto/SecretMemory.h"
#include "crypto/ZKCommonCrypto.h"
#include "document/DocumentTexts.h"
#include "document/LegacyMigration.h"
#include "document/MyDocument.h"
#include "foundation/FileBytes.h"
#include "foundation/KeyedArchive.h"
#include "foundation/PrivateFile.h"
#include "foundation/ZKAppSupportUtility.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <new>

namespace qv::DocumentFile {

namespace {

DocumentFileStatus failed(DocumentFileError kind, QString message) {
    return DocumentFileStatus::failed(kind, std::move(message));
}

const QString kNoMemoryToRead = QStringLiteral("There is not enough memory to read it.");
const QString kNoMemoryToPrepare =
    QStringLiteral("There is not enough memory to prepare its contents.");
const QString kNoMemoryToCheck =
    QStringLiteral("There is not enough memory to read the new contents back.");

}  // namespace

DocumentFileResult<QByteArray> readBytes(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return DocumentFileResult<QByteArray>::failed(DocumentFileError::CannotRead,
                                                      file.errorString());
    try {
        QByteArray bytes = readWholeFile(file);
        // A read that failed half-way (a disk error) is no shorter document.
        if (file.error() != QFileDevice::NoError)
            return DocumentFileResult<QByteArray>::failed(DocumentFileError::CannotRead,
                                                          file.errorString());
        return bytes;
    } catch (const std::bad_alloc&) {
        return DocumentFileResult<QByteArray>::failed(DocumentFileError::OutOfMemory,
                                                      kNoMemoryToRead);
    }
}

DocumentFileStatus load(const QString& path, MyDocument& doc) {
    auto bytes = readBytes(path);
    if (!bytes) return bytes.failure();
    return take(*bytes, doc);
}

DocumentFileStatus take(const QByteArray& bytes, MyDocument& doc) {
    try {
        const MyDocument::ReadStatus taken = doc.readFromData(bytes, QStringLiteral("qvane"));
        if (taken) return {};
        if (taken.kind() == MyDocument::ReadFailure::TooNew)
            return failed(DocumentFileError::TooNew, texts::tooNewMessage);
        return failed(DocumentFileError::NotADocument, taken.message());
    } catch (const std::bad_alloc&) {
        return failed(DocumentFileError::OutOfMemory, kNoMemoryToRead);
    }
}

DocumentFileStatus unlock(MyDocument& doc, const QString& password) {
    if (LegacyMigration::groupOf(doc.docVersionRapresentation) != 0 &&
        !ZKCrypto::availabilityError().isEmpty())
        return failed(DocumentFileError::NoOldCipher, ZKCrypto::availabilityError());
    doc.plainPassword = password;
    if (doc.Decript() != 0) {
        doc.decryptFailed();
        return failed(DocumentFileError::WrongPassword,
                      texts::wrongPassword + QLatin1Char('\n') + texts::wrongPasswordInformative);
    }
    doc.decryptDone();
    return {};
}

DocumentFileResult<QByteArray> encode(MyDocument& doc) {
    try {
        auto bytes = doc.dataOfType(QStringLiteral("qvane"));
        if (!bytes)
            return DocumentFileResult<QByteArray>::failed(
                DocumentFileError::CannotEncipher,
                QStringLiteral("The document could not be enciphered."));
        return std::move(*bytes);
    } catch (const std::bad_alloc&) {
        // The records in memory are untouched by a save; only its copies are let go.
        return DocumentFileResult<QByteArray>::failed(DocumentFileError::OutOfMemory,
                                                      kNoMemoryToPrepare);
    }
}

namespace {

// Whether a document read from the file would open with `password`: each step an opening takes
// that can fail (the check value, deciphering each member, decoding each archive), taken with
// the same code. Only the tables are not made: the records are decoded one after another and let
// go, so that a save of a large document needs no second copy of it.
bool opensWith(const MyDocument& doc, const QString& password) {
    ZKCommonCrypto engine;
    engine.setPasswordToDecrypt(password, doc.myIV.toData(), doc.mySalt.toData());
    auto check = engine.decrypt(doc.myRCDataEncrypted.toData());
    if (!check) return false;
    const bool checked = doc.mySha1_RcData.isData() && ZKCommonCrypto::dataSHA1(*check) == doc.mySha1_RcData.toData();
    secrets::wipe(*check);
    if (!checked) return false;
    for (const Value* member : {&doc.myEncryptedArrayData, &doc.myEncryptedCategoryArrayData,
                                &doc.myEncryptedEmailArrayData, &doc.myEncryptedDocumentCreationDateData}) {
        auto plain = engine.decrypt(member->toData());
        if (!plain) return false;
        const secrets::WipeOnExit wipePlain(*plain);
        if (!KeyedUnarchiver::checkArchive(*plain)) return false;
    }
    return true;
}

}  // namespace

DocumentFileStatus checkReadsBack(const QByteArray& bytes, const QString& password) {
    try {
        MyDocument check;
        bool opens = check.read(bytes).ok();
        if (opens && LegacyMigration::groupOf(check.docVersionRapresentation) == 0 &&
            check.docVersionRapresentation >= 30000) {
            opens = opensWith(check, password);
        } else if (opens) {
            // Bytes of an older generation are not this program's making; they are opened in full.
            check.plainPassword = password;
            opens = check.Decript() == 0;
        }
        check.wipePasswords();
        if (!opens)
            return failed(DocumentFileError::DoesNotReadBack,
                          QStringLiteral("The new contents could not be read back with the "
                                         "document's password, so the file was left as it was."));
    } catch (const std::bad_alloc&) {
        return failed(DocumentFileError::OutOfMemory, kNoMemoryToCheck);
    }
    return {};
}

DocumentFileStatus writeAtomically(const QString& path, const QByteArray& bytes) {
    if (auto written = writePrivately(path, bytes); !written)
        return failed(DocumentFileError::CannotWrite, written.message());
    return {};
}

DocumentFileStatus write(const QString& path, const QByteArray& bytes, const QString& password) {
    // Nothing may leave a worker thread this runs on, not even a failed allocation.
    try {
        if (auto opens = checkReadsBack(bytes, password); !opens) return opens;
        return writeAtomically(path, bytes);
    } catch (const std::bad_alloc&) {
        return failed(DocumentFileError::OutOfMemory, kNoMemoryToCheck);
    }
}

DocumentFileStatus save(MyDocument& doc, const QString& path) {
    auto bytes = encode(doc);
    if (!bytes) return bytes.failure();
    return write(path, *bytes, doc.plainPassword);
}

FileStamp stampOf(const QString& path) {
    FileStamp s;
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0) return s;
    s.exists = true;
    s.size = std::int64_t(st.st_size);
    s.modifiedNs = std::int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    s.inode = std::uint64_t(st.st_ino);
    s.device = std::uint64_t(st.st_dev);
    if (s.size <= FileStamp::kLargestHashed) {
        QFile f(path);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        if (f.open(QIODevice::ReadOnly) && hash.addData(&f)) s.digest = hash.result();
    }
    return s;
}

QString oldGenerationCopyPath(const QString& path, std::uint64_t generation) {
    const QFileInfo file(path);
    const QString name = file.suffix().compare(QLatin1String("qvane"), Qt::CaseInsensitive) == 0
                             ? file.completeBaseName()
                             : file.fileName();
    QString release = ZKAppSupportUtility::calcReleaseString(std::int64_t(generation));
    if (release.isEmpty())
        release = QString::number(generation);  // the oldest numbers have no text
    const QString base = QStringLiteral("%1 (generation %2)").arg(name, release);
    QString candidate = file.dir().filePath(base + QStringLiteral(".qvane"));
    for (int n = 2; QFileInfo::exists(candidate) || QFileInfo(candidate).isSymLink(); ++n)
        candidate = file.dir().filePath(QStringLiteral("%1 %2.qvane").arg(base).arg(n));
    return candidate;
}

DocumentFileResult<QString> keepCopyOf(const QString& path, std::uint64_t generation) {
    // A file that has gone meanwhile has nothing to keep.
    if (!QFileInfo::exists(path)) return QString();
    auto bytes = readBytes(path);
    if (!bytes) return bytes.failure();
    const QString copyPath = oldGenerationCopyPath(path, generation);
    if (auto written = writeNewPrivately(copyPath, *bytes); !written)
        return DocumentFileResult<QString>::failed(DocumentFileError::CannotWrite,
                                                   written.message());
    return copyPath;
}

}  // namespace qv::DocumentFile
