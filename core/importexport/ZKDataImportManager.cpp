#include "ZKDataImportManager.h"

#include <QStringTokenizer>
#include <QVarLengthArray>

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

// Each field of a quoted row, as a view into it. Quotes come off once, when they are the
// field's very first and last characters. A field that is a lone quote is kept as it is
// (removing "both" would need a negative length, which stopped the whole load in earlier
// releases).
template <typename Field>
void forEachCsvField(QStringView row, QChar separator, Field field) {
    qsizetype start = 0;
    forEachSplit(row, separator, [&](qsizetype end) {
        QStringView f = row.mid(start, end - start);
        if (f.size() >= 2 && f.startsWith(QLatin1Char('"')) && f.endsWith(QLatin1Char('"'))) f = f.mid(1, f.size() - 2);
        field(f);
        start = end + 1;
    });
}

std::optional<QStringList> componentsOfCsvRow(QStringView row, QChar separator) {
    if (onlySpaces(row)) return std::nullopt;
    QStringList fields;
    forEachCsvField(row, separator, [&](QStringView f) { fields << f.toString(); });
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

// ---------------------------------------------------------------------------------------------

namespace {
QChar separatorOf(int dialect) { return dialect == 3 ? QLatin1Char(';') : QLatin1Char(','); }
}  // namespace

void ImportRows::clear() {
    text_ = QString();
    dialect_ = 0;
    count_ = 0;
    released_ = false;
    marks_ = std::vector<qsizetype>();
}

void ImportRows::load(QString text, int dialect, std::int64_t& widest) {
    clear();
    text_ = std::move(text);
    dialect_ = dialect;
    widest = 0;
    const QStringView all(text_);
    // The widest line counts every line, even one that gives no row (an empty line is one
    // field under tab).
    for (QStringView line : QStringTokenizer(all, QLatin1Char('\n'))) {
        std::int64_t fields = 0;
        if (dialect == 1) {
            for ([[maybe_unused]] QStringView f : QStringTokenizer(line, QLatin1Char('\t'))) ++fields;
        } else if (dialect == 2 || dialect == 3) {
            if (rows::onlySpaces(line)) continue;
            rows::forEachSplit(line, separatorOf(dialect), [&](qsizetype) { ++fields; });
        } else {
            continue;
        }
        widest = std::max(widest, fields);
        if (line.isEmpty()) continue;
        if (count_ % kStride == 0) marks_.push_back(line.data() - all.data());
        ++count_;
    }
    if (count_ == 0) text_ = QString();
}

bool ImportRows::kept(QStringView line) const {
    return dialect_ == 1 ? !line.isEmpty() : !rows::onlySpaces(line);
}

QStringView ImportRows::lineAt(qsizetype at) const {
    qsizetype end = text_.indexOf(QLatin1Char('\n'), at);
    if (end < 0) end = text_.size();
    return QStringView(text_).mid(at, end - at);
}

qsizetype ImportRows::nextRowAfter(qsizetype at) const {
    for (;;) {
        const qsizetype end = text_.indexOf(QLatin1Char('\n'), at);
        if (end < 0) return text_.size();
        at = end + 1;
        if (kept(lineAt(at))) return at;
    }
}

template <typename Field>
void ImportRows::splitAt(qsizetype at, Field field) const {
    const QStringView line = lineAt(at);
    if (dialect_ == 1) {
        for (QStringView f : QStringTokenizer(line, QLatin1Char('\t'))) field(f);
    } else {
        rows::forEachCsvField(line, separatorOf(dialect_), field);
    }
}

QStringList ImportRows::operator[](std::size_t i) const {
    if (released_ || i >= count_) return {};
    qsizetype at = marks_[i / kStride];
    for (std::size_t k = 0; k < i % kStride; ++k) at = nextRowAfter(at);
    QStringList fields;
    splitAt(at, [&](QStringView f) { fields << f.toString(); });
    return fields;
}

ImportRows::const_iterator ImportRows::begin() const {
    const_iterator it;
    it.rows_ = this;
    it.at_ = marks_.empty() ? 0 : marks_.front();
    return it;
}

ImportRows::const_iterator ImportRows::end() const {
    const_iterator it;
    it.rows_ = this;
    it.index_ = count_;
    return it;
}

QStringList ImportRows::const_iterator::operator*() const {
    if (rows_->released_) return {};
    QStringList fields;
    rows_->splitAt(at_, [&](QStringView f) { fields << f.toString(); });
    return fields;
}

ImportRows::const_iterator& ImportRows::const_iterator::operator++() {
    ++index_;
    if (!rows_->released_ && index_ < rows_->count_) at_ = rows_->nextRowAfter(at_);
    return *this;
}

// ---------------------------------------------------------------------------------------------

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
    const int dialect = fileType == 0 ? rows::detectDialect(text) : fileType;
    grid_.load(std::move(text), dialect, numOfMaxFieldInImportedData);
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
    makeRecords(progress);
    handOverRecords();
}

void ZKDataImportManager::makeRecords(const std::function<void(double)>& progress) {
    made_.clear();
    innerKeyFinalDestinationArray.clear();
    willImport();
    // The key of each column, looked up once rather than per row.
    std::vector<QString> keyOf(columns_.size());
    for (size_t j = 0; j < columns_.size(); ++j) keyOf[j] = internKey(fromElementInRowToFieldKey(int(j)));
    // Each row's fields are cut out of the text as views, and only the mapped ones become
    // strings, which the record then keeps.
    const std::size_t total = grid_.size();
    constexpr std::size_t kBlock = 4096;
    QVarLengthArray<QStringView, 16> fields;
    bool allTaken = true;
    qsizetype at = grid_.marks_.empty() ? 0 : grid_.marks_.front();
    for (std::size_t r = 0; r < total; ++r) {
        if (r > 0 && !grid_.released_) at = grid_.nextRowAfter(at);
        auto record = createNewObjectToImport();
        if (!record) {
            allTaken = false;
            continue;
        }
        fields.clear();
        if (!grid_.released_) grid_.splitAt(at, [&](QStringView f) { fields.append(f); });
        const qsizetype n = fields.size();
        for (qsizetype j = 0; j < n; ++j) {
            const QString key = innerKeyFinalDestinationArray.size() >= n ? innerKeyFinalDestinationArray.value(j)
                                                                          : keyOf.at(size_t(j));
            if (!key.isEmpty()) record->set(key, Value(fields[j].toString()));
        }
        if (r == 0 && doNotImportFirstRecord) {
            if (useFirstRecordAsFieldsName) firstRowToImportUsedForColumnNames = Value(*record);
        } else if (n > 0) {
            if (made_.empty() || made_.back().size() == kBlock) {
                made_.emplace_back();
                made_.back().reserve(kBlock);
            }
            made_.back().push_back(std::move(*record));
        }
        if (progress && r % 4096 == 0) progress(double(r) / double(total));
    }
    // The rows' texts now live in the records; the file's text is let go of, and the rows read
    // as empty from here on, as taken rows always have.
    if (allTaken) grid_.release();
}

void ZKDataImportManager::handOverRecords() {
    std::vector<std::vector<Dictionary>> made = std::move(made_);
    made_ = {};
    qsizetype count = 0;
    for (const auto& block : made) count += qsizetype(block.size());
    outsideDataArray_.reserve(outsideDataArray_.count() + count);
    for (auto& block : made) {
        for (const Dictionary& record : block) {
            recordIsGoingToBeInserted(record);
            addRecordToDestination(record);
        }
        block = {};
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
