#pragma once

// The record form's drop area: a file or a web address dropped on it fills the record's URL.
// The decisions are ZKDragDropViewFileUrl's; this widget turns the desktop's drag events into
// them and draws the area.

#include "shell/ZKDragDropView.h"

#include <QFrame>

class QMimeData;

namespace qv::app {

class DropArea : public QFrame {
    Q_OBJECT
public:
    explicit DropArea(QWidget* parent = nullptr);
    ZKDragDropViewFileUrl& view() { return view_; }

    // What a drag offers, in the drop areas' terms: local files, addresses, text, and the
    // operations (copy 1, link 2) the source allows.
    static DraggingInfo draggingInfo(const QMimeData* data, Qt::DropActions actions);

Q_SIGNALS:
    // "myFilePathDropped" or "myUrlPathDropped", and the value set.
    void valueDropped(const QString& key, const QString& value);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    ZKDragDropViewFileUrl view_;
};

}  // namespace qv::app
