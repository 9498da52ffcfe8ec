#include "ZKVSplitViewDelegate.h"

namespace qv {

void ZKVSplitViewDelegate::configureForMainWindow() {
    awaked = true;
    canCollapseLeft = false;
    canCollapseRight = true;
    minHSizeLeft = 260;
    maxHSizeLeft = 9999;
    minHSizeRight = 530;
    maxHSizeRight = 9999;
    growingRule = 2;
}

double ZKVSplitViewDelegate::constrainMinCoordinate(int dividerIndex) const {
    return dividerIndex == 0 ? double(minHSizeLeft) : double(minHSizeRight);
}

double ZKVSplitViewDelegate::constrainMaxCoordinate(double w, double t, int dividerIndex) const {
    const double v = dividerIndex == 0 ? w - minHSizeRight - t : w - minHSizeLeft - t;
    const double c = dividerIndex == 0 ? maxHSizeLeft : maxHSizeRight;
    return c > v ? v : c;
}

double ZKVSplitViewDelegate::leftFrameInsideLimits(double width) const {
    if (!awaked) return width;
    if (width < minHSizeLeft) return minHSizeLeft;
    if (width > maxHSizeLeft) return maxHSizeLeft;
    return width;
}

double ZKVSplitViewDelegate::rightFrameInsideLimits(double width) const {
    if (!awaked) return width;
    if (width < minHSizeRight) return minHSizeRight;
    if (width > maxHSizeRight) return maxHSizeRight;
    return width;
}

ZKVSplitViewDelegate::Widths ZKVSplitViewDelegate::resizeSubviewsWithOldSize(double w, double t, double l, double r,
                                                                             bool leftCollapsed,
                                                                             bool rightCollapsed) const {
    Widths out{l, r, -1};
    if (rightCollapsed) {
        out.left = w - t;
        return out;
    }
    if (leftCollapsed) {
        out.right = w - t;
        return out;
    }
    switch (growingRule) {
    case 0:
        out.right = rightFrameInsideLimits(w - l - t);
        out.left = w - out.right - t;
        break;
    case 1:
        out.left = leftFrameInsideLimits(w - r - t);
        out.right = w - out.left - t;
        break;
    case 2:
        // The right limit wins: the left width is worked out again last.
        out.left = leftFrameInsideLimits((w - r - t + l) * 0.5);
        out.right = rightFrameInsideLimits(w - out.left - t);
        out.left = w - out.right - t;
        break;
    default: return out;  // any other rule moves nothing but heights
    }
    out.rightX = out.left + t;
    return out;
}

double ZKVSplitViewDelegate::expandRightViewToVal(double v, double w, double t, double previousWidth) const {
    if (growingRule == 2) v += ((w - t) - (previousWidth - t)) * 0.5;
    v = rightFrameInsideLimits(v);
    if (w - v - t < minHSizeLeft) v = w - minHSizeLeft - t;
    return v;
}

}  // namespace qv
