#pragma once

// What a failed result says, for tests that print a failure or look into its message; empty
// for a success, so that a test can ask it of any result without checking first.

#include "foundation/Result.h"

#include <QString>

namespace qv::test {

template <class R>
QString failureText(const R& r) {
    return r.ok() ? QString() : r.message();
}

}  // namespace qv::test
