#pragma once

#include <QIcon>
#include <QString>

namespace qv::app {

// The images of the preference panes, drawn by the program so they stay sharp at any scale:
// "prefGeneral", "t", "keys", "alarm_clock", "advanced", "swUpdate". An unknown name gives a
// null icon.
QIcon preferenceIcon(const QString& name);

}  // namespace qv::app
