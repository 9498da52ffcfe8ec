#include "ZKRandom.h"

#include <cstdlib>
#include <ctime>

namespace qv {

std::int64_t ZKRandomInteger(std::int64_t low, std::int64_t high) {
    static bool seeded = false;
    if (!seeded) {
        srandom(unsigned(std::time(nullptr)));
        seeded = true;
    }
    const auto span = std::uint64_t(high) - std::uint64_t(low) + 1;
    if (span == 0) return low + std::int64_t(random());  // the whole 64-bit range
    return low + std::int64_t(std::uint64_t(random()) % span);
}

double ZKRandomUnit() { return double(ZKRandomInteger(0, 1000000000)) / 1e9; }

bool ZKRandomChance(std::int64_t n, std::int64_t m) { return ZKRandomInteger(1, m) <= n; }

}  // namespace qv
