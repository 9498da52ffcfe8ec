#pragma once

// The value transformers that draw: images and colours. They need Qt's drawing library, which
// the command line does without, so they live with the desktop program and are added to the
// shared table when it starts.

#include "shell/ZKValueTransformers.h"

namespace qv {

// Image bytes to a QImage; back to TIFF bytes.
class ZKImgData : public ZKValueTransformer {
public:
    Kind transformedValueClass() const override { return Kind::Image; }
    bool allowsReverseTransformation() const override { return true; }
    QVariant transformedValue(const QVariant& value) const override;
    QVariant reverseTransformedValue(const QVariant& value) const override;
};

// A colour dictionary ({r, g, b, a} from 0 to 1) to a QColor, and back.
class ZKDictToNSColor : public ZKValueTransformer {
public:
    Kind transformedValueClass() const override { return Kind::Colour; }
    bool allowsReverseTransformation() const override { return true; }
    QVariant transformedValue(const QVariant& value) const override;
    QVariant reverseTransformedValue(const QVariant& value) const override;
};

// Adds the two classes above to the table of classes, and the colour transformer under its
// binding name "dictToNSColor".
void registerGuiValueTransformers();

}  // namespace qv
