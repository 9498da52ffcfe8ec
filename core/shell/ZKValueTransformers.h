#pragma once

// Value transformers: small converters between a stored value and what a control shows, kept in
// one table by name so that the preferences window and the record views can bind through them.
// Values travel as QVariant; an invalid QVariant is the absent value. "Short" below means the
// value read as a signed 16-bit integer, so 65537 reads as 1: the controls always compared that
// way, and the wrap is kept.

#include "foundation/Value.h"

#include <QDateTime>
#include <QSet>
#include <QString>
#include <QVariant>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace qv {

// Between the value model and the QVariant that transformers and widgets use. Dictionaries
// become QVariantMap, arrays QVariantList.
QVariant toVariant(const Value& value);
Value fromVariant(const QVariant& value);

class ZKValueTransformer {
public:
    enum class Kind { Number, String, Colour, Image };
    virtual ~ZKValueTransformer() = default;
    virtual Kind transformedValueClass() const { return Kind::Number; }
    virtual bool allowsReverseTransformation() const { return false; }
    virtual QVariant transformedValue(const QVariant& value) const = 0;
    virtual QVariant reverseTransformedValue(const QVariant&) const { return {}; }
};

class ZKValueIsEqualToRef : public ZKValueTransformer {
public:
    explicit ZKValueIsEqualToRef(std::int32_t value) : myRefValue(value) {}
    bool allowsReverseTransformation() const override { return true; }
    QVariant transformedValue(const QVariant& value) const override;
    QVariant reverseTransformedValue(const QVariant& value) const override;
    std::int32_t myRefValue;
};

class ZKValueIs1 : public ZKValueIsEqualToRef {
public:
    ZKValueIs1() : ZKValueIsEqualToRef(1) {}
};

class ZKValueNotEqualToRef : public ZKValueTransformer {
public:
    explicit ZKValueNotEqualToRef(std::int32_t value) : myRefValue(value) {}
    QVariant transformedValue(const QVariant& value) const override;
    std::int32_t myRefValue;
};

class ZKValueIsGreaterOfRef : public ZKValueTransformer {
public:
    explicit ZKValueIsGreaterOfRef(std::int32_t value) : myRefValue(value) {}
    QVariant transformedValue(const QVariant& value) const override;
    std::int32_t myRefValue;
};

class ZKValueIsSmallerOfRef : public ZKValueTransformer {
public:
    explicit ZKValueIsSmallerOfRef(std::int32_t value) : myRefValue(value) {}
    QVariant transformedValue(const QVariant& value) const override;
    std::int32_t myRefValue;
};

// Declared as giving a string; what it gives is a true or false number.
class ZKValueIsEqualToStr : public ZKValueTransformer {
public:
    explicit ZKValueIsEqualToStr(QString s) : myRefString(std::move(s)) {}
    Kind transformedValueClass() const override { return Kind::String; }
    QVariant transformedValue(const QVariant& value) const override;
    QString myRefString;
};

class ZKValueIsInSet : public ZKValueTransformer {
public:
    explicit ZKValueIsInSet(QVariantList set) : myRefSet(std::move(set)) {}
    QVariant transformedValue(const QVariant& value) const override;
    QVariantList myRefSet;  // members are unique; order does not matter
};

class ZKValueIsInArray : public ZKValueTransformer {
public:
    explicit ZKValueIsInArray(QVariantList array) : myRefArray(std::move(array)) {}
    QVariant transformedValue(const QVariant& value) const override;
    QVariantList myRefArray;
};

class ZKValueMultipliedBy : public ZKValueTransformer {
public:
    explicit ZKValueMultipliedBy(double value) : myRefValue(value) {}
    QVariant transformedValue(const QVariant& value) const override;
    double myRefValue;
};

class ZKReturnInitStr : public ZKValueTransformer {
public:
    explicit ZKReturnInitStr(QString s) : myRefString(std::move(s)) {}
    Kind transformedValueClass() const override { return Kind::String; }
    QVariant transformedValue(const QVariant&) const override { return myRefString; }
    QString myRefString;
};

class ZKIntToBool : public ZKValueTransformer {
public:
    bool allowsReverseTransformation() const override { return true; }
    QVariant transformedValue(const QVariant& value) const override;
    QVariant reverseTransformedValue(const QVariant& value) const override;
};

class ZKNegateIntToBool : public ZKValueTransformer {
public:
    bool allowsReverseTransformation() const override { return true; }
    QVariant transformedValue(const QVariant& value) const override;
    QVariant reverseTransformedValue(const QVariant& value) const override;
};

class ZK1IfNot0 : public ZKValueTransformer {
public:
    QVariant transformedValue(const QVariant& value) const override;
};

class ZKNumberBoolToNumberNum : public ZKValueTransformer {
public:
    bool allowsReverseTransformation() const override { return true; }
    QVariant transformedValue(const QVariant& value) const override;
    QVariant reverseTransformedValue(const QVariant& value) const override;
};

// 1 for a list of more than one entry; a list of exactly one gives 0.
class ZKOneIfOneInArray : public ZKValueTransformer {
public:
    bool allowsReverseTransformation() const override { return true; }
    QVariant transformedValue(const QVariant& value) const override;
    QVariant reverseTransformedValue(const QVariant&) const override { return QVariantList(); }
};

// The row height for a font size: the integer part of size * 1.4 + 2, in 32-bit floats.
class ZKHeightForFontSize : public ZKValueTransformer {
public:
    QVariant transformedValue(const QVariant& value) const override;
    double myRefValue = 0;  // never set
};

class ZKEmptyTrimmedString : public ZKValueTransformer {
public:
    QVariant transformedValue(const QVariant& value) const override;
};

class ZKFilledTrimmedString : public ZKValueTransformer {
public:
    QVariant transformedValue(const QVariant& value) const override;
};

// A template with "<yy>", "<YY>", "<mm>", "<dd>", "<hh>", "<ii>", "<ss>" filled with the local
// date and time.
class ZKDateTagElaborated : public ZKValueTransformer {
public:
    Kind transformedValueClass() const override { return Kind::String; }
    QVariant transformedValue(const QVariant& value) const override;
    std::function<QDateTime()> now;  // empty: the system's clock
};

class ZKBookmarkTransformer : public ZKValueTransformer {
public:
    Kind transformedValueClass() const override { return Kind::String; }
    // Resolves bookmark bytes to a path; the file system's bookmarks unless a test sets it.
    std::function<std::optional<QString>(const QByteArray&)> resolve;

protected:
    std::optional<QString> resolved(const QVariant& value) const;
};

// The path, or "FILe NOT FOUND" for an empty one; nothing for a bookmark that can't be resolved.
class ZKPathFromBookmark : public ZKBookmarkTransformer {
public:
    QVariant transformedValue(const QVariant& value) const override;
};

// The file's name, or "FILE NOT FOUND" for an empty one (spelled unlike the path's on purpose).
class ZKNameFromBookmark : public ZKBookmarkTransformer {
public:
    QVariant transformedValue(const QVariant& value) const override;
};

// Old-style archived styled text (typedstream bytes) to its plain text.
class ZKUnarchivieFromDataToText : public ZKValueTransformer {
public:
    Kind transformedValueClass() const override { return Kind::String; }
    QVariant transformedValue(const QVariant& value) const override;
    double myRefValue = 0;  // never set
};

// The table of transformers by name.
class ValueTransformers {
public:
    static void setValueTransformer(std::shared_ptr<const ZKValueTransformer> transformer, const QString& name);
    static std::shared_ptr<const ZKValueTransformer> valueTransformerForName(const QString& name);
    // A new transformer of a class that needs no parameter, by its class name; null otherwise.
    static std::shared_ptr<ZKValueTransformer> makeTransformerOfClass(const QString& className);
    // Classes that draw (colours, images) live with the desktop program, which adds them here.
    static void addTransformerClass(const QString& className, std::function<std::shared_ptr<ZKValueTransformer>()> maker);
    // Through the named transformer; absent when the name is unknown.
    static QVariant transform(const QString& name, const QVariant& value);
};

}  // namespace qv
