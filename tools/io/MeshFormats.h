#pragma once

#include <string>
#include <string_view>

#include "io/MeshData.h"
#include "io/OutputFile.h"

namespace Corvane::Pellix::Quorvel::Tool {

enum class EMeshFormat { Off, Obj, Ply, Stl };

// Binary is the default where a format has both forms (PLY, STL); text
// formats ignore the choice.
enum class EEncoding { Binary, Text };

// The format named by the file's extension (case-insensitive); throws
// CToolError for any other extension.
EMeshFormat FormatFromFileName(const std::string& fileName);

// Reads any supported file. Throws CToolError naming the file (and the line
// for text formats) for unreadable, truncated or malformed data, indices out
// of range, non-finite coordinates and meshes without faces.
CMeshData ReadMeshFile(const std::string& fileName);
// The same from the bytes of a file already in memory; fileName only names
// it in errors.
CMeshData ReadMeshData(std::string_view data, EMeshFormat format, const std::string& fileName);
// Writes through a temporary file that replaces fileName only when complete.
void WriteMeshFile(const std::string& fileName, const CMeshData& mesh, EEncoding encoding);
// Writes the mesh into `out`, in the format its file name names, and leaves
// the commit to the caller.
void WriteMeshTo(COutputFile& out, const CMeshData& mesh, EEncoding encoding);

// One reader and writer per format. The readers see the whole file.
CMeshData ReadOff(std::string_view text, const std::string& fileName);
CMeshData ReadObj(std::string_view text, const std::string& fileName);
CMeshData ReadPly(std::string_view data, const std::string& fileName);
CMeshData ReadStl(std::string_view data, const std::string& fileName);
void WriteOff(COutputFile& out, const CMeshData& mesh);
void WriteObj(COutputFile& out, const CMeshData& mesh);
void WritePly(COutputFile& out, const CMeshData& mesh, EEncoding encoding);
void WriteStl(COutputFile& out, const CMeshData& mesh, EEncoding encoding);

}  // namespace Corvane::Pellix::Quorvel::Tool
