#pragma once

#include <QString>

namespace qv {

// Page set-up and printing of the document's table; the Qt program prints the real view.
class PrintService {
public:
    virtual ~PrintService() = default;
    virtual bool runPageLayout() = 0;
    virtual bool printDocument(const QString& jobTitle) = 0;
};

}  // namespace qv
