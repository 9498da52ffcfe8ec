#include "DocumentController.h"

#include "DocumentWindow.h"

#include "document/DocumentTexts.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QSaveFile>
#include <QPointer>
#include <QScreen>
#include <QSettings>
#include <QTimer>

namespace qv::app {

namespace {
const QString kFilter = QStringLiteral("Quorvane documents (*.qvane)");
}

DocumentWindow* DocumentController::newDocument() {
    auto doc = std::make_unique<MyDocument>();
    auto* w = new DocumentWindow(std::move(doc), QString(), this);
    ++untitledCount_;
    w->setWindowTitle(untitledCount_ == 1 ? QStringLiteral("Untitled[*]")
                                          : QStringLiteral("Untitled %1[*]").arg(untitledCount_));
    w->document().prepareNewDocument();
    w->refresh();
    windows_.push_back(w);
    Q_EMIT documentAdded(w);
    w->show();
    return w;
}

DocumentWindow* DocumentController::openDocument(const QString& path) {
    const QString absolute = QFileInfo(path).absoluteFilePath();
    for (DocumentWindow* w : windows_)
        if (w->filePath() == absolute) {
            w->raise();
            w->activateWindow();
            return w;
        }
    QFile f(absolute);
    if (!f.open(QIODevice::ReadOnly)) {
        QMessageBox::warning(nullptr, QStringLiteral("Quorvane"),
                             QStringLiteral("The document \"%1\" could not be opened.\n%2")
                                 .arg(QFileInfo(path).fileName(), f.errorString()));
        return nullptr;
    }
    auto doc = std::make_unique<MyDocument>();
    auto* w = new DocumentWindow(std::move(doc), absolute, this);
    QString error;
    if (!w->document().readFromData(f.readAll(), QStringLiteral("qvane"), &error)) {
        // The alert for a file too new was shown by the document; say something for the rest.
        if (w->document().docVersionRapresentation < 40101)
            QMessageBox::warning(nullptr, QStringLiteral("Quorvane"),
                                 QStringLiteral("The document \"%1\" could not be opened: it is damaged or is not a "
                                                "Quorvane document.")
                                     .arg(QFileInfo(path).fileName()));
        delete w;
        return nullptr;
    }
    w->document().fileURL = absolute;
    noteRecentDocument(absolute);
    w->refresh();
    windows_.push_back(w);
    Q_EMIT documentAdded(w);
    // A document from a file shows only its locked page, at the smallest size, centred.
    w->shrinkToMinimumSizeAndPin();
    w->show();
    if (const QScreen* screen = w->screen()) {
        QRect g = w->frameGeometry();
        g.moveCenter(screen->availableGeometry().center());
        w->move(g.topLeft());
    }
    return w;
}

void DocumentController::openDocumentWithPanel(QWidget* parent) {
    const QStringList paths = QFileDialog::getOpenFileNames(parent, QStringLiteral("Open"), QDir::homePath(), kFilter);
    for (const QString& p : paths) openDocument(p);
}

bool DocumentController::writeAtomically(const QString& path, const QByteArray& bytes, QString* error) {
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit()) {
        if (error) *error = out.errorString();
        return false;
    }
    return true;
}

bool DocumentController::saveDocument(DocumentWindow* w) {
    if (w->filePath().isEmpty()) return saveDocumentAs(w);
    MyDocument& doc = w->document();
    // A locked document or one without a password must not be written: the file could not be
    // opened again.
    if (!doc.canAutosave()) return false;
    const auto bytes = doc.dataOfType(QStringLiteral("qvane"));
    QString error;
    if (!bytes || !writeAtomically(w->filePath(), *bytes, &error)) {
        QMessageBox::warning(w, QStringLiteral("Quorvane"),
                             QStringLiteral("The document could not be saved.\n%1").arg(error));
        return false;
    }
    doc.fileURL = w->filePath();
    doc.updateChangeCount(ZKCryptoDoc::kChangeCleared);
    noteRecentDocument(w->filePath());
    w->refresh();
    return true;
}

bool DocumentController::saveDocumentAs(DocumentWindow* w) {
    QString path = QFileDialog::getSaveFileName(w, QStringLiteral("Save As"),
                                                w->filePath().isEmpty() ? QDir::homePath() : w->filePath(), kFilter);
    if (path.isEmpty()) return false;
    if (!path.endsWith(QLatin1String(".qvane"), Qt::CaseInsensitive)) path += QStringLiteral(".qvane");
    const QString old = w->filePath();
    w->setFilePath(QFileInfo(path).absoluteFilePath());
    if (!saveDocument(w)) {
        w->setFilePath(old);
        return false;
    }
    return true;
}

void DocumentController::revertDocumentToSaved(DocumentWindow* w) {
    QFile f(w->filePath());
    if (w->filePath().isEmpty() || !f.open(QIODevice::ReadOnly)) return;
    MyDocument& doc = w->document();
    if (!doc.readFromData(f.readAll(), QStringLiteral("qvane"))) return;
    w->clearPasswordToDecryptField();
    doc.myArray = Array();
    doc.myCategoryArray = Array();
    doc.makeToolbarVisibleAtDecrypt = w->isToolbarVisible();
    w->refresh();
    w->shrinkToMinimumSizeAndPin();
}

void DocumentController::scheduleAutosave(DocumentWindow* w) {
    if (autosavingDelay_ <= 0 || w->filePath().isEmpty() || !w->document().canAutosave()) return;
    QPointer<DocumentWindow> target(w);
    QTimer::singleShot(int(autosavingDelay_ * 1000), this, [this, target] {
        if (!target || target->filePath().isEmpty()) return;
        MyDocument& doc = target->document();
        if (doc.isDocumentEdited() && doc.canAutosave() && doc.YouCanSave) saveDocument(target);
    });
}

QStringList DocumentController::recentDocuments() const {
    return QSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Quorvane"), QStringLiteral("Quorvane"))
        .value(QStringLiteral("recentDocuments"))
        .toStringList();
}

void DocumentController::noteRecentDocument(const QString& path) {
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Quorvane"), QStringLiteral("Quorvane"));
    QStringList list = settings.value(QStringLiteral("recentDocuments")).toStringList();
    list.removeAll(path);
    list.prepend(path);
    while (list.size() > 10) list.removeLast();
    settings.setValue(QStringLiteral("recentDocuments"), list);
}

void DocumentController::forget(DocumentWindow* window) {
    std::erase(windows_, window);
}

}  // namespace qv::app
