#include "UserDefaults.h"

#include "PropertyList.h"

#include <QSettings>

namespace qv {

void UserDefaults::registerDefaults(const Dictionary& defaults) {
    for (qsizetype i = 0; i < defaults.count(); ++i) registered_.set(defaults.keyAt(i), defaults.valueAt(i));
}

Value UserDefaults::objectForKey(const QString& key) const {
    const Value v = stored(key);
    return v.isAbsent() ? registered_.value(key) : v;
}

void UserDefaults::setObject(const QString& key, const Value& value) { store(key, value); }

SettingsUserDefaults::SettingsUserDefaults(std::unique_ptr<QSettings> settings) : settings_(std::move(settings)) {}
SettingsUserDefaults::~SettingsUserDefaults() = default;

void SettingsUserDefaults::sync() { settings_->sync(); }

namespace {
const QByteArray kPlistPrefix = QByteArrayLiteral("bplist00");
}

Value SettingsUserDefaults::stored(const QString& key) const {
    const QVariant v = settings_->value(key);
    if (!v.isValid()) return Value();
    if (v.typeId() == QMetaType::QByteArray) {
        const QByteArray b = v.toByteArray();
        if (b.startsWith(kPlistPrefix)) {
            if (auto parsed = readBinaryPropertyList(b)) return *parsed;
        }
        return Value::data(b);
    }
    const QString text = v.toString();
    const Value registered = registeredDefault(key);
    switch (registered.type()) {
    case Value::Type::Boolean:
        return Value::boolean(text == QLatin1String("true") || Value(text).toBool());
    case Value::Type::Integer: return Value::integer(Value(text).toInt64());
    case Value::Type::Real: return Value::real(Value(text).toDouble());
    default: break;
    }
    if (v.typeId() == QMetaType::Bool) return Value::boolean(v.toBool());
    if (v.typeId() == QMetaType::LongLong || v.typeId() == QMetaType::Int) return Value::integer(v.toLongLong());
    if (v.typeId() == QMetaType::Double) return Value::real(v.toDouble());
    return Value(text);
}

void SettingsUserDefaults::store(const QString& key, const Value& value) {
    switch (value.type()) {
    case Value::Type::Absent: settings_->remove(key); return;
    case Value::Type::String: settings_->setValue(key, value.stringRef()); return;
    case Value::Type::Boolean: settings_->setValue(key, value.toBool()); return;
    case Value::Type::Integer: settings_->setValue(key, qlonglong(value.toInt64())); return;
    case Value::Type::Real: settings_->setValue(key, value.toDouble()); return;
    case Value::Type::Data:
        if (!value.toData().startsWith(kPlistPrefix)) {
            settings_->setValue(key, value.toData());
            return;
        }
        break;
    default: break;
    }
    if (auto bytes = writeBinaryPropertyList(value)) settings_->setValue(key, *bytes);
}

}  // namespace qv
