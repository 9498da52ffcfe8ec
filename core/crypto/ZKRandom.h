#pragma once

// Two random sources. The plain random integer of the program is seeded once per process from the
// clock and serves where nothing secret depends on it: the check string of a document and the
// unique time strings. Passwords are drawn from the secure source instead (OpenSSL's RAND_bytes),
// by ZKSecureRandomBelow: a password made from the clock could be made again by anyone who knows
// when the program started.

#include <cstdint>
#include <functional>

namespace qv {

// From low to high, both included.
std::int64_t ZKRandomInteger(std::int64_t low, std::int64_t high);
// The random integer from 0 to 1000000000, divided by 1e9.
double ZKRandomUnit();
// Whether the random integer from 1 to m is at most n.
bool ZKRandomChance(std::int64_t n, std::int64_t m);

// A uniform integer from 0 to count - 1 (count > 0) from the secure source. A failing source ends
// the process with a message rather than hand out a password that is not random.
std::uint64_t ZKSecureRandomBelow(std::uint64_t count);
// The same from any source of 64-bit words: words in the short range at the bottom that would
// make some results likelier than others are thrown away and drawn again.
std::uint64_t ZKUniformBelow(std::uint64_t count, const std::function<std::uint64_t()>& draw);

}  // namespace qv
