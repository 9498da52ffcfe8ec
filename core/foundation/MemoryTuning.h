#pragma once

// How the C library's heap serves large documents. Opening 100 000 records makes millions of
// small allocations and a few blocks the size of the file.
//
// Large (2 MiB) pages are deliberately not used. They looked faster when a document was opened
// twice in a row, but on the virtual machines many users run, the first touch of a 2 MiB page
// that the system had handed back to the hypervisor costs far more than the small pages it
// replaces: opening 100 000 records right after another large program had run took twice as
// long with them (0.60 s against 0.32 s).

namespace qv {

// Where the blocks of a large task (a file, an archive) come from.
enum class LargeBlocks {
    // From the heap, kept there once freed: the window saves again and again, and each save
    // then finds the memory of the last one already in place. The heap, which can only shrink
    // from its end, holds more at its peak.
    Reused,
    // Mapped apart and given back as soon as freed: a command does one large task and ends, and
    // its peak is then lower.
    GivenBack,
};

// Call first thing in main(). The heap also grows 64 MiB at a time: growing it by the default
// 128 KiB took a system call every few hundred records.
void tuneMemoryForLargeWork(LargeBlocks blocks);

// Memory freed by the second thread of a large save stays with that thread's heap, where this
// thread cannot use it. A program that saves again and again (the window) keeps it for its next
// save; a program that saves once and goes on to other work or ends (the command line) asks,
// with this, for such memory to be given back to the system as soon as the save is done.
void setGiveBackMemoryAfterLargeWork(bool giveBack);
// Gives back what every heap holds free, when the program asked for it; otherwise nothing.
void giveBackMemoryAfterLargeWork();

}  // namespace qv
