// A document's life on disk: what reading says about a file that is not one, opening with the
// right and a wrong password, the modes and links a save keeps, the stamp that notices another
// program's changes, and the copy kept of an old generation's file.

#include "fuzz/FuzzDocuments.h"

#include "document/DocumentFile.h"
#include "document/DocumentKeys.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"
#include "foundation/PrivateFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

using namespace qv;

namespace {

const QString kPassword = QStringLiteral("secret 1");

QByteArray contents(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void put(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(f.write(bytes), bytes.size());
}

mode_t modeOf(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? (st.st_mode & 0777) : 0;
}

// A new document of `records` records, open, with the password.
void fill(MyDocument& doc, int records) {
    doc.prepareNewDocument();
    for (int i = 0; i < records; ++i) {
        Dictionary r = RecordModel::newRecord(i);
        r.set(keys::name, Value(QStringLiteral("record %1").arg(i)));
        doc.myArray.append(Value(r));
    }
    doc.plainPassword = kPassword;
}

class Umask {
public:
    explicit Umask(mode_t mask) : saved_(::umask(mask)) {}
    ~Umask() { ::umask(saved_); }

private:
    mode_t saved_;
};

}  // namespace

TEST(DocumentFile, ReadingTellsAMissingFileADamagedOneAndOneTooNewApart) {
    QTemporaryDir dir;
    MyDocument doc;

    const DocumentFileStatus missing =
        DocumentFile::load(dir.filePath(QStringLiteral("none.qvane")), doc);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.kind(), DocumentFileError::CannotRead);
    EXPECT_EQ(missing.message(), QStringLiteral("No such file or directory"));

    // A folder named like a document.
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("folder.qvane")));
    const DocumentFileStatus folder =
        DocumentFile::load(dir.filePath(QStringLiteral("folder.qvane")), doc);
    ASSERT_FALSE(folder);
    EXPECT_EQ(folder.kind(), DocumentFileError::CannotRead);
    EXPECT_FALSE(folder.message().isEmpty());

    // A file that opens but fails to read: the error is told, not taken for a short file.
    const DocumentFileStatus unreadable = DocumentFile::load(QStringLiteral("/proc/self/mem"), doc);
    ASSERT_FALSE(unreadable);
    EXPECT_EQ(unreadable.kind(), DocumentFileError::CannotRead)
        << unreadable.message().toStdString();

    const QString text = dir.filePath(QStringLiteral("notes.qvane"));
    put(text, "just some notes\n");
    const DocumentFileStatus damaged = DocumentFile::load(text, doc);
    ASSERT_FALSE(damaged);
    EXPECT_EQ(damaged.kind(), DocumentFileError::NotADocument);
    EXPECT_FALSE(damaged.message().isEmpty());

    // One generation past the one this release writes.
    const QString newer = dir.filePath(QStringLiteral("newer.qvane"));
    put(newer, fuzzdoc::currentTemplate(MyDocument::kGenerationWritten + 1));
    const DocumentFileStatus tooNew = DocumentFile::load(newer, doc);
    ASSERT_FALSE(tooNew);
    EXPECT_EQ(tooNew.kind(), DocumentFileError::TooNew);

    // The generation this release writes is read; the one before it too.
    for (std::uint64_t generation : {MyDocument::kGenerationWritten, std::uint64_t(40000)}) {
        const QString path = dir.filePath(QStringLiteral("g%1.qvane").arg(generation));
        put(path, fuzzdoc::sealTemplate(fuzzdoc::currentTemplate(generation)).value());
        MyDocument readable;
        EXPECT_TRUE(DocumentFile::load(path, readable)) << generation;
        EXPECT_TRUE(readable.isEncrypted());
    }
}

TEST(DocumentFile, AWrongPasswordLeavesTheDocumentLockedAndTheRightOneOpensIt) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    {
        MyDocument doc;
        fill(doc, 3);
        ASSERT_TRUE(DocumentFile::save(doc, path));
    }
    MyDocument doc;
    ASSERT_TRUE(DocumentFile::load(path, doc));
    const DocumentFileStatus wrong = DocumentFile::unlock(doc, QStringLiteral("secret 2"));
    ASSERT_FALSE(wrong);
    EXPECT_EQ(wrong.kind(), DocumentFileError::WrongPassword);
    EXPECT_TRUE(wrong.message().startsWith(QStringLiteral("Wrong Password\n")));
    EXPECT_TRUE(doc.isEncrypted());
    EXPECT_TRUE(doc.myArray.isEmpty());

    ASSERT_TRUE(DocumentFile::unlock(doc, kPassword));
    EXPECT_TRUE(doc.isDecrypted());
    ASSERT_EQ(doc.myArray.count(), 3);
    EXPECT_EQ(doc.myArray.at(2).toDictionary().value(keys::name).toString(),
              QStringLiteral("record 2"));
}

TEST(DocumentFile, SavingKeepsModesAndLinksAndLeavesThePreviousFileOnAnyFailure) {
    QTemporaryDir dir;
    const Umask everyoneReads(022);
    MyDocument doc;
    fill(doc, 2);

    // A new file is the owner's alone; an existing one keeps the mode its owner gave it.
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    ASSERT_TRUE(DocumentFile::save(doc, path));
    EXPECT_EQ(modeOf(path), 0600u);
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0640), 0);
    ASSERT_TRUE(DocumentFile::save(doc, path));
    EXPECT_EQ(modeOf(path), 0640u);

    // Saved through a link, the link stays a link and its target has the new contents.
    const QString link = dir.filePath(QStringLiteral("link.qvane"));
    ASSERT_TRUE(QFile::link(path, link));
    const QByteArray before = contents(path);
    ASSERT_TRUE(DocumentFile::save(doc, link));
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_NE(contents(path), before);
    MyDocument reread;
    ASSERT_TRUE(DocumentFile::load(path, reread));
    EXPECT_TRUE(DocumentFile::unlock(reread, kPassword));

    // A folder that is not there: the system's reason, and nothing left behind anywhere.
    const DocumentFileStatus gone =
        DocumentFile::save(doc, dir.filePath(QStringLiteral("gone/vault.qvane")));
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.kind(), DocumentFileError::CannotWrite);
    EXPECT_EQ(gone.message(), QStringLiteral("No such file or directory"));

    // A document that may not be saved is refused before anything is written.
    const QByteArray saved = contents(path);
    doc.YouCanSave = false;
    const DocumentFileStatus refused = DocumentFile::save(doc, path);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.kind(), DocumentFileError::CannotEncipher);
    EXPECT_EQ(contents(path), saved);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(),
              2);  // the file and its link
}

TEST(DocumentFile, TheStampNoticesARewriteInPlaceEvenWithTheTimePutBack) {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    put(path, QByteArray(4096, 'a'));
    const FileStamp first = DocumentFile::stampOf(path);
    EXPECT_TRUE(first.exists);
    EXPECT_EQ(first.size, 4096);
    EXPECT_EQ(DocumentFile::stampOf(path), first);

    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &st), 0);
    QByteArray changed(4096, 'a');
    changed[100] = 'b';
    put(path, changed);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    const FileStamp second = DocumentFile::stampOf(path);
    EXPECT_EQ(second.modifiedNs, first.modifiedNs);
    EXPECT_EQ(second.size, first.size);
    EXPECT_NE(second, first);

    QFile::remove(path);
    EXPECT_FALSE(DocumentFile::stampOf(path).exists);
}

TEST(DocumentFile, AnOldGenerationsFileIsCopiedBesideItOnceAndNoCopyIsEverWrittenOver) {
    QTemporaryDir dir;
    const Umask everyoneReads(022);
    const QString path = dir.filePath(QStringLiteral("vault.qvane"));
    const QByteArray old = fuzzdoc::sealTemplate(fuzzdoc::oldTemplate(20900)).value();
    put(path, old);

    const auto first = DocumentFile::keepCopyOf(path, 20900);
    ASSERT_TRUE(first) << first.message().toStdString();
    EXPECT_TRUE(first->startsWith(dir.filePath(QStringLiteral("vault (generation "))));
    EXPECT_TRUE(first->endsWith(QStringLiteral(").qvane")));
    EXPECT_EQ(contents(*first), old);
    EXPECT_EQ(modeOf(*first), 0600u);

    // A second copy takes the next free name rather than the first copy's place.
    const auto second = DocumentFile::keepCopyOf(path, 20900);
    ASSERT_TRUE(second);
    EXPECT_TRUE(second->endsWith(QStringLiteral(") 2.qvane")));
    EXPECT_EQ(contents(*first), old);

    // Writing a new file where one is refuses and leaves it.
    const Status<> overwrite = writeNewPrivately(*first, "other");
    EXPECT_FALSE(overwrite);
    EXPECT_EQ(contents(*first), old);

    // A file that has gone has nothing to keep.
    QFile::remove(path);
    const auto none = DocumentFile::keepCopyOf(path, 20900);
    ASSERT_TRUE(none);
    EXPECT_TRUE(none->isEmpty());
}
