#pragma once

// Key strings of records, categories, e-mail entries and the document file. They are the file
// format: spelled to the letter, never renamed.

#include "foundation/Value.h"

#include <QString>

namespace qv::keys {

// Record
inline const QString name = internKey(QStringLiteral("name"));
inline const QString account = internKey(QStringLiteral("account"));
inline const QString url = internKey(QStringLiteral("url"));
inline const QString userID = internKey(QStringLiteral("userID"));
inline const QString password = internKey(QStringLiteral("password"));
inline const QString pin = internKey(QStringLiteral("pin"));
inline const QString security = internKey(QStringLiteral("security"));
inline const QString email = internKey(QStringLiteral("email"));
inline const QString note = internKey(QStringLiteral("note"));
inline const QString creationDate = internKey(QStringLiteral("creationDate"));
inline const QString modificationDate = internKey(QStringLiteral("modificationDate"));
inline const QString usageCount = internKey(QStringLiteral("usageCount"));
inline const QString categoryPtr = internKey(QStringLiteral("categoryPtr"));
inline const QString categoryID = internKey(QStringLiteral("categoryID"));
inline const QString categoryNAME = internKey(QStringLiteral("categoryNAME"));

// Category
inline const QString cat_category = internKey(QStringLiteral("cat_category"));
inline const QString cat_backColor = internKey(QStringLiteral("cat_backColor"));
inline const QString cat_textColor = internKey(QStringLiteral("cat_textColor"));
inline const QString cat_howManyUsingThis = internKey(QStringLiteral("cat_howManyUsingThis"));
inline const QString cat_uniqueID = internKey(QStringLiteral("cat_uniqueID"));
inline const QString records = internKey(QStringLiteral("records"));
// Only in the field-by-field tables of old files.
inline const QString cat_mark = internKey(QStringLiteral("cat_mark"));
inline const QString category = internKey(QStringLiteral("category"));

// Colour dictionary
inline const QString r = internKey(QStringLiteral("r"));
inline const QString g = internKey(QStringLiteral("g"));
inline const QString b = internKey(QStringLiteral("b"));
inline const QString a = internKey(QStringLiteral("a"));

// Key arrays
inline const QString publicKey = internKey(QStringLiteral("publicKey"));
inline const QString innerKey = internKey(QStringLiteral("innerKey"));

// Container, current generations
inline const QString appversion = internKey(QStringLiteral("appversion"));
inline const QString latestPlatform = internKey(QStringLiteral("latestPlatform"));
inline const QString dataArrayData = internKey(QStringLiteral("dataArrayData"));
inline const QString catArrayData = internKey(QStringLiteral("catArrayData"));
inline const QString emailArrayData = internKey(QStringLiteral("emailArrayData"));
inline const QString documentCreationDateData = internKey(QStringLiteral("documentCreationDateData"));
inline const QString salt = internKey(QStringLiteral("salt"));
inline const QString IV = internKey(QStringLiteral("IV"));
inline const QString rc = internKey(QStringLiteral("rc"));
inline const QString sha1_rc = internKey(QStringLiteral("sha1-rc"));
inline const QString OSXPlatformDictionary = internKey(QStringLiteral("OSXPlatformDictionary"));
inline const QString iOSPlatformDictionary = internKey(QStringLiteral("iOSPlatformDictionary"));

// Desktop layout block
inline const QString windowRecHeight = internKey(QStringLiteral("windowRecHeight"));
inline const QString windowRecWidth = internKey(QStringLiteral("windowRecWidth"));
inline const QString windowRecX = internKey(QStringLiteral("windowRecX"));
inline const QString windowRecY = internKey(QStringLiteral("windowRecY"));
inline const QString columnSizes = internKey(QStringLiteral("columnSizes"));
inline const QString columnVisibilities = internKey(QStringLiteral("columnVisibilities"));
inline const QString splitLeftFrame = internKey(QStringLiteral("splitLeftFrame"));
inline const QString splitRightFrame = internKey(QStringLiteral("splitRightFrame"));
inline const QString makeToolbarVisibleAtDecrypt = internKey(QStringLiteral("makeToolbarVisibleAtDecrypt"));
inline const QString customTableSettings = internKey(QStringLiteral("customTableSettings"));
inline const QString latestOrderedColumn = internKey(QStringLiteral("latestOrderedColumn"));
inline const QString latestOrderedColumnAscending = internKey(QStringLiteral("latestOrderedColumnAscending"));

// Container, old generations
inline const QString dataArray = internKey(QStringLiteral("dataArray"));
inline const QString catArray = internKey(QStringLiteral("catArray"));
inline const QString categoryTableWidth = internKey(QStringLiteral("categoryTableWidth"));
inline const QString nameTableWidth = internKey(QStringLiteral("nameTableWidth"));
inline const QString urlTableWidth = internKey(QStringLiteral("urlTableWidth"));
inline const QString accountTableWidth = internKey(QStringLiteral("accountTableWidth"));
inline const QString userIDTableWidth = internKey(QStringLiteral("userIDTableWidth"));
inline const QString passwordTableWidth = internKey(QStringLiteral("passwordTableWidth"));
inline const QString emailTableWidth = internKey(QStringLiteral("emailTableWidth"));

}  // namespace qv::keys
