// Writes the seed corpora of the document, import and update feed targets into the folder given
// (tests/fuzz/seeds). Run by hand after a change of the formats; the seeds are kept in the tree.
#include "FuzzDocuments.h"

#include "browsing/DocumentBrowser.h"
#include "document/MyDocument.h"
#include "document/RecordModel.h"
#include "foundation/PropertyList.h"

#include <QDir>
#include <QFile>

#include <cstdio>

using namespace qv;

namespace {

// The choice bytes of the target first, then the input proper.
bool put(const QString& folder, const QString& name, QByteArray choices, const QByteArray& bytes) {
    QDir().mkpath(folder);
    QFile f(QDir(folder).filePath(name));
    choices += bytes;
    return f.open(QIODevice::WriteOnly) && f.write(choices) == choices.size();
}

QByteArray choice(int a) { return QByteArray(1, char(a)); }
QByteArray choice(int a, int b) { return choice(a) + choice(b); }

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: MakeSeeds SEEDS_FOLDER\n", stderr);
        return 2;
    }
    const QString root = QString::fromLocal8Bit(argv[1]);
    bool ok = true;

    // Documents: a real file (first byte even), then plain templates (odd) of the current and
    // old generations.
    const QString docs = root + QStringLiteral("/DocumentFuzz");
    {
        MyDocument doc;
        DocumentBrowser browser(doc);
        doc.prepareNewDocument();
        for (int i = 0; i < 3; ++i) {
            Dictionary r = RecordModel::newRecord(i);
            r.set(keys::name, Value(QStringLiteral("record %1").arg(i)));
            r.set(keys::password, Value(QStringLiteral("secret \u00e9%1").arg(i)));
            doc.myArray.append(Value(r));
        }
        doc.plainPassword = fuzzdoc::kPassword;
        ok &= put(docs, QStringLiteral("current-file"), choice(0), doc.dataOfType(QString()).value());
    }
    for (std::uint64_t g : {30000, 40000, 40100})
        ok &= put(docs, QStringLiteral("template-%1").arg(g), choice(1), fuzzdoc::currentTemplate(g));
    for (std::uint64_t g : {1000, 2000, 2100, 2200, 2400, 2800, 20900, 21100, 21200})
        ok &= put(docs, QStringLiteral("template-%1").arg(g), choice(1), fuzzdoc::oldTemplate(g));

    // Import files: encoding code index, then format and mapping, then the text.
    const QString imports = root + QStringLiteral("/ImportFuzz");
    const QByteArray csv = "Name,URL,Password,Note\n\"Bank, main\",https://bank.example,\"p\"\"w\",\"two\nlines\"\n"
                           "Mail,,x ,\n   \n\"unbalanced,quote\n";
    const QByteArray semicolon = "name;password\r\nA;\"1;2\"\r\nB;3\r";
    const QByteArray tabs = "Name\tUser ID\tPassword\nshop\tme\tpw\n\t\t\n";
    ok &= put(imports, QStringLiteral("csv-header"), choice(1, 1 << 2), csv);
    ok &= put(imports, QStringLiteral("semicolon-cascade"), choice(1, 3), semicolon);
    ok &= put(imports, QStringLiteral("tab-auto"), choice(0, 2 << 2), tabs);
    QByteArray utf16("\xFF\xFE", 2);
    for (char c : csv) utf16.append(c).append('\0');
    ok &= put(imports, QStringLiteral("utf16-mark"), choice(0, 0), utf16);
    ok &= put(imports, QStringLiteral("macroman"), choice(8, 2), QByteArray("Caf\x8e,\xa5\n"));

    // Update feeds: the button pressed, then what the mirror answers.
    const QString feeds = root + QStringLiteral("/UpdateFeedFuzz");
    Dictionary feed;
    feed.set(QStringLiteral("LRA"), Value::integer(40300));
    feed.set(QStringLiteral("GFU"), Value("http://www.example.org/get/quorvane.zip"));
    feed.set(QStringLiteral("DPU"), Value("http://www.example.org/download"));
    ok &= put(feeds, QStringLiteral("newer-binary"), choice(0), writeBinaryPropertyList(Value(feed)).value());
    feed.set(QStringLiteral("LRA"), Value::integer(40200));
    ok &= put(feeds, QStringLiteral("same-binary"), choice(1), writeBinaryPropertyList(Value(feed)).value());
    ok &= put(feeds, QStringLiteral("newer-xml"), choice(1),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\"><dict><key>LRA</key>"
              "<integer>50000</integer><key>GFU</key><string>http://a.example/x?a=1&amp;b=2</string><key>DPU</key>"
              "<string>not a url</string></dict></plist>\n");
    ok &= put(feeds, QStringLiteral("html-error-page"), choice(2), "<html><body>502 Bad Gateway</body></html>");
    return ok ? 0 : 1;
}
