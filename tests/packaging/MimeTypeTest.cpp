// The document type the program installs for the desktop claims its own files, by name, and
// leaves every other binary property list of the system alone. The shared-mime-info database is
// pointed at a folder holding only the program's type, beside the system's own types.

#include <QDir>
#include <QFile>
#include <QMimeDatabase>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kType = QStringLiteral("application/x-quorvane");

QString write(const QTemporaryDir& dir, const QString& name, const QByteArray& bytes) {
    const QString path = dir.filePath(name);
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
    return path;
}

}  // namespace

TEST(DocumentMimeType, DocumentsByNameAndNoOtherPropertyList) {
    // Read before the database is first used in this process, which this test is the only one of.
    QTemporaryDir data;
    ASSERT_TRUE(QDir().mkpath(data.filePath(QStringLiteral("mime/packages"))));
    ASSERT_TRUE(QFile::copy(QStringLiteral(QV_MIME_XML), data.filePath(QStringLiteral("mime/packages/quorvane.xml"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(data.path()));
    QMimeDatabase db;
    ASSERT_TRUE(db.mimeTypeForName(kType).isValid()) << "the type was not loaded";

    QTemporaryDir files;
    // A binary property list: the shape of a document, and of many files that are not one.
    const QByteArray plist = QByteArray("bplist00\xd1\x01\x02Tname\x10\x01\x08\x0b\x10", 19) + QByteArray(26, '\0');
    EXPECT_EQ(db.mimeTypeForFile(write(files, QStringLiteral("vault.qvane"), plist)).name(), kType);
    EXPECT_EQ(db.mimeTypeForFile(write(files, QStringLiteral("empty.qvane"), QByteArray())).name(), kType);
    EXPECT_NE(db.mimeTypeForFile(write(files, QStringLiteral("settings.plist"), plist)).name(), kType);
    EXPECT_NE(db.mimeTypeForFile(write(files, QStringLiteral("settings"), plist)).name(), kType);
    EXPECT_NE(db.mimeTypeForData(plist).name(), kType);
}
