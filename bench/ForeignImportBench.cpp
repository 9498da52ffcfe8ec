// Import of a 100 000-entry file of each foreign format: the time of reading the file, making the
// records and adding them to a new document, and, measured once per format in a child process of
// its own, the peak memory of that import (peakMB, above the process's size before it), the
// document's own memory at the end (docMB, heap in use) and (peak - document) / file size
// (overPerFile, to be under 5).

#include "BenchData.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "importexport/ForeignExport.h"
#include "importexport/ForeignImport.h"
#include "importexport/Rfc4180.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QXmlStreamWriter>
#include <QtEndian>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <zlib.h>

#include <malloc.h>

#include <cstdio>
#include <cstring>

using namespace qv;

namespace {

constexpr int kEntries = 100000;
const char* const kFormats[] = {"keepass-xml", "keepass-csv", "kdbx",        "bitwarden-json",
                                "bitwarden-csv", "chrome-csv", "firefox-csv", "csv"};
const QString kPassword = QStringLiteral("bench-password");

// Records in forty categories, half of them nested two deep.
Array& records() {
    static Array* r = [] {
        auto* a = new Array(bench::makeRecords(kEntries));
        std::vector<Value> cats;
        for (int i = 0; i < 40; ++i)
            cats.push_back(Value(RecordModel::newCategory(
                i % 2 ? QStringLiteral("Group %1 / Sub %2").arg(i / 4).arg(i) : QStringLiteral("Group %1").arg(i), i + 1)));
        for (qsizetype i = 0; i < a->count(); ++i) a->at(i).toDictionary().set(keys::categoryPtr, cats[size_t(i % 40)]);
        return a;
    }();
    return *r;
}

QString field(const Dictionary& r, const QString& key) { return r.value(key).toString(); }

QByteArray browserCsv(bool firefox) {
    QString out = firefox ? QStringLiteral("\"url\",\"username\",\"password\",\"httpRealm\",\"formActionOrigin\",\"guid\","
                                           "\"timeCreated\",\"timeLastUsed\",\"timePasswordChanged\"\n")
                          : QStringLiteral("name,url,username,password,note\n");
    qint64 ms = 1600000000000;
    for (const Value& v : records()) {
        const Dictionary r = v.toDictionary();
        if (firefox)
            out += rfc4180::joinRecord({field(r, keys::url), field(r, keys::userID), field(r, keys::password), QString(),
                                        field(r, keys::url), QStringLiteral("{guid}"), QString::number(ms),
                                        QString::number(ms), QString::number(ms)},
                                       true, QStringLiteral("\n"));
        else
            out += rfc4180::joinRecord({field(r, keys::name), field(r, keys::url), field(r, keys::userID),
                                        field(r, keys::password), field(r, keys::note)},
                                       false, QStringLiteral("\n"));
        ms += 1000;
    }
    return out.toUtf8();
}

QByteArray bitwardenCsv() {
    QString out = QStringLiteral("folder,favorite,type,name,notes,fields,reprompt,login_uri,login_username,login_password,login_totp\n");
    for (const Value& v : records()) {
        const Dictionary r = v.toDictionary();
        QString folder = r.valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString();
        folder.replace(QStringLiteral(" / "), QStringLiteral("/"));
        out += rfc4180::joinRecord({folder, QString(), QStringLiteral("login"), field(r, keys::name), field(r, keys::note),
                                    QStringLiteral("Pin: ") + field(r, keys::pin), QStringLiteral("0"), field(r, keys::url),
                                    field(r, keys::userID), field(r, keys::password), QString()},
                                   false, QStringLiteral("\n"));
    }
    return out.toUtf8();
}

// KeePass XML of the records, groups nested by category; `protect` hides each password as a
// database's inner stream does (the export has them in clear).
QByteArray keePassXml(const std::function<QByteArray(const QByteArray&)>& protect = {}) {
    QMap<QString, std::vector<Dictionary>> byCategory;
    for (const Value& v : records())
        byCategory[v.toDictionary().valueForKeyPath(QStringLiteral("categoryPtr.cat_category")).toString()].push_back(v.toDictionary());
    QByteArray out;
    QXmlStreamWriter w(&out);
    w.writeStartDocument();
    w.writeStartElement(QStringLiteral("KeePassFile"));
    w.writeStartElement(QStringLiteral("Root"));
    w.writeStartElement(QStringLiteral("Group"));
    w.writeTextElement(QStringLiteral("Name"), QStringLiteral("Root"));
    for (auto it = byCategory.cbegin(); it != byCategory.cend(); ++it) {
        const QStringList path = it.key().split(QStringLiteral(" / "));
        for (const QString& g : path) {
            w.writeStartElement(QStringLiteral("Group"));
            w.writeTextElement(QStringLiteral("Name"), g);
        }
        for (const Dictionary& r : *it) {
            w.writeStartElement(QStringLiteral("Entry"));
            w.writeStartElement(QStringLiteral("Times"));
            w.writeTextElement(QStringLiteral("CreationTime"), QStringLiteral("2020-01-02T03:04:05Z"));
            w.writeTextElement(QStringLiteral("LastModificationTime"), QStringLiteral("2021-01-02T03:04:05Z"));
            w.writeEndElement();
            for (const auto& [k, key] : {std::pair{"Title", &keys::name}, std::pair{"UserName", &keys::userID},
                                         std::pair{"Password", &keys::password}, std::pair{"URL", &keys::url},
                                         std::pair{"Notes", &keys::note}, std::pair{"Pin", &keys::pin}}) {
                w.writeStartElement(QStringLiteral("String"));
                w.writeTextElement(QStringLiteral("Key"), QLatin1String(k));
                w.writeStartElement(QStringLiteral("Value"));
                if (protect && key == &keys::password) {
                    w.writeAttribute(QStringLiteral("Protected"), QStringLiteral("True"));
                    w.writeCharacters(QString::fromLatin1(protect(field(r, *key).toUtf8()).toBase64()));
                } else {
                    w.writeCharacters(field(r, *key));
                }
                w.writeEndElement();
                w.writeEndElement();
            }
            w.writeEndElement();
        }
        for (qsizetype i = 0; i < path.size(); ++i) w.writeEndElement();
    }
    w.writeEndDocument();
    return out;
}

QByteArray sha(const QByteArray& a, QCryptographicHash::Algorithm alg) { return QCryptographicHash::hash(a, alg); }
QByteArray le(quint64 v, int bytes) {
    QByteArray b(bytes, '\0');
    for (int i = 0; i < bytes; ++i) b[i] = char((v >> (8 * i)) & 0xFF);
    return b;
}

// A KDBX 4 database of the records: AES-KDF of 1000 rounds (the key derivation is not what is
// measured), AES-256, gzip, ChaCha20 inner stream.
QByteArray kdbx() {
    auto evp = [](const EVP_CIPHER* c, const QByteArray& key, const QByteArray& iv, const QByteArray& in) {
        EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
        QByteArray out(in.size() + 32, '\0');
        int a = 0, b = 0;
        EVP_EncryptInit_ex(ctx, c, nullptr, reinterpret_cast<const unsigned char*>(key.constData()),
                           iv.isEmpty() ? nullptr : reinterpret_cast<const unsigned char*>(iv.constData()));
        if (c == EVP_aes_256_ecb()) EVP_CIPHER_CTX_set_padding(ctx, 0);
        EVP_EncryptUpdate(ctx, reinterpret_cast<unsigned char*>(out.data()), &a, reinterpret_cast<const unsigned char*>(in.constData()), int(in.size()));
        EVP_EncryptFinal_ex(ctx, reinterpret_cast<unsigned char*>(out.data()) + a, &b);
        EVP_CIPHER_CTX_free(ctx);
        out.resize(a + b);
        return out;
    };
    const QByteArray seed(32, 's'), salt(32, 't'), iv(16, 'i'), streamKey(64, 'k');
    QByteArray block = sha(sha(kPassword.toUtf8(), QCryptographicHash::Sha256), QCryptographicHash::Sha256);
    for (int i = 0; i < 1000; ++i) block = evp(EVP_aes_256_ecb(), salt, {}, block);
    const QByteArray transformed = sha(block, QCryptographicHash::Sha256);
    auto var = [](quint8 type, const char* key, const QByteArray& value) {
        return QByteArray(1, char(type)) + le(qstrlen(key), 4) + QByteArray(key) + le(quint64(value.size()), 4) + value;
    };
    const QByteArray kdf = le(0x0100, 2) + var(0x42, "$UUID", QByteArray::fromHex("7c02bb8279a74ac0927d114a00648238")) +
                           var(0x05, "R", le(1000, 8)) + var(0x42, "S", salt) + QByteArray(1, '\0');
    auto headerField = [](quint8 id, const QByteArray& d) { return QByteArray(1, char(id)) + le(quint64(d.size()), 4) + d; };
    const QByteArray header = QByteArray::fromHex("03d9a29a67fb4bb500000400") +
                              headerField(2, QByteArray::fromHex("31c1f2e6bf714350be5805216afc5aff")) +
                              headerField(3, le(1, 4)) + headerField(4, seed) + headerField(7, iv) + headerField(11, kdf) +
                              headerField(0, "\r\n\r\n");
    const QByteArray streamHash = sha(streamKey, QCryptographicHash::Sha512);
    EVP_CIPHER_CTX* inner = EVP_CIPHER_CTX_new();
    const QByteArray innerIv = QByteArray(4, '\0') + streamHash.mid(32, 12);
    EVP_EncryptInit_ex(inner, EVP_chacha20(), nullptr, reinterpret_cast<const unsigned char*>(streamHash.constData()),
                       reinterpret_cast<const unsigned char*>(innerIv.constData()));
    const QByteArray xml = keePassXml([inner](const QByteArray& in) {
        QByteArray out(in.size(), '\0');
        int n = 0;
        EVP_EncryptUpdate(inner, reinterpret_cast<unsigned char*>(out.data()), &n, reinterpret_cast<const unsigned char*>(in.constData()), int(in.size()));
        return out;
    });
    EVP_CIPHER_CTX_free(inner);
    const QByteArray plain = headerField(1, le(3, 4)) + headerField(2, streamKey) + headerField(0, {}) + xml;
    QByteArray gz(int(compressBound(uLong(plain.size()))) + 64, '\0');
    z_stream z{};
    deflateInit2(&z, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.constData()));
    z.avail_in = uInt(plain.size());
    z.next_out = reinterpret_cast<Bytef*>(gz.data());
    z.avail_out = uInt(gz.size());
    deflate(&z, Z_FINISH);
    gz.resize(qsizetype(z.total_out));
    deflateEnd(&z);
    const QByteArray key = sha(seed + transformed, QCryptographicHash::Sha256);
    const QByteArray hmacKey = sha(seed + transformed + QByteArray(1, '\x01'), QCryptographicHash::Sha512);
    auto hmac = [&](quint64 index, const QByteArray& data) {
        const QByteArray k = sha(le(index, 8) + hmacKey, QCryptographicHash::Sha512);
        unsigned char out[32];
        unsigned int n = 0;
        HMAC(EVP_sha256(), k.constData(), int(k.size()), reinterpret_cast<const unsigned char*>(data.constData()), size_t(data.size()), out, &n);
        return QByteArray(reinterpret_cast<const char*>(out), int(n));
    };
    const QByteArray encrypted = evp(EVP_aes_256_cbc(), key, iv, gz);
    QByteArray file = header + sha(header, QCryptographicHash::Sha256) + hmac(~0ull, header);
    quint64 index = 0;
    for (qsizetype at = 0; at <= encrypted.size(); at += 1 << 20, ++index) {
        const QByteArray chunk = encrypted.mid(at, 1 << 20);
        file += hmac(index, le(index, 8) + le(quint64(chunk.size()), 4) + chunk) + le(quint64(chunk.size()), 4) + chunk;
        if (chunk.isEmpty()) break;
    }
    if (encrypted.size() % (1 << 20) != 0) file += hmac(index, le(index, 8) + le(0, 4)) + le(0, 4);
    return file;
}

const QString& fileFor(const QString& format) {
    static QTemporaryDir dir;
    static QHash<QString, QString> paths;
    if (!paths.contains(format)) {
        QByteArray bytes;
        if (format == QLatin1String("keepass-xml")) bytes = keePassXml();
        else if (format == QLatin1String("kdbx")) bytes = kdbx();
        else if (format == QLatin1String("bitwarden-csv")) bytes = bitwardenCsv();
        else if (format == QLatin1String("chrome-csv")) bytes = browserCsv(false);
        else if (format == QLatin1String("firefox-csv")) bytes = browserCsv(true);
        else bytes = ForeignExport::exportBytes(format, records());
        QFile f(dir.filePath(format));
        f.open(QIODevice::WriteOnly);
        f.write(bytes);
        paths.insert(format, f.fileName());
    }
    return paths[format];
}

// One import as the command line runs it: the file read whole, the entries made records, the
// records added to a new document.
qsizetype importOnce(const QString& format, const QString& path) {
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    const QByteArray data = f.readAll();
    f.close();
    MyDocument doc;
    doc.prepareNewDocument();
    DocumentBrowser browser(doc);
    ForeignRecordMaker maker;
    const auto r = ForeignImport::read(format, data, kPassword, [&maker](ForeignEntry&& e) { maker.add(std::move(e)); });
    if (!r) return -1;
    maker.commit(browser);
    return doc.myArray.count();
}

// Heap in use, the blocks mapped apart included.
double inUseMB(const struct mallinfo2& m) { return double(m.uordblks + m.hblkhd) / (1024.0 * 1024.0); }

struct Memory {
    double peakMB = 0, docMB = 0;
};

// The measuring run: a process of its own, started for one format, that prints its figures.
int measure(const QString& format, const QString& path) {
    const double before = bench::maxRssMB();
    const struct mallinfo2 heapBefore = mallinfo2();
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    QByteArray data = f.readAll();
    f.close();
    auto* doc = new MyDocument;  // kept: it is what the figures are compared with
    doc->prepareNewDocument();
    {
        DocumentBrowser browser(*doc);
        ForeignRecordMaker maker;
        (void)ForeignImport::read(format, data, kPassword, [&maker](ForeignEntry&& e) { maker.add(std::move(e)); });
        data = QByteArray();
        maker.commit(browser);
    }
    std::printf("%f %f\n", bench::maxRssMB() - before, inUseMB(mallinfo2()) - inUseMB(heapBefore));
    return doc->myArray.count() == kEntries ? 0 : 1;
}

Memory measureInChild(const QString& format, const QString& path) {
    // Through the shell, /proc/self/exe would be the shell: name this program by its path.
    const QByteArray self = QFile::encodeName(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")));
    const QByteArray command = self + " --measure " + format.toUtf8() + ' ' + QFile::encodeName(path);
    Memory m;
    if (std::FILE* p = popen(command.constData(), "r")) {
        if (std::fscanf(p, "%lf %lf", &m.peakMB, &m.docMB) != 2) m = {};
        pclose(p);
    }
    return m;
}

void BM_ForeignImport100k(benchmark::State& state) {
    const QString format = QLatin1String(kFormats[state.range(0)]);
    state.SetLabel(format.toStdString());
    const QString path = fileFor(format);
    const double fileMB = double(QFile(path).size()) / (1024.0 * 1024.0);
    for (auto _ : state)
        if (importOnce(format, path) != kEntries) state.SkipWithError("wrong record count");
    const Memory m = measureInChild(format, path);
    state.counters["fileMB"] = fileMB;
    state.counters["peakMB"] = m.peakMB;
    state.counters["docMB"] = m.docMB;
    state.counters["overPerFile"] = (m.peakMB - m.docMB) / fileMB;
}
BENCHMARK(BM_ForeignImport100k)->DenseRange(0, 7)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--measure") == 0) {
        qv::tuneMemoryForLargeWork(qv::LargeBlocks::GivenBack);  // as the command line runs
        return measure(QString::fromUtf8(argv[2]), QFile::decodeName(argv[3]));
    }
    return qv::bench::runBenchmarks(argc, argv);
}
