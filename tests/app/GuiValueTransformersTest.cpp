#include "GuiValueTransformers.h"

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

using namespace qv;

namespace {

TEST(GuiValueTransformers, ColoursByBindingNameAndImagesByClassName) {
    registerGuiValueTransformers();
    const auto colour = ValueTransformers::valueTransformerForName(QStringLiteral("dictToNSColor"));
    ASSERT_NE(colour, nullptr);
    const QVariantMap dict{{QStringLiteral("r"), 1.0}, {QStringLiteral("g"), 0.5}, {QStringLiteral("b"), 0.0},
                           {QStringLiteral("a"), 1.0}};
    const QColor c = colour->transformedValue(dict).value<QColor>();
    EXPECT_EQ(c.red(), 255);
    EXPECT_EQ(c.blue(), 0);
    EXPECT_NEAR(colour->reverseTransformedValue(c).toMap().value(QStringLiteral("g")).toDouble(), 0.5, 0.01);

    const auto made = ValueTransformers::makeTransformerOfClass(QStringLiteral("ZKImgData"));
    ASSERT_NE(made, nullptr);
    const ZKValueTransformer& img = *made;
    EXPECT_TRUE(img.transformedValue(QVariant()).value<QImage>().isNull());
    QImage red(4, 3, QImage::Format_RGB32);
    red.fill(Qt::red);
    const QByteArray tiff = img.reverseTransformedValue(red).toByteArray();
    ASSERT_TRUE(tiff.startsWith("II*") || tiff.startsWith("MM"));
    EXPECT_EQ(img.transformedValue(tiff).value<QImage>().pixelColor(3, 2), QColor(Qt::red));
}

}  // namespace
