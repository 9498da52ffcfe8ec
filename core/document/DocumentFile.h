#pragma once

// A document's life on disk, the same for the window and for `qvane`: reading a file into a
// locked document, opening it with the password, saving it under a new salt and vector, and
// replacing the file only with bytes that were read back with the password first. The file is
// replaced atomically (a temporary beside it, flushed, synced and renamed over it): a crash, a
// kill or a full disk leaves the previous file whole. A new file is readable by its owner alone;
// an existing one keeps its mode, and a symbolic link stays a link to the file it names.
//
// Every step reports a kind, for callers that act differently on each (the command line's exit
// statuses), and a sentence: the system's reason where the system refused.
//
// The steps that touch no open document (readBytes, checkReadsBack, write, writeAtomically,
// stampOf, keepCopyOf) may run on a worker thread; the window writes so behind its progress dialog.

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace qv {

class MyDocument;

enum class DocumentFileError {
    CannotRead,       // the file could not be opened or read: the system's reason
    OutOfMemory,      // not enough memory to read, prepare or check the contents; nothing written
    TooNew,           // made by a newer release of the program
    NotADocument,     // damaged, or not a document at all: what the reader found
    WrongPassword,    // the password does not open the document
    NoOldCipher,      // an old file, and this build has no engine for its cipher
    CannotEncipher,   // the document may not be saved (it was read only in part)
    DoesNotReadBack,  // the new bytes did not open with the password: the file was left alone
    CannotWrite,      // the system refused the write: its reason; the previous file is whole
};

template <class T>
using DocumentFileResult = Result<T, DocumentFileError>;
using DocumentFileStatus = Status<DocumentFileError>;

// What identifies a file as it was when this program last read or wrote it, so that a change
// made by another program is noticed.
struct FileStamp {
    bool exists = false;
    std::int64_t size = 0, modifiedNs = 0;
    std::uint64_t inode = 0, device = 0;
    // A digest of the contents, for files up to kLargestHashed: a rewrite in place that keeps the
    // size and puts the modification time back is noticed all the same.
    QByteArray digest;
    bool operator==(const FileStamp&) const = default;

    static constexpr std::int64_t kLargestHashed = 64 * 1024 * 1024;
};

namespace DocumentFile {

// The whole file in one buffer of its size.
DocumentFileResult<QByteArray> readBytes(const QString& path);

// Reads the file into `doc`, locked: the password is asked next. With a window attached, the
// document tells of a file too new itself (readFromData), as it always has.
DocumentFileStatus load(const QString& path, MyDocument& doc);
// The second half of load, for bytes read already (by a worker: reading a large file holds up
// whatever thread does it).
DocumentFileStatus take(const QByteArray& bytes, MyDocument& doc);

// Opens a loaded document with `password`: its records are deciphered (an old file's converted,
// through the record controllers the caller attached) and the layout it remembers restored.
// WrongPassword leaves the document locked with the password tried in plainPassword.
DocumentFileStatus unlock(MyDocument& doc, const QString& password);

// The file's bytes of the document, enciphered under a new salt and vector.
DocumentFileResult<QByteArray> encode(MyDocument& doc);

// Whether `bytes` open with `password` exactly as a later opening would.
DocumentFileStatus checkReadsBack(const QByteArray& bytes, const QString& password);

// `bytes` over `path` once they read back with `password`; atomic, as said above.
DocumentFileStatus write(const QString& path, const QByteArray& bytes, const QString& password);

// encode, then write, with the document's own password.
DocumentFileStatus save(MyDocument& doc, const QString& path);

// `bytes` over `path` atomically, without reading them back: for bytes that are no document of
// this program's making, or were checked already.
DocumentFileStatus writeAtomically(const QString& path, const QByteArray& bytes);

FileStamp stampOf(const QString& path);

// Where a file of another generation (an older release's, the phone edition's) is kept before it
// is first written over: "NAME (generation X.Y).qvane" beside it, or with " 2", " 3"... when that
// name is taken.
QString oldGenerationCopyPath(const QString& path, std::uint64_t generation);

// Copies the file at `path`, as it is, to oldGenerationCopyPath; the copy's path. A copy kept
// earlier is never written over.
DocumentFileResult<QString> keepCopyOf(const QString& path, std::uint64_t generation);

}  // namespace DocumentFile

}  // namespace qv
