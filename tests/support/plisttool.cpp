// A small tool through which the compatibility tests hand property lists and keyed archives
// between this program's codec and an independent implementation.
//
//   plisttool dump FILE            any property list, as JSON
//   plisttool rewrite IN OUT       read a property list, write it back in binary form
//   plisttool unarchive FILE       a keyed archive's root object, as JSON
//   plisttool rearchive IN OUT     read a keyed archive, archive its root again

#include "foundation/JsonWriter.h"
#include "foundation/KeyedArchive.h"
#include "foundation/PropertyList.h"

#include <QFile>

#include <cstdio>

using namespace qv;

namespace {

bool readFile(const QString& path, QByteArray* out) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return false;
    *out = f.readAll();
    return true;
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

int failWith(const QString& text) {
    std::fprintf(stderr, "plisttool: %s\n", qPrintable(text));
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return failWith(QStringLiteral("usage: plisttool dump|rewrite|unarchive|rearchive FILE [OUT]"));
    const QString verb = QString::fromLocal8Bit(argv[1]);
    QByteArray input;
    if (!readFile(QString::fromLocal8Bit(argv[2]), &input)) return failWith(QStringLiteral("cannot read input"));
    const bool archive = verb == QLatin1String("unarchive") || verb == QLatin1String("rearchive");
    const auto value = archive ? KeyedUnarchiver::unarchiveObjectWithData(input) : readPropertyList(input);
    if (!value) return failWith(value.message());
    if (verb == QLatin1String("dump") || verb == QLatin1String("unarchive")) {
        const QByteArray json = JsonWriter(false).write(*value) + '\n';
        std::fwrite(json.constData(), 1, size_t(json.size()), stdout);
        return 0;
    }
    if (argc < 4) return failWith(QStringLiteral("missing output file"));
    const auto bytes = archive ? KeyedArchiver::archivedDataWithRootObject(*value) : writeBinaryPropertyList(*value);
    if (!bytes) return failWith(bytes.message());
    return writeFile(QString::fromLocal8Bit(argv[3]), *bytes) ? 0 : failWith(QStringLiteral("cannot write output"));
}
