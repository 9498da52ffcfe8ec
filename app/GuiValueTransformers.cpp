#include "GuiValueTransformers.h"

#include <QBuffer>
#include <QColor>
#include <QImage>
#include <QImageWriter>

#include <algorithm>

namespace qv {

namespace {
bool absent(const QVariant& v) { return !v.isValid(); }
}  // namespace

QVariant ZKImgData::transformedValue(const QVariant& value) const {
    if (absent(value)) return QImage();
    return QImage::fromData(value.toByteArray());
}

QVariant ZKImgData::reverseTransformedValue(const QVariant& value) const {
    const QImage image = value.value<QImage>();
    if (image.isNull()) return {};
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "tiff");
    if (!writer.write(image)) return {};
    return bytes;
}

QVariant ZKDictToNSColor::transformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    const QVariantMap d = value.toMap();
    // Components are read as 32-bit floats, as colours always were.
    const auto c = [&](const char* key) { return std::clamp(double(d.value(QLatin1String(key)).toFloat()), 0.0, 1.0); };
    return QColor::fromRgbF(float(c("r")), float(c("g")), float(c("b")), float(c("a")));
}

QVariant ZKDictToNSColor::reverseTransformedValue(const QVariant& value) const {
    if (absent(value)) return {};
    const QColor colour = value.value<QColor>().toRgb();
    return QVariantMap{{QStringLiteral("r"), colour.redF()},
                       {QStringLiteral("g"), colour.greenF()},
                       {QStringLiteral("b"), colour.blueF()},
                       {QStringLiteral("a"), colour.alphaF()}};
}

void registerGuiValueTransformers() {
    ValueTransformers::addTransformerClass(QStringLiteral("ZKImgData"), [] { return std::make_shared<ZKImgData>(); });
    ValueTransformers::addTransformerClass(QStringLiteral("ZKDictToNSColor"),
                                           [] { return std::make_shared<ZKDictToNSColor>(); });
    ValueTransformers::setValueTransformer(std::make_shared<ZKDictToNSColor>(), QStringLiteral("dictToNSColor"));
}

}  // namespace qv
