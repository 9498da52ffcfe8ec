#pragma once

// The selected record's category as a coloured label in the detail pane. A click copies the
// category's name to the clipboard.

#include "foundation/Pasteboard.h"
#include "foundation/Value.h"

#include <QWidget>

namespace qv::app {

class CategoryView : public QWidget {
    Q_OBJECT
public:
    explicit CategoryView(QWidget* parent = nullptr);
    void setCategory(const Value& category);
    // The clipboard the program's other copies go through; without one a click copies nothing.
    void setPasteboard(Pasteboard* pasteboard) { pasteboard_ = pasteboard; }
    QSize sizeHint() const override { return {220, 22}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    Value category_;
    Pasteboard* pasteboard_ = nullptr;
};

}  // namespace qv::app
