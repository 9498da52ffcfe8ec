#include "DropArea.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

namespace qv::app {

DropArea::DropArea(QWidget* parent) : QFrame(parent) {
    setObjectName(QStringLiteral("myDropFileArea"));
    setAcceptDrops(true);
    setFixedSize(28, 24);
    setToolTip(QStringLiteral("Drop a file or a web address here to make it the record's URL"));
    view_.needsDisplay = [this] { update(); };
    view_.observer = [this](const QString& key, const QString& value) { Q_EMIT valueDropped(key, value); };
}

DraggingInfo DropArea::draggingInfo(const QMimeData* data, Qt::DropActions actions) {
    DraggingInfo info;
    if (actions & Qt::CopyAction) info.operationMask |= DraggingInfo::Copy;
    if (actions & Qt::LinkAction) info.operationMask |= DraggingInfo::Link;
    if (!data) return info;
    if (data->hasUrls()) {
        QStringList files, urls;
        for (const QUrl& u : data->urls()) {
            if (u.isLocalFile()) files << u.toLocalFile();
            urls << u.toString();
        }
        // A drag from a file manager carries its files as URLs too; the file list is tested first.
        if (!files.isEmpty()) info.filenames = files;
        if (!urls.isEmpty()) info.urls = urls;
    }
    if (data->hasText()) info.string = data->text();
    return info;
}

void DropArea::dragEnterEvent(QDragEnterEvent* event) {
    if (view_.draggingEntered(draggingInfo(event->mimeData(), event->possibleActions())) == DraggingInfo::None) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::LinkAction);
    event->accept();
}

void DropArea::dragMoveEvent(QDragMoveEvent* event) {
    if (!view_.hilited) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::LinkAction);
    event->accept();
}

void DropArea::dragLeaveEvent(QDragLeaveEvent*) { view_.draggingExited(); }

void DropArea::dropEvent(QDropEvent* event) {
    const DraggingInfo info = draggingInfo(event->mimeData(), event->possibleActions());
    view_.prepareForDragOperation(info);
    view_.performDragOperation(info);
    if (parentWidget()) parentWidget()->update();
    event->setDropAction(Qt::LinkAction);
    event->accept();
}

void DropArea::paintEvent(QPaintEvent* event) {
    QFrame::paintEvent(event);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    // A small well with an arrow pointing in.
    const QRectF r = QRectF(rect()).adjusted(3, 3, -3, -3);
    p.setPen(QPen(palette().color(QPalette::Mid), 1, Qt::DashLine));
    p.setBrush(palette().color(QPalette::Base));
    p.drawRoundedRect(r, 3, 3);
    p.setPen(QPen(palette().color(QPalette::Text), 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QPointF c = r.center();
    p.drawLine(QPointF(c.x(), r.top() + 3), QPointF(c.x(), r.bottom() - 4));
    p.drawLine(QPointF(c.x() - 3.5, r.bottom() - 7.5), QPointF(c.x(), r.bottom() - 4));
    p.drawLine(QPointF(c.x() + 3.5, r.bottom() - 7.5), QPointF(c.x(), r.bottom() - 4));
    if (view_.hilited) {
        // The outline of an accepted drag: gray, one pixel, 3 inside the bounds.
        p.setRenderHint(QPainter::Antialiasing, false);
        p.setPen(QPen(QColor(128, 128, 128), 1.0));
        p.setBrush(Qt::NoBrush);
        p.drawRect(QRectF(rect()).adjusted(3, 3, -4, -4));
    }
}

}  // namespace qv::app
