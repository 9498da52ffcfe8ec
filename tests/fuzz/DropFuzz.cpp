// What a drag from another program brings to the drop areas of the record form: file lists,
// address lists and text, as raw UTF-16 (so half surrogate pairs too), offered with any mix of
// operations. Both kinds of drop area take it, and the document's observer puts it into the
// selected record. The first byte says what the drag carries and which operations it offers; the
// rest is cut at zero code units into its strings.
//
// What must hold: a drop is always answered, nothing dropped keeps a lone surrogate, and a record
// changes only when one is selected.
#include "foundation/ArrayController.h"
#include "foundation/UnicodeText.h"
#include "shell/ZKDragDropView.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::uint8_t flags = data[0];
    const QString text(reinterpret_cast<const QChar*>(data + 1), qsizetype((size - 1) / 2));
    const QStringList parts = text.split(QChar(0));

    DraggingInfo info;
    if (flags & 1) info.filenames = parts;
    if (flags & 2) info.urls = parts;
    if (flags & 4) info.string = parts.value(0);
    info.operationMask = (flags >> 3) & 3;

    Dictionary record;
    record.set(QStringLiteral("url"), Value(QStringLiteral("http://before.example/")));
    ArrayController records;
    records.setContent(Array{Value(record)});
    records.setSelectionIndexes((flags & 0x20) ? std::vector<qsizetype>{0} : std::vector<qsizetype>{});
    const bool selected = !records.selectedObjects().isEmpty();

    ZKDragDropViewUrl urlArea;
    ZKDragDropViewFileUrl fileArea;
    ZKDragDropView plainArea;
    for (ZKDragDropView* area : {static_cast<ZKDragDropView*>(&urlArea), static_cast<ZKDragDropView*>(&fileArea), &plainArea}) {
        bool changed = false;
        area->observer = [&](const QString& key, const QString& value) {
            if (hasLoneSurrogate(value)) std::abort();
            changed = observeDropArea(records, key, value, [flags](const QString& p) { return (flags & 0x40) && !p.isEmpty(); }) || changed;
        };
        const unsigned granted = area->draggingEntered(info);
        if (granted != DraggingInfo::None && granted != DraggingInfo::Link) std::abort();
        area->prepareForDragOperation(info);
        if (!area->performDragOperation(info)) std::abort();
        area->draggingExited();
        if (changed && !selected) std::abort();
        if (hasLoneSurrogate(area->myFilePathDropped) || hasLoneSurrogate(area->myUrlPathDropped)) std::abort();
    }
    if (!selected && record.value(QStringLiteral("url")).toString() != QLatin1String("http://before.example/")) std::abort();
    if (hasLoneSurrogate(record.value(QStringLiteral("url")).toString())) std::abort();
    return 0;
}
