#pragma once

// Documents in real windows for the window tests: one saved under its password, opened as the
// program opens a file and unlocked by typing the password, and closed without the save question.

#include "DocumentController.h"
#include "DocumentWindow.h"

#include "document/MyDocument.h"

#include <QFile>
#include <QLineEdit>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>

namespace qv::test {

// A file's bytes; empty when it can't be read.
inline QByteArray contents(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Runs the window's events (deferred deletions too) until `cond` holds, for at most about four
// seconds; whether it held.
inline bool waitFor(const std::function<bool()>& cond) {
    for (int i = 0; i < 400 && !cond(); ++i) QTest::qWait(10);
    return cond();
}

// Null when the file could not be written or opened. Autosaving is off.
inline app::DocumentWindow* saveOpenAndUnlock(app::DocumentController& controller, const QString& path,
                                              MyDocument& doc) {
    const auto bytes = doc.dataOfType(QString());
    EXPECT_TRUE(bytes && DocumentFile::writeAtomically(path, *bytes).ok());
    controller.setAutosavingDelay(0);
    app::DocumentWindow* w = controller.openDocument(path);
    if (!w) return nullptr;
    QTest::keyClicks(w->passwordToDecryptField(), doc.plainPassword);
    QTest::keyClick(w->passwordToDecryptField(), Qt::Key_Return);
    return w;
}

inline void discard(app::DocumentWindow* w) {
    w->document().updateChangeCount(ZKCryptoDoc::kChangeCleared);
    w->close();
}

}  // namespace qv::test
