#include <algorithm>
#include <cctype>

#include "core/ToolError.h"
#include "io/MeshFormats.h"
#include "io/TextCursor.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

std::string LowerExtension(const std::string& fileName) {
    const std::size_t slash = fileName.find_last_of('/');
    const std::size_t dot = fileName.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return std::string();
    std::string extension = fileName.substr(dot);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

}  // namespace

EMeshFormat FormatFromFileName(const std::string& fileName) {
    const std::string extension = LowerExtension(fileName);
    if (extension == ".off")
        return EMeshFormat::Off;
    if (extension == ".obj")
        return EMeshFormat::Obj;
    if (extension == ".ply")
        return EMeshFormat::Ply;
    if (extension == ".stl")
        return EMeshFormat::Stl;
    const std::string shown = extension.empty() ? "no extension" : "unknown extension '" + extension + "'";
    throw CToolError(Located(fileName, shown + ": use .off, .obj, .ply or .stl"));
}

CMeshData ReadMeshFile(const std::string& fileName) {
    const EMeshFormat format = FormatFromFileName(fileName);
    const std::vector<char> bytes = ReadWholeFile(fileName);
    return ReadMeshData(std::string_view(bytes.data(), bytes.size()), format, fileName);
}

CMeshData ReadMeshData(std::string_view data, EMeshFormat format, const std::string& fileName) {
    // Editors on some systems start text files with a UTF-8 byte order mark;
    // left in place it hides the first keyword. A binary STL header is free
    // text and is left alone.
    if (format != EMeshFormat::Stl && data.substr(0, 3) == "\xEF\xBB\xBF")
        data.remove_prefix(3);
    if (data.empty())
        throw CToolError(Located(fileName, "the file is empty"));
    CMeshData mesh;
    switch (format) {
    case EMeshFormat::Off:
        mesh = ReadOff(data, fileName);
        break;
    case EMeshFormat::Obj:
        mesh = ReadObj(data, fileName);
        break;
    case EMeshFormat::Ply:
        mesh = ReadPly(data, fileName);
        break;
    case EMeshFormat::Stl:
        mesh = ReadStl(data, fileName);
        break;
    }
    if (mesh.m_Triangles.empty())
        throw CToolError(Located(fileName, "the mesh has no faces"));
    return mesh;
}

void WriteMeshFile(const std::string& fileName, const CMeshData& mesh, EEncoding encoding) {
    FormatFromFileName(fileName);
    COutputFile out(fileName);
    WriteMeshTo(out, mesh, encoding);
    out.Commit();
}

void WriteMeshTo(COutputFile& out, const CMeshData& mesh, EEncoding encoding) {
    switch (FormatFromFileName(out.GetFileName())) {
    case EMeshFormat::Off:
        WriteOff(out, mesh);
        break;
    case EMeshFormat::Obj:
        WriteObj(out, mesh);
        break;
    case EMeshFormat::Ply:
        WritePly(out, mesh, encoding);
        break;
    case EMeshFormat::Stl:
        WriteStl(out, mesh, encoding);
        break;
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
