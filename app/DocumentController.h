#pragma once

// The program's open documents: new, open, save, save as, revert and close, each document in a
// window of its own. Saves are atomic: the new file is written beside the old one, flushed to
// disk and renamed over it, so a crash, a kill or a full disk during a save leaves the previous
// file whole. The new bytes are opened with the password before they may replace the file, and a
// file that another program changed since it was opened or saved is not overwritten without
// asking.

#include "document/DocumentFile.h"

#include <QByteArray>
#include <QObject>
#include <QSet>
#include <QString>

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

class QFileSystemWatcher;

namespace qv {
class Pasteboard;
class PushAndPull;
class UserDefaults;
class ZKUrlResolutor;
}  // namespace qv

namespace qv::app {

class DocumentWindow;

// The application's services that document windows use for copying and opening.
struct AppServices {
    Pasteboard* pasteboard = nullptr;
    UserDefaults* defaults = nullptr;
    ZKUrlResolutor* resolutor = nullptr;
    PushAndPull* pushAndPull = nullptr;
    std::function<void()> showPasswordMaker;
};

class DocumentController : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    DocumentWindow* newDocument();
    // nullptr (after telling the user) when the file can't be opened.
    DocumentWindow* openDocument(const QString& path);
    void openDocumentWithPanel(QWidget* parent);
    bool saveDocument(DocumentWindow* window);
    bool saveDocumentAs(DocumentWindow* window);
    // Asks first, with the loss spelled out; on "Revert" the file is read again and the window
    // shows its password page.
    void revertDocumentToSaved(DocumentWindow* window);

    const std::vector<DocumentWindow*>& documents() const { return windows_; }
    // Null without a running application (some tests): copy and open commands are then absent.
    AppServices* services() const { return services_; }
    // Also registers the defaults of the opt-in preferences read here and hands the clipboard
    // its clearing delay.
    void setServices(AppServices* services);
    // Starts listening to the desktop's screen lock and sleep when the preference asks for it;
    // run when a document comes and when the preference changes.
    void applyLockWhenSessionLocks();
    // Every document that can lock, locks: the desktop's screen locked or the machine sleeps.
    void lockAllForSession();

    // Documents with a file are saved in place this many seconds after an edit; 0 turns
    // autosaving off. Locked documents and documents without a password are never autosaved.
    void setAutosavingDelay(double seconds) { autosavingDelay_ = seconds; }
    double autosavingDelay() const { return autosavingDelay_; }
    void scheduleAutosave(DocumentWindow* window);

    // Paths of recently opened or saved documents, newest first.
    QStringList recentDocuments() const;
    void noteRecentDocument(const QString& path);
    void forget(DocumentWindow* window);

    // Whether another program changed, replaced or removed the window's file since then.
    bool fileChangedOnDisk(const DocumentWindow* window) const;
    // The same, with the file read on a worker while the window's event loop turns.
    bool fileChangedOnDiskAsked(DocumentWindow* window);

    // Whether open documents' files are watched for changes made by other programs (on by
    // default); tests of the save-time question turn it off to meet that question alone.
    void setWatchingFiles(bool watching) { watching_ = watching; }
    // Run when the file of an open document changed on disk (the watcher calls it): a document
    // with nothing unsaved takes the new contents; one with unsaved edits offers to merge them now.
    void fileChangedBehind(DocumentWindow* window);

Q_SIGNALS:
    // A new or opened document has its window, before it is shown.
    void documentAdded(DocumentWindow* window);
    // A document's window has gone.
    void documentRemoved();

private:
    // DocumentFile::write on a worker thread, the window kept painted behind a progress dialog;
    // `stamp` is then the new file's, taken on the same worker (it reads the whole file).
    DocumentFileStatus writeInBackground(DocumentWindow* w, const QByteArray& bytes, const QString& password,
                                         FileStamp& stamp);
    QSet<const DocumentWindow*> saving_;
    // Reads the file on a worker, then takes the bytes into the window's document here.
    DocumentFileStatus loadOffThread(DocumentWindow* w, const QString& path);
    QSet<QString> opening_;  // files being read for a window of their own
    enum class SaveMode { Asking, Autosaving };
    bool save(DocumentWindow* window, SaveMode mode);
    bool confirmRevert(DocumentWindow* window);
    void noteFileOnDisk(const DocumentWindow* window);
    void noteFileOnDisk(const DocumentWindow* window, const FileStamp& stamp);
    void watch(const QString& path);
    void filesChanged(const QString& path);
    bool reloadClean(DocumentWindow* window);
    QFileSystemWatcher* watcher_ = nullptr;
    QSet<QString> pendingChanges_;
    bool watching_ = true;
    // Before the first save over a file of another generation (an older release's, the phone
    // edition's), a copy of it as it is; an empty path when no copy was due.
    struct KeptCopy {
        QString path;
        std::uint64_t generation = 0;
    };
    DocumentFileResult<KeptCopy> keepOldGenerationCopy(DocumentWindow* window);
    void tellOldGenerationCopy(DocumentWindow* window, const QString& copyPath, std::uint64_t generation);
    struct OtherGeneration {
        QString path;
        std::uint64_t generation = 0;
    };
    std::unordered_map<const DocumentWindow*, OtherGeneration> otherGeneration_;

    std::vector<DocumentWindow*> windows_;
    struct KnownFile {
        QString path;
        FileStamp stamp;
    };
    std::unordered_map<const DocumentWindow*, KnownFile> known_;
    class SessionLockWatcher* sessionWatcher_ = nullptr;
    int untitledCount_ = 0;
    double autosavingDelay_ = 20;
    AppServices* services_ = nullptr;
};

}  // namespace qv::app
