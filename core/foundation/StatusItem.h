#pragma once

#include <QString>

#include <functional>

namespace qv {

// The icon in the desktop's status area that push and pull puts up; one click runs `clicked`.
class StatusItem {
public:
    virtual ~StatusItem() = default;
    virtual void show(const QString& toolTip, std::function<void()> clicked) = 0;
    virtual void remove() = 0;
    virtual bool isShown() const = 0;
};

}  // namespace qv
