#include "ZKDataExportManager.h"

#include "document/DocumentKeys.h"

#include <QDateTime>
#include <QLocale>
#include <QSaveFile>
#include <QTimeZone>

namespace qv {

ZKDataExportManager::ZKDataExportManager(Array dataArray, Array keyArray)
    : dataArray_(std::move(dataArray)), allKeyArray_(std::move(keyArray)) {
    leftKeyArray = allKeyArray_.shallowCopy();
    leftKeyArray.setImmutableClass(false);
}

void ZKDataExportManager::setCustomFields(int tag) {
    struct Preset {
        const char *sof, *eof, *sor, *eor, *open, *close, *sep, *last;
    };
    static const Preset presets[] = {
        {"", "", "", "\\n", "", "", "\\t", "NO"},
        {"", "", "", "\\n", "\"", "\"", ",", "NO"},
        {"<table>", "</table>", "<tr>", "</tr>", "<td>", "</td>", "", "YES"},
        {"<!DOCTYPE html><html><body><table>", "</table></body></html>", "<tr>", "</tr>", "<td>", "</td>", "", "YES"},
        {"", "", "", "\\n", "", "", ",", "NO"},
    };
    static const Preset none{"", "", "", "", "", "", "", "YES"};
    const Preset& p = (tag >= 1 && tag <= 5) ? presets[tag - 1] : none;
    start_of_file = QLatin1String(p.sof);
    end_of_file = QLatin1String(p.eof);
    start_of_record = QLatin1String(p.sor);
    end_of_record = QLatin1String(p.eor);
    field_open_tag = QLatin1String(p.open);
    field_close_tag = QLatin1String(p.close);
    field_separator = QLatin1String(p.sep);
    use_end_of_record_in_last_record = QLatin1String(p.last);
}

void ZKDataExportManager::addSelectedToRight(const std::vector<qsizetype>& selection) {
    Array moving;
    for (qsizetype i : selection) moving.append(leftKeyArray.value(i));
    for (const Value& v : moving) {
        leftKeyArray.removeAt(leftKeyArray.indexOfIdentical(v));
        rightKeyArray.append(v);
    }
}

void ZKDataExportManager::addAllToRight() {
    for (const Value& v : leftKeyArray) rightKeyArray.append(v);
    leftKeyArray.clear();
}

void ZKDataExportManager::removeSelectedFromRight(const std::vector<qsizetype>& selection) {
    Array moving;
    for (qsizetype i : selection) moving.append(rightKeyArray.value(i));
    for (const Value& v : moving) {
        rightKeyArray.removeAt(rightKeyArray.indexOfIdentical(v));
        leftKeyArray.append(v);
    }
}

void ZKDataExportManager::removeAllFromRight() {
    for (const Value& v : rightKeyArray) leftKeyArray.append(v);
    rightKeyArray.clear();
}

qsizetype ZKDataExportManager::moveUp(qsizetype index) {
    if (index <= 0 || index >= rightKeyArray.count()) return index;
    const Value v = rightKeyArray.at(index);
    rightKeyArray.removeAt(index);
    rightKeyArray.insert(index - 1, v);
    return index - 1;
}

qsizetype ZKDataExportManager::moveDown(qsizetype index) {
    if (index < 0 || index >= rightKeyArray.count() - 1) return index;
    const Value v = rightKeyArray.at(index);
    rightKeyArray.removeAt(index);
    rightKeyArray.insert(index + 1, v);
    return index + 1;
}

QString ZKDataExportManager::fileExtensionForFormat(int format) {
    switch (format) {
    case 1: return QStringLiteral("tsv");
    case 2:
    case 5: return QStringLiteral("csv");
    case 4: return QStringLiteral("html");
    default: return QStringLiteral("txt");  // the table (3) too
    }
}

namespace {

void lineSteps(QString& s) {
    s.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    s.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    s.replace(QStringLiteral(" \n"), QStringLiteral(" "));
    s.replace(QStringLiteral("\n "), QStringLiteral(" "));
    s.replace(QLatin1Char('\n'), QLatin1Char(' '));
}

QString cleaned(QString s, int format) {
    if (format == 1) {
        s.replace(QStringLiteral(" \t"), QStringLiteral(" "));
        s.replace(QStringLiteral("\t "), QStringLiteral(" "));
        s.replace(QLatin1Char('\t'), QLatin1Char(' '));
        lineSteps(s);
    } else if (format == 2) {
        lineSteps(s);
    } else if (format == 5) {
        lineSteps(s);
        s.replace(QStringLiteral(" ,"), QStringLiteral(" "));
        s.replace(QStringLiteral(", "), QStringLiteral(" "));
        s.replace(QLatin1Char(','), QLatin1Char(' '));
    }
    return s;
}

QString unescapeTag(QString s) {
    s.replace(QStringLiteral("\\n"), QStringLiteral("\n"));
    s.replace(QStringLiteral("\\t"), QStringLiteral("\t"));
    return s;
}

}  // namespace

QString ZKDataExportManager::exportText(const std::function<void(double)>& progress) const {
    struct Params {
        QString sof, eof, sor, eor, open, close, sep;
        bool last;
    } p;
    const QString lf = QStringLiteral("\n");
    switch (fileFormatToSave) {
    case 0:
        p = {unescapeTag(start_of_file), unescapeTag(end_of_file), unescapeTag(start_of_record), unescapeTag(end_of_record),
             unescapeTag(field_open_tag), unescapeTag(field_close_tag), unescapeTag(field_separator),
             Value(use_end_of_record_in_last_record).toBool()};
        break;
    case 1: p = {{}, {}, {}, lf, {}, {}, QStringLiteral("\t"), false}; break;
    case 2: p = {{}, {}, {}, lf, QStringLiteral("\""), QStringLiteral("\""), QStringLiteral(","), false}; break;
    case 3:
        p = {QStringLiteral("<table>"), QStringLiteral("</table>"), QStringLiteral("<tr>"), QStringLiteral("</tr>"),
             QStringLiteral("<td>"), QStringLiteral("</td>"), {}, true};
        break;
    case 4:
        p = {QStringLiteral("<!DOCTYPE html><html><body><table>"), QStringLiteral("</table></body></html>"),
             QStringLiteral("<tr>"), QStringLiteral("</tr>"), QStringLiteral("<td>"), QStringLiteral("</td>"), {}, true};
        break;
    case 5: p = {{}, {}, {}, lf, {}, {}, QStringLiteral(","), false}; break;
    default: p = {{}, {}, {}, {}, {}, {}, {}, false}; break;
    }
    const qsizetype fields = rightKeyArray.count();
    const qsizetype records = dataArray_.count();
    std::vector<QStringList> paths;
    for (const Value& f : rightKeyArray)
        paths.push_back(f.toDictionary().value(keys::innerKey).toString().split(QLatin1Char('.')));

    QString out;
    out.reserve(records * fields * 16);
    out += p.sof;
    if (useFieldNamesAsFirstRow) {
        out += p.sor;
        for (qsizetype i = 0; i < fields; ++i) {
            out += p.open + rightKeyArray.at(i).toDictionary().value(keys::publicKey).toString() + p.close;
            if (i + 1 < fields) out += p.sep;
        }
        if (!(!p.last && records == 0)) out += p.eor;
    }
    const QLocale locale;
    for (qsizetype r = 0; r < records; ++r) {
        out += p.sor;
        for (qsizetype i = 0; i < fields; ++i) {
            Value v = dataArray_.at(r);
            for (const QString& step : paths[size_t(i)]) v = v.isDictionary() ? v.toDictionary().get(step) : Value();
            QString text;
            if (v.isDate())
                text = locale.toString(QDateTime::fromMSecsSinceEpoch(qint64((v.toDate() + 978307200.0) * 1000)).date(),
                                       QLocale::ShortFormat);
            else
                text = v.toString();
            out += p.open + cleaned(std::move(text), fileFormatToSave) + p.close;
            if (i + 1 < fields) out += p.sep;
        }
        if (p.last || r + 1 < records) out += p.eor;
        if (progress && r % 4096 == 0) progress(double(r) / double(records));
    }
    out += p.eof;
    return out;
}

bool ZKDataExportManager::writeToFile(const QString& path, QString* error) {
    willExport();
    QSaveFile file(path);
    const QByteArray bytes = exportText().toUtf8();  // no byte-order mark
    const bool ok = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
    if (!ok && error) *error = file.errorString();
    didExport();
    return ok;
}

QString ZKDataExportManager::suggestedNameFor(const QString& displayName) {
    QString name = displayName;
    if (name.endsWith(QLatin1String(".qvane"))) name.chop(6);
    return QStringLiteral("%1 Export").arg(name);
}

}  // namespace qv
