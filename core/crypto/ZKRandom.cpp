#include "ZKRandom.h"

#include <openssl/rand.h>

#include <cstdio>
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

std::uint64_t ZKUniformBelow(std::uint64_t count, const std::function<std::uint64_t()>& draw) {
    if (count <= 1) return 0;
    // 2^64 mod count: the words below it are the surplus that a plain modulo would fold onto the
    // first results.
    const std::uint64_t surplus = (0 - count) % count;
    for (;;) {
        const std::uint64_t word = draw();
        if (word >= surplus) return word % count;
    }
}

std::uint64_t ZKSecureRandomBelow(std::uint64_t count) {
    return ZKUniformBelow(count, [] {
        std::uint64_t word = 0;
        if (RAND_bytes(reinterpret_cast<unsigned char*>(&word), sizeof word) != 1) {
            std::fputs("Quorvane: the system's secure random source failed; no password was made\n", stderr);
            std::abort();
        }
        return word;
    });
}

}  // namespace qv
