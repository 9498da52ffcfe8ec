#pragma once

// The decisions of the drop areas on the record form: what a drag may bring, and which value a
// drop leaves behind for the observers. Drawing and the desktop's drag events belong to the
// widget that owns one of these.

#include "foundation/ArrayController.h"
#include "foundation/Sender.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace qv {

// What the dragged data offers, in the terms the drop areas test.
struct DraggingInfo {
    enum Operation : unsigned { None = 0, Copy = 1, Link = 2 };
    std::optional<QStringList> filenames;  // local files
    std::optional<QStringList> urls;       // addresses, files included
    std::optional<QString> string;         // plain text
    unsigned operationMask = 0;
};

// Files only; every path of a drop is set in turn, the last one stays.
class ZKDragDropView {
public:
    virtual ~ZKDragDropView() = default;

    bool hilited = false;
    // Called with the key ("myFilePathDropped" or "myUrlPathDropped") and the new value each
    // time one of them is set.
    std::function<void(const QString& key, const QString& value)> observer;
    std::function<void()> needsDisplay;

    // The operation granted: Link on acceptance, None otherwise.
    unsigned draggingEntered(const DraggingInfo& info);
    void draggingExited();
    bool prepareForDragOperation(const DraggingInfo&) { return true; }
    // Always true, whether or not anything was taken.
    bool performDragOperation(const DraggingInfo& info);
    virtual void addLinkToFiles(const QStringList& paths);

    QString myFilePathDropped;
    QString myUrlPathDropped;

protected:
    enum class Taken { Nothing, Files, Urls, String };
    // Which part of the drag this view takes; the prefix test applies only while dragging in.
    virtual Taken accepts(const DraggingInfo& info, bool checkPrefix) const;
    void setValue(const QString& key, const QString& value);
};

// Addresses and text that begin with "http://".
class ZKDragDropViewUrl : public ZKDragDropView {
protected:
    Taken accepts(const DraggingInfo& info, bool checkPrefix) const override;
};

// Files (tested first) and addresses; only the first file of a drop is taken.
class ZKDragDropViewFileUrl : public ZKDragDropView {
public:
    void addLinkToFiles(const QStringList& paths) override;

protected:
    Taken accepts(const DraggingInfo& info, bool checkPrefix) const override;
};

// The document's reaction to its drop area: a path that exists becomes a file URL in the
// selected record's url, an address goes there as it is. True when the record changed.
bool setFileToOpen(ArrayController& records, const QString& path);
void setUrlToOpen(ArrayController& records, const QString& url);
bool observeDropArea(ArrayController& records, const QString& key, const QString& value,
                     const std::function<bool(const QString&)>& fileExists = {});

}  // namespace qv
