#pragma once

// Answers the modal dialogs that a window opens, one scripted step per dialog, by acting on the
// real widgets as a user would. Every dialog seen is logged by its text (a message box) or its
// object name.

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QStringList>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <gtest/gtest.h>

#include <deque>
#include <functional>

namespace qv::test {

class ModalScript {
public:
    using Step = std::function<void(QWidget*)>;
    explicit ModalScript(std::deque<Step> steps) : steps_(std::move(steps)) { arm(); }
    QStringList seen;
    bool done() const { return steps_.empty(); }

private:
    void arm() {
        QTimer::singleShot(20, [this] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal && !steps_.empty() && modal != last_) {
                last_ = modal;
                if (auto* box = qobject_cast<QMessageBox*>(modal)) seen << box->text();
                else seen << modal->objectName();
                auto step = std::move(steps_.front());
                steps_.pop_front();
                // A step may open the next dialog and wait inside it: watch for that one first.
                if (!steps_.empty()) arm();
                step(modal);
                return;
            }
            if (!steps_.empty()) arm();
        });
    }
    std::deque<Step> steps_;
    QWidget* last_ = nullptr;
};

// Clicks the button of that title (an '&' in a title does not count).
inline ModalScript::Step clickButton(const QString& title) {
    return [title](QWidget* w) {
        for (QAbstractButton* b : w->findChildren<QAbstractButton*>())
            if (b->text().remove(QLatin1Char('&')) == title) return QTest::mouseClick(b, Qt::LeftButton);
        QStringList all;
        for (QAbstractButton* b : w->findChildren<QAbstractButton*>()) all << b->text();
        FAIL() << "no button " << title.toStdString() << " in " << w->metaObject()->className() << ": "
               << all.join(QStringLiteral(", ")).toStdString();
    };
}

}  // namespace qv::test
