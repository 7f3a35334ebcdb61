// The quorvel command-line tool: mesh files in, library operations, mesh
// files and reports out.
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
