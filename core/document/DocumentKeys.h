#pragma once

// Key strings of records, categories, e-mail entries and the document file. They are the file
// format: spelled to the letter, never renamed.

#include <QString>

namespace qv::keys {

// Record
inline const QString name = QStringLiteral("name");
inline const QString account = QStringLiteral("account");
inline const QString url = QStringLiteral("url");
inline const QString userID = QStringLiteral("userID");
inline const QString password = QStringLiteral("password");
inline const QString pin = QStringLiteral("pin");
inline const QString security = QStringLiteral("security");
inline const QString email = QStringLiteral("email");
inline const QString note = QStringLiteral("note");
inline const QString creationDate = QStringLiteral("creationDate");
inline const QString modificationDate = QStringLiteral("modificationDate");
inline const QString usageCount = QStringLiteral("usageCount");
inline const QString categoryPtr = QStringLiteral("categoryPtr");
inline const QString categoryID = QStringLiteral("categoryID");
inline const QString categoryNAME = QStringLiteral("categoryNAME");

// Category
inline const QString cat_category = QStringLiteral("cat_category");
inline const QString cat_backColor = QStringLiteral("cat_backColor");
inline const QString cat_textColor = QStringLiteral("cat_textColor");
inline const QString cat_howManyUsingThis = QStringLiteral("cat_howManyUsingThis");
inline const QString cat_uniqueID = QStringLiteral("cat_uniqueID");
inline const QString records = QStringLiteral("records");

// Colour dictionary
inline const QString r = QStringLiteral("r");
inline const QString g = QStringLiteral("g");
inline const QString b = QStringLiteral("b");
inline const QString a = QStringLiteral("a");

// Key arrays
inline const QString publicKey = QStringLiteral("publicKey");
inline const QString innerKey = QStringLiteral("innerKey");

// Container, current generations
inline const QString appversion = QStringLiteral("appversion");
inline const QString latestPlatform = QStringLiteral("latestPlatform");
inline const QString dataArrayData = QStringLiteral("dataArrayData");
inline const QString catArrayData = QStringLiteral("catArrayData");
inline const QString emailArrayData = QStringLiteral("emailArrayData");
inline const QString documentCreationDateData = QStringLiteral("documentCreationDateData");
inline const QString salt = QStringLiteral("salt");
inline const QString IV = QStringLiteral("IV");
inline const QString rc = QStringLiteral("rc");
inline const QString sha1_rc = QStringLiteral("sha1-rc");
inline const QString OSXPlatformDictionary = QStringLiteral("OSXPlatformDictionary");
inline const QString iOSPlatformDictionary = QStringLiteral("iOSPlatformDictionary");

// Desktop layout block
inline const QString windowRecHeight = QStringLiteral("windowRecHeight");
inline const QString windowRecWidth = QStringLiteral("windowRecWidth");
inline const QString windowRecX = QStringLiteral("windowRecX");
inline const QString windowRecY = QStringLiteral("windowRecY");
inline const QString columnSizes = QStringLiteral("columnSizes");
inline const QString columnVisibilities = QStringLiteral("columnVisibilities");
inline const QString splitLeftFrame = QStringLiteral("splitLeftFrame");
inline const QString splitRightFrame = QStringLiteral("splitRightFrame");
inline const QString makeToolbarVisibleAtDecrypt = QStringLiteral("makeToolbarVisibleAtDecrypt");
inline const QString customTableSettings = QStringLiteral("customTableSettings");
inline const QString latestOrderedColumn = QStringLiteral("latestOrderedColumn");
inline const QString latestOrderedColumnAscending = QStringLiteral("latestOrderedColumnAscending");

// Container, old generations
inline const QString dataArray = QStringLiteral("dataArray");
inline const QString catArray = QStringLiteral("catArray");
inline const QString categoryTableWidth = QStringLiteral("categoryTableWidth");
inline const QString nameTableWidth = QStringLiteral("nameTableWidth");
inline const QString urlTableWidth = QStringLiteral("urlTableWidth");
inline const QString accountTableWidth = QStringLiteral("accountTableWidth");
inline const QString userIDTableWidth = QStringLiteral("userIDTableWidth");
inline const QString passwordTableWidth = QStringLiteral("passwordTableWidth");
inline const QString emailTableWidth = QStringLiteral("emailTableWidth");

}  // namespace qv::keys
