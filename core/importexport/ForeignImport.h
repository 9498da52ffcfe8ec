#pragma once

// Files of other password managers read into records: the database and XML and CSV exports of
// KeePass 2 and its peers, a hosted vault's JSON and CSV exports, the two browsers' password
// exports and any CSV with a header row. Each format has its reader; read() dispatches on the
// format's name. Nothing here touches a document until ForeignRecordMaker::commit().

#include "foundation/Result.h"
#include "foundation/Value.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

namespace qv {

class DocumentBrowser;

// One entry as the other program held it.
struct ForeignEntry {
    QStringList group;  // path below the root group or folder, outermost first; empty at the root
    QString title, userName, password, url, notes;
    QString account, pin, security, email;  // only where the file has a place for them
    std::optional<double> created, modified;  // seconds since 2001-01-01
};

namespace ForeignImport {

// The formats by name, as `--from` and the window's pop-up offer them (auto not included).
const QStringList& formatNames();
// What the window's pop-up shows for a format.
QString formatTitle(const QString& format);

// Decides the format by content: KDBX signature, XML root, JSON keys, CSV header. "" when it
// cannot tell.
QString detectFormat(const QByteArray& data);

enum class Problem { Malformed, WrongPassword, NeedsPassword, UnknownFormat };
// How many entries went to the sink, or what is wrong; the message names the line or element.
using Read = Result<qsizetype, Problem>;

// Reads `data` as `format` ("auto" or one of formatNames()), handing every entry to `sink` in
// file order. `password` is used by kdbx only. On any error some entries may already have gone to
// the sink; the caller drops them.
Read read(const QString& format, const QByteArray& data, const QString& password,
          const std::function<void(ForeignEntry&&)>& sink);

// Entries from text (the XML of KeePass 2 and its peers); `unprotect` turns a value marked
// Protected="True" into clear text (a database's inner stream); an export has none.
Read readKeePassXml(const QByteArray& xml, const std::function<void(ForeignEntry&&)>& sink,
                    const std::function<QByteArray(const QByteArray&)>& unprotect = {});

// The same, the XML handed over in pieces by `more` (false once there are no more, a failure
// when the pieces could not be had), so that a database's content need never be whole in memory.
Read readKeePassXmlPieces(const std::function<Result<bool>(QByteArray*)>& more,
                          const std::function<void(ForeignEntry&&)>& sink,
                          const std::function<QByteArray(const QByteArray&)>& unprotect = {});

// Dates as the formats write them.
std::optional<double> dateFromIso(const QString& text);
QString isoFromDate(double secondsSince2001);

}  // namespace ForeignImport

// Makes records of foreign entries and puts them into a document. Records are made as the record
// list controller makes a new record (keys, dates, usage count), then given the entry's fields and
// times; categories are made once per distinct group path, named with " / " between levels, or
// taken when the document already has one of that title. Entries at the root share the category
// catToAssignToNewObject gives. Records already in the document keep their categories.
class ForeignRecordMaker {
public:
    explicit ForeignRecordMaker(std::function<double()> now = {});

    void add(ForeignEntry&& entry);
    qsizetype count() const { return qsizetype(records_.size()); }
    // The staged records, for a preview; their category is the "categoryNAME" path.
    const std::vector<Dictionary>& records() const { return records_; }
    // Adds the staged records to the browser's document, then empties the stage. Returns how many.
    qsizetype commit(DocumentBrowser& browser) { return commit(browser, {}); }
    // The same, with `between` called after each record, where the window lets its event loop
    // turn now and then; it must not touch the document, its records or its categories.
    qsizetype commit(DocumentBrowser& browser, const std::function<void()>& between);

    static QString categoryTitle(const QStringList& group);

private:
    std::function<double()> now_;
    std::vector<Dictionary> records_;
};

}  // namespace qv
