// One mesh reader (QUORVEL_FUZZ_FORMAT: Off, Obj, Ply or Stl) on arbitrary
// bytes, through the path the tool reads files by. It must either return a
// mesh with faces, finite coordinates and corners in range, or refuse the
// bytes with CToolError; a crash, a sanitizer report, an allocation the
// header talked it into, or a broken mesh is a finding.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "FuzzChecks.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QuorvelFuzz;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    try {
        const CMeshData mesh = ReadMeshData(bytes, EMeshFormat::QUORVEL_FUZZ_FORMAT, "fuzz");
        if (mesh.m_Triangles.empty())
            Fail("a mesh without faces was accepted");
        CheckMesh(mesh);
    } catch (const CToolError&) { }
    return 0;
}
