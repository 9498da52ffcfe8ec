#include "MergeFlow.h"

#include "DocumentWindow.h"

#include "browsing/DocumentBrowser.h"
#include "document/MyDocument.h"
#include "document/DocumentFile.h"
#include "document/PasswordTexts.h"

#include <QFileInfo>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>

#include <memory>
#include <optional>

namespace qv::app {

namespace {

std::optional<QString> askWithDialog(QWidget* parent, const QString& fileName, bool refusedBefore) {
    bool ok = false;
    const QString label = refusedBefore
                              ? QStringLiteral("That password does not open \u201c%1\u201d. Enter its master password:").arg(fileName)
                              : QStringLiteral("\u201c%1\u201d has another master password. Enter it to merge its records:").arg(fileName);
    const QString password = QInputDialog::getText(parent, QStringLiteral("Merge With Document"), label, QLineEdit::Password,
                                                   QString(), &ok);
    if (!ok) return std::nullopt;
    return password;
}

// What the merge changed in A, to be put back by Undo: every record as it was (a shallow copy
// keeps the very values and the category it pointed at) and the lengths of the three lists.
struct Before {
    std::vector<Dictionary> records;
    qsizetype recordCount = 0, categoryCount = 0, emailCount = 0;
};

Before snapshot(const MyDocument& doc) {
    Before b;
    b.records.reserve(size_t(doc.myArray.count()));
    for (const Value& r : doc.myArray) b.records.push_back(r.toDictionary().shallowCopy());
    b.recordCount = doc.myArray.count();
    b.categoryCount = doc.myCategoryArray.count();
    b.emailCount = doc.emailArray.count();
    return b;
}

void restore(MyDocument& doc, const Before& b) {
    while (doc.myArray.count() > b.recordCount) doc.myArray.removeAt(doc.myArray.count() - 1);
    while (doc.myCategoryArray.count() > b.categoryCount) doc.myCategoryArray.removeAt(doc.myCategoryArray.count() - 1);
    while (doc.emailArray.count() > b.emailCount) doc.emailArray.removeAt(doc.emailArray.count() - 1);
    for (qsizetype i = 0; i < b.recordCount; ++i) {
        Dictionary r = doc.myArray.at(i).toDictionary();
        const Dictionary& was = b.records[size_t(i)];
        r.clear();
        for (const QString& key : was.keys()) r.set(key, was.value(key));
    }
}

// The merge as an undoable step: running it registers its undo, and the undo registers it again.
void mergeStep(DocumentWindow* window, std::shared_ptr<MyDocument> other, MergeReport* report) {
    MyDocument& doc = window->document();
    DocumentBrowser& browser = window->browser();
    auto before = std::make_shared<Before>(snapshot(doc));
    const MergeReport done = DocumentMerge::merge(doc, *other);
    if (report) *report = done;
    browser.undoManager().registerUndo([window, other, before] {
        if (!window->document().isDecrypted()) return;
        restore(window->document(), *before);
        window->browser().undoManager().registerUndo([window, other] { mergeStep(window, other, nullptr); });
        window->browser().undoManager().setActionName(QStringLiteral("Merge"));
        window->browser().bindTables();
        window->browser().synkCategorySubMenu();
        window->document().updateChangeCount(ZKCryptoDoc::kChangeDone);
        window->refresh();
    });
    browser.undoManager().setActionName(QStringLiteral("Merge"));
    browser.bindTables();
    browser.synkCategorySubMenu();
    browser.myArrayController().rearrangeObjects();
    if (done.changedA()) doc.updateChangeCount(ZKCryptoDoc::kChangeDone);
    window->refresh();
}

}  // namespace

QString MergeFlow::reportText(const MergeReport& r) {
    QString text = QStringLiteral("%1 added, %2 updated, %3 kept as they are here, %4 in conflict, %5 only in this document.")
                       .arg(r.added.size())
                       .arg(r.updatedFromB.size())
                       .arg(r.keptFromA.size())
                       .arg(r.conflicts.size())
                       .arg(r.onlyInA.size());
    const std::pair<QString, const QStringList*> lists[] = {
        {QStringLiteral("Only in the other version, added:"), &r.added},
        {QStringLiteral("Changed later in the other version, updated:"), &r.updatedFromB},
        {QStringLiteral("Changed later here, kept:"), &r.keptFromA},
        {QStringLiteral("Changed on both at the same moment; the other version's is added as a copy:"), &r.conflicts},
        {QStringLiteral("Only in this document (perhaps deleted in the other; a merge deletes nothing):"), &r.onlyInA}};
    for (const auto& [title, list] : lists) {
        if (list->isEmpty()) continue;
        text += QStringLiteral("\n\n") + title;
        const qsizetype shown = std::min<qsizetype>(list->size(), 50);
        for (qsizetype i = 0; i < shown; ++i) text += QStringLiteral("\n  ") + list->at(i);
        if (list->size() > shown) text += QStringLiteral("\n  \u2026 and %1 more").arg(list->size() - shown);
    }
    return text;
}

bool MergeFlow::mergeInto(DocumentWindow* window, const QString& path, const AskPassword& ask, MergeReport* reportOut,
                          bool showReport) {
    MyDocument& doc = window->document();
    if (!doc.isDecrypted()) return false;
    const QString name = QFileInfo(path).fileName();
    auto fail = [&](const QString& why) {
        QMessageBox box(QMessageBox::Warning, QStringLiteral("Merge With Document"),
                        QStringLiteral("\u201c%1\u201d could not be merged.").arg(name), QMessageBox::Ok, window);
        box.setObjectName(QStringLiteral("mergeFailedSheet"));
        box.setInformativeText(why);
        box.setWindowModality(Qt::WindowModal);
        box.exec();
        return false;
    };
    // Reading and deciphering the other file take as long as opening it: off the interface
    // thread, the document busy meanwhile.
    std::optional<DocumentFileResult<QByteArray>> read;
    doc.runHeavy([&] { read = DocumentFile::readBytes(path); });
    const DocumentFileResult<QByteArray>& bytes = *read;
    if (!bytes) return fail(bytes.message());
    // Most often both versions share the master password: it is tried before asking. Each try
    // starts from the file's bytes, as an old file's conversion keeps what a failed try made.
    QString password = doc.plainPassword;
    bool refused = false;
    std::shared_ptr<MyDocument> other;
    for (;;) {
        other = std::make_shared<MyDocument>();
        std::optional<MyDocument::ReadStatus> taken;
        DocumentFileStatus opened;
        doc.runHeavy([&] {
            taken = other->read(*bytes);
            if (*taken) opened = DocumentFile::unlock(*other, password);
        });
        if (!*taken && taken->kind() == MyDocument::ReadFailure::TooNew)
            return fail(QStringLiteral("It was made by a newer release of Quorvane."));
        if (!*taken) return fail(QStringLiteral("It is not a Quorvane document (%1).").arg(taken->message()));
        if (opened) break;
        if (opened.kind() != DocumentFileError::WrongPassword) return fail(opened.message());
        const auto asked = ask ? ask(name, refused) : askWithDialog(window, name, refused);
        if (!asked) return false;
        password = *asked;
        refused = true;
    }
    other->wipePasswords();

    MergeReport report;
    mergeStep(window, other, &report);
    if (reportOut) *reportOut = report;
    if (showReport) {
        QMessageBox box(QMessageBox::Information, QStringLiteral("Merge With Document"),
                        report.changedA() ? QStringLiteral("The records of \u201c%1\u201d were merged into this document.").arg(name)
                                          : QStringLiteral("\u201c%1\u201d holds nothing this document lacks.").arg(name),
                        QMessageBox::Ok, window);
        box.setObjectName(QStringLiteral("mergeReportSheet"));
        box.setInformativeText(reportText(report));
        box.setWindowModality(Qt::WindowModal);
        box.exec();
    }
    return true;
}

}  // namespace qv::app
