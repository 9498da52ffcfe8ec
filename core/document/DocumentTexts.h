#pragma once

// Texts of the document store shown to the user, exactly as the program has always shown them.

#include "document/PasswordTexts.h"

#include <QString>

namespace qv::texts {

inline const QString currentFormat = QStringLiteral("Document is in the current application format");
inline const QString oldFormat =
    QStringLiteral("Document is in an old format. It will be converted to the current application format");

inline const QString compatibleWithPhone = QStringLiteral(
    "This document is compatible with Quorvane for iOS\n\nTo shere it with iPhone, iPod Touch or iPad simply drag "
    "and drop this document to iTunes file sharing section for your device.\n\nAlso the reverse is valid.\n\nThis "
    "app can open and use document created with Quorvane for iOS\n\nRead the user manual from the Help menu for "
    "more info.");
inline const QString notCompatibleWithPhone = QStringLiteral(
    "This document is NOT compatible with Quorvane for iOS\n\nTo shere it with iPhone, iPod Touch or iPad you need "
    "to decrypt it and resave it.\n\nIt will be saved in a new format compatible with Quorvane for iOS.\n\nThis app "
    "can open and use document created with Quorvane for iOS\n\nRead the user manual from the Help menu for more "
    "info.");

inline const QString tooNewMessage = QStringLiteral(
    "The document you requested to open was created with a more recent version of this application");
inline const QString tooNewInformative = QStringLiteral(
    "To open this file you need a release of this application equal or successive to the one used to create this "
    "file.\n\nProbably you are using an outdated release.\nYou can download for free the last version of this "
    "application from our site");
inline const QString tooNewDownloadButton = QStringLiteral("Go to Download Last Version");
inline const QString cancelButton = QStringLiteral("Cancel");

inline const QString lockQuestion = QStringLiteral("Lock Document back to the crypted state?");
inline const QString cantDropDirectoryMessage = QStringLiteral("Can't Accept a Directory Here");
inline const QString cantDropDirectoryInformative = QStringLiteral(
    "You dropped here a directory.\nYou can only drop here a file to open it via Quorvane with the open button");
inline const QString lockInformative =
    QStringLiteral("To browse the document data again you will need to re-insert the master password");

inline const QString defaultCategoryName = QStringLiteral("Generic");

}  // namespace qv::texts
