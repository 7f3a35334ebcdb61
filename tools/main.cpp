// The quorvel command-line tool: mesh files in, library operations, mesh
// files and reports out.
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "commands/Command.h"
#include "core/ToolError.h"

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
