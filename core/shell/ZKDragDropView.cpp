#include "ZKDragDropView.h"

#include "foundation/UnicodeText.h"

#include <QFileInfo>

namespace qv {

namespace {
const QString kFileKey = QStringLiteral("myFilePathDropped");
const QString kUrlKey = QStringLiteral("myUrlPathDropped");
// Case-sensitive and deliberately narrow: "https://" does not pass.
bool isHttp(const QString& s) { return s.startsWith(QLatin1String("http://")); }
}  // namespace

ZKDragDropView::Taken ZKDragDropView::accepts(const DraggingInfo& info, bool) const {
    if (info.filenames && (info.operationMask & DraggingInfo::Link)) return Taken::Files;
    return Taken::Nothing;
}

ZKDragDropView::Taken ZKDragDropViewUrl::accepts(const DraggingInfo& info, bool checkPrefix) const {
    if (info.urls) {
        if (!(info.operationMask & DraggingInfo::Link)) return Taken::Nothing;
        if (checkPrefix && (info.urls->isEmpty() || !isHttp(info.urls->first()))) return Taken::Nothing;
        return Taken::Urls;
    }
    if (info.string) {
        if (!(info.operationMask & DraggingInfo::Copy)) return Taken::Nothing;
        if (checkPrefix && !isHttp(*info.string)) return Taken::Nothing;
        return Taken::String;
    }
    return Taken::Nothing;
}

ZKDragDropView::Taken ZKDragDropViewFileUrl::accepts(const DraggingInfo& info, bool) const {
    // A drag that carries both a file list and its URLs is a drag of files.
    if (info.filenames) return (info.operationMask & DraggingInfo::Link) ? Taken::Files : Taken::Nothing;
    if (info.urls) return (info.operationMask & DraggingInfo::Link) ? Taken::Urls : Taken::Nothing;
    return Taken::Nothing;
}

unsigned ZKDragDropView::draggingEntered(const DraggingInfo& info) {
    if (accepts(info, true) == Taken::Nothing) return DraggingInfo::None;
    hilited = true;
    if (needsDisplay) needsDisplay();
    return DraggingInfo::Link;
}

void ZKDragDropView::draggingExited() {
    hilited = false;
    if (needsDisplay) needsDisplay();
}

bool ZKDragDropView::performDragOperation(const DraggingInfo& info) {
    const Taken taken = accepts(info, false);
    if (taken == Taken::Nothing) return true;
    hilited = false;
    if (needsDisplay) needsDisplay();
    switch (taken) {
    case Taken::Files: addLinkToFiles(*info.filenames); break;
    case Taken::Urls:
        if (!info.urls->isEmpty()) setValue(kUrlKey, info.urls->first());
        break;
    case Taken::String: setValue(kUrlKey, *info.string); break;
    case Taken::Nothing: break;
    }
    return true;
}

void ZKDragDropView::addLinkToFiles(const QStringList& paths) {
    for (const QString& p : paths) setValue(kFileKey, p);
}

void ZKDragDropViewFileUrl::addLinkToFiles(const QStringList& paths) {
    if (!paths.isEmpty()) setValue(kFileKey, paths.first());
}

void ZKDragDropView::setValue(const QString& key, const QString& dropped) {
    const QString value = withoutLoneSurrogates(dropped);
    (key == kFileKey ? myFilePathDropped : myUrlPathDropped) = value;
    if (observer) observer(key, value);
}

bool setFileToOpen(ArrayController& records, const QString& path) {
    if (records.selectedObjects().isEmpty()) return false;
    // No percent-encoding: the path goes in as it is written.
    records.setValueForKeyPath(QStringLiteral("selection.url"), Value(QStringLiteral("file://%1").arg(path)));
    return true;
}

void setUrlToOpen(ArrayController& records, const QString& url) {
    records.setValueForKeyPath(QStringLiteral("selection.url"), Value(url));
}

bool observeDropArea(ArrayController& records, const QString& key, const QString& value,
                     const std::function<bool(const QString&)>& fileExists) {
    if (records.selectedObjects().isEmpty()) return false;
    if (key == kFileKey) {
        // A directory is taken like a file; a path gone since the drag is ignored.
        const bool exists = fileExists ? fileExists(value) : QFileInfo::exists(value);
        return exists && setFileToOpen(records, value);
    }
    if (key == kUrlKey) {
        setUrlToOpen(records, value);
        return true;
    }
    return false;
}


}  // namespace qv
