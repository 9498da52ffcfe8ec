#include "ForeignImport.h"

#include "KdbxReader.h"
#include "Rfc4180.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentKeys.h"
#include "document/RecordModel.h"

#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QTimeZone>
#include <QUrl>
#include <QXmlStreamReader>

namespace qv {

namespace ForeignImport {

namespace {

using Sink = std::function<void(ForeignEntry&&)>;

constexpr double kUnixTo2001 = double(kUnixSecondsAt2001);
// Seconds from 0001-01-01, where KDBX 4 counts its times from, to 2001-01-01.
constexpr double kYearOneTo2001 = 63113904000.0;

Read malformed(const QString& error) { return Read::failed(Problem::Malformed, error); }

void appendLine(QString& note, const QString& key, const QString& value) {
    if (value.isEmpty()) return;
    if (!note.isEmpty()) note += QLatin1Char('\n');
    note += key + QStringLiteral(": ") + value;
}

// Fields that have a place of their own in a record, when another program keeps them as extra
// fields; everything else goes into the note as a line.
bool takeKnownField(ForeignEntry& e, const QString& key, const QString& value) {
    const QString k = key.trimmed().toLower();
    if (k == QLatin1String("account")) e.account = value;
    else if (k == QLatin1String("pin")) e.pin = value;
    else if (k == QLatin1String("security")) e.security = value;
    else if (k == QLatin1String("email")) e.email = value;
    else return false;
    return true;
}

QString hostOf(const QString& url) {
    const QUrl u(url);
    return u.host().isEmpty() ? url : u.host();
}

std::optional<QString> decodeUtf8(const QByteArray& data) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(data);
    if (decoder.hasError()) return std::nullopt;
    return text;
}

// ---- CSV family ----

// A CSV file's header by lower-cased name, and its rows checked against it.
class CsvFile {
public:
    explicit CsvFile(const QString& text) : reader_(text) {}

    // Reads the header; a failure when a required column is missing.
    Status<> readHeader(const QStringList& required) {
        const auto header = reader_.next();
        if (!header) return header.failure();
        if (!*header) return Status<>::failed(0, QStringLiteral("line 1: the file is empty; a header row was expected"));
        header_ = std::move(**header);
        for (qsizetype i = 0; i < header_.size(); ++i) index_.insert(header_[i].trimmed().toLower(), i);
        for (const QString& r : required)
            if (!index_.contains(r))
                return Status<>::failed(0, QStringLiteral("line %1: the header has no \"%2\" column").arg(reader_.recordLine()).arg(r));
        return {};
    }
    // The next row: true when there is one, false at the end, or what is wrong with it.
    Result<bool> next() {
        auto row = reader_.next();
        if (!row) return row.failure();
        if (!*row) return false;
        row_ = std::move(**row);
        if (row_.size() != header_.size())
            return Result<bool>::failed(0, QStringLiteral("line %1: %2 fields where the header has %3")
                                               .arg(reader_.recordLine()).arg(row_.size()).arg(header_.size()));
        return true;
    }
    QString value(const QString& column) const {
        const qsizetype i = index_.value(column, -1);
        return i >= 0 ? row_.at(i) : QString();
    }
    qsizetype line() const { return reader_.recordLine(); }
    const QStringList& header() const { return header_; }
    const QStringList& row() const { return row_; }
    bool has(const QString& column) const { return index_.contains(column); }

private:
    rfc4180::Reader reader_;
    QStringList header_, row_;
    QHash<QString, qsizetype> index_;
};

// Reads a CSV file with `required` columns, making each row an entry through `make`.
template <typename Make>
Read readCsv(const QByteArray& data, const QStringList& required, Make make, const Sink& sink) {
    const auto text = decodeUtf8(data);
    if (!text) return malformed(QStringLiteral("the file is not UTF-8 text"));
    CsvFile csv(*text);
    if (const auto header = csv.readHeader(required); !header) return malformed(header.message());
    qsizetype count = 0;
    for (;;) {
        const auto row = csv.next();
        if (!row) return malformed(row.message());
        if (!*row) break;
        ForeignEntry e;
        if (const Status<> made = make(csv, e); !made)
            return malformed(QStringLiteral("line %1: %2").arg(csv.line()).arg(made.message()));
        sink(std::move(e));
        ++count;
    }
    return count;
}

QStringList splitPath(const QString& path, QChar separator) {
    QStringList parts;
    for (const QString& p : path.split(separator, Qt::SkipEmptyParts))
        if (!p.trimmed().isEmpty()) parts << p.trimmed();
    return parts;
}

Read readKeePassCsv(const QByteArray& data, const Sink& sink) {
    return readCsv(data, {QStringLiteral("title"), QStringLiteral("password")}, [](const CsvFile& csv, ForeignEntry& e) -> Status<> {
        // The group path starts at the root group, which is not a category.
        e.group = splitPath(csv.value(QStringLiteral("group")), QLatin1Char('/'));
        if (!e.group.isEmpty()) e.group.removeFirst();
        e.title = csv.value(QStringLiteral("title"));
        e.userName = csv.value(QStringLiteral("username"));
        e.password = csv.value(QStringLiteral("password"));
        e.url = csv.value(QStringLiteral("url"));
        e.notes = csv.value(QStringLiteral("notes"));
        appendLine(e.notes, QStringLiteral("TOTP"), csv.value(QStringLiteral("totp")));
        for (const char* k : {"account", "pin", "security", "email"}) takeKnownField(e, QLatin1String(k), csv.value(QLatin1String(k)));
        e.modified = dateFromIso(csv.value(QStringLiteral("last modified")));
        e.created = dateFromIso(csv.value(QStringLiteral("created")));
        return {};
    }, sink);
}

Read readBitwardenCsv(const QByteArray& data, const Sink& sink) {
    return readCsv(data, {QStringLiteral("name"), QStringLiteral("login_password"), QStringLiteral("type")},
                   [](const CsvFile& csv, ForeignEntry& e) -> Status<> {
        e.group = splitPath(csv.value(QStringLiteral("folder")), QLatin1Char('/'));
        e.title = csv.value(QStringLiteral("name"));
        e.notes = csv.value(QStringLiteral("notes"));
        // Custom fields come as "name: value" lines.
        for (QString line : csv.value(QStringLiteral("fields")).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            if (line.endsWith(QLatin1Char('\r'))) line.chop(1);
            const qsizetype colon = line.indexOf(QLatin1String(": "));
            if (colon < 0 || !takeKnownField(e, line.left(colon), line.mid(colon + 2)))
                e.notes += (e.notes.isEmpty() ? QString() : QStringLiteral("\n")) + line;
        }
        const QStringList uris = csv.value(QStringLiteral("login_uri")).split(QLatin1Char(','), Qt::SkipEmptyParts);
        if (!uris.isEmpty()) e.url = uris.first();
        for (qsizetype i = 1; i < uris.size(); ++i) appendLine(e.notes, QStringLiteral("URI"), uris[i]);
        e.userName = csv.value(QStringLiteral("login_username"));
        e.password = csv.value(QStringLiteral("login_password"));
        appendLine(e.notes, QStringLiteral("TOTP"), csv.value(QStringLiteral("login_totp")));
        return {};
    }, sink);
}

Read readChromeCsv(const QByteArray& data, const Sink& sink) {
    return readCsv(data, {QStringLiteral("name"), QStringLiteral("url"), QStringLiteral("username"), QStringLiteral("password")},
                   [](const CsvFile& csv, ForeignEntry& e) -> Status<> {
        e.url = csv.value(QStringLiteral("url"));
        e.title = csv.value(QStringLiteral("name"));
        if (e.title.isEmpty()) e.title = hostOf(e.url);
        e.userName = csv.value(QStringLiteral("username"));
        e.password = csv.value(QStringLiteral("password"));
        e.notes = csv.has(QStringLiteral("note")) ? csv.value(QStringLiteral("note")) : csv.value(QStringLiteral("notes"));
        return {};
    }, sink);
}

// A time in milliseconds since 1970, nothing for an empty cell.
Result<std::optional<double>> fromMilliseconds(const QString& text, const char* column) {
    using Time = std::optional<double>;
    if (text.isEmpty()) return Time();
    bool ok = false;
    const qint64 ms = text.toLongLong(&ok);
    if (!ok)
        return Result<Time>::failed(
            0, QStringLiteral("\"%1\" is not a time in milliseconds (column %2)").arg(text, QLatin1String(column)));
    return Time(double(ms) / 1000.0 - kUnixTo2001);
}

Read readFirefoxCsv(const QByteArray& data, const Sink& sink) {
    return readCsv(data, {QStringLiteral("url"), QStringLiteral("username"), QStringLiteral("password")},
                   [](const CsvFile& csv, ForeignEntry& e) -> Status<> {
        e.url = csv.value(QStringLiteral("url"));
        e.title = hostOf(e.url);
        e.userName = csv.value(QStringLiteral("username"));
        e.password = csv.value(QStringLiteral("password"));
        const auto created = fromMilliseconds(csv.value(QStringLiteral("timecreated")), "timeCreated");
        const auto modified = fromMilliseconds(csv.value(QStringLiteral("timepasswordchanged")), "timePasswordChanged");
        // Both wrong: the later column is the one named.
        if (!modified) return modified.failure();
        if (!created) return created.failure();
        e.created = *created;
        e.modified = *modified;
        return {};
    }, sink);
}

// Header names, lower case, of any CSV, and the record field each stands for.
enum class Field { Category, Name, Url, Account, User, Password, Pin, Security, Email, Note };
std::optional<Field> fieldOfHeader(const QString& h) {
    static const QHash<QString, Field> names = {
        {QStringLiteral("category"), Field::Category}, {QStringLiteral("group"), Field::Category},
        {QStringLiteral("folder"), Field::Category},   {QStringLiteral("name"), Field::Name},
        {QStringLiteral("title"), Field::Name},        {QStringLiteral("url"), Field::Url},
        {QStringLiteral("website"), Field::Url},       {QStringLiteral("uri"), Field::Url},
        {QStringLiteral("account"), Field::Account},   {QStringLiteral("user id"), Field::User},
        {QStringLiteral("userid"), Field::User},       {QStringLiteral("username"), Field::User},
        {QStringLiteral("user name"), Field::User},    {QStringLiteral("login"), Field::User},
        {QStringLiteral("user"), Field::User},         {QStringLiteral("password"), Field::Password},
        {QStringLiteral("pin"), Field::Pin},           {QStringLiteral("security"), Field::Security},
        {QStringLiteral("email"), Field::Email},       {QStringLiteral("e-mail"), Field::Email},
        {QStringLiteral("note"), Field::Note},         {QStringLiteral("notes"), Field::Note}};
    const auto it = names.constFind(h.trimmed().toLower());
    return it == names.constEnd() ? std::nullopt : std::optional<Field>(*it);
}

Read readAnyCsv(const QByteArray& data, const Sink& sink) {
    std::vector<std::optional<Field>> fields;
    return readCsv(data, {}, [&fields](const CsvFile& csv, ForeignEntry& e) -> Status<> {
        if (fields.empty()) {
            for (const QString& h : csv.header()) fields.push_back(fieldOfHeader(h));
            if (std::none_of(fields.begin(), fields.end(), [](const auto& f) { return f.has_value(); }))
                return Status<>::failed(0, QStringLiteral("no column of the header is named like a record field (Name, "
                                                          "Title, Url, User ID, Username, Password, Note, Category...)"));
        }
        QStringList extra;
        for (qsizetype i = 0; i < csv.row().size(); ++i) {
            const QString& v = csv.row()[i];
            if (!fields[size_t(i)]) {
                if (!v.isEmpty()) extra << csv.header()[i].trimmed() + QStringLiteral(": ") + v;
                continue;
            }
            switch (*fields[size_t(i)]) {
            case Field::Category: e.group = v.isEmpty() ? QStringList() : QStringList{v}; break;
            case Field::Name: e.title = v; break;
            case Field::Url: e.url = v; break;
            case Field::Account: e.account = v; break;
            case Field::User: e.userName = v; break;
            case Field::Password: e.password = v; break;
            case Field::Pin: e.pin = v; break;
            case Field::Security: e.security = v; break;
            case Field::Email: e.email = v; break;
            case Field::Note: e.notes = v; break;
            }
        }
        for (const QString& x : extra) e.notes += (e.notes.isEmpty() ? QString() : QStringLiteral("\n")) + x;
        return {};
    }, sink);
}

// ---- Hosted vault JSON ----

qsizetype lineAt(const QByteArray& data, qsizetype offset) {
    return data.left(std::min(offset, data.size())).count('\n') + 1;
}

QString jsonText(const QJsonValue& v) {
    if (v.isString()) return v.toString();
    if (v.isDouble()) return QString::number(v.toDouble(), 'g', 17);
    if (v.isBool()) return v.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    return QString();
}

Read readBitwardenJson(const QByteArray& data, const Sink& sink) {
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return malformed(QStringLiteral("line %1: %2").arg(lineAt(data, parseError.offset)).arg(parseError.errorString()));
    const QJsonObject root = doc.object();
    if (root.value(QStringLiteral("encrypted")).toBool())
        return malformed(QStringLiteral("\"encrypted\": the export is enciphered; export the vault again unencrypted"));
    if (!root.value(QStringLiteral("items")).isArray())
        return malformed(QStringLiteral("\"items\": the file has no list of items at its top level"));
    QHash<QString, QStringList> folders;
    const QJsonArray folderList = root.value(QStringLiteral("folders")).toArray();
    for (qsizetype i = 0; i < folderList.size(); ++i) {
        const QJsonObject f = folderList.at(i).toObject();
        // Folder names nest with "/".
        folders.insert(f.value(QStringLiteral("id")).toString(), splitPath(f.value(QStringLiteral("name")).toString(), QLatin1Char('/')));
    }
    const QJsonArray items = root.value(QStringLiteral("items")).toArray();
    qsizetype count = 0;
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (!items.at(i).isObject()) return malformed(QStringLiteral("items[%1]: not an object").arg(i));
        const QJsonObject item = items.at(i).toObject();
        const QJsonValue type = item.value(QStringLiteral("type"));
        if (!type.isDouble()) return malformed(QStringLiteral("items[%1].type: missing or not a number").arg(i));
        ForeignEntry e;
        const QString folderId = item.value(QStringLiteral("folderId")).toString();
        if (!folderId.isEmpty()) {
            if (!folders.contains(folderId)) return malformed(QStringLiteral("items[%1].folderId: no folder has the id \"%2\"").arg(i).arg(folderId));
            e.group = folders.value(folderId);
        }
        e.title = item.value(QStringLiteral("name")).toString();
        e.notes = item.value(QStringLiteral("notes")).toString();
        const QJsonObject login = item.value(QStringLiteral("login")).toObject();
        e.userName = login.value(QStringLiteral("username")).toString();
        e.password = login.value(QStringLiteral("password")).toString();
        const QJsonArray uris = login.value(QStringLiteral("uris")).toArray();
        for (qsizetype u = 0; u < uris.size(); ++u) {
            const QString uri = uris.at(u).toObject().value(QStringLiteral("uri")).toString();
            if (u == 0) e.url = uri;
            else appendLine(e.notes, QStringLiteral("URI"), uri);
        }
        appendLine(e.notes, QStringLiteral("TOTP"), login.value(QStringLiteral("totp")).toString());
        // Cards and identities keep their fields as lines of the note, by name.
        for (const char* part : {"card", "identity"}) {
            const QJsonObject o = item.value(QLatin1String(part)).toObject();
            for (auto it = o.constBegin(); it != o.constEnd(); ++it) appendLine(e.notes, it.key(), jsonText(it.value()));
        }
        const QJsonArray fields = item.value(QStringLiteral("fields")).toArray();
        for (const QJsonValue& f : fields) {
            const QString key = f.toObject().value(QStringLiteral("name")).toString();
            const QString value = jsonText(f.toObject().value(QStringLiteral("value")));
            if (!takeKnownField(e, key, value)) appendLine(e.notes, key, value);
        }
        e.created = dateFromIso(item.value(QStringLiteral("creationDate")).toString());
        e.modified = dateFromIso(item.value(QStringLiteral("revisionDate")).toString());
        sink(std::move(e));
        ++count;
    }
    return count;
}

// ---- KeePass XML ----

std::optional<double> keePassTime(const QString& text) {
    if (text.isEmpty()) return std::nullopt;
    if (auto iso = dateFromIso(text)) return iso;
    // KDBX 4 writes seconds since year 1 as eight little-endian bytes in base64.
    const QByteArray raw = QByteArray::fromBase64(text.toLatin1());
    if (raw.size() != 8) return std::nullopt;
    qint64 s = 0;
    for (int i = 7; i >= 0; --i) s = (s << 8) | quint8(raw[i]);
    return double(s) - kYearOneTo2001;
}

}  // namespace

namespace {

// The elements the reader acts on; the rest are walked through as Other.
enum class Tag { Other, KeePassFile, Meta, Root, Group, Entry, History, String, Times };

Tag tagOf(QStringView n) {
    if (n == u"Entry") return Tag::Entry;
    if (n == u"String") return Tag::String;
    if (n == u"Times") return Tag::Times;
    if (n == u"Group") return Tag::Group;
    if (n == u"History") return Tag::History;
    if (n == u"Root") return Tag::Root;
    if (n == u"Meta") return Tag::Meta;
    if (n == u"KeePassFile") return Tag::KeePassFile;
    return Tag::Other;
}

}  // namespace

Read readKeePassXml(const QByteArray& xmlBytes, const Sink& sink,
                      const std::function<QByteArray(const QByteArray&)>& unprotect) {
    // Handed over a piece at a time, as a database's inflated content is.
    static constexpr qsizetype kPiece = 1 << 20;
    qsizetype at = 0;
    return readKeePassXmlPieces(
        [&xmlBytes, &at](QByteArray* piece) -> Result<bool> {
            if (at >= xmlBytes.size()) return false;
            *piece = QByteArray::fromRawData(xmlBytes.constData() + at, std::min(kPiece, xmlBytes.size() - at));
            at += kPiece;
            return true;
        },
        sink, unprotect);
}

Read readKeePassXmlPieces(const std::function<Result<bool>(QByteArray*)>& more, const Sink& sink,
                          const std::function<QByteArray(const QByteArray&)>& unprotect) {
    QXmlStreamReader xml;
    std::vector<Tag> elements;  // open elements, outermost first
    QStringList groups;         // names of the open groups, the root group first
    std::vector<bool> skipped;  // the open groups that are the recycle bin
    QString recycleBin;
    bool recycleBinEnabled = true;
    std::optional<ForeignEntry> entry;
    int historyDepth = 0;
    QString key, value;
    QString extraLines;  // custom strings of the entry, added to its note once it is complete
    QString lastElement;  // for messages only
    // The text of the element being read, gathered over its character tokens (a piece may end
    // inside it).
    enum class Capture { None, Key, Value, GroupName, GroupUuid, Created, Modified, BinUuid, BinEnabled, Other };
    Capture capture = Capture::None;
    bool captureProtected = false;
    std::size_t captureDepth = 0;
    QString text;
    qsizetype count = 0;
    QString piecesFailure;
    auto where = [&] { return QStringLiteral("XML line %1, element <%2>").arg(xml.lineNumber()).arg(lastElement); };
    for (;;) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::Invalid) {
            QByteArray piece;
            if (xml.error() == QXmlStreamReader::PrematureEndOfDocumentError) {
                const auto got = more(&piece);
                if (got && *got) {
                    xml.addData(piece);
                    continue;
                }
                // The pieces' own reason is the one to give, should the text then be cut short.
                if (!got) piecesFailure = got.message();
            }
            break;
        }
        if (token == QXmlStreamReader::EndDocument) break;
        if (token == QXmlStreamReader::Characters) {
            if (capture != Capture::None && elements.size() == captureDepth) text += xml.text();
            continue;
        }
        if (token == QXmlStreamReader::StartElement) {
            const QStringView name = xml.name();
            const Tag parent = elements.empty() ? Tag::Other : elements.back();
            if (elements.empty() && name != u"KeePassFile")
                return malformed(QStringLiteral("XML line %1: the root element is <%2>, not <KeePassFile>").arg(xml.lineNumber()).arg(name));
            if (capture != Capture::None) {  // an element inside a value: walked over
                elements.push_back(Tag::Other);
                continue;
            }
            // Every protected value goes through the inner stream in document order, those of
            // old versions of an entry included, or the ones after it come out garbled.
            const bool isProtected = xml.attributes().value(QLatin1String("Protected")) == QLatin1String("True");
            Capture c = Capture::None;
            if (name == u"Key" && parent == Tag::String) c = Capture::Key;
            else if (name == u"Value" && parent == Tag::String) c = Capture::Value;
            else if (parent == Tag::Group && name == u"Name") c = Capture::GroupName;
            else if (parent == Tag::Group && name == u"UUID") c = Capture::GroupUuid;
            else if (parent == Tag::Times && name == u"CreationTime") c = Capture::Created;
            else if (parent == Tag::Times && name == u"LastModificationTime") c = Capture::Modified;
            else if (parent == Tag::Meta && name == u"RecycleBinUUID") c = Capture::BinUuid;
            else if (parent == Tag::Meta && name == u"RecycleBinEnabled") c = Capture::BinEnabled;
            else if (isProtected) c = Capture::Other;
            const Tag tag = c == Capture::None ? tagOf(name) : Tag::Other;
            if (tag == Tag::Other || tag == Tag::Group) lastElement = name.toString();
            elements.push_back(tag);
            if (c != Capture::None) {
                capture = c;
                captureProtected = isProtected;
                captureDepth = elements.size();
                text.clear();
                continue;
            }
            if (tag == Tag::Group && (parent == Tag::Root || parent == Tag::Group)) {
                groups << QString();
                skipped.push_back(false);
            } else if (tag == Tag::Entry && parent == Tag::History) {
                ++historyDepth;
            } else if (tag == Tag::Entry && parent == Tag::Group) {
                entry.emplace();
                entry->group = groups.mid(1);
            } else if (tag == Tag::String && entry && historyDepth == 0) {
                key.clear();
                value.clear();
            }
        } else if (token == QXmlStreamReader::EndElement) {
            if (capture != Capture::None && elements.size() == captureDepth) {
                elements.pop_back();
                if (captureProtected) {
                    if (!unprotect)
                        return malformed(where() + QStringLiteral(": a value enciphered with a database's inner key; "
                                                                  "this is not a clear XML export"));
                    text = QString::fromUtf8(unprotect(QByteArray::fromBase64(text.toLatin1())));
                }
                const bool current = entry && historyDepth == 0;
                switch (capture) {
                case Capture::Key: if (current) key = text; break;
                case Capture::Value: if (current) value = text; break;
                case Capture::GroupName: if (!groups.isEmpty()) groups.last() = text; break;
                case Capture::GroupUuid:
                    if (!skipped.empty()) skipped.back() = recycleBinEnabled && !recycleBin.isEmpty() && text == recycleBin;
                    break;
                case Capture::Created: if (current) entry->created = keePassTime(text); break;
                case Capture::Modified: if (current) entry->modified = keePassTime(text); break;
                case Capture::BinUuid: recycleBin = text; break;
                case Capture::BinEnabled: recycleBinEnabled = text != QLatin1String("False"); break;
                case Capture::Other:
                case Capture::None: break;
                }
                capture = Capture::None;
                continue;
            }
            const Tag tag = elements.back();
            elements.pop_back();
            if (capture != Capture::None) continue;  // the end of an element inside a value
            const Tag parent = elements.empty() ? Tag::Other : elements.back();
            if (tag == Tag::String && entry && historyDepth == 0 && parent == Tag::Entry) {
                if (key == QLatin1String("Title")) entry->title = std::move(value);
                else if (key == QLatin1String("UserName")) entry->userName = std::move(value);
                else if (key == QLatin1String("Password")) entry->password = std::move(value);
                else if (key == QLatin1String("URL")) entry->url = std::move(value);
                else if (key == QLatin1String("Notes")) entry->notes = std::move(value);
                else if (!takeKnownField(*entry, key, value)) appendLine(extraLines, key, value);
            } else if (tag == Tag::Entry && historyDepth > 0 && parent == Tag::History) {
                --historyDepth;
            } else if (tag == Tag::Entry && entry) {
                const bool inBin = std::find(skipped.begin(), skipped.end(), true) != skipped.end();
                if (!extraLines.isEmpty())
                    entry->notes += (entry->notes.isEmpty() ? QString() : QStringLiteral("\n")) + extraLines;
                extraLines.clear();
                if (!inBin) {
                    sink(std::move(*entry));
                    ++count;
                }
                entry.reset();
            } else if (tag == Tag::Group && !groups.isEmpty() && (parent == Tag::Root || parent == Tag::Group)) {
                groups.removeLast();
                skipped.pop_back();
            }
        }
    }
    if (xml.hasError()) {
        if (!piecesFailure.isEmpty()) return malformed(piecesFailure);
        if (lastElement.isEmpty()) lastElement = xml.name().toString();
        return malformed(where() + QStringLiteral(": ") + xml.errorString());
    }
    return count;
}

const QStringList& formatNames() {
    static const QStringList names = {QStringLiteral("keepass-xml"),    QStringLiteral("keepass-csv"),
                                      QStringLiteral("kdbx"),           QStringLiteral("bitwarden-json"),
                                      QStringLiteral("bitwarden-csv"),  QStringLiteral("chrome-csv"),
                                      QStringLiteral("firefox-csv"),    QStringLiteral("csv")};
    return names;
}

QString formatTitle(const QString& format) {
    static const QHash<QString, QString> titles = {
        {QStringLiteral("keepass-xml"), QStringLiteral("KeePass 2 XML")},
        {QStringLiteral("keepass-csv"), QStringLiteral("KeePassXC CSV")},
        {QStringLiteral("kdbx"), QStringLiteral("KeePass 2 Database (KDBX)")},
        {QStringLiteral("bitwarden-json"), QStringLiteral("Bitwarden JSON")},
        {QStringLiteral("bitwarden-csv"), QStringLiteral("Bitwarden CSV")},
        {QStringLiteral("chrome-csv"), QStringLiteral("Chrome Passwords CSV")},
        {QStringLiteral("firefox-csv"), QStringLiteral("Firefox Passwords CSV")},
        {QStringLiteral("csv"), QStringLiteral("CSV with a Header Row")},
        {QStringLiteral("auto"), QStringLiteral("Any of These (Decide by Content)")}};
    return titles.value(format, format);
}

QString detectFormat(const QByteArray& data) {
    if (Kdbx::hasSignature(data)) return QStringLiteral("kdbx");
    QByteArray head = data.left(4096);
    if (head.startsWith("\xEF\xBB\xBF")) head.remove(0, 3);
    const QByteArray trimmed = head.trimmed();
    if (trimmed.startsWith('<')) return trimmed.contains("<KeePassFile") ? QStringLiteral("keepass-xml") : QString();
    if (trimmed.startsWith('{')) return data.contains("\"items\"") ? QStringLiteral("bitwarden-json") : QString();
    // CSV: the header row's names, quotes taken off.
    const QString firstLine = QString::fromUtf8(head.left(head.indexOf('\n') < 0 ? head.size() : head.indexOf('\n'))).trimmed();
    rfc4180::Reader reader(firstLine);
    const auto record = reader.next();
    if (!record || !*record) return QString();
    QStringList header = **record;
    for (QString& h : header) h = h.trimmed().toLower();
    auto hasAll = [&](std::initializer_list<const char*> names) {
        for (const char* n : names)
            if (!header.contains(QLatin1String(n))) return false;
        return true;
    };
    if (hasAll({"group", "title", "username", "password", "url", "notes"})) return QStringLiteral("keepass-csv");
    if (hasAll({"folder", "type", "name", "login_uri", "login_username", "login_password"})) return QStringLiteral("bitwarden-csv");
    if (hasAll({"url", "username", "password", "httprealm", "formactionorigin"})) return QStringLiteral("firefox-csv");
    if (header.size() <= 5 && hasAll({"name", "url", "username", "password"})) return QStringLiteral("chrome-csv");
    if (std::any_of(header.begin(), header.end(), [](const QString& h) { return fieldOfHeader(h).has_value(); }))
        return QStringLiteral("csv");
    return QString();
}

Read read(const QString& requested, const QByteArray& data, const QString& password, const Sink& sink) {
    QString format = requested;
    if (format.isEmpty() || format == QLatin1String("auto")) {
        format = detectFormat(data);
        if (format.isEmpty())
            return Read::failed(Problem::UnknownFormat,
                                QStringLiteral("the file is none of the formats this program reads; name one with --from"));
    }
    if (format == QLatin1String("keepass-xml")) return readKeePassXml(data, sink);
    if (format == QLatin1String("keepass-csv")) return readKeePassCsv(data, sink);
    if (format == QLatin1String("bitwarden-json")) return readBitwardenJson(data, sink);
    if (format == QLatin1String("bitwarden-csv")) return readBitwardenCsv(data, sink);
    if (format == QLatin1String("chrome-csv")) return readChromeCsv(data, sink);
    if (format == QLatin1String("firefox-csv")) return readFirefoxCsv(data, sink);
    if (format == QLatin1String("csv")) return readAnyCsv(data, sink);
    if (format == QLatin1String("kdbx")) {
        auto opened = Kdbx::open(data, password);
        if (!opened && opened.kind() == Kdbx::Problem::WrongPassword)
            return Read::failed(Problem::WrongPassword, QStringLiteral("wrong password (or the database also needs a key "
                                                                       "file, which this program does not take)"));
        if (!opened) return malformed(opened.message());
        Kdbx::InnerStream* stream = opened->stream.get();
        return readKeePassXmlPieces(opened->pieces, sink, [stream](const QByteArray& b) {
            return stream ? stream->apply(b) : b;
        });
    }
    return Read::failed(Problem::UnknownFormat, QStringLiteral("unknown format \"%1\"; the formats are %2 and auto")
                                                    .arg(format, formatNames().join(QStringLiteral(", "))));
}

std::optional<double> dateFromIso(const QString& text) {
    if (text.isEmpty()) return std::nullopt;
    // The form every one of these programs writes, "2021-08-09T10:11:12Z" with or without
    // milliseconds, read directly: a general parse of two dates per entry was a tenth of an import.
    auto digits = [&text](qsizetype at, int n) {
        int v = 0;
        for (int i = 0; i < n; ++i) {
            const char16_t c = text[at + i].unicode();
            if (c < u'0' || c > u'9') return -1;
            v = v * 10 + (c - u'0');
        }
        return v;
    };
    if ((text.size() == 20 || (text.size() == 24 && text[19] == QLatin1Char('.'))) && text[4] == QLatin1Char('-') &&
        text[7] == QLatin1Char('-') && text[10] == QLatin1Char('T') && text[13] == QLatin1Char(':') &&
        text[16] == QLatin1Char(':') && text.back() == QLatin1Char('Z')) {
        const int y = digits(0, 4), mo = digits(5, 2), d = digits(8, 2), h = digits(11, 2), mi = digits(14, 2),
                  sec = digits(17, 2), ms = text.size() == 24 ? digits(20, 3) : 0;
        const QDate date(y, mo, d);
        if (y >= 0 && ms >= 0 && date.isValid() && h >= 0 && h < 24 && mi >= 0 && mi < 60 && sec >= 0 && sec < 61)
            return double(date.toJulianDay() - QDate(2001, 1, 1).toJulianDay()) * 86400.0 + h * 3600.0 + mi * 60.0 + sec +
                   ms / 1000.0;
    }
    QDateTime t = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!t.isValid()) return std::nullopt;
    if (t.timeSpec() == Qt::LocalTime) t.setTimeZone(QTimeZone::utc());
    return double(t.toMSecsSinceEpoch()) / 1000.0 - kUnixTo2001;
}

QString isoFromDate(double secondsSince2001) {
    return QDateTime::fromMSecsSinceEpoch(qint64(std::llround((secondsSince2001 + kUnixTo2001) * 1000.0)), QTimeZone::utc())
        .toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"));
}

}  // namespace ForeignImport

// ---- Records ----

ForeignRecordMaker::ForeignRecordMaker(std::function<double()> now) : now_(std::move(now)) {}

QString ForeignRecordMaker::categoryTitle(const QStringList& group) { return group.join(QStringLiteral(" / ")); }

void ForeignRecordMaker::add(ForeignEntry&& e) {
    Dictionary r = RecordModel::newRecord(now_ ? now_() : nowSince2001());
    r.set(keys::name, Value(std::move(e.title)));
    r.set(keys::account, Value(std::move(e.account)));
    r.set(keys::url, Value(std::move(e.url)));
    r.set(keys::userID, Value(std::move(e.userName)));
    r.set(keys::password, Value(std::move(e.password)));
    r.set(keys::pin, Value(std::move(e.pin)));
    r.set(keys::security, Value(std::move(e.security)));
    r.set(keys::email, Value(std::move(e.email)));
    r.set(keys::note, Value(std::move(e.notes)));
    if (e.created) r.set(keys::creationDate, Value::date(*e.created));
    if (e.modified) r.set(keys::modificationDate, Value::date(*e.modified));
    r.set(keys::categoryNAME, Value(categoryTitle(e.group)));
    records_.push_back(std::move(r));
}

qsizetype ForeignRecordMaker::commit(DocumentBrowser& browser, const std::function<void()>& between) {
    MyDocument& doc = browser.document();
    FilteringArrayController& records = browser.myArrayController();
    ZKColoredCategoryArrayController& categories = browser.myCategoryArrayController();
    // One category for every entry at the root, decided before any group's category exists, so
    // that a new group is never taken for "the last category".
    Value rootCategory;
    if (std::any_of(records_.begin(), records_.end(),
                    [](const Dictionary& r) { return r.value(keys::categoryNAME).toString().isEmpty(); }))
        rootCategory = records.catToAssignToNewObject();
    QHash<QString, Value> byTitle;
    for (Dictionary& r : records_) {
        if (between && &r != &records_.front()) between();
        const QString title = r.value(keys::categoryNAME).toString();
        r.remove(keys::categoryNAME);
        Value category = rootCategory;
        if (!title.isEmpty()) {
            auto it = byTitle.find(title);
            if (it == byTitle.end()) {
                Value found = categories.categoryWithTitle(title);
                if (found.isAbsent()) found = categories.addWithName(title);
                it = byTitle.insert(title, found);
            }
            category = *it;
        }
        const Value record(r);
        doc.myArray.append(record);
        records.assignCategory(category, record);
    }
    const qsizetype added = qsizetype(records_.size());
    records_.clear();
    browser.recordsWereImported();
    return added;
}

}  // namespace qv
