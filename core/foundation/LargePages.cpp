#include "LargePages.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace qv {

namespace {
constexpr char kTunables[] = "GLIBC_TUNABLES";
// Large pages, and the heap grown 64 MiB at a time (growing it by the default 128 KiB took a
// system call every few hundred records, most of all for the heap of a second thread).
constexpr char kHugePages[] = "glibc.malloc.hugetlb=1:glibc.malloc.top_pad=67108864";
// With LargeBlocks::Reused, large blocks are taken from the heap too, instead of mapped apart.
constexpr char kBlocksFromHeap[] = ":glibc.malloc.mmap_max=0";
// Set for the second process: "-" when the caller had no tunables, else "+" and their value.
constexpr char kRestarted[] = "QV_LARGE_PAGES_RESTARTED";

bool namesALargeFile(char** argv) {
    constexpr off_t kLarge = 4 << 20;
    for (char** a = argv + 1; *a; ++a) {
        struct stat st {};
        if (**a != '-' && stat(*a, &st) == 0 && S_ISREG(st.st_mode) && st.st_size >= kLarge) return true;
    }
    return false;
}

}  // namespace

void useLargeMemoryPages(char** argv, bool always, LargeBlocks blocks) {
    if (const char* restarted = std::getenv(kRestarted)) {
        if (restarted[0] == '+') setenv(kTunables, restarted + 1, 1);
        else unsetenv(kTunables);
        unsetenv(kRestarted);
        return;
    }
    const char* off = std::getenv("QV_NO_LARGE_PAGES");
    if (off && *off && std::strcmp(off, "0") != 0) return;
    const char* preload = std::getenv("LD_PRELOAD");
    if (preload && std::strstr(preload, "vgpreload")) return;  // valgrind would lose the program
    const char* tunables = std::getenv(kTunables);
    if (tunables && std::strstr(tunables, "glibc.malloc.hugetlb")) return;  // the user decided
    if (!argv || !argv[0] || (!always && !namesALargeFile(argv))) return;

    const std::string before = tunables ? std::string("+") + tunables : std::string("-");
    std::string with = tunables && *tunables ? std::string(tunables) + ":" + kHugePages : std::string(kHugePages);
    if (blocks == LargeBlocks::Reused) with += kBlocksFromHeap;
    setenv(kRestarted, before.c_str(), 1);
    setenv(kTunables, with.c_str(), 1);
    execv("/proc/self/exe", argv);
    // Could not start again: go on as we are, with the environment as it was.
    unsetenv(kRestarted);
    if (tunables) setenv(kTunables, before.c_str() + 1, 1);
    else unsetenv(kTunables);
}

namespace {
std::atomic<bool> giveBackAfterLargeWork{false};
}  // namespace

void setGiveBackMemoryAfterLargeWork(bool giveBack) { giveBackAfterLargeWork = giveBack; }

void giveBackMemoryAfterLargeWork() {
    if (giveBackAfterLargeWork) malloc_trim(0);
}

}  // namespace qv
