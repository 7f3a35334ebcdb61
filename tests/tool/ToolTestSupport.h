#pragma once

// Helpers for testing the quorvel tool as a user runs it: a scratch
// directory, files written byte for byte, the shared procedural meshes as the
// tool's plain tables, and a runner that collects exit status and output.
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "MeshFixtures.h"
#include "core/ToolMesh.h"

namespace QuorvelToolTest {

using namespace Corvane::Pellix::Quorvel::Tool;

// A fresh directory, removed with everything in it when the object goes.
class CScratchDirectory {
public:
    CScratchDirectory() : m_Path((std::filesystem::temp_directory_path() / "quorvel-tool-test-XXXXXX").string()) {
        if (::mkdtemp(m_Path.data()) == nullptr)
            throw std::runtime_error("cannot create a scratch directory");
    }
    ~CScratchDirectory() { std::filesystem::remove_all(m_Path); }
    CScratchDirectory(const CScratchDirectory&) = delete;
    CScratchDirectory& operator=(const CScratchDirectory&) = delete;

    std::string Path(const std::string& name) const { return m_Path + "/" + name; }
    std::vector<std::string> List() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Path))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string m_Path;
};

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// The bytes of a number in either byte order (the tests run little-endian).
template <typename T>
void AppendBytes(std::string& bytes, T value, bool bigEndian = false) {
    char raw[sizeof(T)];
    std::memcpy(raw, &value, sizeof(T));
    if (bigEndian)
        std::reverse(raw, raw + sizeof(T));
    bytes.append(raw, sizeof(T));
}

// "a b c" as {"a", "b", "c"}: argument lists written as one line.
inline std::vector<std::string> Words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

struct CRun {
    int m_Status = -1;
    std::string m_Out, m_Err;
};

// Runs the built tool with no standard input. A run still going after
// `seconds` is stopped and fails with the status of timeout(1), so a hang
// fails its test instead of stalling the suite. A non-zero
// `addressSpaceKilobytes` runs it under that address-space limit (ulimit -v).
inline CRun RunQuorvel(const std::vector<std::string>& arguments, int seconds = 120,
                       unsigned long addressSpaceKilobytes = 0) {
    const auto quote = [](const std::string& text) {
        std::string quoted = "'";
        for (char c : text)
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return quoted + "'";
    };
    CScratchDirectory capture;
    std::string command = addressSpaceKilobytes == 0 ? "" : "ulimit -v " + std::to_string(addressSpaceKilobytes) + "; ";
    command += "timeout " + std::to_string(seconds) + " " + quote(QUORVEL_TOOL_PATH);
    for (const std::string& argument : arguments)
        command += " " + quote(argument);
    command += " </dev/null >" + capture.Path("out") + " 2>" + capture.Path("err");
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(capture.Path("out")), ReadFile(capture.Path("err"))};
}

// The shared fixtures build library meshes; the tool's files hold tables.
template <typename Build>
CMeshData Tables(Build build) {
    ToolMesh mesh;
    build(mesh);
    CMeshData data;
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v)
        data.m_Positions.push_back(mesh.m_Vertices[v].m_Position);
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f) {
        const auto& corners = mesh.m_Faces[f].m_Corners;
        data.m_Triangles.push_back(Triangle{corners[0], corners[1], corners[2]});
    }
    return data;
}

inline CMeshData MakeCube(double size = 1) {
    return Tables([=](ToolMesh& mesh) { QuorvelTest::MakeBox(mesh, size, size, size); });
}
// n x n squares of side `spacing` in z = 0, facing +z.
inline CMeshData MakeGrid(unsigned int n, double spacing = 1) {
    return Tables([=](ToolMesh& mesh) { QuorvelTest::MakeGrid(mesh, n, n, spacing); });
}
inline CMeshData MakeSphere(unsigned int levels, double radius = 1) {
    return Tables([=](ToolMesh& mesh) { QuorvelTest::MakeIcosphere(mesh, levels, radius); });
}

}  // namespace QuorvelToolTest
