#pragma once

// What an alert or sheet shows. Alerts have the warning style; the first button added answers
// 1000, the second 1001, and so on.

#include <QString>
#include <QStringList>

namespace qv {

inline constexpr int kAlertFirstButtonReturn = 1000;
inline constexpr int kAlertSecondButtonReturn = 1001;
inline constexpr int kAlertThirdButtonReturn = 1002;

struct Alert {
    QString messageText;
    QString informativeText;
    QStringList buttons;  // in the order added; empty means one "OK"
};

}  // namespace qv
