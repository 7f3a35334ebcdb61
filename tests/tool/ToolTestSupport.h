#pragma once

// Helpers for testing the quorvel tool as a user runs it: a scratch
// directory, files written byte for byte, and a runner that starts the built
// executable and collects its exit status and output.
#include <string>
#include <vector>

#include "io/MeshData.h"

namespace QuorvelToolTest {

using Corvane::Pellix::Quorvel::Tool::CMeshData;

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
class CScratchDirectory {
public:
    CScratchDirectory();
    ~CScratchDirectory();
    CScratchDirectory(const CScratchDirectory&) = delete;
    CScratchDirectory& operator=(const CScratchDirectory&) = delete;

    std::string Path(const std::string& name) const { return m_Path + "/" + name; }
    // The names of the files in the directory, sorted.
    std::vector<std::string> List() const;

private:
    std::string m_Path;
};

void WriteFile(const std::string& path, const std::string& bytes);
std::string ReadFile(const std::string& path);
bool FileExists(const std::string& path);

class CRun {
public:
    // The exit status, or -1 when the process died of a signal or was
    // stopped for running too long.
    int m_Status = -1;
    std::string m_Out;
    std::string m_Err;
    bool m_TimedOut = false;

    // Lines of stderr, without the final newline.
    std::vector<std::string> ErrorLines() const;
};

// Runs the quorvel executable with the arguments; it is stopped after
// `timeoutSeconds`, which the tests use to show that no input makes it hang.
CRun RunQuorvel(const std::vector<std::string>& arguments, int timeoutSeconds = 120);

// Small procedural meshes, independent of the tool's own code.
CMeshData MakeCube(double size = 1);
// An n x n grid of unit squares in z = 0 facing +z, two triangles each.
CMeshData MakeGrid(unsigned int n, double spacing = 1);
// Octahedron pushed onto the unit sphere and split `levels` times.
CMeshData MakeSphere(unsigned int levels, double radius = 1);

}  // namespace QuorvelToolTest
