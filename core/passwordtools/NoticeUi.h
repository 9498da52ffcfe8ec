#pragma once

// What copying a value needs of the window besides the clipboard: the floating notice that says
// what was copied, and the text the hidden fields of the record form hold.

#include <QString>

namespace qv {

class NoticeUi {
public:
    virtual ~NoticeUi() = default;

    // The floating notice "… copied", shown centred for `seconds`. Each call brings its own
    // timer; an earlier one still running may hide a later notice early.
    virtual void openHud(const QString& text, double seconds) = 0;
    // The hidden forms of password, PIN and security: what the secure fields hold now.
    virtual QString secureFieldText(const QString& key) const = 0;
};

}  // namespace qv
