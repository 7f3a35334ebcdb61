// The quorvel command-line tool: mesh files in, library operations, mesh
// files and reports out.
#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "commands/Command.h"
#include "core/ToolError.h"

// OpenMP threads that wait for work sleep instead of spinning, unless the
// environment chooses otherwise: the remesh shares the cores with the
// measuring thread that overlaps it, and runs of a batch share them with
// each other; spinning threads took up to a third of the wall time from both
// on a busy machine. libgomp reads the setting in its own constructor, so this
// one must run first: it can where the runtime is linked into the program
// (QUORVEL_STATIC_TOOL); with a shared libgomp it comes too late and does
// nothing.
__attribute__((constructor(101))) static void PreferSleepingThreads() {
    setenv("OMP_WAIT_POLICY", "passive", 0);
}

// Every first touch of a 4 KB page costs a fault, and on virtual machines a
// fault costs several microseconds: a 50k-face remesh touched some 15,000
// pages, a good part of its process time. So the heap is made one region
// backed by 2 MB pages where the system grants them on request (transparent
// huge pages in madvise mode): every thread allocates from the main heap
// (one arena; each thread's cache still serves its small blocks), blocks up
// to 32 MB come from it instead of mappings of their own, freed memory stays
// for the next block, and the heap's first growth reserves room ahead and
// asks for large pages over it. The same run then faults some 500 times.
// Under an address-space limit (ulimit -v) the reserve would count against
// it, and the heap is left as the C library sets it up.
__attribute__((constructor(102))) static void PreferLargePages() {
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY)
        return;
    constexpr std::size_t Reserve = std::size_t(256) << 20;
    constexpr std::uintptr_t LargePage = std::uintptr_t(2) << 20;
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, static_cast<int>(2 * Reserve));
    mallopt(M_TOP_PAD, static_cast<int>(Reserve));
    // A block larger than what the heap has left makes it grow now, by the
    // reserve; the barrier keeps the compiler from eliding the pair.
    char* const before = static_cast<char*>(sbrk(0));
    void* block = std::malloc(std::size_t(1) << 20);
    asm volatile("" : : "r"(block) : "memory");
    char* const after = static_cast<char*>(sbrk(0));
    std::free(block);
    // Large pages cover whole aligned 2 MB spans of the region.
    char* const start = before + (LargePage - reinterpret_cast<std::uintptr_t>(before) % LargePage) % LargePage;
    if (block != nullptr && after > start)
        madvise(start, static_cast<std::size_t>(after - start), MADV_HUGEPAGE);
}

int main(int argc, char** argv) {
    using namespace Corvane::Pellix::Quorvel::Tool;
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        return RunTool(arguments);
    } catch (const CToolError& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "quorvel: %s\n", error.what());
        return 2;
    } catch (const std::bad_alloc&) {
        // A request too large for the machine, like any other the user can
        // change; the output, written only on success, is not there.
        std::fflush(stdout);
        std::fprintf(stderr, "quorvel: out of memory: the result asked for is larger than this machine can hold; "
                             "nothing was written\n");
        return 2;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "quorvel: internal error: %s\n", error.what());
        return 1;
    }
}
