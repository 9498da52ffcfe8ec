#pragma once

// Import of tab, comma and semicolon text files: the rows of a file read into a grid of text
// fields, one mapping entry per column, the tools that map columns to record fields, and the
// import that turns rows into records. ZKDataImportManager knows only key lists and a data
// array; MyDataImportManager knows records.

#include "foundation/Value.h"

#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace qv {

namespace rows {
// The quoted splitters: one algorithm, "," or ";". nullopt for a row of nothing but spaces.
std::optional<QStringList> componentsOfCsvRow(QStringView row, QChar separator = QLatin1Char(','));
inline std::optional<QStringList> componentsOfCsvUsingSemicolonRow(QStringView row) {
    return componentsOfCsvRow(row, QLatin1Char(';'));
}
// Field totals of each dialect over the rows of `text` (cut at "\n"); the strictly greatest of
// comma and semicolon wins, ties fall to tab (code 1).
int detectDialect(QStringView text);
}  // namespace rows

// The rows of a loaded file. The file's text is kept once, as one string; a row's fields are
// cut out of it only when that row is looked at or imported, so a file of a million short rows
// costs its text and a small index, not a million lists of strings. Rows are read by number (the
// preview) or in order (an import, a count).
class ImportRows {
public:
    ImportRows() = default;

    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    // The fields of row `i`, which must be below size().
    QStringList operator[](std::size_t i) const;
    QStringList front() const { return (*this)[0]; }

    class const_iterator {
    public:
        using value_type = QStringList;
        using difference_type = std::ptrdiff_t;
        QStringList operator*() const;
        const_iterator& operator++();
        bool operator==(const const_iterator& o) const { return index_ == o.index_; }
        bool operator!=(const const_iterator& o) const { return index_ != o.index_; }

    private:
        friend class ImportRows;
        const ImportRows* rows_ = nullptr;
        std::size_t index_ = 0;
        qsizetype at_ = 0;  // where row index_ starts in the text
    };
    const_iterator begin() const;
    const_iterator end() const;

private:
    friend class ZKDataImportManager;
    // Rows are the lines that hold something: not empty under tab, not only spaces under the
    // quoted splitters. Every 64th row's start is noted, so any row is found in at most 63 lines.
    static constexpr std::size_t kStride = 64;
    void clear();
    void release() {
        text_ = QString();
        marks_ = std::vector<qsizetype>();
        released_ = true;
    }
    void load(QString text, int dialect, std::int64_t& widest);
    // Row that starts at `at`: its fields as views into the text, and where the next row starts.
    template <typename Field>
    void splitAt(qsizetype at, Field field) const;
    qsizetype nextRowAfter(qsizetype at) const;
    bool kept(QStringView line) const;
    QStringView lineAt(qsizetype at) const;

    QString text_;
    int dialect_ = 0;
    std::size_t count_ = 0;
    bool released_ = false;  // an import has taken the rows: they read as empty from then on
    std::vector<qsizetype> marks_;
};

class ZKDataImportManager {
public:
    struct Column {
        int destination = 0;
        std::optional<QString> importFlag;  // "»" or "", absent until first touched
    };

    ZKDataImportManager(Array outsideDataArray, Array outsideKeyArray);
    virtual ~ZKDataImportManager() = default;

    int fileFormatToImport = 0;
    int fileEncodeToImport = 0;
    bool doNotImportFirstRecord = false;
    bool useFirstRecordAsFieldsName = false;
    bool notVisibleFirstRecAsNameOption = false;
    bool enableFirstRecAsNameOption = true;
    int rowToStartCascadeAssignment = 4;
    int numberOfImportedFields = 0;
    int currentRecordIndex = 1;
    std::int64_t numOfMaxFieldInImportedData = 0;
    QStringList ImportFieldKeyArray;
    QStringList innerKeyFinalDestinationArray;
    Value firstRowToImportUsedForColumnNames;
    // Told at the end of an import (the requester's justFinishedImporting).
    std::function<void()> requester;

    const ImportRows& grid() const { return grid_; }
    std::vector<Column>& destFieldArray() { return columns_; }
    const Array& outsideKeyArray() const { return outsideKeyArray_; }

    // The whole load of Part of a session: read, detect, split, set up the columns.
    void loadDataFromFile(const QString& path, int fileType, int fileEncoding);
    // The same from text already decoded (the reader's job done).
    void loadDataFromText(QString text, int fileType);

    void ImportSettings();
    // The user picked destination `d` for column `index`: exclusive for non-zero destinations.
    void destinationSelected(int index, int d);
    void ResetImportFields();
    void AssignCascadeImportFields();
    void AllImportFieldsToCreateNewColumn();
    void tryAssignFromFirstRow();
    void firstRowSetFieldsNameSelected() { doNotImportFirstRecord = useFirstRecordAsFieldsName; }
    void showNextRecord();
    void showPrevRecord();
    void calcNumberOfImportedFields();
    QString fromElementInRowToFieldKey(int column) const;
    QString fromIndexNumberToFieldKey(int destination) const;

    // Makes records of all rows and hands them to the destination; `progress` (0..1) may be
    // called along the way for long files. The same as makeRecords then handOverRecords.
    void DoImport(const std::function<void(double)>& progress = {});
    // The first half of an import: the records of all rows, kept by the manager. It touches
    // nothing outside the manager (not the destination), so it may run on a worker while the
    // document stays where it is; `progress` is then called on that worker.
    void makeRecords(const std::function<void(double)>& progress = {});
    // The second half: every record made goes to the destination, in row order, and the
    // requester is told. Room for all of them is asked for first, so running out of memory there
    // adds none.
    void handOverRecords();

protected:
    virtual void preImportSettings() {}
    virtual void willImport() {}
    virtual std::optional<Dictionary> createNewObjectToImport();
    virtual void recordIsGoingToBeInserted(const Dictionary&) {}
    virtual void addRecordToDestination(const Dictionary& record) { outsideDataArray_.append(Value(record)); }
    virtual void didImport() {}

    Array outsideDataArray_;
    Array outsideKeyArray_;

private:
    ImportRows grid_;
    std::vector<Column> columns_;
    // Between makeRecords and handOverRecords, in blocks of a few thousand, each let go of once
    // its records are in the destination.
    std::vector<std::vector<Dictionary>> made_;
};

class MyDataImportManager : public ZKDataImportManager {
public:
    MyDataImportManager(Array records, Array keyArray);
    // The clock for new dates; tests fix it.
    std::function<double()> now;

protected:
    std::optional<Dictionary> createNewObjectToImport() override;
    void didImport() override;
};

}  // namespace qv
