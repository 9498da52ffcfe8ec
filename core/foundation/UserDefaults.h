#pragma once

// Preferences: values the user set, over the registered defaults. The program keeps them in an
// INI file under the XDG config folder; tests and the command line can keep them in memory.

#include "Value.h"

#include <QString>

#include <memory>

class QSettings;

namespace qv {

class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    // Defaults are kept in memory only and never written; later registrations win.
    void registerDefaults(const Dictionary& defaults);
    Value registeredDefault(const QString& key) const { return registered_.value(key); }

    // The user's value, else the registered default, else absent.
    Value objectForKey(const QString& key) const;
    void setObject(const QString& key, const Value& value);  // absent removes
    void removeObject(const QString& key) { setObject(key, Value()); }

    QString stringForKey(const QString& key) const { return objectForKey(key).toString(); }
    std::int64_t integerForKey(const QString& key) const { return objectForKey(key).toInt64(); }
    double doubleForKey(const QString& key) const { return objectForKey(key).toDouble(); }
    bool boolForKey(const QString& key) const { return objectForKey(key).toBool(); }

    // Writes what was set to lasting storage now, not at some later moment.
    virtual void synchronize() {}

protected:
    virtual Value stored(const QString& key) const = 0;
    virtual void store(const QString& key, const Value& value) = 0;  // absent erases

private:
    Dictionary registered_;
};

class MemoryUserDefaults : public UserDefaults {
protected:
    Value stored(const QString& key) const override { return values_.value(key); }
    void store(const QString& key, const Value& value) override { values_.set(key, value); }

private:
    Dictionary values_;
};

// Backed by QSettings. An INI file gives every scalar back as text, so a stored value is read
// back in the kind of its registered default; containers, data and dates travel as binary
// property lists.
class SettingsUserDefaults : public UserDefaults {
public:
    explicit SettingsUserDefaults(std::unique_ptr<QSettings> settings);
    ~SettingsUserDefaults() override;
    void sync();
    void synchronize() override { sync(); }

protected:
    Value stored(const QString& key) const override;
    void store(const QString& key, const Value& value) override;

private:
    std::unique_ptr<QSettings> settings_;
};

}  // namespace qv
