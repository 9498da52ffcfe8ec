// Every generation this program opens is saved to exactly the bytes it was saved to before the
// opening and saving code moved. Randomness is the only thing a save adds, so it is fixed here:
// OpenSSL's random bytes (salt and vector) come from a counter, and the plain random integers
// (the check string) from a fixed seed. Old fields with dates are read in a fixed time zone, and
// the clock that dates old records without a date of their own is stopped.
//
// A changed digest means the program now writes something else for the same document: a file
// older releases or the phone edition may no longer open. Only change a digest on purpose.

#define OPENSSL_SUPPRESS_DEPRECATED  // RAND_METHOD: the one way to make RAND_bytes repeatable

#include "fuzz/FuzzDocuments.h"

#include "browsing/DocumentBrowser.h"
#include "crypto/ZKRandom.h"
#include "document/DocumentFile.h"
#include "document/DocumentKeys.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>

#include <openssl/rand.h>
#include <unicode/timezone.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

using namespace qv;

namespace {

// A RAND_METHOD whose bytes are a counter, restarted for every save.
unsigned char gNextByte = 0;
int countingBytes(unsigned char* out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = gNextByte++;
    return 1;
}
int countingStatus() {
    return 1;
}
const RAND_METHOD kCounting = {nullptr, countingBytes, nullptr,
                               nullptr, countingBytes, countingStatus};

class FixedRandomness {
public:
    FixedRandomness() : saved_(RAND_get_rand_method()) {
        RAND_set_rand_method(&kCounting);
        ZKRandomInteger(0,
                        1);  // seeds the plain source once, so that the seed below is not replaced
    }
    ~FixedRandomness() { RAND_set_rand_method(saved_); }
    void restart() {
        gNextByte = 0x40;
        srandom(20011);
    }

private:
    const RAND_METHOD* saved_;
};

class FixedTimeZone {
public:
    FixedTimeZone() : saved_(icu::TimeZone::createDefault()) {
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("Europe/Rome"));
    }
    ~FixedTimeZone() { icu::TimeZone::setDefault(*saved_); }

private:
    std::unique_ptr<icu::TimeZone> saved_;
};

// The current template with both platform blocks, as the phone edition and the desktop leave them.
QByteArray withPlatformBlocks(const QByteArray& plain) {
    Dictionary root = KeyedUnarchiver::unarchiveObjectWithData(plain)->toDictionary();
    Dictionary desktop;
    desktop.set(keys::windowRecHeight, Value::real(480));
    desktop.set(keys::windowRecWidth, Value::real(720));
    desktop.set(keys::windowRecX, Value::real(33));
    desktop.set(keys::windowRecY, Value::real(44));
    root.set(keys::OSXPlatformDictionary, Value(desktop));
    Dictionary phone;
    phone.set(QStringLiteral("lastSync"), Value::date(400000000));
    phone.set(QStringLiteral("sortKey"), Value(QStringLiteral("name")));
    root.set(keys::iOSPlatformDictionary, Value(phone));
    return *KeyedArchiver::archivedDataWithRootObject(Value(root));
}

struct Sample {
    const char* name;
    QByteArray plain;  // a template, enciphered before use
    const char* sha256;
};

// Opens the sample's file with the password and saves it over itself; the saved file's digest.
std::string openAndSave(const QString& path, FixedRandomness& random) {
    MyDocument doc;
    doc.conversionClock = [] { return 500000000.0; };  // old records without a date get this one
    if (auto loaded = DocumentFile::load(path, doc); !loaded)
        return "not read: " + loaded.message().toStdString();
    if (!DocumentFile::unlock(doc, fuzzdoc::kPassword)) return "not decrypted";
    // An old file has no creation date: opening gives it the present one, fixed here.
    if (LegacyMigration::groupOf(doc.docVersionRapresentation) != 0) {
        if (std::abs(doc.documentCreationDate.toDate() - nowSince2001()) > 600)
            return "no creation date given";
        doc.documentCreationDate = Value::date(510000000);
    }
    random.restart();
    if (auto saved = DocumentFile::save(doc, path); !saved)
        return "not saved: " + saved.message().toStdString();
    const auto bytes = DocumentFile::readBytes(path);
    if (!bytes) return "cannot read the saved file";
    return QCryptographicHash::hash(*bytes, QCryptographicHash::Sha256).toHex().toStdString();
}

}  // namespace

TEST(SavedBytes, EveryGenerationSavesToTheSameBytesAsBefore) {
    FixedRandomness random;
    FixedTimeZone zone;
    const Sample samples[] = {
        {"1000", fuzzdoc::oldTemplate(1000),
         "b4378f13e71111fd617d3116499a12fad068dc2910322999543ae2b56f5ea2d5"},
        {"2000", fuzzdoc::oldTemplate(2000),
         "261dcb09aeb3496989998f44c24302e9bfbc46d59bb0996ed8d37fa9d2d6481c"},
        {"2100", fuzzdoc::oldTemplate(2100),
         "a08e69ac2260c709328bed753f57c4dd6299f052d1708c6e64c308cd902bb0e6"},
        {"2200", fuzzdoc::oldTemplate(2200),
         "90aa60729f45bcd9718f132d46fb1b7a4745359d7a156fab18b5e25665cce640"},
        {"2400", fuzzdoc::oldTemplate(2400),
         "c5ba6256ca0eadc0a409eb713ab71e75070e5165b5773f98bc82db5add2cabd6"},
        {"2800", fuzzdoc::oldTemplate(2800),
         "c5ba6256ca0eadc0a409eb713ab71e75070e5165b5773f98bc82db5add2cabd6"},
        {"20900", fuzzdoc::oldTemplate(20900),
         "0d81afb021d599f96c2507d21d0ad666d0a3c946d6f5e6b6e3ee9c820fc299dd"},
        {"21100", fuzzdoc::oldTemplate(21100),
         "24163f7e9cac625727850eb6ddc87fed2fd2f496e7e2ccf0d0d28b3e6614f2a8"},
        {"21200", fuzzdoc::oldTemplate(21200),
         "24163f7e9cac625727850eb6ddc87fed2fd2f496e7e2ccf0d0d28b3e6614f2a8"},
        {"30000", fuzzdoc::currentTemplate(30000),
         "bc6bcc407dae9fe65a80f2de121bff301b1c59de428b0f1aa662641cd3f8b7b3"},
        {"40000", fuzzdoc::currentTemplate(40000),
         "a2f44c8dcd300b6364cbf64bf600f596047c825bc87ae04aa057d0140d94da5d"},
        {"40100", fuzzdoc::currentTemplate(40100),
         "a2f44c8dcd300b6364cbf64bf600f596047c825bc87ae04aa057d0140d94da5d"},
        {"40100 with platform blocks", withPlatformBlocks(fuzzdoc::currentTemplate(40100)),
         "951a33ab99b88ca424b46507288400fe7ef23a10236b20f45d679f50d1f2d8d2"},
    };
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (const Sample& s : samples) {
        SCOPED_TRACE(s.name);
        const QString path = dir.filePath(QString::fromLatin1(s.name) + QStringLiteral(".qvane"));
        {
            QFile f(path);
            ASSERT_TRUE(f.open(QIODevice::WriteOnly));
            const auto sealed = fuzzdoc::sealTemplate(s.plain);
            ASSERT_TRUE(sealed);
            ASSERT_EQ(f.write(*sealed), sealed->size());
        }
        EXPECT_EQ(openAndSave(path, random), s.sha256);
    }
}

TEST(SavedBytes, FixedRandomnessRepeatsButASecondSaveOfTheSameDocumentDiffers) {
    // The fixture itself: two saves restarted alike are equal, so the digests above mean
    // something; a save that is not restarted draws new salt and vector.
    FixedRandomness random;
    MyDocument doc;
    DocumentBrowser browser(doc);
    doc.prepareNewDocument();
    doc.plainPassword = QStringLiteral("pw");
    ASSERT_TRUE(doc.dataOfType(QString()));  // the first save makes the engine: a draw of its own
    random.restart();
    const QByteArray first = doc.dataOfType(QString()).value();
    random.restart();
    const QByteArray second = doc.dataOfType(QString()).value();
    const QByteArray third = doc.dataOfType(QString()).value();
    EXPECT_EQ(first, second);
    EXPECT_NE(second, third);
}
