#pragma once

// Values as JSON for the command line and for other programs that compare against it. Key order
// is the dictionary's own (which a JSON library would sort away), reals always show a fraction
// or an exponent so they stay reals, and the kinds JSON lacks are tagged objects:
// {"$date": seconds since 2001}, {"$data": "base64"}, {"$rect": [x, y, w, h]}.

#include "Value.h"

#include <QByteArray>

#include <vector>

namespace qv {

class JsonWriter {
public:
    explicit JsonWriter(bool pretty = true) : pretty_(pretty) {}

    // Absent values inside dictionaries are left out; an absent value on its own is null.
    QByteArray write(const Value& v);

    // Building blocks for callers that assemble their own objects.
    static QByteArray quote(const QString& s);
    static QByteArray number(double d);

    void beginObject();
    void key(const QString& k);
    void value(const Value& v);
    void rawValue(const QByteArray& json);
    void endObject();
    void beginArray();
    void endArray();
    QByteArray take();

private:
    void separator();
    void close(char bracket);
    void newline();
    bool pretty_;
    QByteArray out_;
    struct Level {
        bool first = true;
        bool afterKey = false;
    };
    std::vector<Level> stack_;
};

}  // namespace qv
