#include "TypedStream.h"

#include <QList>
#include <QStringList>

#include <cmath>
#include <cstring>
#include <optional>
#include <variant>
#include <vector>

// The stream, as far as colours need it:
//   header   a byte with the streamer version (4), the signature as a counted string,
//            "streamtyped" for little-endian numbers or "typedstream" for big-endian, then the
//            system version as an integer.
//   integer  one signed byte, or 0x81 followed by 16 bits, or 0x82 followed by 32 bits.
//   real     0x83 followed by a 32- or 64-bit IEEE number (as the type says), or an integer
//            when the value is whole.
//   shared   0x84 opens a new entry (a counted string, a class or an object), 0x85 is nil, and a
//            byte from 0x92 up refers to an earlier entry by its place in its table (0x92 is the
//            first). Strings have one table; classes and objects share another.
//   class    name (shared string), version (integer), superclass (class or nil).
//   object   class, then groups of values each led by its type string ("c", "ffff", "@"...),
//            closed by 0x86.
// A colour is an object of the class NSColor: a "c" group with its colour space (1 and 2 RGB,
// 3 and 4 grey, 5 CMYK), then the components as reals ("ffff" red, green, blue, alpha; "ff"
// grey and alpha; "fffff" cyan, magenta, yellow, black, alpha).

namespace qv::TypedStream {

namespace {

constexpr unsigned char kInt16 = 0x81, kInt32 = 0x82, kReal = 0x83, kNew = 0x84, kNil = 0x85, kEnd = 0x86,
                        kInt64 = 0x87, kFirstReference = 0x92;
constexpr int kMaxDepth = 16;
constexpr int kMaxValues = 4096;

struct Refusal {
    QString why;
};

struct ClassEntry {
    QString name;
    int superclass = -1;  // index in the object table, or -1
};

class Reader {
public:
    explicit Reader(const QByteArray& d) : data_(d) {}

    void header() {
        const unsigned char version = byte();
        if (version != 3 && version != 4) throw Refusal{QStringLiteral("not an old archive (streamer version %1)").arg(version)};
        const qint64 n = integer();
        if (n != 11) throw Refusal{QStringLiteral("not an old archive (no signature)")};
        const QByteArray sig = bytes(11);
        if (sig == "streamtyped") bigEndian_ = false;
        else if (sig == "typedstream") bigEndian_ = true;
        else throw Refusal{QStringLiteral("not an old archive (signature)")};
        (void)integer();  // the system version
    }

    // The root object; numbers found in it are collected in order.
    QString rootObject(std::vector<double>* values) {
        values_ = values;
        const auto type = sharedString();
        if (!type || *type != "@") throw Refusal{QStringLiteral("the archive does not start with an object")};
        const int index = object(0);
        if (index < 0) throw Refusal{QStringLiteral("the archive holds nothing")};
        return classNameOf(index);
    }

    bool inheritsFrom(int objectIndex, const QString& name) const {
        int c = objectClass_.value(objectIndex, -1);
        for (int guard = 0; c >= 0 && guard < 64; ++guard) {
            if (classes_[c].name == name) return true;
            c = classes_[c].superclass;
        }
        return false;
    }
    int rootIndex() const { return 0; }

private:
    unsigned char byte() {
        if (pos_ >= data_.size()) throw Refusal{QStringLiteral("the archive ends too early")};
        return static_cast<unsigned char>(data_[pos_++]);
    }
    unsigned char peek() const {
        if (pos_ >= data_.size()) throw Refusal{QStringLiteral("the archive ends too early")};
        return static_cast<unsigned char>(data_[pos_]);
    }
    QByteArray bytes(qint64 n) {
        if (n < 0 || n > data_.size() - pos_) throw Refusal{QStringLiteral("a length runs past the end")};
        const QByteArray out = data_.mid(pos_, n);
        pos_ += n;
        return out;
    }
    quint64 fixed(int size) {
        const QByteArray b = bytes(size);
        quint64 v = 0;
        for (int i = 0; i < size; ++i) {
            const quint64 byteValue = static_cast<unsigned char>(b[bigEndian_ ? i : size - 1 - i]);
            v = (v << 8) | byteValue;
        }
        return v;
    }
    qint64 integerFrom(unsigned char b) {
        switch (b) {
        case kInt16: return qint16(fixed(2));
        case kInt32: return qint32(fixed(4));
        case kInt64: return qint64(fixed(8));
        default: return qint64(static_cast<signed char>(b));
        }
    }
    qint64 integer() { return integerFrom(byte()); }

    double real(bool wide) {
        const unsigned char b = byte();
        if (b != kReal) return double(integerFrom(b));
        if (wide) {
            const quint64 bits = fixed(8);
            double d;
            std::memcpy(&d, &bits, 8);
            return d;
        }
        const quint32 bits = quint32(fixed(4));
        float f;
        std::memcpy(&f, &bits, 4);
        return double(f);
    }

    // A shared string; nil gives an empty optional.
    std::optional<QByteArray> sharedString() {
        const unsigned char b = byte();
        if (b == kNil) return std::nullopt;
        if (b == kNew) {
            const qint64 n = integer();
            const QByteArray s = bytes(n);
            strings_.append(s);
            return s;
        }
        if (b >= kFirstReference) {
            const int i = b - kFirstReference;
            if (i >= strings_.size()) throw Refusal{QStringLiteral("a string reference points nowhere")};
            return strings_[i];
        }
        throw Refusal{QStringLiteral("a string was expected")};
    }

    // Index of the class in classes_, or -1 for nil.
    int classRef(int depth) {
        if (depth > kMaxDepth) throw Refusal{QStringLiteral("classes nest too deep")};
        const unsigned char b = byte();
        if (b == kNil) return -1;
        if (b == kNew) {
            const auto name = sharedString();
            if (!name) throw Refusal{QStringLiteral("a class has no name")};
            (void)integer();  // class version
            const int c = int(classes_.size());
            classes_.push_back({QString::fromLatin1(*name), -1});
            table_.push_back({true, c});
            classes_[size_t(c)].superclass = classRef(depth + 1);
            return c;
        }
        if (b >= kFirstReference) {
            const size_t i = b - kFirstReference;
            if (i >= table_.size() || !table_[i].isClass) throw Refusal{QStringLiteral("a class reference points nowhere")};
            return table_[i].index;
        }
        throw Refusal{QStringLiteral("a class was expected")};
    }

    // Index of the object in the object list, or -1 for nil.
    int object(int depth) {
        if (depth > kMaxDepth) throw Refusal{QStringLiteral("objects nest too deep")};
        const unsigned char b = byte();
        if (b == kNil) return -1;
        if (b >= kFirstReference) {
            const size_t i = b - kFirstReference;
            if (i >= table_.size() || table_[i].isClass) throw Refusal{QStringLiteral("an object reference points nowhere")};
            return table_[i].index;
        }
        if (b != kNew) throw Refusal{QStringLiteral("an object was expected")};
        const int o = int(objectClass_.size());
        objectClass_.append(-1);
        table_.push_back({false, o});
        const int c = classRef(depth + 1);
        if (c < 0) throw Refusal{QStringLiteral("an object has no class")};
        objectClass_[o] = c;
        while (peek() != kEnd) group(depth + 1);
        ++pos_;
        return o;
    }

    void group(int depth) {
        const auto type = sharedString();
        if (!type || type->isEmpty()) throw Refusal{QStringLiteral("a value has no type")};
        for (char t : *type) {
            switch (t) {
            case 'c': case 'C': case 's': case 'S': case 'i': case 'I': case 'l': case 'L': case 'q': case 'Q':
                push(double(integer()));
                break;
            case 'f': push(real(false)); break;
            case 'd': push(real(true)); break;
            case '@': (void)object(depth + 1); break;
            case '#': (void)classRef(depth + 1); break;
            case '*': (void)sharedString(); break;
            case '+': (void)bytes(integer()); break;
            default: throw Refusal{QStringLiteral("the value type '%1' is not one a colour uses").arg(QLatin1Char(t))};
            }
        }
    }
    void push(double v) {
        if (values_ && depth0()) {
            if (values_->size() >= size_t(kMaxValues)) throw Refusal{QStringLiteral("too many values")};
            values_->push_back(v);
        }
    }
    // Only the root object's own numbers are the colour's.
    bool depth0() const { return objectClass_.size() == 1; }

    QString classNameOf(int objectIndex) const {
        const int c = objectClass_.value(objectIndex, -1);
        return c >= 0 ? classes_[size_t(c)].name : QString();
    }

    struct TableEntry {
        bool isClass;
        int index;
    };
    const QByteArray& data_;
    qsizetype pos_ = 0;
    bool bigEndian_ = false;
    QList<QByteArray> strings_;
    std::vector<ClassEntry> classes_;
    std::vector<TableEntry> table_;
    QList<int> objectClass_;
    std::vector<double>* values_ = nullptr;
};

}  // namespace

Result<Color> decodeColor(const QByteArray& data) {
    auto fail = [](const QString& why) { return Result<Color>::failed(0, why); };
    try {
        Reader reader(data);
        reader.header();
        std::vector<double> v;
        const QString name = reader.rootObject(&v);
        if (!reader.inheritsFrom(reader.rootIndex(), QStringLiteral("NSColor")))
            return fail(QStringLiteral("the archive holds a %1, not a colour").arg(name));
        for (double d : v)
            if (!std::isfinite(d)) return fail(QStringLiteral("a colour component is not a number"));
        if (v.empty()) return fail(QStringLiteral("the colour has no colour space"));
        // Out of int's range is no colour space either (and converting it would be undefined).
        const int space = std::fabs(v[0]) < 1e6 ? int(v[0]) : -1;
        auto need = [&](size_t n) { return v.size() >= n + 1; };
        switch (space) {
        case 1: case 2:
            if (!need(4)) return fail(QStringLiteral("the colour lacks components"));
            return Color{v[1], v[2], v[3], v[4]};
        case 3: case 4:
            if (!need(2)) return fail(QStringLiteral("the colour lacks components"));
            return Color{v[1], v[1], v[1], v[2]};
        case 5: {
            if (!need(5)) return fail(QStringLiteral("the colour lacks components"));
            const double k = 1 - v[4];
            return Color{(1 - v[1]) * k, (1 - v[2]) * k, (1 - v[3]) * k, v[5]};
        }
        default: return fail(QStringLiteral("colour space %1 has no RGB components").arg(space));
        }
    } catch (const Refusal& f) {
        return fail(f.why);
    }
}

}  // namespace qv::TypedStream
