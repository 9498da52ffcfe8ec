#include "PropertyList.h"

#include "TwoThreads.h"

#include <QDateTime>
#include <QTimeZone>
#include <QXmlStreamReader>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

namespace qv {

namespace {

constexpr char kMagic[] = "bplist00";
constexpr std::uint64_t kTrailerSize = 32;
constexpr std::uint64_t kHeaderSize = 8;

// Seconds between the Unix epoch and 2001-01-01 00:00:00 UTC, the origin of every date here.
constexpr qint64 kEpoch2001 = kUnixSecondsAt2001;

QString damaged(const QString& what) {
    return QStringLiteral("The property list is damaged: %1.").arg(what);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Reader

Status<> BinaryPlistReader::open(const QByteArray& bytes) {
    keep_ = bytes;
    keyRefs_.clear();
    p_ = reinterpret_cast<const unsigned char*>(keep_.constData());
    size_ = std::uint64_t(keep_.size());
    if (size_ < kHeaderSize + kTrailerSize || std::memcmp(p_, kMagic, 8) != 0)
        return Status<>::failed(0, QStringLiteral("The data is not a binary property list."));
    const std::uint64_t t = size_ - kTrailerSize;
    offsetSize_ = p_[t + 6];
    refSize_ = p_[t + 7];
    objectCount_ = readUInt(t + 8, 8);
    topObject_ = readUInt(t + 16, 8);
    offsetTable_ = readUInt(t + 24, 8);
    auto validSize = [](int s) { return s == 1 || s == 2 || s == 4 || s == 8; };
    if (!validSize(offsetSize_) || !validSize(refSize_))
        return Status<>::failed(0, damaged(QStringLiteral("impossible offset or reference size")));
    if (objectCount_ == 0 || topObject_ >= objectCount_)
        return Status<>::failed(0, damaged(QStringLiteral("no top object")));
    if (offsetTable_ < kHeaderSize || offsetTable_ > t ||
        objectCount_ > (t - offsetTable_) / std::uint64_t(offsetSize_))
        return Status<>::failed(0, damaged(QStringLiteral("the offset table lies outside the data")));
    if (refSize_ < 8 && objectCount_ - 1 > (std::uint64_t(1) << (8 * refSize_)) - 1)
        return Status<>::failed(0, damaged(QStringLiteral("references too small for the object count")));
    return {};
}

std::uint64_t BinaryPlistReader::readUInt(std::uint64_t at, int size) const {
    const unsigned char* b = p_ + at;
    switch (size) {
    case 1: return b[0];
    case 2: return qFromBigEndian<quint16>(b);
    case 4: return qFromBigEndian<quint32>(b);
    case 8: return qFromBigEndian<quint64>(b);
    default: break;
    }
    std::uint64_t v = 0;
    for (int i = 0; i < size; ++i) v = (v << 8) | b[i];
    return v;
}

bool BinaryPlistReader::uidAt(std::uint64_t ref, std::uint64_t* uid) const {
    // The common case of archives, read without the general parser: a UID object of 1 to 8
    // bytes. Anything unusual goes through object(), which checks and explains.
    if (ref >= objectCount_) return false;
    const std::uint64_t at = readUInt(offsetTable_ + ref * std::uint64_t(offsetSize_), offsetSize_);
    if (at < kHeaderSize || at >= offsetTable_) return false;
    const unsigned marker = p_[at];
    if ((marker >> 4) != 0x8) return false;
    const std::uint64_t n = (marker & 0x0F) + 1;
    if (n > 8 || n > offsetTable_ - at - 1) return false;
    std::uint64_t v = 0;
    for (std::uint64_t i = 0; i < n; ++i) v = (v << 8) | p_[at + 1 + i];
    *uid = v;
    return true;
}

std::uint64_t BinaryPlistReader::reference(const Object& container, std::uint64_t i) const {
    return readUInt(container.payload + i * std::uint64_t(refSize_), refSize_);
}

Result<BinaryPlistReader::Object> BinaryPlistReader::object(std::uint64_t ref) const {
    const auto broken = [](const QString& what) { return Result<Object>::failed(0, damaged(what)); };
    if (ref >= objectCount_) return broken(QStringLiteral("a reference points past the last object"));
    const std::uint64_t at = readUInt(offsetTable_ + ref * std::uint64_t(offsetSize_), offsetSize_);
    // Objects live between the header and the offset table.
    const std::uint64_t end = offsetTable_;
    if (at < kHeaderSize || at >= end) return broken(QStringLiteral("an object offset is out of range"));
    const unsigned marker = p_[at];
    const unsigned high = marker >> 4, low = marker & 0x0F;
    std::uint64_t pos = at + 1;
    Object o;

    auto need = [&](std::uint64_t n) { return n <= end - pos; };

    // Length of data, strings and containers: in the low nibble, or a following integer.
    auto readCount = [&](std::uint64_t* count) -> bool {
        if (low != 0x0F) {
            *count = low;
            return true;
        }
        if (!need(1)) return false;
        const unsigned m = p_[pos];
        if ((m >> 4) != 0x1 || (m & 0x0F) > 3) return false;
        const int n = 1 << (m & 0x0F);
        ++pos;
        if (!need(std::uint64_t(n))) return false;
        *count = readUInt(pos, n);
        pos += std::uint64_t(n);
        return true;
    };

    switch (high) {
    case 0x0:
        if (marker == 0x00) o.kind = Kind::Null;
        else if (marker == 0x08 || marker == 0x09) {
            o.kind = Kind::Boolean;
            o.boolValue = marker == 0x09;
        } else
            return broken(QStringLiteral("unknown object marker 0x%1").arg(marker, 2, 16, QLatin1Char('0')));
        break;
    case 0x1: {
        if (low > 4) return broken(QStringLiteral("an integer of impossible width"));
        const int n = 1 << low;
        if (!need(std::uint64_t(n))) return broken(QStringLiteral("a truncated integer"));
        o.kind = Kind::Integer;
        if (n == 16) {
            // The 16-byte form holds the unsigned 64-bit values above the signed range; its high
            // half is zero (or all ones for a sign-extended negative value).
            const std::uint64_t hi = readUInt(pos, 8), lo = readUInt(pos + 8, 8);
            if (hi == 0) {
                o.intBits = std::int64_t(lo);
                o.isUnsigned = lo > std::uint64_t(std::numeric_limits<std::int64_t>::max());
            } else if (hi == ~std::uint64_t(0) && (lo >> 63)) {
                o.intBits = std::int64_t(lo);
            } else {
                return broken(QStringLiteral("an integer beyond 64 bits"));
            }
        } else {
            // 1, 2 and 4 bytes are unsigned, 8 bytes signed.
            o.intBits = std::int64_t(readUInt(pos, n));
        }
        break;
    }
    case 0x2: {
        if (low != 2 && low != 3) return broken(QStringLiteral("a real of impossible width"));
        const int n = 1 << low;
        if (!need(std::uint64_t(n))) return broken(QStringLiteral("a truncated real"));
        o.kind = Kind::Real;
        o.is32 = n == 4;
        if (o.is32) {
            const auto bits = std::uint32_t(readUInt(pos, 4));
            float f;
            std::memcpy(&f, &bits, 4);
            o.real = double(f);
        } else {
            const std::uint64_t bits = readUInt(pos, 8);
            std::memcpy(&o.real, &bits, 8);
        }
        break;
    }
    case 0x3: {
        if (marker != 0x33 || !need(8)) return broken(QStringLiteral("a malformed date"));
        o.kind = Kind::Date;
        const std::uint64_t bits = readUInt(pos, 8);
        std::memcpy(&o.real, &bits, 8);
        break;
    }
    case 0x4:
    case 0x5:
    case 0x6: {
        if (!readCount(&o.count)) return broken(QStringLiteral("a malformed length"));
        const std::uint64_t unit = high == 0x6 ? 2 : 1;
        if (o.count > (end - pos) / unit) return broken(QStringLiteral("a string or data runs past the end"));
        o.kind = high == 0x4 ? Kind::Data : high == 0x5 ? Kind::AsciiString : Kind::Utf16String;
        o.payload = pos;
        break;
    }
    case 0x8: {
        const int n = int(low) + 1;
        if (n != 1 && n != 2 && n != 4 && n != 8) return broken(QStringLiteral("a UID of impossible width"));
        if (!need(std::uint64_t(n))) return broken(QStringLiteral("a truncated UID"));
        o.kind = Kind::Uid;
        o.intBits = std::int64_t(readUInt(pos, n));
        break;
    }
    case 0xA:
    case 0xD: {
        if (!readCount(&o.count)) return broken(QStringLiteral("a malformed length"));
        const std::uint64_t perEntry = std::uint64_t(refSize_) * (high == 0xD ? 2 : 1);
        if (o.count > (end - pos) / perEntry) return broken(QStringLiteral("a container runs past the end"));
        o.kind = high == 0xA ? Kind::Array : Kind::Dictionary;
        o.payload = pos;
        break;
    }
    default:
        return broken(QStringLiteral("unsupported object marker 0x%1").arg(marker, 2, 16, QLatin1Char('0')));
    }
    return o;
}

QString BinaryPlistReader::string(const Object& o) const {
    if (o.kind == Kind::AsciiString)
        return QString::fromLatin1(reinterpret_cast<const char*>(p_ + o.payload), qsizetype(o.count));
    if (o.kind == Kind::Utf16String) {
        QString s(qsizetype(o.count), Qt::Uninitialized);
        char16_t* d = reinterpret_cast<char16_t*>(s.data());
        const unsigned char* src = p_ + o.payload;
        for (std::uint64_t i = 0; i < o.count; ++i) d[i] = char16_t((src[2 * i] << 8) | src[2 * i + 1]);
        return s;
    }
    return QString();
}

QByteArray BinaryPlistReader::data(const Object& o) const {
    // A large block (an enciphered member of a document: nearly the whole file) shares the
    // buffer it is read from instead of being copied, which would take a second buffer of the
    // file's size, fresh memory the system has to clear first. Written to, it is copied as any
    // shared byte array is, unless it has become the buffer's only user: then a document's
    // member is deciphered right where the file was read. Unlike a copy it has no zero byte
    // after its end, which nothing here reads.
    constexpr std::uint64_t kShareFrom = 1 << 20;
    if (o.count >= kShareFrom) {
        QByteArray slice = keep_;
        QByteArray::DataPointer& shared = slice.data_ptr();
        if (shared.d) {  // a buffer of its own, not borrowed bytes
            shared.ptr += o.payload;
            shared.size = qsizetype(o.count);
            return slice;
        }
    }
    return QByteArray(reinterpret_cast<const char*>(p_ + o.payload), qsizetype(o.count));
}

bool BinaryPlistReader::stringEquals(const Object& o, const char* key) const {
    const std::size_t n = std::strlen(key);
    return o.kind == Kind::AsciiString && o.count == n && std::memcmp(p_ + o.payload, key, n) == 0;
}

std::optional<std::uint64_t> BinaryPlistReader::lookup(const Object& dictionary, const char* key) const {
    if (dictionary.kind != Kind::Dictionary) return std::nullopt;
    // Writers store each key string once, so the reference found for a key last time is almost
    // always the one this dictionary uses: compare references before reading strings.
    KeyRef* cached = nullptr;
    for (KeyRef& k : keyRefs_)
        if (k.key == key) cached = &k;
    if (cached) {
        for (std::uint64_t i = 0; i < dictionary.count; ++i)
            if (reference(dictionary, i) == cached->ref) return reference(dictionary, dictionary.count + i);
    }
    for (std::uint64_t i = 0; i < dictionary.count; ++i) {
        const std::uint64_t ref = reference(dictionary, i);
        const auto k = object(ref);
        if (!k) continue;
        if (stringEquals(*k, key)) {
            if (cached) cached->ref = ref;
            else if (keyRefs_.size() < 16) keyRefs_.push_back(KeyRef{std::string(key), ref});
            return reference(dictionary, dictionary.count + i);
        }
    }
    return std::nullopt;
}

// ---------------------------------------------------------------------------------------------
// Generic binary reading

namespace {

class GenericReader {
public:
    explicit GenericReader(const BinaryPlistReader& r) : r_(r) {}

    Result<Value> read(std::uint64_t ref, int depth) {
        if (depth > kMaxPropertyListDepth) return broken(QStringLiteral("nesting too deep"));
        const auto object = r_.object(ref);
        if (!object) return object.failure();
        const BinaryPlistReader::Object& o = *object;
        using K = BinaryPlistReader::Kind;
        switch (o.kind) {
        case K::Null: return Value();
        case K::Boolean: return Value::boolean(o.boolValue);
        case K::Integer:
            return o.isUnsigned ? Value::unsignedInteger(std::uint64_t(o.intBits)) : Value::integer(o.intBits);
        case K::Real: return o.is32 ? Value::real32(float(o.real)) : Value::real(o.real);
        case K::Date: return Value::date(o.real);
        case K::Data: return Value::data(r_.data(o));
        case K::AsciiString:
        case K::Utf16String: return Value(r_.string(o));
        case K::Uid: {
            Dictionary d;
            d.set(QStringLiteral("CF$UID"), Value::unsignedInteger(std::uint64_t(o.intBits)));
            return Value(d);
        }
        case K::Array:
        case K::Dictionary: break;
        }
        // Containers are shared when referenced twice, which keeps a crafted list of repeated
        // references from multiplying into an exponential tree; a container reached again
        // while it is being read is a loop.
        if (auto it = done_.find(ref); it != done_.end()) return it->second;
        if (!inProgress_.insert(ref).second) return broken(QStringLiteral("a container contains itself"));
        Value result;
        if (o.kind == K::Array) {
            Array a;
            a.reserve(qsizetype(o.count));
            for (std::uint64_t i = 0; i < o.count; ++i) {
                auto v = read(r_.reference(o, i), depth + 1);
                if (!v) return v;
                a.append(*v);
            }
            result = Value(a);
        } else {
            Dictionary d;
            for (std::uint64_t i = 0; i < o.count; ++i) {
                const auto k = r_.object(r_.reference(o, i));
                if (!k) return k.failure();
                if (k->kind != K::AsciiString && k->kind != K::Utf16String)
                    return broken(QStringLiteral("a dictionary key that is not a string"));
                auto v = read(r_.reference(o, o.count + i), depth + 1);
                if (!v) return v;
                d.set(r_.string(*k), *v);
            }
            result = Value(d);
        }
        inProgress_.erase(ref);
        done_.emplace(ref, result);
        return result;
    }

private:
    static Result<Value> broken(const QString& what) { return Result<Value>::failed(0, damaged(what)); }

    const BinaryPlistReader& r_;
    std::unordered_map<std::uint64_t, Value> done_;
    std::unordered_set<std::uint64_t> inProgress_;
};

}  // namespace

Result<Value> readBinaryPropertyList(const QByteArray& bytes) {
    BinaryPlistReader r;
    if (auto opened = r.open(bytes); !opened) return opened.failure();
    GenericReader g(r);
    return g.read(r.topObject(), 0);
}

// ---------------------------------------------------------------------------------------------
// XML reading

namespace {

class XmlReader {
public:
    explicit XmlReader(const QByteArray& bytes) : x_(bytes) {}

    Result<Value> read() {
        // Skip to <plist>, then read its one child.
        while (!x_.atEnd()) {
            x_.readNext();
            if (x_.isStartElement()) {
                if (x_.name() != QLatin1String("plist")) return bad(QStringLiteral("the root element is not <plist>"));
                if (!nextElement()) return bad(QStringLiteral("<plist> is empty"));
                return element(0);
            }
        }
        if (x_.hasError()) return bad(x_.errorString());
        return bad(QStringLiteral("no <plist> element"));
    }

private:
    static Result<Value> bad(const QString& what) {
        return Result<Value>::failed(0, QStringLiteral("The XML property list is damaged: %1.").arg(what));
    }

    // Advances to the next start element inside the current one; false at its end.
    bool nextElement() {
        while (!x_.atEnd()) {
            x_.readNext();
            if (x_.isStartElement()) return true;
            if (x_.isEndElement()) return false;
        }
        return false;
    }

    Result<Value> element(int depth) {
        if (depth > kMaxPropertyListDepth) return bad(QStringLiteral("nesting too deep"));
        const QString name = x_.name().toString();
        if (name == QLatin1String("dict")) {
            Dictionary d;
            while (nextElement()) {
                if (x_.name() != QLatin1String("key")) return bad(QStringLiteral("a <dict> entry without <key>"));
                const QString key = x_.readElementText();
                if (x_.hasError()) return bad(x_.errorString());
                if (!nextElement()) return bad(QStringLiteral("a <key> without a value"));
                auto v = element(depth + 1);
                if (!v) return v;
                d.set(key, *v);
            }
            if (x_.hasError()) return bad(x_.errorString());
            // <dict><key>CF$UID</key><integer>n</integer></dict> is how UIDs are written here;
            // it stays a dictionary, as in the generic binary reading.
            return Value(d);
        }
        if (name == QLatin1String("array")) {
            Array a;
            while (nextElement()) {
                auto v = element(depth + 1);
                if (!v) return v;
                a.append(*v);
            }
            if (x_.hasError()) return bad(x_.errorString());
            return Value(a);
        }
        if (name == QLatin1String("true") || name == QLatin1String("false")) {
            const bool b = name == QLatin1String("true");
            x_.skipCurrentElement();
            return Value::boolean(b);
        }
        const QString text = x_.readElementText();
        if (x_.hasError()) return bad(x_.errorString());
        if (name == QLatin1String("string")) return Value(text);
        if (name == QLatin1String("integer")) {
            const QString t = text.trimmed();
            bool ok = false;
            if (t.startsWith(QLatin1Char('-'))) {
                const qlonglong v = t.toLongLong(&ok, 10);
                if (ok) return Value::integer(v);
            } else {
                const qulonglong v = t.toULongLong(&ok, 10);
                if (ok) return Value::unsignedInteger(v);
            }
            return bad(QStringLiteral("an <integer> that is not a number"));
        }
        if (name == QLatin1String("real")) {
            bool ok = false;
            const double v = text.trimmed().toDouble(&ok);
            if (!ok) {
                const QString t = text.trimmed().toLower();
                if (t == QLatin1String("nan")) return Value::real(std::nan(""));
                if (t == QLatin1String("inf") || t == QLatin1String("+inf")) return Value::real(HUGE_VAL);
                if (t == QLatin1String("-inf")) return Value::real(-HUGE_VAL);
                return bad(QStringLiteral("a <real> that is not a number"));
            }
            return Value::real(v);
        }
        if (name == QLatin1String("data")) {
            QByteArray compact = text.toLatin1();
            compact.replace(' ', "").replace('\n', "").replace('\t', "").replace('\r', "");
            auto decoded = QByteArray::fromBase64Encoding(compact);
            if (!decoded) return bad(QStringLiteral("<data> that is not base64"));
            return Value::data(*decoded);
        }
        if (name == QLatin1String("date")) {
            QDateTime dt = QDateTime::fromString(text.trimmed(), Qt::ISODate);
            if (!dt.isValid()) return bad(QStringLiteral("a <date> that is not an ISO 8601 date"));
            dt.setTimeZone(QTimeZone::utc());  // a date without a zone is read as UTC
            return Value::date(double(dt.toSecsSinceEpoch() - kEpoch2001));
        }
        return bad(QStringLiteral("an unknown element <%1>").arg(name));
    }

    QXmlStreamReader x_;
};

}  // namespace

Result<Value> readXmlPropertyList(const QByteArray& bytes) {
    XmlReader r(bytes);
    return r.read();
}

Result<Value> readPropertyList(const QByteArray& bytes) {
    if (bytes.startsWith("bplist")) return readBinaryPropertyList(bytes);
    const QByteArray head = bytes.left(64).trimmed();
    if (head.startsWith("<?xml") || head.startsWith("<plist") || head.startsWith("<!DOCTYPE") ||
        head.startsWith("\xEF\xBB\xBF"))
        return readXmlPropertyList(bytes);
    return Result<Value>::failed(0, QStringLiteral("The data is not a property list."));
}

// ---------------------------------------------------------------------------------------------
// Writer

namespace {

int byteCount(std::uint64_t v) {
    if (v <= 0xFF) return 1;
    if (v <= 0xFFFF) return 2;
    if (v <= 0xFFFFFFFFull) return 4;
    return 8;
}

// The writer measures the list before writing it, so the output is allocated once at its final
// size: a large document's archive is tens of megabytes, and growing it step by step would copy
// it several times over and briefly need twice its size.
struct SizeSink {
    std::uint64_t n = 0;
    void put(char) { ++n; }
    void putUInt(std::uint64_t, int size) { n += std::uint64_t(size); }
    void putRefs(const std::uint32_t*, std::uint32_t count, int size, std::uint32_t) {
        n += std::uint64_t(count) * std::uint64_t(size);
    }
    void put(const char*, std::size_t len) { n += len; }
    void putUtf16(const QString& s) { n += 2 * std::uint64_t(s.size()); }
    void putLatin1(const QString& s) { n += std::uint64_t(s.size()); }
};

struct BufferSink {
    char* base;
    char* p;
    std::uint64_t position() const { return std::uint64_t(p - base); }
    void putUInt(std::uint64_t v, int size) {
        for (int i = size - 1; i >= 0; --i) *p++ = char((v >> (8 * i)) & 0xFF);
    }
    void putRefs(const std::uint32_t* refs, std::uint32_t count, int size, std::uint32_t shift) {
        switch (size) {
        case 1:
            for (std::uint32_t i = 0; i < count; ++i) *p++ = char(refs[i] + shift);
            break;
        case 2:
            for (std::uint32_t i = 0; i < count; ++i) {
                qToBigEndian<quint16>(quint16(refs[i] + shift), p);
                p += 2;
            }
            break;
        case 4:
            for (std::uint32_t i = 0; i < count; ++i) {
                qToBigEndian<quint32>(refs[i] + shift, p);
                p += 4;
            }
            break;
        default:
            for (std::uint32_t i = 0; i < count; ++i) putUInt(std::uint64_t(refs[i]) + shift, size);
        }
    }
    void put(char c) { *p++ = c; }
    void put(const char* d, std::size_t len) {
        if (len) std::memcpy(p, d, len);
        p += len;
    }
    void putUtf16(const QString& s) {
        const char16_t* u = reinterpret_cast<const char16_t*>(s.constData());
        for (qsizetype i = 0; i < s.size(); ++i) {
            *p++ = char(u[i] >> 8);
            *p++ = char(u[i] & 0xFF);
        }
    }
    void putLatin1(const QString& s) {
        const char16_t* u = reinterpret_cast<const char16_t*>(s.constData());
        for (qsizetype i = 0; i < s.size(); ++i) *p++ = char(u[i]);
    }
};

template <typename Sink>
void putMarkerAndCount(Sink& out, unsigned high, std::uint64_t count) {
    if (count < 15) {
        out.put(char((high << 4) | unsigned(count)));
        return;
    }
    out.put(char((high << 4) | 0x0F));
    const int n = byteCount(count);
    out.put(char(0x10 | (n == 1 ? 0 : n == 2 ? 1 : n == 4 ? 2 : 3)));
    out.putUInt(count, n);
}

// A quick hash of the UTF-16 text, eight bytes at a time, for the writer's own table.
std::uint32_t textHash(const QString& s) {
    const char* p = reinterpret_cast<const char*>(s.constData());
    const std::size_t n = std::size_t(s.size()) * 2;
    std::uint64_t h = 0x9E3779B97F4A7C15ull ^ n;
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t w;
        std::memcpy(&w, p + i, 8);
        h = (h ^ w) * 0xBF58476D1CE4E5B9ull;
        h ^= h >> 29;
    }
    if (i < n) {
        std::uint64_t w = 0;
        std::memcpy(&w, p + i, n - i);
        h = (h ^ w) * 0xBF58476D1CE4E5B9ull;
    }
    h ^= h >> 32;
    h *= 0x94D049BB133111EBull;
    h ^= h >> 29;
    return std::uint32_t(h);
}

bool isAscii(const QString& s) {
    for (const QChar c : s)
        if (c.unicode() > 0x7F) return false;
    return true;
}

}  // namespace

BinaryPlistWriter::Ref BinaryPlistWriter::add(Kind kind, std::uint32_t index, std::uint32_t count) {
    objects_.push_back(Entry{kind, index, count});
    return Ref(objects_.size() - 1 + partCount_);
}

std::size_t BinaryPlistWriter::objectCount() const { return objects_.size() + partCount_; }

namespace {
// Spreads the bits of a number over the whole word: dates and reals differ mostly in bits that a
// plain mask would drop.
std::uint64_t mixBits(std::uint64_t x) {
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9ull;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}
}  // namespace

std::size_t BinaryPlistWriter::scalarHome(std::uint32_t kind, std::uint64_t bits, std::size_t tableSize) {
    return std::size_t(mixBits(bits ^ kind)) & (tableSize - 1);
}

void BinaryPlistWriter::prefetchReal(double v) const {
    if (scalarSlots_.empty()) return;
    std::uint64_t bits;
    std::memcpy(&bits, &v, 8);
    __builtin_prefetch(&scalarSlots_[scalarHome(std::uint32_t(Kind::Real64), bits, scalarSlots_.size())]);
}

BinaryPlistWriter::Ref BinaryPlistWriter::scalar(Kind kind, std::uint64_t bits) {
    // A table of its own rather than a hash map: a document has two dates and a number in every
    // record, and each is looked up once.
    if (scalarSlots_.size() < 2 * (scalars_.size() + 1)) {
        std::vector<ScalarSlot> grown(std::max<std::size_t>(64, scalarSlots_.size() * 2));
        const std::size_t mask = grown.size() - 1;
        for (const ScalarSlot& slot : scalarSlots_) {
            if (slot.kind == ~std::uint32_t(0)) continue;
            std::size_t i = scalarHome(slot.kind, slot.bits, grown.size());
            while (grown[i].kind != ~std::uint32_t(0)) i = (i + 1) & mask;
            grown[i] = slot;
        }
        scalarSlots_.swap(grown);
    }
    const std::size_t mask = scalarSlots_.size() - 1;
    std::size_t i = scalarHome(std::uint32_t(kind), bits, scalarSlots_.size());
    for (; scalarSlots_[i].kind != ~std::uint32_t(0); i = (i + 1) & mask)
        if (scalarSlots_[i].kind == std::uint32_t(kind) && scalarSlots_[i].bits == bits) return scalarSlots_[i].ref;
    scalars_.push_back(bits);
    const Ref r = add(kind, std::uint32_t(scalars_.size() - 1));
    scalarSlots_[i] = ScalarSlot{bits, std::uint32_t(kind), r};
    return r;
}

std::uint32_t BinaryPlistWriter::stringHash(const QString& s) { return textHash(s); }

void BinaryPlistWriter::prefetchString(std::uint32_t hash) const {
    if (!stringSlots_.empty()) __builtin_prefetch(&stringSlots_[hash & (stringSlots_.size() - 1)]);
}

BinaryPlistWriter::Ref BinaryPlistWriter::string(const QString& s) { return string(s, textHash(s)); }

BinaryPlistWriter::Ref BinaryPlistWriter::string(const QString& s, std::uint32_t hash) {
    // An open-addressing table of (hash, reference) pairs: a document has a string object per
    // field, and a hash node holding a copy of every string was a large part of saving's memory.
    // Keeping the hash in the slot means a probe rarely has to look at another string.
    constexpr std::uint64_t kFree = ~std::uint64_t(0);
    if (stringSlots_.size() < 2 * (strings_.size() + 1)) {
        std::vector<std::uint64_t> grown(std::max<std::size_t>(64, stringSlots_.size() * 2), kFree);
        const std::size_t mask = grown.size() - 1;
        for (std::uint64_t slot : stringSlots_) {
            if (slot == kFree) continue;
            std::size_t i = std::size_t(slot >> 32) & mask;
            while (grown[i] != kFree) i = (i + 1) & mask;
            grown[i] = slot;
        }
        stringSlots_.swap(grown);
    }
    const std::size_t mask = stringSlots_.size() - 1;
    std::size_t i = hash & mask;
    for (; stringSlots_[i] != kFree; i = (i + 1) & mask) {
        const std::uint64_t slot = stringSlots_[i];
        if (std::uint32_t(slot >> 32) != hash) continue;
        const Ref r = Ref(slot & 0xFFFFFFFFu);
        if (strings_[entry(r).index] == s) return r;
    }
    strings_.push_back(s);
    // The count field of a string entry says whether it is written as ASCII.
    const Ref r = add(Kind::String, std::uint32_t(strings_.size() - 1), isAscii(s) ? 1 : 0);
    stringSlots_[i] = (std::uint64_t(hash) << 32) | r;
    return r;
}

BinaryPlistWriter::Ref BinaryPlistWriter::integer(std::int64_t v) { return scalar(Kind::Int, std::uint64_t(v)); }

BinaryPlistWriter::Ref BinaryPlistWriter::unsignedInteger(std::uint64_t v) {
    if (v <= std::uint64_t(std::numeric_limits<std::int64_t>::max())) return integer(std::int64_t(v));
    return scalar(Kind::UInt, v);
}

BinaryPlistWriter::Ref BinaryPlistWriter::real(double v) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, 8);
    return scalar(Kind::Real64, bits);
}

BinaryPlistWriter::Ref BinaryPlistWriter::real32(float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, 4);
    return scalar(Kind::Real32, bits);
}

BinaryPlistWriter::Ref BinaryPlistWriter::boolean(bool v) { return scalar(v ? Kind::True : Kind::False, 0); }

BinaryPlistWriter::Ref BinaryPlistWriter::date(double secondsSince2001) {
    std::uint64_t bits;
    std::memcpy(&bits, &secondsSince2001, 8);
    return scalar(Kind::Date, bits);
}

BinaryPlistWriter::Ref BinaryPlistWriter::data(const QByteArray& bytes) {
    if (auto it = uniqueData_.constFind(bytes); it != uniqueData_.cend()) return *it;
    blobs_.push_back(bytes);
    const Ref r = add(Kind::Data, std::uint32_t(blobs_.size() - 1));
    uniqueData_.insert(bytes, r);
    return r;
}

BinaryPlistWriter::Ref BinaryPlistWriter::uid(std::uint64_t v) {
    // Archives refer to every object by UID, often many times, and UIDs are small and dense:
    // a table beats hashing here.
    // An archive's UIDs never exceed its own object count; a stray large one (a property list
    // read from elsewhere) is hashed instead of growing the table to its size.
    if (v < 2 * std::uint64_t(objectCount()) + 1024) {
        if (v >= uidRefs_.size()) uidRefs_.resize(std::max(size_t(v) + 1, 2 * uidRefs_.size()), UINT32_MAX);
        Ref& r = uidRefs_[size_t(v)];
        if (r == UINT32_MAX) r = add(Kind::SmallUid, std::uint32_t(v));  // the value itself, no scalar
        return r;
    }
    return scalar(Kind::Uid, v);
}

BinaryPlistWriter::Ref BinaryPlistWriter::null() {
    if (nullRef_ == UINT32_MAX) nullRef_ = add(Kind::Null, 0);
    return nullRef_;
}

BinaryPlistWriter::Ref BinaryPlistWriter::reserve() { return add(Kind::Unset, 0); }

void BinaryPlistWriter::setArray(Ref container, const Ref* elements, std::size_t count) {
    Entry& e = entry(container);
    e.kind = Kind::Array;
    e.index = std::uint32_t(refs_.size());
    e.count = std::uint32_t(count);
    refs_.insert(refs_.end(), elements, elements + count);
}

void BinaryPlistWriter::setDictionary(Ref container, const Ref* keys, const Ref* values, std::size_t count) {
    Entry& e = entry(container);
    e.kind = Kind::Dictionary;
    e.index = std::uint32_t(refs_.size());
    e.count = std::uint32_t(count);
    refs_.insert(refs_.end(), keys, keys + count);
    refs_.insert(refs_.end(), values, values + count);
}

void BinaryPlistWriter::append(BinaryPlistWriter&& other, std::uint64_t uidShift) {
    // Kept as it is and written in its place by finish(): copying a half of a large archive's
    // tables into this one's cost time and, for a while, their memory twice.
    if (part_ || other.part_) throw std::logic_error("a property list writer takes one part only");
    partAt_ = Ref(objects_.size());
    partCount_ = Ref(other.objects_.size());
    partUidShift_ = uidShift;
    part_ = std::make_unique<BinaryPlistWriter>(std::move(other));
    part_->dropLookupTables();  // the part takes no more objects
    other = BinaryPlistWriter();
}

void BinaryPlistWriter::dropLookupTables() {
    std::vector<std::uint64_t>().swap(stringSlots_);
    std::vector<ScalarSlot>().swap(scalarSlots_);
    std::vector<Ref>().swap(uidRefs_);
    uniqueData_ = QHash<QByteArray, Ref>();
}

QByteArray BinaryPlistWriter::finish(Ref top) const {
    const std::size_t n = objectCount();
    const int refSize = byteCount(n);
    // The objects in the order they are written: this writer's own up to where a part was
    // attached, the part's, then the rest of this writer's.
    struct Piece {
        const BinaryPlistWriter* writer;
        std::size_t from, to;  // entries of that writer
        Ref refShift;          // added to the part's references to its own objects
        std::uint64_t uidShift;
        std::size_t first;     // the final reference of `from`
        SizeSink size;
    };
    std::vector<Piece> pieces;
    // A large list (a document's records) is measured and written in two halves at once: every
    // object's bytes depend only on itself and the reference size, and each piece starts where
    // the measure of those before it ends.
    constexpr std::size_t kTwoThreadObjects = 100000;
    if (part_) {
        pieces.push_back(Piece{this, 0, partAt_, 0, 0, 0, {}});
        pieces.push_back(Piece{part_.get(), 0, partCount_, partAt_, partUidShift_, partAt_, {}});
        pieces.push_back(Piece{this, partAt_, objects_.size(), 0, 0, std::size_t(partAt_) + partCount_, {}});
    } else if (n >= kTwoThreadObjects) {
        pieces.push_back(Piece{this, 0, n / 2, 0, 0, 0, {}});
        pieces.push_back(Piece{this, n / 2, n, 0, 0, n / 2, {}});
    } else {
        pieces.push_back(Piece{this, 0, n, 0, 0, 0, {}});
    }
    // The first piece on this thread, the others on a second one.
    auto forEachPiece = [&pieces](auto&& work) {
        if (pieces.size() == 1) return work(pieces[0]);
        onTwoThreads([&] { work(pieces[0]); },
                     [&] {
                         for (std::size_t k = 1; k < pieces.size(); ++k) work(pieces[k]);
                     });
    };
    forEachPiece([refSize](Piece& p) {
        p.writer->writeObjects(p.size, refSize, nullptr, p.from, p.to, p.refShift, p.uidShift);
    });
    std::uint64_t offsetTable = 8;
    for (const Piece& p : pieces) offsetTable += p.size.n;
    const int offsetSize = byteCount(offsetTable);
    const std::uint64_t total = offsetTable + std::uint64_t(offsetSize) * n + 32;
    // Room for one more block, so that a cipher can work on the archive where it lies.
    QByteArray out;
    out.reserve(qsizetype(total) + 16);
    out.resize(qsizetype(total));
    char* const base = out.data();
    std::memcpy(base, kMagic, 8);
    std::vector<std::uint64_t> starts;
    std::uint64_t at = 8;
    for (const Piece& p : pieces) {
        starts.push_back(at);
        at += p.size.n;
    }
    forEachPiece([&](Piece& p) {
        BufferSink sink{base, base + starts[std::size_t(&p - pieces.data())]};
        // Offsets are written straight into their table, behind the objects.
        const std::size_t first = p.first, from = p.from;
        p.writer->writeObjects(
            sink, refSize,
            [base, offsetTable, offsetSize, first, from](std::size_t i, std::uint64_t position) {
                char* o = base + offsetTable + (first + (i - from)) * std::size_t(offsetSize);
                for (int k = offsetSize - 1; k >= 0; --k) *o++ = char((position >> (8 * k)) & 0xFF);
            },
            p.from, p.to, p.refShift, p.uidShift);
    });
    BufferSink trailer{base, base + offsetTable + std::uint64_t(offsetSize) * n};
    trailer.put("\0\0\0\0\0\0", 6);
    trailer.put(char(offsetSize));
    trailer.put(char(refSize));
    trailer.putUInt(n, 8);
    trailer.putUInt(top, 8);
    trailer.putUInt(offsetTable, 8);
    return out;
}

template <typename Sink, typename OnOffset>
void BinaryPlistWriter::writeObjects(Sink& out, int refSize, OnOffset onOffset, std::size_t from, std::size_t to,
                                     Ref refShift, std::uint64_t uidShift) const {
    for (std::size_t i = from; i < to; ++i) {
        const Entry& e = objects_[i];
        if constexpr (!std::is_same_v<OnOffset, std::nullptr_t>) onOffset(i, out.position());
        switch (e.kind) {
        case Kind::Null:
        case Kind::Unset: out.put(char(0x00)); break;
        case Kind::False: out.put(char(0x08)); break;
        case Kind::True: out.put(char(0x09)); break;
        case Kind::Int: {
            const auto v = std::int64_t(scalars_[e.index]);
            if (v < 0) {
                out.put(char(0x13));
                out.putUInt(std::uint64_t(v), 8);
            } else {
                const int n = byteCount(std::uint64_t(v));
                out.put(char(0x10 | (n == 1 ? 0 : n == 2 ? 1 : n == 4 ? 2 : 3)));
                out.putUInt(std::uint64_t(v), n);
            }
            break;
        }
        case Kind::UInt:
            out.put(char(0x14));
            out.putUInt(0, 8);
            out.putUInt(scalars_[e.index], 8);
            break;
        case Kind::Real64:
            out.put(char(0x23));
            out.putUInt(scalars_[e.index], 8);
            break;
        case Kind::Real32:
            out.put(char(0x22));
            out.putUInt(scalars_[e.index], 4);
            break;
        case Kind::Date:
            out.put(char(0x33));
            out.putUInt(scalars_[e.index], 8);
            break;
        case Kind::Data: {
            const QByteArray& b = blobs_[e.index];
            putMarkerAndCount(out, 0x4, std::uint64_t(b.size()));
            out.put(b.constData(), std::size_t(b.size()));
            break;
        }
        case Kind::String: {
            const QString& s = strings_[e.index];
            putMarkerAndCount(out, e.count ? 0x5 : 0x6, std::uint64_t(s.size()));
            if (e.count) out.putLatin1(s);
            else out.putUtf16(s);
            break;
        }
        case Kind::Uid:
        case Kind::SmallUid: {
            std::uint64_t v = e.kind == Kind::SmallUid ? e.index : scalars_[e.index];
            if (v != 0) v += uidShift;  // UID 0, "$null", is the same in every part
            const int n = byteCount(v);
            out.put(char(0x80 | (n - 1)));
            out.putUInt(v, n);
            break;
        }
        case Kind::Array:
        case Kind::Dictionary: {
            putMarkerAndCount(out, e.kind == Kind::Array ? 0xA : 0xD, e.count);
            const std::uint32_t n = e.kind == Kind::Array ? e.count : 2 * e.count;
            out.putRefs(refs_.data() + e.index, n, refSize, refShift);
            break;
        }
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Generic binary writing

namespace {

class GenericWriter {
public:
    using Written = Result<BinaryPlistWriter::Ref>;

    Written write(const Value& v, int depth) {
        if (depth > kMaxPropertyListDepth)
            return Written::failed(0, QStringLiteral("The value is nested too deeply for a property list."));
        switch (v.type()) {
        case Value::Type::Absent: return Written::failed(0, QStringLiteral("An absent value has no property-list form."));
        case Value::Type::Rect: return Written::failed(0, QStringLiteral("A rectangle has no property-list form."));
        case Value::Type::String: return w.string(v.stringRef());
        case Value::Type::Integer:
            return v.isUnsignedInteger() ? w.unsignedInteger(v.toUInt64()) : w.integer(v.toInt64());
        case Value::Type::Real: return v.isReal32() ? w.real32(float(v.toDouble())) : w.real(v.toDouble());
        case Value::Type::Boolean: return w.boolean(v.toBool());
        case Value::Type::Date: return w.date(v.toDate());
        case Value::Type::Data: return w.data(v.toData());
        case Value::Type::Array:
        case Value::Type::Dictionary: break;
        }
        const void* id = v.isArray() ? v.toArray().identity() : v.toDictionary().identity();
        if (!inProgress_.insert(id).second)
            return Written::failed(0, QStringLiteral("A container contains itself and cannot be written."));
        BinaryPlistWriter::Ref ref;
        if (v.isArray()) {
            const Array a = v.toArray();
            ref = w.reserve();
            std::vector<BinaryPlistWriter::Ref> elements;
            elements.reserve(size_t(a.count()));
            for (const Value& e : a) {
                auto r = write(e, depth + 1);
                if (!r) return r;
                elements.push_back(*r);
            }
            w.setArray(ref, elements);
        } else {
            const Dictionary d = v.toDictionary();
            if (d.count() == 1 && d.keyAt(0) == QLatin1String("CF$UID") && d.valueAt(0).isInteger()) {
                inProgress_.erase(id);
                return w.uid(d.valueAt(0).toUInt64());
            }
            ref = w.reserve();
            std::vector<BinaryPlistWriter::Ref> keys, values;
            keys.reserve(size_t(d.count()));
            values.reserve(size_t(d.count()));
            for (qsizetype i = 0; i < d.count(); ++i) keys.push_back(w.string(d.keyAt(i)));
            for (qsizetype i = 0; i < d.count(); ++i) {
                auto r = write(d.valueAt(i), depth + 1);
                if (!r) return r;
                values.push_back(*r);
            }
            w.setDictionary(ref, keys, values);
        }
        inProgress_.erase(id);
        return ref;
    }

    BinaryPlistWriter w;

private:
    std::unordered_set<const void*> inProgress_;
};

}  // namespace

Result<QByteArray> writeBinaryPropertyList(const Value& root) {
    GenericWriter g;
    auto top = g.write(root, 0);
    if (!top) return top.failure();
    return g.w.finish(*top);
}

}  // namespace qv
