#include "QvaneCommand.h"

#include "foundation/ZKAppSupportUtility.h"

namespace qv::cli {

namespace {

void print(std::FILE* f, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), f);
}

}  // namespace

QString versionText() {
    return QStringLiteral("qvane %1 (Quorvane %1, release %2)\n")
        .arg(ZKAppSupportUtility::calcReleaseString(kReleaseNumber))
        .arg(kReleaseNumber);
}

QString usageText() {
    return QStringLiteral(
        "Usage: qvane [--help | --version]\n"
        "\n"
        "Works with Quorvane documents (.qvane) without opening a window.\n"
        "\n"
        "Options:\n"
        "  -h, --help     Show this help and exit.\n"
        "  -V, --version  Show the release and exit.\n"
        "\n"
        "Exit status: 0 success, 1 wrong password, 2 usage error, 3 document made by a newer\n"
        "release, 4 file that cannot be read as a document.\n");
}

int run(const QStringList& args, const Streams& io) {
    if (args.isEmpty()) {
        print(io.err, usageText());
        return kExitUsage;
    }
    const QString& first = args.first();
    if (first == QLatin1String("--help") || first == QLatin1String("-h") || first == QLatin1String("help")) {
        print(io.out, usageText());
        return kExitOk;
    }
    if (first == QLatin1String("--version") || first == QLatin1String("-V")) {
        print(io.out, versionText());
        return kExitOk;
    }
    print(io.err, QStringLiteral("qvane: unknown command \"%1\"\n\n").arg(first) + usageText());
    return kExitUsage;
}

}  // namespace qv::cli
