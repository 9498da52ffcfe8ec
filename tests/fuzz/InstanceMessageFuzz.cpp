// What any program of the user can send to the single-instance socket, in pieces of any size.
// The first byte sets the size of the pieces; a second, larger run repeats the input to reach
// past the limit.
//
// What must hold: the message never grows past its limit, files come only from a complete
// message, none of them is empty or holds a line end, and the pieces don't change the outcome.
#include "shell/InstanceMessage.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace qv;
using State = InstanceMessage::State;

namespace {

State feed(InstanceMessage& m, const QByteArray& bytes, qsizetype piece, int repeat) {
    State s = m.state();
    for (int r = 0; r < repeat; ++r)
        for (qsizetype at = 0; at < bytes.size(); at += piece) s = m.append(bytes.mid(at, piece));
    return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    const qsizetype piece = 1 + data[0] % 17;
    InstanceMessage whole, pieces;
    const State a = whole.append(bytes);
    const State b = feed(pieces, bytes, piece, 1);
    if (a != b || whole.files() != pieces.files()) std::abort();
    if (a != State::Complete && !whole.files().isEmpty()) std::abort();
    for (const QString& file : whole.files())
        if (file.isEmpty() || file.contains(QLatin1Char('\n'))) std::abort();

    // Repeated without end, the message is complete or dropped, never kept beyond the limit.
    if (!bytes.isEmpty() && (data[0] & 0x80)) {
        InstanceMessage endless;
        const QByteArray flood = bytes.repeated(qsizetype(InstanceMessage::kMaximumSize / bytes.size()) + 2);
        const State s = feed(endless, flood, 64 * 1024, 1);
        if (s == State::Incomplete) std::abort();
    }
    return 0;
}
