#pragma once

#include <QString>

namespace qv {

// The desktop's handlers for URLs and files. A failure is reported as false, never raised.
class Workspace {
public:
    virtual ~Workspace() = default;
    virtual bool openUrl(const QString& url) = 0;
    virtual bool openFile(const QString& path) = 0;
    virtual bool revealFile(const QString& path) = 0;
};

}  // namespace qv
