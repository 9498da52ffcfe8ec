#pragma once

// The password generator's window: type and length, the password shown in clear or hidden, and
// its rating as stars with "n/10".

#include "passwordtools/ZKPasswordMaker.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

namespace qv {
class MyAppDelegate;
class Pasteboard;
class UserDefaults;
}  // namespace qv

namespace qv::app {

class PasswordQualityView : public QWidget {
    Q_OBJECT
public:
    explicit PasswordQualityView(QWidget* parent = nullptr);
    void SetQualityValue(int rating);
    const PasswordQuality& quality() const { return quality_; }
    QSize sizeHint() const override { return {19 * 10 + 40, 17}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    PasswordQuality quality_;
};

class PasswordMakerWindow : public QWidget {
    Q_OBJECT
public:
    // Copy goes through `pasteboard`, as every other copy of a secret does.
    PasswordMakerWindow(MyAppDelegate& delegate, UserDefaults& defaults, Pasteboard& pasteboard,
                        QWidget* parent = nullptr);

    void showPasswordMaker();
    void calcNewPasswordInPasswordMaker();
    QString password() const;
    PasswordQualityView* qualityView() const { return quality_; }

private:
    MyAppDelegate& delegate_;
    UserDefaults& defaults_;
    Pasteboard& pasteboard_;
    QComboBox* type_;
    QSpinBox* length_;
    QCheckBox* visible_;
    QLineEdit* secure_;
    QLineEdit* unsecure_;
    QLabel* problem_;
    PasswordQualityView* quality_;
};

}  // namespace qv::app
