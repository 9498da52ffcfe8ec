#pragma once

// Copying single values of the selected record to the clipboard, counting the record's use once
// per selection, the floating notice, opening the record's URL, and the document half of push
// and pull. The clipboard is written and never read, and never cleared by the program.

#include "NoticeUi.h"
#include "PushAndPull.h"

#include "browsing/DocumentBrowser.h"
#include "foundation/Pasteboard.h"
#include "foundation/Sender.h"
#include "foundation/UserDefaults.h"
#include "shell/ZKUrlResolutor.h"

namespace qv {

class ValueCopier {
public:
    ValueCopier(DocumentBrowser& browser, Pasteboard& pasteboard, const UserDefaults& defaults,
                ZKUrlResolutor& resolutor, PushAndPull& pushAndPull);

    // The window's notice and secure fields; none for headless use.
    void setUi(NoticeUi* ui) { ui_ = ui; }

    // The notice texts by tag; tags above 9 show nothing.
    static QString noticeText(int tag);

    void copyCategory(const Sender& = {});
    void copyName(const Sender& = {});
    void copyUrl(const Sender& = {});
    void copyAccount(const Sender& = {});
    void copyUserID(const Sender& = {});
    void copyPassword(const Sender& = {});
    void copyPin(const Sender& = {});
    void copySecurity(const Sender& = {});
    void copyEmail(const Sender& = {});
    void copyNote(const Sender& = {});

    void increaseUsageOfRow(const Sender& = {});
    void doNotifyValueWasCopied(int tag);
    // A detail field's own copy button: its text, a use counted, the notice of its tag.
    void textCopiedInClipboard(const QString& text, int tag);

    void openUrl(const Sender& = {});
    void pushAndPull(const Sender& = {});

private:
    void copy(const QString& key, int tag, bool secret = false);
    bool documentIsClosedToCopies() const;
    DocumentBrowser& browser_;
    Pasteboard& pasteboard_;
    const UserDefaults& defaults_;
    ZKUrlResolutor& resolutor_;
    PushAndPull& pushAndPull_;
    NoticeUi* ui_ = nullptr;
};

}  // namespace qv
