#pragma once

// Large documents are built from millions of small allocations, and on the virtual machines many
// users run, every 4 KiB page touched for the first time costs a trip to the hypervisor: opening
// a document of 100 000 records spent more time in those faults than in reading it. The C
// library can back its heap with 2 MiB pages when told so by a tunable, which it reads only when
// a program starts; so the program starts itself once more with the tunable set (and another
// that makes the heap grow in large steps).
//
// Starting twice costs a few tens of milliseconds, worth it only for large work: so it happens
// when an argument names a file of at least 4 MiB (a document of some six thousand records, or a
// large import), or when `always` is set (the benchmarks, which build their data in memory).
//
// Call first thing in main(). Returns only in the process that goes on running (exec failing
// leaves the first one running, as before). The caller's own GLIBC_TUNABLES is given back to it
// in the second process, so programs it starts see the environment they would have seen.
// QV_NO_LARGE_PAGES=1 turns this off; it is also off under valgrind.

namespace qv {

// Where the blocks of a large task (a file, an archive) come from.
enum class LargeBlocks {
    // From the heap, kept there once freed: the window saves again and again, and each save
    // then finds the memory of the last one already in place (about 25 ms of a save of 100 000
    // records). The heap, which can only shrink from its end, holds more at its peak.
    Reused,
    // Mapped apart and given back as soon as freed: a command does one large task and ends, and
    // its peak is then lower (some 45 MB less to open 100 000 records, 50 MB less to convert).
    GivenBack,
};

void useLargeMemoryPages(char** argv, bool always = false, LargeBlocks blocks = LargeBlocks::Reused);

// Memory freed by the second thread of a large save stays with that thread's heap, where this
// thread cannot use it. A program that saves again and again (the window) keeps it for its next
// save; a program that saves once and goes on to other work or ends (the command line) asks,
// with this, for such memory to be given back to the system as soon as the save is done.
void setGiveBackMemoryAfterLargeWork(bool giveBack);
// Gives back what every heap holds free, when the program asked for it; otherwise nothing.
void giveBackMemoryAfterLargeWork();

}  // namespace qv
