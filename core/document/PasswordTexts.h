#pragma once

// The master password flows' texts, exactly as users have always seen them.

#include <QString>

namespace qv::texts {

inline const QString ok = QStringLiteral("OK");
inline const QString retry = QStringLiteral("Retry");
inline const QString cancel = QStringLiteral("Cancel");

inline const QString passwordMustMatchMessage = QStringLiteral(
    "Password inserted in the 'Old Master Password' field must be equal to the password previously used to protect "
    "this document.");
inline const QString noChangesApplied = QStringLiteral("No changes were applied");
inline const QString passwordNotEqualMessage = QStringLiteral("Passwords inserted in the two fields doesn't match");
inline const QString passwordNotEqualInformative = QStringLiteral(
    "You must insert exactly the same password in the two 'New Password' fields. No changes were applied");
inline const QString passwordTooShortMessage = QStringLiteral(
    "Password Too Short. You have to use a password which is at least six character long.");

inline const QString passwordChangedMessage = QStringLiteral("Password changed successfuly");
inline const QString passwordChangedInformative = QStringLiteral(
    "This new password will be used when saving this document.\nData will be stored on disk encrypted using a secure "
    "algorithm.\n\nNext time, to open this document, this new password will be required.\nStore your new password in "
    "a safe place.\nThere is no way, even for the Zenmorrow Works, to open the document and decrypt the data without "
    "the right password.");

inline const QString passwordAcceptedMessage = QStringLiteral("Password accepted");
inline const QString passwordAcceptedInsertInformative = QStringLiteral(
    "This password will be used when saving this document.\nData will be stored on disk encrypted using a secure "
    "algorithm.\n\nNext time, to open this document, this password will be required.\nStore your password in a safe "
    "place.\nThere is no way, even for Zenmorrow Works, to open the document and decrypt the data without the right "
    "password.");
inline const QString passwordAcceptedMandatoryInformative = QStringLiteral(
    "This password will be used when saving this document.\nData will be stored on disk encrypted using a secure "
    "algorithm.\n\nNext time, to open this document, this password will be required.\nStore your password in a safe "
    "place.\nThere is no way, even for the developers of this application, to open the document and decrypt the data "
    "without the right password.");

inline const QString mandatoryNonEqualMessage = QStringLiteral("Password inserted in the two fields doesn't match");
inline const QString mandatoryNonEqualInformative =
    QStringLiteral("You must insert exactly the same password in the two fields.");
inline const QString mandatoryTooShortMessage = QStringLiteral("Password too short");
inline const QString mandatoryTooShortInformative =
    QStringLiteral("You have to use a password which is at least six character long.");

inline const QString wrongPassword = QStringLiteral("Wrong Password");
inline const QString wrongPasswordInformative = QStringLiteral(
    "You inserted a wrong password.\nTo access this document you must insert exactly the password used to protect it");

}  // namespace qv::texts
