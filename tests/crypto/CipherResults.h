#pragma once

// A cipher engine's result seen as the two things its callers act on: the value it may hold and
// the status (0 for a success, the failure's kind otherwise), so that a test can compare a result
// that may have failed with what it should be.

#include "foundation/Result.h"

#include <cstdint>
#include <optional>

namespace qv::test {

template <class T>
std::optional<T> valueOf(const Result<T, std::int32_t>& r) {
    return r ? std::optional<T>(*r) : std::nullopt;
}

template <class T>
std::int32_t statusOf(const Result<T, std::int32_t>& r) {
    return r ? 0 : r.kind();
}

}  // namespace qv::test
