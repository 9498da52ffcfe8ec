#include "ZKDataImportManager.h"

#include <QStringTokenizer>

#include "ZKSmartStringFileReader.h"

#include "document/DocumentKeys.h"
#include "document/RecordModel.h"
#include "foundation/UnicodeText.h"

#include <cstdio>

namespace qv {

namespace rows {

namespace {

bool onlySpaces(QStringView row) {
    for (QChar c : row)
        if (c != QLatin1Char(' ')) return false;
    return true;  // also the empty row
}

// Where the row splits: every separator outside quotes, then the row's end. A quote toggles
// wherever it stands.
template <typename Split>
void forEachSplit(QStringView row, QChar separator, Split split) {
    bool inside = false;
    for (qsizetype i = 0; i < row.size(); ++i) {
        const QChar c = row[i];
        if (c == QLatin1Char('"')) inside = !inside;
        else if (c == separator && !inside) split(i);
    }
    split(row.size());
}

}  // namespace

std::optional<QStringList> componentsOfCsvRow(QStringView row, QChar separator) {
    if (onlySpaces(row)) return std::nullopt;
    QStringList fields;
    qsizetype start = 0;
    forEachSplit(row, separator, [&](qsizetype end) {
        QStringView field = row.mid(start, end - start);
        // Quotes come off once, when they are the field's very first and last characters. A
        // field that is a lone quote is kept as it is (removing "both" would need a negative
        // length, which stopped the whole load in earlier releases).
        if (field.size() >= 2 && field.startsWith(QLatin1Char('"')) && field.endsWith(QLatin1Char('"')))
            field = field.mid(1, field.size() - 2);
        fields << field.toString();
        start = end + 1;
    });
    return fields;
}

int detectDialect(QStringView text) {
    std::int64_t comma = 0, semicolon = 0, tab = 0;
    // Only counted here, so no field is copied.
    for (QStringView line : QStringTokenizer(text, QLatin1Char('\n'))) {
        if (!onlySpaces(line)) {
            forEachSplit(line, QLatin1Char(','), [&](qsizetype) { ++comma; });
            forEachSplit(line, QLatin1Char(';'), [&](qsizetype) { ++semicolon; });
        }
        tab += line.count(QLatin1Char('\t')) + 1;
    }
    if (comma > semicolon && comma > tab) return 2;
    if (semicolon > comma && semicolon > tab) return 3;
    return 1;
}

}  // namespace rows

ZKDataImportManager::ZKDataImportManager(Array outsideDataArray, Array outsideKeyArray)
    : outsideDataArray_(std::move(outsideDataArray)), outsideKeyArray_(std::move(outsideKeyArray)) {}

void ZKDataImportManager::loadDataFromFile(const QString& path, int fileType, int fileEncoding) {
    auto text = ZKSmartStringFileReader::autoReadFromFile(path, fileEncoding);
    // A file that can't be read gives no rows and no columns, and the mapping still opens.
    if (!text) {
        grid_.clear();
        columns_.clear();
        numOfMaxFieldInImportedData = 0;
        return;
    }
    loadDataFromText(std::move(*text), fileType);
}

void ZKDataImportManager::loadDataFromText(QString text, int fileType) {
    grid_.clear();
    text = withoutLoneSurrogates(std::move(text));
    ZKSmartStringFileReader::replaceStringWithNewline(text);
    // Rows are views into the text, so only the fields are ever copied out of it.
    const int dialect = fileType == 0 ? rows::detectDialect(text) : fileType;
    numOfMaxFieldInImportedData = 0;
    for (QStringView line : QStringTokenizer(text, QLatin1Char('\n'))) {
        if (dialect == 1) {
            QStringList fields;
            for (QStringView f : QStringTokenizer(line, QLatin1Char('\t'))) fields << f.toString();
            numOfMaxFieldInImportedData = std::max<std::int64_t>(numOfMaxFieldInImportedData, fields.size());
            if (!line.isEmpty()) grid_.push_back(std::move(fields));
        } else if (dialect == 2 || dialect == 3) {
            auto fields = rows::componentsOfCsvRow(line, dialect == 2 ? QLatin1Char(',') : QLatin1Char(';'));
            if (!fields) continue;
            numOfMaxFieldInImportedData = std::max<std::int64_t>(numOfMaxFieldInImportedData, fields->size());
            if (!line.isEmpty()) grid_.push_back(std::move(*fields));
        }
    }
    columns_.assign(size_t(numOfMaxFieldInImportedData), Column{});
}

void ZKDataImportManager::ImportSettings() {
    currentRecordIndex = 1;
    preImportSettings();
}

void ZKDataImportManager::calcNumberOfImportedFields() {
    numberOfImportedFields = 0;
    for (const Column& c : columns_)
        if (c.destination != 0) ++numberOfImportedFields;
}

void ZKDataImportManager::destinationSelected(int index, int d) {
    if (index < 0 || index >= int(columns_.size())) return;
    columns_[size_t(index)].destination = d;
    columns_[size_t(index)].importFlag = d != 0 ? QStringLiteral("\u00BB") : QString();
    if (d != 0)
        for (size_t i = 0; i < columns_.size(); ++i)
            if (int(i) != index && columns_[i].destination == d) columns_[i] = Column{0, QString()};
    calcNumberOfImportedFields();
}

void ZKDataImportManager::ResetImportFields() {
    for (Column& c : columns_) c = Column{0, QString()};
    calcNumberOfImportedFields();
}

void ZKDataImportManager::AssignCascadeImportFields() {
    for (size_t i = 0; i < columns_.size(); ++i)
        columns_[i] = qsizetype(i) < outsideKeyArray_.count()
                          ? Column{int(i) + rowToStartCascadeAssignment, QStringLiteral("\u00BB")}
                          : Column{0, QString()};
    calcNumberOfImportedFields();
}

void ZKDataImportManager::AllImportFieldsToCreateNewColumn() {
    for (Column& c : columns_) c = Column{2, QStringLiteral("\u00BB")};
    calcNumberOfImportedFields();
}

void ZKDataImportManager::tryAssignFromFirstRow() {
    ResetImportFields();
    // On an empty grid there is no header to read: the columns stay reset, and the first row
    // (there is none) is still marked as names.
    if (!grid_.empty()) {
        const QStringList& header = grid_.front();
        for (qsizetype j = 0; j < header.size() && j < qsizetype(columns_.size()); ++j)
            for (qsizetype k = 0; k < outsideKeyArray_.count(); ++k)
                if (header[j].toLower() == outsideKeyArray_.at(k).toDictionary().value(keys::publicKey).toString().toLower())
                    columns_[size_t(j)] = Column{rowToStartCascadeAssignment + int(k), QStringLiteral("\u00BB")};
    }
    calcNumberOfImportedFields();
    doNotImportFirstRecord = true;
}

void ZKDataImportManager::showNextRecord() {
    if (currentRecordIndex < int(grid_.size())) ++currentRecordIndex;
}

void ZKDataImportManager::showPrevRecord() {
    if (currentRecordIndex > 0) --currentRecordIndex;
}

QString ZKDataImportManager::fromIndexNumberToFieldKey(int destination) const {
    return ImportFieldKeyArray.value(destination);
}

QString ZKDataImportManager::fromElementInRowToFieldKey(int column) const {
    if (column < 0 || column >= int(columns_.size())) return QString();
    return fromIndexNumberToFieldKey(columns_[size_t(column)].destination);
}

std::optional<Dictionary> ZKDataImportManager::createNewObjectToImport() {
    std::fputs("[ZKDataImportManager createNewObjectToImport] must be subclassed\n", stderr);
    return std::nullopt;
}

void ZKDataImportManager::DoImport(const std::function<void(double)>& progress) {
    innerKeyFinalDestinationArray.clear();
    willImport();
    // The key of each column, looked up once rather than per row.
    std::vector<QString> keyOf(columns_.size());
    for (size_t j = 0; j < columns_.size(); ++j) keyOf[j] = internKey(fromElementInRowToFieldKey(int(j)));
    for (size_t r = 0; r < grid_.size(); ++r) {
        auto record = createNewObjectToImport();
        if (!record) continue;
        const QStringList& row = grid_[r];
        const qsizetype n = row.size();
        for (qsizetype j = 0; j < n; ++j) {
            const QString key = innerKeyFinalDestinationArray.size() >= n ? innerKeyFinalDestinationArray.value(j)
                                                                          : keyOf.at(size_t(j));
            if (!key.isEmpty()) record->set(key, Value(row[j]));
        }
        if (r == 0 && doNotImportFirstRecord) {
            if (useFirstRecordAsFieldsName) firstRowToImportUsedForColumnNames = Value(*record);
        } else if (n > 0) {
            recordIsGoingToBeInserted(*record);
            addRecordToDestination(*record);
        }
        // The row's texts now live in the record; the row itself is not looked at again, and
        // letting it go keeps a large import from holding the file twice over.
        grid_[r] = QStringList();
        if (progress && r % 4096 == 0) progress(double(r) / double(grid_.size()));
    }
    didImport();
}

MyDataImportManager::MyDataImportManager(Array records, Array keyArray)
    : ZKDataImportManager(std::move(records), std::move(keyArray)) {
    ImportFieldKeyArray = {QString(),     QString(),        keys::categoryNAME, keys::name,
                           keys::url,     keys::account,    keys::userID,       keys::password,
                           keys::pin,     keys::security,   keys::email,        keys::note};
    rowToStartCascadeAssignment = 2;
}

std::optional<Dictionary> MyDataImportManager::createNewObjectToImport() {
    const double t = now ? now() : nowSince2001();
    Dictionary r;
    r.reserve(14);  // the thirteen keys, and the category that replaces the temporary one
    r.set(keys::name, Value("New"));
    for (const QString* k : {&keys::account, &keys::url, &keys::userID, &keys::password, &keys::pin, &keys::security,
                             &keys::email, &keys::note, &keys::categoryNAME})
        r.set(*k, Value(QString()));
    r.set(keys::creationDate, Value::date(t));
    r.set(keys::modificationDate, Value::date(now ? now() : nowSince2001()));
    r.set(keys::usageCount, Value::integer(0));
    return r;
}

void MyDataImportManager::didImport() {
    if (requester) requester();
}

}  // namespace qv
