#pragma once

// Property lists: the binary form (read and write, exactly as the published format lays it out)
// and the XML form (read; the update feed may come that way).
//
// Generic conversion to and from Value represents a UID, which only keyed archives use, as a
// dictionary with the single key "CF$UID", the way the XML form spells it.

#include "Result.h"
#include "Value.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qv {

// Either form, told apart by its first bytes.
Result<Value> readPropertyList(const QByteArray& bytes);
Result<Value> readBinaryPropertyList(const QByteArray& bytes);
Result<Value> readXmlPropertyList(const QByteArray& bytes);

// Rectangles and absent values have no property-list form and are refused.
Result<QByteArray> writeBinaryPropertyList(const Value& root);

// Nesting deeper than this is refused by every reader, so damaged or hostile input cannot
// exhaust the stack.
inline constexpr int kMaxPropertyListDepth = 512;

// Random access to the objects of a binary property list without building a tree; the keyed
// unarchiver walks archives through it. Every offset, count and size is checked against the
// buffer before use, so a damaged list gives an error and never a read out of bounds.
class BinaryPlistReader {
public:
    enum class Kind : std::uint8_t {
        Null,
        Boolean,
        Integer,
        Real,
        Date,
        Data,
        AsciiString,
        Utf16String,
        Uid,
        Array,
        Dictionary
    };

    struct Object {
        Kind kind = Kind::Null;
        bool boolValue = false;
        std::int64_t intBits = 0;  // Integer, Uid (as unsigned bits)
        bool isUnsigned = false;   // Integer above the signed range
        double real = 0;           // Real, Date
        bool is32 = false;         // Real of 4 bytes
        std::uint64_t count = 0;   // bytes, UTF-16 units, elements or entries
        std::uint64_t payload = 0; // offset of the bytes or of the references
    };

    Status<> open(const QByteArray& bytes);

    std::uint64_t objectCount() const { return objectCount_; }
    std::uint64_t topObject() const { return topObject_; }

    // The object at `ref`, or why it cannot be read.
    Result<Object> object(std::uint64_t ref) const;
    // The i-th reference of an array, or of a dictionary (keys first, then values).
    std::uint64_t reference(const Object& container, std::uint64_t i) const;

    QString string(const Object& o) const;  // AsciiString or Utf16String
    QByteArray data(const Object& o) const;
    // Whether an ASCII string object spells exactly `key` (no allocation).
    bool stringEquals(const Object& o, const char* key) const;
    // The value reference under an ASCII key of a dictionary, or nullopt.
    std::optional<std::uint64_t> lookup(const Object& dictionary, const char* key) const;
    // The value of the UID object at `ref`; false when it is not a well-formed UID.
    bool uidAt(std::uint64_t ref, std::uint64_t* uid) const;

private:
    std::uint64_t readUInt(std::uint64_t at, int size) const;
    QByteArray keep_;
    const unsigned char* p_ = nullptr;
    std::uint64_t size_ = 0;
    int offsetSize_ = 0;
    int refSize_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t topObject_ = 0;
    std::uint64_t offsetTable_ = 0;
    struct KeyRef {
        std::string key;
        std::uint64_t ref;
    };
    mutable std::vector<KeyRef> keyRefs_;
};

// Builds a binary property list object by object. Strings, numbers, dates, data and UIDs are
// uniqued by value as the published writer does; arrays and dictionaries are never uniqued.
// Reference and offset sizes are the smallest of 1, 2, 4 or 8 bytes that hold the object count
// and the offset table's position.
class BinaryPlistWriter {
public:
    using Ref = std::uint32_t;

    Ref string(const QString& s);
    // The same in two steps, for a caller with several strings at hand: the hash of each first,
    // with its place in the table asked for ahead of use, then string() with that hash. A table
    // of a million strings is far larger than any cache, and one lookup at a time waits on
    // memory at every string.
    static std::uint32_t stringHash(const QString& s);
    void prefetchString(std::uint32_t hash) const;
    // Likewise for the place of a 64-bit real in the table of numbers.
    void prefetchReal(double v) const;
    Ref string(const QString& s, std::uint32_t hash);
    Ref integer(std::int64_t v);
    Ref unsignedInteger(std::uint64_t v);
    Ref real(double v);
    Ref real32(float v);
    Ref boolean(bool v);
    Ref date(double secondsSince2001);
    Ref data(const QByteArray& bytes);
    Ref uid(std::uint64_t v);
    Ref null();

    // A container is reserved first, so that it precedes its contents, and filled later.
    Ref reserve();
    void setArray(Ref container, const std::vector<Ref>& elements) { setArray(container, elements.data(), elements.size()); }
    void setArray(Ref container, const Ref* elements, std::size_t count);
    void setDictionary(Ref container, const std::vector<Ref>& keys, const std::vector<Ref>& values) {
        setDictionary(container, keys.data(), values.data(), keys.size());
    }
    void setDictionary(Ref container, const Ref* keys, const Ref* values, std::size_t count);

    std::size_t objectCount() const;

    // Takes over the objects another writer built apart (on another thread), placing them after
    // this writer's own (objects added later follow them): their references to one another
    // follow them, and each UID they hold is raised by uidShift except UID 0, which is the
    // archive's "$null" in both. The other writer is left empty; a writer takes one part only.
    // What the two have in common is not merged: it is written twice, which any reader accepts.
    void append(BinaryPlistWriter&& other, std::uint64_t uidShift);
    // Lets go of the tables that find an existing string, number, date, data or UID, once every
    // object has been added: finish() does not need them, and with a million strings they are
    // tens of megabytes beside the archive finish() is about to make. Objects added after this
    // are no longer matched with earlier ones (still a valid list, but larger).
    void dropLookupTables();
    QByteArray finish(Ref top) const;

private:
    enum class Kind : std::uint8_t {
        Null, False, True, Int, UInt, Real64, Real32, Date, Data, String, Uid, SmallUid, Array, Dictionary, Unset
    };
    struct Entry {
        Kind kind;
        std::uint32_t index;  // into scalars_, blobs_, strings_ or refs_ (start)
        std::uint32_t count;  // elements of a container
    };
    Ref add(Kind kind, std::uint32_t index, std::uint32_t count = 0);
    template <typename Sink, typename OnOffset>
    void writeObjects(Sink& out, int refSize, OnOffset onOffset, std::size_t from, std::size_t to, Ref refShift,
                      std::uint64_t uidShift) const;
    // The entry of a reference of this writer's own (not of its part).
    Entry& entry(Ref r) { return objects_.at(r < partAt_ ? r : r - partCount_); }
    const Entry& entry(Ref r) const { return objects_[r < partAt_ ? r : r - partCount_]; }
    Ref scalar(Kind kind, std::uint64_t bits);
    // Where a number's probe in a scalar table of that size starts.
    static std::size_t scalarHome(std::uint32_t kind, std::uint64_t bits, std::size_t tableSize);

    std::vector<Entry> objects_;
    std::vector<std::uint64_t> scalars_;
    std::vector<QByteArray> blobs_;
    std::vector<QString> strings_;
    std::vector<Ref> refs_;
    std::vector<std::uint64_t> stringSlots_;  // (hash << 32 | reference) of strings, all ones when free
    QHash<QByteArray, Ref> uniqueData_;
    // Numbers and dates by (kind, bits), open addressing; a free slot has the kind ~0.
    struct ScalarSlot {
        std::uint64_t bits = 0;
        std::uint32_t kind = ~std::uint32_t(0);
        Ref ref = 0;
    };
    std::vector<ScalarSlot> scalarSlots_;
    std::vector<Ref> uidRefs_;
    Ref nullRef_ = UINT32_MAX;
    // The part taken over by append(), written between this writer's objects before and after.
    std::unique_ptr<BinaryPlistWriter> part_;
    Ref partAt_ = UINT32_MAX;
    Ref partCount_ = 0;
    std::uint64_t partUidShift_ = 0;
};

}  // namespace qv
