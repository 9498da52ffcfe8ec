#include "DocumentController.h"

#include "DocumentWindow.h"
#include "MergeFlow.h"
#include "PlatformServices.h"

#include "browsing/DocumentBrowser.h"
#include "document/DocumentTexts.h"
#include "foundation/UserDefaults.h"
#include "foundation/ZKAppSupportUtility.h"
#include "shell/MyAppDelegate.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileSystemWatcher>
#include <QFileInfo>
#include <QMessageBox>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QTimer>

#include <limits>
#include <optional>
#include <utility>

namespace qv::app {

namespace {
const QString kFilter = QStringLiteral("Quorvane documents (*.qvane)");

// The reason shown under "The document could not be saved."
QString saveFailureText(const DocumentFileStatus& failed) {
    switch (failed.kind()) {
    case DocumentFileError::OutOfMemory:
        return failed.message() + QStringLiteral(" The file was left as it was, and the records stay open here.");
    case DocumentFileError::CannotEncipher:
        return QString();  // a document read only in part, whose commands say so already
    default:
        return failed.message();
    }
}
}  // namespace

DocumentWindow* DocumentController::newDocument() {
    auto doc = std::make_unique<MyDocument>();
    auto* w = new DocumentWindow(std::move(doc), QString(), this);
    ++untitledCount_;
    w->setWindowTitle(untitledCount_ == 1 ? QStringLiteral("Untitled[*]")
                                          : QStringLiteral("Untitled %1[*]").arg(untitledCount_));
    w->document().prepareNewDocument();
    w->refresh();
    windows_.push_back(w);
    applyLockWhenSessionLocks();
    Q_EMIT documentAdded(w);
    w->show();
    return w;
}

DocumentFileStatus DocumentController::loadOffThread(DocumentWindow* w, const QString& path) {
    // Reading a large file takes tens of milliseconds even from the system's cache: the other
    // windows keep painting and taking input meanwhile.
    std::optional<DocumentFileResult<QByteArray>> bytes;
    w->document().runHeavy([&] { bytes = DocumentFile::readBytes(path); });
    if (!*bytes) return bytes->failure();
    return DocumentFile::take(**bytes, w->document());
}

DocumentWindow* DocumentController::openDocument(const QString& path) {
    const QString absolute = QFileInfo(path).absoluteFilePath();
    for (DocumentWindow* w : windows_)
        if (w->filePath() == absolute) {
            w->raise();
            w->activateWindow();
            return w;
        }
    // A second request for a file still being read is the same request.
    if (opening_.contains(absolute)) return nullptr;
    opening_.insert(absolute);
    auto* w = new DocumentWindow(std::make_unique<MyDocument>(), absolute, this);
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const DocumentFileStatus loaded = loadOffThread(w, absolute);
    QApplication::restoreOverrideCursor();
    opening_.remove(absolute);
    if (!loaded) {
        delete w;
        const QString name = QFileInfo(path).fileName();
        switch (loaded.kind()) {
        case DocumentFileError::CannotRead:
            QMessageBox::warning(nullptr, QStringLiteral("Quorvane"),
                                 QStringLiteral("The document \"%1\" could not be opened.\n%2").arg(name, loaded.message()));
            break;
        case DocumentFileError::OutOfMemory:
            QMessageBox::warning(nullptr, QStringLiteral("Quorvane"),
                                 QStringLiteral("The document \"%1\" could not be opened: there is not enough memory to "
                                                "read it. The file was not changed.")
                                     .arg(name));
            break;
        case DocumentFileError::TooNew:
            break;  // the document told the user itself, with a way to a newer release
        default:
            QMessageBox::warning(nullptr, QStringLiteral("Quorvane"),
                                 QStringLiteral("The document \"%1\" could not be opened: it is damaged or is not a "
                                                "Quorvane document.")
                                     .arg(name));
            break;
        }
        return nullptr;
    }
    w->document().fileURL = absolute;
    noteFileOnDisk(w);
    if (w->document().docVersionRapresentation != MyDocument::kGenerationWritten)
        otherGeneration_[w] = OtherGeneration{absolute, w->document().docVersionRapresentation};
    noteRecentDocument(absolute);
    w->refresh();
    windows_.push_back(w);
    applyLockWhenSessionLocks();
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

void DocumentController::setServices(AppServices* services) {
    services_ = services;
    if (!services_ || !services_->defaults) return;
    UserDefaults* defaults = services_->defaults;
    defaults->registerDefaults(prefs::optInDefaults());
    if (auto* clipboard = dynamic_cast<ClipboardPasteboard*>(services_->pasteboard))
        clipboard->setClearAfter([defaults] { return defaults->integerForKey(prefs::clearClipboardAfter); });
}

void DocumentController::applyLockWhenSessionLocks() {
    // Nothing is asked of the desktop's buses until the user wants it.
    if (sessionWatcher_ || !services_ || !services_->defaults ||
        !services_->defaults->boolForKey(prefs::lockDocumentsWhenSessionLocks))
        return;
    sessionWatcher_ = new SessionLockWatcher(this);
    connect(sessionWatcher_, &SessionLockWatcher::sessionLocking, this, [this] {
        if (services_ && services_->defaults && services_->defaults->boolForKey(prefs::lockDocumentsWhenSessionLocks))
            lockAllForSession();
    });
}

void DocumentController::lockAllForSession() {
    // As the background lock does: locked, passwordless and never-saved documents are skipped.
    for (DocumentWindow* w : windows_) w->document().lockAutomatically();
}

void DocumentController::openDocumentWithPanel(QWidget* parent) {
    const QStringList paths = QFileDialog::getOpenFileNames(parent, QStringLiteral("Open"), QDir::homePath(), kFilter);
    for (const QString& p : paths) openDocument(p);
}

DocumentFileStatus DocumentController::writeInBackground(DocumentWindow* w, const QByteArray& bytes,
                                                         const QString& password, FileStamp& stamp) {
    // Reading the new contents back and writing them takes as long as opening the document:
    // seconds for a very large one. It needs nothing of the window, so it runs on a thread of
    // its own while the window stays painted behind a progress dialog that keeps its input.
    const QString path = w->filePath();
    DocumentFileStatus written;
    QProgressDialog progress(QStringLiteral("Saving \u201c%1\u201d\u2026").arg(QFileInfo(path).fileName()), QString(), 0,
                             0, w);
    progress.setWindowModality(Qt::WindowModal);
    progress.setCancelButton(nullptr);
    progress.setMinimumDuration(std::numeric_limits<int>::max());  // shown by the timer below only
    QTimer::singleShot(400, &progress, [&progress] { progress.show(); });
    w->runOffThread([&] {
        written = DocumentFile::write(path, bytes, password);
        if (written) stamp = DocumentFile::stampOf(path);
    });
    return written;
}

void DocumentController::noteFileOnDisk(const DocumentWindow* w) { noteFileOnDisk(w, DocumentFile::stampOf(w->filePath())); }

void DocumentController::noteFileOnDisk(const DocumentWindow* w, const FileStamp& stamp) {
    known_[w] = KnownFile{w->filePath(), stamp};
    watch(w->filePath());
}

void DocumentController::watch(const QString& path) {
    if (path.isEmpty() || !watching_) return;
    if (!watcher_) {
        watcher_ = new QFileSystemWatcher(this);
        // A sync program replaces the file (a new file renamed over it) or writes it in place;
        // either way the folder or the file tells. Changes come in bursts: they are gathered.
        auto gather = [this](const QString& changed) { filesChanged(changed); };
        connect(watcher_, &QFileSystemWatcher::fileChanged, this, gather);
        connect(watcher_, &QFileSystemWatcher::directoryChanged, this, gather);
    }
    if (!watcher_->files().contains(path)) watcher_->addPath(path);
    const QString folder = QFileInfo(path).absolutePath();
    if (!watcher_->directories().contains(folder)) watcher_->addPath(folder);
}

void DocumentController::filesChanged(const QString& path) {
    pendingChanges_.insert(path);
    QTimer::singleShot(300, this, [this] {
        const QSet<QString> changed = std::exchange(pendingChanges_, {});
        if (changed.isEmpty()) return;
        std::vector<QPointer<DocumentWindow>> windows(windows_.begin(), windows_.end());
        for (const QPointer<DocumentWindow>& w : windows) {
            if (!w) continue;  // closed while another window's file was looked at
            const QString file = w->filePath();
            if (file.isEmpty() || (!changed.contains(file) && !changed.contains(QFileInfo(file).absolutePath()))) continue;
            // The watch is lost when the file is replaced: it is taken up again.
            if (watcher_ && QFileInfo::exists(file) && !watcher_->files().contains(file)) watcher_->addPath(file);
            if (saving_.contains(w)) continue;  // our own save
            if (w->document().isBusy()) {
                // A worker holds the tables: asked again in a moment.
                filesChanged(file);
                continue;
            }
            if (!fileChangedOnDiskAsked(w) || !w) continue;  // nothing new
            if (QApplication::activeModalWidget()) {
                // Not while the user answers something else: asked again in a moment.
                filesChanged(file);
                continue;
            }
            fileChangedBehind(w);
        }
    });
}

bool DocumentController::reloadClean(DocumentWindow* w) {
    MyDocument& doc = w->document();
    MyDocument fresh;
    // Reading and deciphering the other version takes as long as opening it; the window keeps
    // painting meanwhile, and the document, busy, takes no edit, save or lock until it is done.
    const QString path = w->filePath();
    const QString password = doc.plainPassword;
    bool opened = false;
    doc.runHeavy([&] {
        // A new master password set on the other machine: the next save asks what to do.
        opened = DocumentFile::load(path, fresh) && DocumentFile::unlock(fresh, password);
    });
    if (!opened) return false;
    fresh.wipePasswords();
    doc.myArray = fresh.myArray;
    doc.myCategoryArray = fresh.myCategoryArray;
    doc.emailArray = fresh.emailArray;
    w->browser().bindTables();
    w->browser().synkCategorySubMenu();
    w->browser().setFilterPredicate();
    // Nothing of the old tables may be undone into the new ones.
    w->browser().undoManager().removeAllActions();
    doc.updateChangeCount(ZKCryptoDoc::kChangeCleared);
    noteFileOnDisk(w);
    w->refresh();
    return true;
}

void DocumentController::fileChangedBehind(DocumentWindow* w) {
    MyDocument& doc = w->document();
    // A locked document shows nothing of its records; the next save after unlocking asks.
    if (!doc.isDecrypted() || doc.isLockPending()) return;
    if (doc.isBusy()) {
        // A worker holds the tables: asked again in a moment, as while another question is up.
        filesChanged(w->filePath());
        return;
    }
    if (!doc.isDocumentEdited()) {
        reloadClean(w);
        return;
    }
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Quorvane"),
                    QStringLiteral("The document \u201c%1\u201d was changed by another program, and you have changes that "
                                   "are not saved.")
                        .arg(QFileInfo(w->filePath()).fileName()),
                    QMessageBox::NoButton, w);
    box.setObjectName(QStringLiteral("changedBehindSheet"));
    box.setWindowModality(Qt::WindowModal);
    box.setInformativeText(QStringLiteral("Merge brings the other program's changes in now and keeps yours. Later leaves "
                                          "both as they are until you save."));
    QPushButton* merge = box.addButton(QStringLiteral("Merge"), QMessageBox::AcceptRole);
    box.addButton(QStringLiteral("Later"), QMessageBox::RejectRole);
    box.setDefaultButton(merge);
    box.exec();
    if (box.clickedButton() != merge) return;
    // What was on disk is in the records now: the next save need not ask about it.
    if (MergeFlow::mergeInto(w, w->filePath())) noteFileOnDisk(w);
}

bool DocumentController::fileChangedOnDiskAsked(DocumentWindow* w) {
    const auto it = known_.find(w);
    if (it == known_.end() || it->second.path != w->filePath()) return false;
    // The stamp reads and hashes the whole file: on a worker, as the window's loop turns.
    const KnownFile known = it->second;
    FileStamp now;
    w->runOffThread([&now, &known] { now = DocumentFile::stampOf(known.path); });
    return now != known.stamp;
}

bool DocumentController::fileChangedOnDisk(const DocumentWindow* w) const {
    const auto it = known_.find(w);
    // A file this program never read or wrote for the window (a new path of Save As) is the
    // file panel's business.
    if (it == known_.end() || it->second.path != w->filePath()) return false;
    return DocumentFile::stampOf(w->filePath()) != it->second.stamp;
}

bool DocumentController::saveDocument(DocumentWindow* w) { return save(w, SaveMode::Asking); }

bool DocumentController::save(DocumentWindow* w, SaveMode mode) {
    if (w->filePath().isEmpty()) return mode == SaveMode::Asking && saveDocumentAs(w);
    MyDocument& doc = w->document();
    // A locked document or one without a password must not be written: the file could not be
    // opened again. Nor one whose tables a worker is deciphering or enciphering right now.
    if (!doc.canAutosave() || doc.isBusy()) return false;
    if (fileChangedOnDiskAsked(w)) {
        // Autosaving never overwrites another program's work; the next save by hand asks.
        if (mode == SaveMode::Autosaving) return false;
        QMessageBox box(QMessageBox::Warning, QStringLiteral("Quorvane"),
                        QStringLiteral("The document \"%1\" was changed by another program since it was opened or "
                                       "last saved.")
                            .arg(QFileInfo(w->filePath()).fileName()),
                        QMessageBox::NoButton, w);
        box.setInformativeText(QStringLiteral("Merge brings the other program's changes in and keeps yours; saving anyway "
                                              "loses the other program's changes."));
        box.setObjectName(QStringLiteral("changedOnDiskSheet"));
        box.setWindowModality(Qt::WindowModal);
        QPushButton* merge = box.addButton(QStringLiteral("Merge"), QMessageBox::AcceptRole);
        QPushButton* overwrite = box.addButton(QStringLiteral("Save Anyway"), QMessageBox::DestructiveRole);
        box.addButton(QMessageBox::Cancel);
        box.setDefaultButton(merge);
        box.exec();
        if (box.clickedButton() == merge) {
            // What is on disk now joins the records here, and the result is what gets saved.
            if (!MergeFlow::mergeInto(w, w->filePath())) return false;
            if (!doc.canAutosave()) return false;
        } else if (box.clickedButton() != overwrite) {
            return false;
        }
    }
    if (saving_.contains(w)) return false;  // a timer's save while this one is being written
    const DocumentFileResult<KeptCopy> kept = keepOldGenerationCopy(w);
    if (!kept) {
        if (mode == SaveMode::Asking)
            QMessageBox::warning(w, QStringLiteral("Quorvane"),
                                 QStringLiteral("The document could not be saved.\n%1")
                                     .arg(QStringLiteral("A copy of the file as it was could not be kept: %1")
                                              .arg(kept.message())));
        return false;
    }
    saving_.insert(w);
    QPointer<DocumentWindow> alive(w);
    // Only this window waits: the others keep their input and their cursor.
    w->setCursor(Qt::WaitCursor);
    DocumentFileStatus written;
    FileStamp stamp;
    if (auto bytes = DocumentFile::encode(doc)) written = writeInBackground(w, *bytes, doc.plainPassword, stamp);
    else written = bytes.failure();
    if (alive) w->unsetCursor();
    saving_.remove(w);
    if (!alive) return written.ok();
    if (!written) {
        QMessageBox::warning(w, QStringLiteral("Quorvane"),
                             QStringLiteral("The document could not be saved.\n%1").arg(saveFailureText(written)));
        return false;
    }
    noteFileOnDisk(w, stamp);
    if (!kept->path.isEmpty()) tellOldGenerationCopy(w, kept->path, kept->generation);  // once: the copy is made once
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

bool DocumentController::confirmRevert(DocumentWindow* w) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Quorvane"),
                    QStringLiteral("Do you want to revert to the most recently saved version of the document \u201c%1\u201d?")
                        .arg(QFileInfo(w->filePath()).fileName()),
                    QMessageBox::NoButton, w);
    box.setObjectName(QStringLiteral("revertSheet"));
    box.setWindowModality(Qt::WindowModal);
    box.setInformativeText(QStringLiteral("Your current changes will be lost."));
    QPushButton* revert = box.addButton(QStringLiteral("Revert"), QMessageBox::DestructiveRole);
    box.setDefaultButton(box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole));
    box.exec();
    return box.clickedButton() == revert;
}

void DocumentController::revertDocumentToSaved(DocumentWindow* w) {
    if (w->filePath().isEmpty()) return;
    QPointer<DocumentWindow> alive(w);
    if (!confirmRevert(w) || !alive) return;
    // Whether the toolbar shows now, before reading hides it with the rest of the open document:
    // unlocking brings it back as it was.
    const bool toolbarVisible = w->isToolbarVisible();
    MyDocument& doc = w->document();
    if (!loadOffThread(w, w->filePath())) return;
    noteFileOnDisk(w);
    w->clearPasswordToDecryptField();
    doc.myArray = Array();
    doc.myCategoryArray = Array();
    doc.makeToolbarVisibleAtDecrypt = toolbarVisible;
    w->refresh();
    w->shrinkToMinimumSizeAndPin();
}

void DocumentController::scheduleAutosave(DocumentWindow* w) {
    if (autosavingDelay_ <= 0 || w->filePath().isEmpty() || !w->document().canAutosave()) return;
    QPointer<DocumentWindow> target(w);
    QTimer::singleShot(int(autosavingDelay_ * 1000), this, [this, target] {
        if (!target || target->filePath().isEmpty()) return;
        MyDocument& doc = target->document();
        if (doc.isDocumentEdited() && doc.canAutosave() && doc.YouCanSave) save(target, SaveMode::Autosaving);
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

DocumentFileResult<DocumentController::KeptCopy> DocumentController::keepOldGenerationCopy(DocumentWindow* w) {
    const auto it = otherGeneration_.find(w);
    // Saved under another name (Save As), the file it came from is not written over.
    if (it == otherGeneration_.end() || it->second.path != w->filePath()) return KeptCopy{};
    const std::uint64_t generation = it->second.generation;
    auto copy = DocumentFile::keepCopyOf(w->filePath(), generation);
    if (!copy) return copy.failure();
    otherGeneration_.erase(it);  // made once, or the file has gone: either way never again
    return KeptCopy{*copy, generation};
}

void DocumentController::tellOldGenerationCopy(DocumentWindow* w, const QString& copyPath, std::uint64_t number) {
    QString generation = ZKAppSupportUtility::calcReleaseString(std::int64_t(number));
    if (generation.isEmpty()) generation = QString::number(number);
    auto* notice = new QMessageBox(
        QMessageBox::Information, QStringLiteral("Quorvane"),
        QStringLiteral("The document is now saved in the current format. The file as it was, in the format of "
                       "generation %1, is kept as \u201c%2\u201d.")
            .arg(generation, QFileInfo(copyPath).fileName()),
        QMessageBox::Ok, w);
    notice->setObjectName(QStringLiteral("oldGenerationCopyNotice"));
    notice->setInformativeText(QStringLiteral("Older releases and the phone edition may not open the saved document; "
                                              "they open the copy."));
    notice->setAttribute(Qt::WA_DeleteOnClose);
    notice->setWindowModality(Qt::WindowModal);
    notice->open();
}

void DocumentController::forget(DocumentWindow* window) {
    otherGeneration_.erase(window);
    known_.erase(window);
    if (std::erase(windows_, window) > 0) Q_EMIT documentRemoved();
}

}  // namespace qv::app
