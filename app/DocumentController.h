#pragma once

// The program's open documents: new, open, save, save as, revert and close, each document in a
// window of its own. Saves are atomic: the new file is written beside the old one, flushed to
// disk and renamed over it, so a crash or a kill during a save leaves the previous file whole.

#include <QObject>
#include <QString>

#include <functional>
#include <vector>

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
    void revertDocumentToSaved(DocumentWindow* window);

    const std::vector<DocumentWindow*>& documents() const { return windows_; }
    // Null without a running application (some tests): copy and open commands are then absent.
    AppServices* services() const { return services_; }
    void setServices(AppServices* services) { services_ = services; }

    // Documents with a file are saved in place this many seconds after an edit; 0 turns
    // autosaving off. Locked documents and documents without a password are never autosaved.
    void setAutosavingDelay(double seconds) { autosavingDelay_ = seconds; }
    double autosavingDelay() const { return autosavingDelay_; }
    void scheduleAutosave(DocumentWindow* window);

    // Paths of recently opened or saved documents, newest first.
    QStringList recentDocuments() const;
    void noteRecentDocument(const QString& path);
    void forget(DocumentWindow* window);

    // Writes the file atomically; false with a message when it could not be written.
    static bool writeAtomically(const QString& path, const QByteArray& bytes, QString* error);

Q_SIGNALS:
    // A new or opened document has its window, before it is shown.
    void documentAdded(DocumentWindow* window);

private:
    std::vector<DocumentWindow*> windows_;
    int untitledCount_ = 0;
    double autosavingDelay_ = 20;
    AppServices* services_ = nullptr;
};

}  // namespace qv::app
