#pragma once

#include <QString>

namespace qv {

// What a command knows of the control that sent it. Menus, buttons and tests all call commands
// with one of these; most commands ignore it.
struct Sender {
    int tag = 0;
    QString title;
    QString stringValue;
    int selectedIndex = -1;
};

}  // namespace qv
