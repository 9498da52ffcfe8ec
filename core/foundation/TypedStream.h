#pragma once

// A reader for the old non-keyed archive format ("typedstream") in which documents before
// release 3.0 stored category colours. It reads exactly one thing, a colour object, and refuses
// anything else with a message; every length and reference is checked against the bytes there.

#include "Result.h"

#include <QByteArray>
#include <QString>

namespace qv::TypedStream {

struct Color {
    double r = 0, g = 0, b = 0, a = 1;
};

// The four RGB components of an archived colour. RGB colours give their components as stored,
// grey colours give the grey in all three, CMYK colours are converted the plain way. Named and
// pattern colours, and anything that is not a colour, fail with the reason.
Result<Color> decodeColor(const QByteArray& data);

}  // namespace qv::TypedStream
