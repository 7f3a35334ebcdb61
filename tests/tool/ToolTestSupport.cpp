#include "ToolTestSupport.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace QuorvelToolTest {

using Corvane::Pellix::Quorvel::Tool::Point;
using Corvane::Pellix::Quorvel::Tool::Triangle;

CScratchDirectory::CScratchDirectory()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/quorvel-tool-test-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (::mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot create a scratch directory");
    m_Path = name.data();
}

CScratchDirectory::~CScratchDirectory()
{
    for (const std::string& file : List())
        ::unlink(Path(file).c_str());
    ::rmdir(m_Path.c_str());
}

std::vector<std::string> CScratchDirectory::List() const
{
    std::vector<std::string> names;
    if (DIR* dir = ::opendir(m_Path.c_str())) {
        while (dirent* entry = ::readdir(dir)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        ::closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool FileExists(const std::string& path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0;
}

std::vector<std::string> CRun::ErrorLines() const
{
    std::vector<std::string> lines;
    std::istringstream in(m_Err);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

CRun RunQuorvel(const std::vector<std::string>& arguments, int timeoutSeconds)
{
    CScratchDirectory capture;
    const std::string outPath = capture.Path("out"), errPath = capture.Path("err");
    std::vector<std::string> argv = {QUORVEL_TOOL_PATH};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& a : argv)
        pointers.push_back(a.data());
    pointers.push_back(nullptr);

    const pid_t child = ::fork();
    if (child == 0) {
        const int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int in = ::open("/dev/null", O_RDONLY);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        ::execv(pointers[0], pointers.data());
        ::_exit(127);
    }
    CRun run;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            run.m_TimedOut = true;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!run.m_TimedOut && WIFEXITED(status))
        run.m_Status = WEXITSTATUS(status);
    run.m_Out = ReadFile(outPath);
    run.m_Err = ReadFile(errPath);
    return run;
}

CMeshData MakeCube(double size)
{
    CMeshData mesh;
    for (int i = 0; i < 8; ++i)
        mesh.m_Positions.emplace_back((i & 1) ? size : 0, (i & 2) ? size : 0, (i & 4) ? size : 0);
    const std::uint32_t quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& q : quads) {
        mesh.m_Triangles.push_back(Triangle{q[0], q[1], q[2]});
        mesh.m_Triangles.push_back(Triangle{q[0], q[2], q[3]});
    }
    return mesh;
}

CMeshData MakeGrid(unsigned int n, double spacing)
{
    CMeshData mesh;
    for (unsigned int j = 0; j <= n; ++j)
        for (unsigned int i = 0; i <= n; ++i)
            mesh.m_Positions.emplace_back(i * spacing, j * spacing, 0);
    for (unsigned int j = 0; j < n; ++j)
        for (unsigned int i = 0; i < n; ++i) {
            const std::uint32_t a = j * (n + 1) + i, b = a + 1, c = a + n + 1, d = c + 1;
            mesh.m_Triangles.push_back(Triangle{a, b, d});
            mesh.m_Triangles.push_back(Triangle{a, d, c});
        }
    return mesh;
}

CMeshData MakeSphere(unsigned int levels, double radius)
{
    CMeshData mesh;
    mesh.m_Positions = {Point(1, 0, 0), Point(-1, 0, 0), Point(0, 1, 0), Point(0, -1, 0), Point(0, 0, 1), Point(0, 0, -1)};
    mesh.m_Triangles = {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}};
    for (unsigned int level = 0; level < levels; ++level) {
        std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> midpoints;
        auto midpoint = [&](std::uint32_t a, std::uint32_t b) {
            const auto key = std::make_pair(std::min(a, b), std::max(a, b));
            const auto found = midpoints.find(key);
            if (found != midpoints.end())
                return found->second;
            mesh.m_Positions.push_back((mesh.m_Positions[a] + mesh.m_Positions[b]) * 0.5);
            return midpoints[key] = static_cast<std::uint32_t>(mesh.m_Positions.size() - 1);
        };
        std::vector<Triangle> next;
        for (const Triangle& t : mesh.m_Triangles) {
            const std::uint32_t ab = midpoint(t[0], t[1]), bc = midpoint(t[1], t[2]), ca = midpoint(t[2], t[0]);
            next.push_back({t[0], ab, ca});
            next.push_back({t[1], bc, ab});
            next.push_back({t[2], ca, bc});
            next.push_back({ab, bc, ca});
        }
        mesh.m_Triangles.swap(next);
    }
    for (Point& p : mesh.m_Positions)
        p *= radius / p.GetLength();
    return mesh;
}

}  // namespace QuorvelToolTest
