#pragma once

// Text that comes from outside (an imported file, a field of the window, a drop) is made valid
// Unicode before it enters a document: a lone UTF-16 surrogate would be written into the file as
// it is, and other readers of the file (the phone edition among them) refuse such a string.

#include <QString>

namespace qv {

// Every surrogate without its partner becomes U+FFFD; well-formed text comes back unchanged and
// uncopied.
QString withoutLoneSurrogates(QString text);
bool hasLoneSurrogate(QStringView text);

}  // namespace qv
