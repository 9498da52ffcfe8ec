#include "ZKDataExportManager.h"

#include "document/DocumentKeys.h"
#include "foundation/PrivateFile.h"

#include <QDateTime>
#include <QLocale>
#include <QSaveFile>
#include <QTimeZone>

#include <algorithm>
#include <cerrno>
#include <utility>

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
    // Most fields hold none of the characters the steps below replace: those are given back as
    // they are, without five searches each.
    if (format != 1 && format != 2 && format != 5) return s;
    const bool any = std::any_of(s.cbegin(), s.cend(), [format](QChar ch) {
        const char16_t u = ch.unicode();
        return u == u'\r' || u == u'\n' || (format == 1 && u == u'\t') || (format == 5 && u == u',');
    });
    if (!any) return s;
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

// UTF-8 without a mark, made as the text is produced and handed to the file a buffer at a time. A
// surrogate without its partner becomes "?", as when a whole string is converted at once; a pair
// may arrive in two pieces.
class Utf8Writer {
public:
    explicit Utf8Writer(QSaveFile& file) : file_(file), buffer_(1 << 18, Qt::Uninitialized) {}

    void put(QStringView piece) {
        for (const QChar c : piece) {
            if (used_ + 4 > buffer_.size()) flush();
            const char16_t u = c.unicode();
            if (high_) {
                const char32_t h = std::exchange(high_, 0);
                if (QChar::isLowSurrogate(u)) {
                    const char32_t cp = QChar::surrogateToUcs4(char16_t(h), u);
                    byte(0xF0 | (cp >> 18));
                    byte(0x80 | ((cp >> 12) & 0x3F));
                    byte(0x80 | ((cp >> 6) & 0x3F));
                    byte(0x80 | (cp & 0x3F));
                    continue;
                }
                byte('?');
            }
            if (u < 0x80) {
                byte(u);
            } else if (u < 0x800) {
                byte(0xC0 | (u >> 6));
                byte(0x80 | (u & 0x3F));
            } else if (QChar::isHighSurrogate(u)) {
                high_ = u;
            } else if (QChar::isLowSurrogate(u)) {
                byte('?');
            } else {
                byte(0xE0 | (u >> 12));
                byte(0x80 | ((u >> 6) & 0x3F));
                byte(0x80 | (u & 0x3F));
            }
        }
    }
    // Writes what is left. When any write failed, the file is given up (nothing replaces the
    // target) and the failure holds the system's reason.
    Status<> finish() {
        if (high_) byte('?');
        high_ = 0;
        flush();
        if (ok_) return {};
        file_.cancelWriting();
        return Status<>::failed(0, failureReason(file_, failure_));
    }

private:
    void byte(char32_t b) { buffer_[used_++] = char(b); }
    void flush() {
        if (ok_ && used_ > 0) {
            errno = 0;
            ok_ = file_.write(buffer_.constData(), used_) == used_;
            if (!ok_) failure_ = errno;
        }
        used_ = 0;
    }
    QSaveFile& file_;
    QByteArray buffer_;
    qsizetype used_ = 0;
    char32_t high_ = 0;
    bool ok_ = true;
    int failure_ = 0;
};

QString unescapeTag(QString s) {
    s.replace(QStringLiteral("\\n"), QStringLiteral("\n"));
    s.replace(QStringLiteral("\\t"), QStringLiteral("\t"));
    return s;
}

}  // namespace

// The text goes out piece by piece to `emit`, which either gathers it or encodes it straight to
// the file: a large export then never holds its text twice over, or a field three times.
template <typename Emit>
void ZKDataExportManager::produce(Emit&& emit, const std::function<void(double)>& progress) const {
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

    emit(p.sof);
    if (useFieldNamesAsFirstRow) {
        emit(p.sor);
        for (qsizetype i = 0; i < fields; ++i) {
            emit(p.open);
            emit(rightKeyArray.at(i).toDictionary().value(keys::publicKey).toString());
            emit(p.close);
            if (i + 1 < fields) emit(p.sep);
        }
        if (!(!p.last && records == 0)) emit(p.eor);
    }
    const QLocale locale;
    for (qsizetype r = 0; r < records; ++r) {
        emit(p.sor);
        for (qsizetype i = 0; i < fields; ++i) {
            Value v = dataArray_.at(r);
            for (const QString& step : paths[size_t(i)]) v = v.isDictionary() ? v.toDictionary().get(step) : Value();
            QString text;
            if (v.isDate())
                text = locale.toString(dateTimeFromSeconds2001(v.toDate()).date(),
                                       QLocale::ShortFormat);
            else
                text = v.toString();
            emit(p.open);
            emit(cleaned(std::move(text), fileFormatToSave));
            emit(p.close);
            if (i + 1 < fields) emit(p.sep);
        }
        if (p.last || r + 1 < records) emit(p.eor);
        if (progress && r % 4096 == 0) progress(double(r) / double(records));
    }
    emit(p.eof);
}

QString ZKDataExportManager::exportText(const std::function<void(double)>& progress) const {
    QString out;
    out.reserve(dataArray_.count() * rightKeyArray.count() * 16);
    produce([&out](QStringView piece) { out += piece; }, progress);
    return out;
}

std::optional<QString> ZKDataExportManager::chooseFile(FilePanel& panel, const std::function<void()>& endSheet) {
    willExport();
    if (endSheet) endSheet();
    const QString extension = fileExtensionForFormat(fileFormatToSave);
    FilePanelOptions options;
    options.title = QStringLiteral("Export");
    options.suggestedName = suggestedFileName + QLatin1Char('.') + extension;
    options.allowedExtensions = {extension};
    return panel.runSavePanel(options);
}

Status<> ZKDataExportManager::writeToFile(const QString& path) {
    QSaveFile file(path);
    Status<> written;
    if (openPrivately(file)) {
        Utf8Writer out(file);
        produce([&out](QStringView piece) { out.put(piece); });
        written = out.finish();
        if (written) {
            errno = 0;
            if (!file.commit()) written = Status<>::failed(0, failureReason(file, errno));
        }
    } else {
        written = Status<>::failed(0, file.errorString());
    }
    didExport();
    return written;
}

QString ZKDataExportManager::suggestedNameFor(const QString& displayName) {
    QString name = displayName;
    if (name.endsWith(QLatin1String(".qvane"))) name.chop(6);
    return QStringLiteral("%1 Export").arg(name);
}

}  // namespace qv
