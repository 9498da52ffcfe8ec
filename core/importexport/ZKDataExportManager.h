#pragma once

// Export of records to a UTF-8 text file in one of six formats: tab, quoted comma, an HTML table,
// a web page, plain comma, or a custom format of the user's own tags. The chosen fields go out
// in the order of the right-hand list. The file appears whole or not at all: it is written beside
// its target and renamed over it once complete.

#include "foundation/FilePanel.h"
#include "foundation/Result.h"
#include "foundation/Value.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace qv {

class ZKDataExportManager {
public:
    ZKDataExportManager(Array dataArray, Array keyArray);

    QString suggestedFileName = QStringLiteral("Export");
    int fileFormatToSave = 1;
    bool useFieldNamesAsFirstRow = false;
    QString start_of_file, end_of_file, start_of_record, end_of_record, field_open_tag, field_close_tag,
        field_separator, use_end_of_record_in_last_record;

    Array leftKeyArray;   // fields not chosen
    Array rightKeyArray;  // fields chosen, in output order

    void setCustomFields(int tag);
    void addSelectedToRight(const std::vector<qsizetype>& leftSelection);
    void addAllToRight();
    void removeSelectedFromRight(const std::vector<qsizetype>& rightSelection);
    void removeAllFromRight();
    // Moves the right-hand entry at `index` one place; returns its new index.
    qsizetype moveUp(qsizetype index);
    qsizetype moveDown(qsizetype index);

    static QString fileExtensionForFormat(int format);
    // The whole text of the file; `progress` (0..1) may be called for long exports.
    QString exportText(const std::function<void(double)>& progress = {}) const;
    // The settings sheet's Export: the step before the file panel (willExport), the sheet's end
    // (`endSheet`), then the panel, offering the format's one extension. nullopt when the user
    // cancelled the panel, which ends the export with nothing written.
    std::optional<QString> chooseFile(FilePanel& panel, const std::function<void()>& endSheet = {});
    // Written atomically, UTF-8 without a mark. A failure gives the reason the file could not
    // be written.
    Status<> writeToFile(const QString& path);
    // "<name> Export", without a trailing ".qvane".
    static QString suggestedNameFor(const QString& displayName);

    virtual ~ZKDataExportManager() = default;

protected:
    virtual void willExport() {}
    virtual void didExport() {}

private:
    template <typename Emit>
    void produce(Emit&& emit, const std::function<void(double)>& progress = {}) const;

    Array dataArray_;
    Array allKeyArray_;
};

}  // namespace qv
