#pragma once

// The arithmetic of the main split view: the record table on the left, the detail pane on the
// right. It keeps both within their limits while the window or the divider moves, shares window
// growth between them by a rule, and collapses and restores the right pane without losing its
// width. The view itself is the toolkit's; this class only computes.

#include "foundation/Value.h"

namespace qv {

class ZKVSplitViewDelegate {
public:
    bool awaked = false;
    bool canCollapseLeft = true;
    bool canCollapseRight = true;
    int minHSizeLeft = 200;
    int maxHSizeLeft = 99999;
    int minHSizeRight = 200;
    int maxHSizeRight = 99999;
    // 0: the right view takes a change in size; 1: the left one; 2: shared half and half.
    int growingRule = 2;

    void awakeFromNib() { awaked = true; }
    // The limits of the document window's split view.
    void configureForMainWindow();

    double constrainMinCoordinate(int dividerIndex) const;
    double constrainMaxCoordinate(double splitWidth, double dividerThickness, int dividerIndex) const;
    bool canCollapseSubview(int index) const { return index == 0 ? canCollapseLeft : canCollapseRight; }

    double leftFrameInsideLimits(double width) const;
    double rightFrameInsideLimits(double width) const;

    struct Widths {
        double left, right, rightX;
    };
    // New widths for a new split width; a collapsed view keeps its width.
    Widths resizeSubviewsWithOldSize(double newWidth, double dividerThickness, double left, double right,
                                     bool leftCollapsed, bool rightCollapsed) const;

    // Divider positions that make the toolkit's drag rule collapse or expand a view.
    double collapseLeftViewPosition() const { return minHSizeLeft * 0.5 - 1; }
    double expandToMinLeftViewPosition() const { return minHSizeLeft * 0.5 + 1; }
    double expandToMinRightViewPosition(double splitWidth) const { return splitWidth - minHSizeRight * 0.5 - 1; }
    double collapseRightViewPosition(double splitWidth) const { return splitWidth - minHSizeRight * 0.5 + 1; }

    // The right width when expanding to V, given the split frame stored at the collapse; the
    // divider goes to splitWidth - result and the caller stores the present frame.
    double expandRightViewToVal(double value, double splitWidth, double dividerThickness,
                                double previousSplitWidth) const;
};

}  // namespace qv
