#pragma once

// The plain random integer of the program: seeded once per process from the clock, used by the
// password maker and for the check string of a document. It is not the secure byte source; that
// is ZKCommonCrypto::randomDataOfLength.

#include <cstdint>

namespace qv {

// From low to high, both included.
std::int64_t ZKRandomInteger(std::int64_t low, std::int64_t high);
// The random integer from 0 to 1000000000, divided by 1e9.
double ZKRandomUnit();
// Whether the random integer from 1 to m is at most n.
bool ZKRandomChance(std::int64_t n, std::int64_t m);

}  // namespace qv
