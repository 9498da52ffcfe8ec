#pragma once

#include <QString>

namespace qv {

// The clipboard. The program only ever writes plain strings to it and never reads it.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;
    virtual void setString(const QString& text) = 0;
};

}  // namespace qv
