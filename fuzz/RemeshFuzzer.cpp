// The remesh pipeline of `quorvel remesh` on arbitrary input: read, repair
// as the tool does, remesh with either method to a target drawn from the
// input, and check the result. The first byte picks the method (bit 0) and
// the format (bits 1-2), the second the target, 0.25 to 4 times the mean
// edge length on a logarithmic scale; the rest is the file.
//
// Every run must end within a bound proportional to the input: the input is
// capped (MaximumInput, MaximumFaces) and so is the estimated result
// (MaximumResult), so a healthy run takes milliseconds, and libFuzzer's
// -timeout reports one that does not end. Every result must be a mesh the
// tool could write, no larger than its estimate allows.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "FuzzChecks.h"
#include "commands/CommandSupport.h"
#include "core/MeshTopology.h"
#include "core/Preparation.h"
#include "core/ToolError.h"
#include "core/ToolMesh.h"
#include "core/Watchdog.h"
#include "io/MeshFormats.h"
#include "quorvel/maths/TBox.h"

namespace {

using namespace QuorvelFuzz;

constexpr std::size_t MaximumInput = 4096;
constexpr std::size_t MaximumFaces = 300;
constexpr double MaximumResult = 20000;
constexpr double RunawayFaces = 16;

// The tool's preparation before either method; false where the tool would
// refuse the mesh.
bool Prepare(CMeshData& mesh, bool exact) {
    CPreparation changes;
    return PrepareForRemesh(mesh, exact, changes) == EPreparationFault::None;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3 || size > MaximumInput)
        return 0;
    const bool exact = (data[0] & 1) != 0;
    const EMeshFormat format = static_cast<EMeshFormat>((data[0] >> 1) & 3);
    const double relative = 0.25 * std::pow(16.0, data[1] / 255.0);
    CMeshData mesh;
    try {
        mesh = ReadMeshData(std::string_view(reinterpret_cast<const char*>(data) + 2, size - 2), format, "fuzz");
    } catch (const CToolError&) {
        return 0;
    }
    if (mesh.m_Triangles.size() > MaximumFaces || !Prepare(mesh, exact))
        return 0;
    ScaleByPowerOfTwo(mesh, UnitScaleExponent(mesh, false));
    const double target = relative * TrueMeanEdgeLength(mesh);
    if (!std::isfinite(target) || !(target > 0) || (exact && target > DiagonalLength(mesh)))
        return 0;
    const double estimate = EstimateRemeshFaces(mesh, target);
    if (!(estimate <= MaximumResult))
        return 0;

    // A closed oriented manifold is what the shape-preserving method keeps.
    const CEdgeCensus input(mesh);
    const bool closed = input.m_OpenEdges == 0 && input.m_NonManifoldEdges == 0 && input.m_MisorientedEdges == 0;

    ToolMesh library;
    LoadIntoMesh(mesh, library);
    if (exact) {
        library.AssignFaceConnectivity(true);
        library.AssignVertexConnectivity(true);
        library.Remesh(target);
        library.DiscardVertices();
    } else {
        library.RemeshPreservingShape(target, Corvane::Pellix::Quorvel::CRemeshOptions());
    }
    const CMeshData result = ExtractFromMesh(library);
    CheckMesh(result);
    // A runaway bound, not a quality measure: kept boundaries and features
    // of wild inputs (slivers across forty orders of magnitude) legitimately
    // end several times above the estimate, a pass that feeds itself does
    // not stop there.
    if (static_cast<double>(result.m_Triangles.size()) > RunawayFaces * estimate + 4.0 * mesh.m_Triangles.size() + 2000)
        Fail("the result is far larger than its estimate");
    // The designed method's collapses may leave faces on two vertices, which
    // the tool drops, and its result is whatever the design makes of the
    // input; the shape-preserving one must not degrade the mesh.
    if (exact)
        return 0;
    for (const Triangle& t : result.m_Triangles)
        if (t[0] == t[1] || t[1] == t[2] || t[2] == t[0])
            Fail("the shape-preserving remesh left a face on two vertices");
    if (closed) {
        const CEdgeCensus output(result);
        if (result.m_Triangles.empty() || output.m_OpenEdges != 0 || output.m_NonManifoldEdges != 0 ||
            output.m_MisorientedEdges != 0)
            Fail("the shape-preserving remesh opened, tore or misoriented a closed manifold");
    }
    return 0;
}
