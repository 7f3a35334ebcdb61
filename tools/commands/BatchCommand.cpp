// quorvel batch: many meshes at once, on all cores or on a Dask cluster.
// The scheduling lives in the Python package (quorvel.batch), which runs
// this same program once per file: a crash, a memory guard or a bad file
// then ends one child process, never the batch, and every file gets exactly
// the result a single `quorvel remesh` would give.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands/Command.h"
#include "core/ToolError.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// Debian's interpreter, the one python3-distributed installs into; the
// python3 first on PATH may be another that sees none of the packages.
constexpr const char* DefaultPython = "/usr/bin/python3";

// Imports the package with a plain message when it is missing, rather than a
// traceback, and hands it the arguments after "batch".
constexpr const char* Bootstrap =
    "import sys\n"
    "try:\n"
    "    import quorvel.batch as batch\n"
    "except ImportError as error:\n"
    "    sys.exit('quorvel batch: the Python package quorvel.batch cannot be imported (%s); it is in python/ of '\n"
    "             'the source tree: set PYTHONPATH to that folder or install the package' % error)\n"
    "sys.exit(batch.main(sys.argv[1:], prog='quorvel batch'))\n";

bool IsFile(const std::string& path, int mode) {
    return !path.empty() && ::access(path.c_str(), mode) == 0;
}

std::string ThisProgram() {
    std::vector<char> buffer(4096);
    const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    return length > 0 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : std::string();
}

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

// The folder holding quorvel/batch.py: the source tree this program was
// built from, then an installed package beside the program. Empty when the
// interpreter has to find it on its own (installed into its site-packages).
std::string FindPackageFolder(const std::string& program) {
    std::vector<std::string> candidates;
#ifdef QUORVEL_PYTHON_SOURCE_DIR
    candidates.emplace_back(QUORVEL_PYTHON_SOURCE_DIR);
#endif
    if (!program.empty())
        candidates.push_back(DirectoryOf(program) + "/../lib/python3/dist-packages");
    for (const std::string& folder : candidates)
        if (IsFile(folder + "/quorvel/batch.py", R_OK))
            return folder;
    return std::string();
}

}  // namespace

int RunBatch(const std::vector<std::string>& arguments) {
    const char* chosen = std::getenv("QUORVEL_PYTHON");
    const std::string python = chosen != nullptr && *chosen != '\0' ? chosen : DefaultPython;
    if (!IsFile(python, X_OK))
        throw CToolError("batch needs Python 3 at " + python +
                         " (Debian: apt-get install python3, and python3-distributed for --scheduler); "
                         "set QUORVEL_PYTHON to use another interpreter");

    const std::string program = ThisProgram();
    // The workers run this very program unless QUORVEL_TOOL names another.
    const char* tool = std::getenv("QUORVEL_TOOL");
    if ((tool == nullptr || *tool == '\0') && !program.empty())
        ::setenv("QUORVEL_TOOL", program.c_str(), 1);
    const std::string folder = FindPackageFolder(program);
    if (!folder.empty()) {
        const char* path = std::getenv("PYTHONPATH");
        const std::string joined = path != nullptr && *path != '\0' ? folder + ":" + path : folder;
        ::setenv("PYTHONPATH", joined.c_str(), 1);
    }

    std::vector<std::string> words = {python, "-c", Bootstrap};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    ::execv(python.c_str(), argv.data());
    throw CToolError("batch: cannot start " + python + ": " + std::strerror(errno));
}

}  // namespace Corvane::Pellix::Quorvel::Tool
