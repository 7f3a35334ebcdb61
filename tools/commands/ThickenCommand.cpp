#include <chrono>
#include <cmath>
#include <cstdio>
#include <utility>

#include "commands/Command.h"
#include "commands/CommandSupport.h"
#include "core/MeshRepair.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "core/PositionWelder.h"
#include "core/ToolError.h"
#include "core/ToolMesh.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    const std::string& output = RequireMeshOutput(line);
    if (!line.Has("--thickness"))
        throw CToolError("missing --thickness T (see --help)");
    const double thickness = line.GetNonZeroNumber("--thickness");

    CMeshData data = LoadMesh(input, line);
    const CMeshStatistics before = line.Has("--json") ? MeasureMesh(data) : CMeshStatistics();
    // Walls follow the open edges and the copy follows the vertex normals, so
    // the library needs one oriented sheet: a surface written face by face
    // has every edge open, repeated faces add walls inside the shell and
    // faces wound against their neighbours cancel the normals. The shell is
    // a new mesh, so the input's vertex numbering need not survive.
    CRepairSummary summary;
    WeldCoincidentVertices(data, summary);
    PrepareForLibrary(data, input, line);
    DropDuplicateFaces(data, summary);
    if (!MakeManifold(data, summary))
        throw CToolError(Located(input, "the mesh could not be made an oriented manifold, which a shell needs"));
    DropUnusedVertices(data, summary);
    if (!summary.Describe().empty())
        Note(line, input + ": " + summary.Describe());
    if (CEdgeCensus(data).m_OpenEdges == 0)
        Note(line, input + ": the mesh has no open edges, so the shell is two nested surfaces without walls");

    ToolMesh mesh;
    // Face normals are cross products, which leave the double range for
    // meshes at extreme scales; such meshes are processed at unit scale.
    const int exponent = UnitScaleExponent(data, true);
    ScaleByPowerOfTwo(data, exponent);
    LoadIntoMesh(data, mesh);
    const auto start = std::chrono::steady_clock::now();
    mesh.AssignVertexNormals();
    const unsigned int faces = mesh.m_Faces.GetCount();
    mesh.OffsetStitch(std::ldexp(thickness, exponent), true);
    const double seconds = SecondsSince(start);

    // The library keeps the winding of the moved copy, so the two sheets face
    // the same way. The sheet that ends up inside the shell is turned over,
    // which makes the shell a consistently oriented closed surface: the copy
    // for a positive thickness (it moved against the normals), the original
    // for a negative one.
    CMeshData result = ExtractFromMesh(mesh);
    ScaleByPowerOfTwo(result, -exponent);
    const std::size_t first = thickness > 0 ? faces : 0;
    for (std::size_t f = first; f < first + faces && f < result.m_Triangles.size(); ++f)
        std::swap(result.m_Triangles[f][0], result.m_Triangles[f][2]);
    // Every wall triangle has vertices of its own; equal positions are
    // joined so that the shell is one connected surface.
    result = WeldByPosition(result);
    // A vertex whose face normals cancel does not move, and the walls at it
    // collapse to lines.
    CRepairSummary collapsed;
    DropRepeatedCornerFaces(result, collapsed);
    CheckResult(result, "thickening", input);
    const CEdgeCensus shell(result);
    if (shell.m_OpenEdges != 0 || shell.m_NonManifoldEdges != 0 || shell.m_MisorientedEdges != 0)
        Note(line, input + ": the shell is not a closed manifold: " + std::to_string(shell.m_OpenEdges) + " open, " +
                       std::to_string(shell.m_NonManifoldEdges) + " non-manifold and " +
                       std::to_string(shell.m_MisorientedEdges) + " misoriented edges remain");
    WriteMesh(output, result, line);
    std::printf("wrote %s: %s vertices, %s faces, thickness %s in %.2f s\n", output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatCount(result.m_Triangles.size()).c_str(),
                FormatQuantity(thickness).c_str(), seconds);
    if (line.Has("--json"))
        WriteJsonSummary(line, SummariseEdit("thicken", input, output, before, MeasureMesh(result), seconds));
    return 0;
}

}  // namespace

CCommand DescribeThicken() {
    CCommand command;
    command.m_Name = "thicken";
    command.m_Usage = "thicken INPUT -o OUTPUT --thickness T [--json FILE] [--quiet]";
    command.m_Summary = "turn an open surface into a closed shell of a given thickness";
    command.m_Description =
        "Adds a copy of the surface moved by T against its vertex normals and closes the gap\n"
        "along every open edge with a wall of two triangles per edge. A positive T builds the\n"
        "shell behind the side the faces face, a negative T in front of it. Vertices at equal\n"
        "positions are merged and faces are turned to agree with their neighbours first. For a\n"
        "manifold input the result is a closed, consistently oriented surface; where sheets of the\n"
        "input meet at an edge it cannot be, and a note says so.";
    command.m_Options = {
        OutputOption(), {"--thickness", "", "T", "signed shell thickness"}, AsciiOption(), JsonOption(), QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
