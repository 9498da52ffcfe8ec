#include "ForeignExport.h"

#include "ForeignImport.h"
#include "Rfc4180.h"

#include "document/DocumentKeys.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QUuid>

namespace qv::ForeignExport {

namespace {

QString text(const Dictionary& r, const QString& key) { return r.value(key).toString(); }

QString categoryOf(const Dictionary& r) { return r.valueForKeyPath(keys::categoryPtr + QStringLiteral(".") + keys::cat_category).toString(); }

// A category's path as the other programs nest groups and folders, with "/".
QString groupPath(const QString& category) {
    QStringList parts = category.split(QStringLiteral(" / "));
    for (QString& p : parts) p = p.trimmed();
    parts.removeAll(QString());
    return parts.join(QLatin1Char('/'));
}

QString isoSeconds(const Value& date) {
    if (!date.isDate()) return QString();
    QString iso = ForeignImport::isoFromDate(date.toDate());
    // The peer writes whole seconds.
    const qsizetype dot = iso.indexOf(QLatin1Char('.'));
    if (dot > 0) iso = iso.left(dot) + QLatin1Char('Z');
    return iso;
}

// The extra fields a KeePass CSV has no column for travel in columns after its own.
const char* const kExtraColumns[] = {"Account", "Pin", "Security", "Email"};

QByteArray keePassCsv(const Array& records) {
    QStringList header = {QStringLiteral("Group"), QStringLiteral("Title"), QStringLiteral("Username"),
                          QStringLiteral("Password"), QStringLiteral("URL"), QStringLiteral("Notes"),
                          QStringLiteral("TOTP"), QStringLiteral("Icon"), QStringLiteral("Last Modified"),
                          QStringLiteral("Created")};
    for (const char* c : kExtraColumns) header << QLatin1String(c);
    QString out = rfc4180::joinRecord(header, true, QStringLiteral("\n"));
    for (const Value& v : records) {
        const Dictionary r = v.toDictionary();
        const QString group = groupPath(categoryOf(r));
        out += rfc4180::joinRecord({group.isEmpty() ? QStringLiteral("Root") : QStringLiteral("Root/") + group,
                                    text(r, keys::name), text(r, keys::userID), text(r, keys::password),
                                    text(r, keys::url), text(r, keys::note), QString(), QStringLiteral("0"),
                                    isoSeconds(r.value(keys::modificationDate)), isoSeconds(r.value(keys::creationDate)),
                                    text(r, keys::account), text(r, keys::pin), text(r, keys::security), text(r, keys::email)},
                                   true, QStringLiteral("\n"));
    }
    return out.toUtf8();
}

QByteArray plainCsv(const Array& records) {
    QString out = rfc4180::joinRecord({QStringLiteral("Category"), QStringLiteral("Name"), QStringLiteral("Url"),
                                       QStringLiteral("Account"), QStringLiteral("User ID"), QStringLiteral("Password"),
                                       QStringLiteral("Pin"), QStringLiteral("Security"), QStringLiteral("Email"),
                                       QStringLiteral("Note")},
                                      false, QStringLiteral("\r\n"));
    for (const Value& v : records) {
        const Dictionary r = v.toDictionary();
        out += rfc4180::joinRecord({categoryOf(r), text(r, keys::name), text(r, keys::url), text(r, keys::account),
                                    text(r, keys::userID), text(r, keys::password), text(r, keys::pin),
                                    text(r, keys::security), text(r, keys::email), text(r, keys::note)},
                                   false, QStringLiteral("\r\n"));
    }
    return out.toUtf8();
}

QByteArray bitwardenJson(const Array& records) {
    QHash<QString, QString> folderIds;
    QJsonArray folders, items;
    auto nullable = [](const QString& s) { return s.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(s); };
    for (const Value& v : records) {
        const Dictionary r = v.toDictionary();
        const QString folder = groupPath(categoryOf(r));
        QJsonValue folderId(QJsonValue::Null);
        if (!folder.isEmpty()) {
            auto it = folderIds.find(folder);
            if (it == folderIds.end()) {
                it = folderIds.insert(folder, QUuid::createUuid().toString(QUuid::WithoutBraces));
                folders.append(QJsonObject{{QStringLiteral("id"), *it}, {QStringLiteral("name"), folder}});
            }
            folderId = *it;
        }
        QJsonArray fields;
        for (const auto& [title, key] : {std::pair{"Account", &keys::account}, std::pair{"Pin", &keys::pin},
                                         std::pair{"Security", &keys::security}, std::pair{"Email", &keys::email}}) {
            const QString value = text(r, *key);
            if (!value.isEmpty())
                fields.append(QJsonObject{{QStringLiteral("name"), QLatin1String(title)}, {QStringLiteral("value"), value},
                                          {QStringLiteral("type"), 0}, {QStringLiteral("linkedId"), QJsonValue::Null}});
        }
        QJsonArray uris;
        if (!text(r, keys::url).isEmpty())
            uris.append(QJsonObject{{QStringLiteral("match"), QJsonValue::Null}, {QStringLiteral("uri"), text(r, keys::url)}});
        QJsonObject item{{QStringLiteral("id"), QUuid::createUuid().toString(QUuid::WithoutBraces)},
                         {QStringLiteral("organizationId"), QJsonValue::Null},
                         {QStringLiteral("folderId"), folderId},
                         {QStringLiteral("type"), 1},
                         {QStringLiteral("reprompt"), 0},
                         {QStringLiteral("name"), text(r, keys::name)},
                         {QStringLiteral("notes"), nullable(text(r, keys::note))},
                         {QStringLiteral("favorite"), false},
                         {QStringLiteral("login"), QJsonObject{{QStringLiteral("uris"), uris},
                                                               {QStringLiteral("username"), nullable(text(r, keys::userID))},
                                                               {QStringLiteral("password"), nullable(text(r, keys::password))},
                                                               {QStringLiteral("totp"), QJsonValue::Null}}},
                         {QStringLiteral("collectionIds"), QJsonValue::Null}};
        if (!fields.isEmpty()) item.insert(QStringLiteral("fields"), fields);
        if (const QString c = ForeignImport::isoFromDate(r.value(keys::creationDate).toDate()); r.value(keys::creationDate).isDate())
            item.insert(QStringLiteral("creationDate"), c);
        if (r.value(keys::modificationDate).isDate())
            item.insert(QStringLiteral("revisionDate"), ForeignImport::isoFromDate(r.value(keys::modificationDate).toDate()));
        items.append(item);
    }
    QByteArray json = QJsonDocument(QJsonObject{{QStringLiteral("encrypted"), false},
                                                {QStringLiteral("folders"), folders},
                                                {QStringLiteral("items"), items}})
                          .toJson(QJsonDocument::Indented);
    // A byte order mark inside a value (a note that begins with one) is written as an escape:
    // written as it is, Qt's reader drops it, and the note would come back one character short.
    return json.replace("\xEF\xBB\xBF", "\\ufeff");
}

}  // namespace

const QStringList& formatNames() {
    static const QStringList names = {QStringLiteral("keepass-csv"), QStringLiteral("bitwarden-json"), QStringLiteral("csv")};
    return names;
}

QString formatTitle(const QString& format) {
    if (format == QLatin1String("keepass-csv")) return QStringLiteral("KeePassXC CSV");
    if (format == QLatin1String("bitwarden-json")) return QStringLiteral("Bitwarden JSON");
    if (format == QLatin1String("csv")) return QStringLiteral("CSV (RFC 4180, with header)");
    return format;
}

QString fileExtension(const QString& format) {
    return format == QLatin1String("bitwarden-json") ? QStringLiteral("json") : QStringLiteral("csv");
}

QByteArray exportBytes(const QString& format, const Array& records) {
    if (format == QLatin1String("keepass-csv")) return keePassCsv(records);
    if (format == QLatin1String("bitwarden-json")) return bitwardenJson(records);
    if (format == QLatin1String("csv")) return plainCsv(records);
    return QByteArray();
}

Status<> writeToFile(const QString& format, const Array& records, const QString& path) {
    if (!formatNames().contains(format)) return Status<>::failed(0, QStringLiteral("unknown format \"%1\"").arg(format));
    const QByteArray bytes = exportBytes(format, records);
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || !out.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) ||
        out.write(bytes) != bytes.size() || !out.commit()) {
        const QString reason = out.errorString();
        out.cancelWriting();
        return Status<>::failed(0, reason);
    }
    return {};
}

}  // namespace qv::ForeignExport
