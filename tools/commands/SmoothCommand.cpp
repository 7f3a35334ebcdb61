#include <chrono>
#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandSupport.h"
#include "core/Numbers.h"
#include "core/Progress.h"
#include "core/ToolMesh.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// The open-vertex flag, which the smoothing mask keeps in place.
const CA32 OpenVertex(1);

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    const std::string& output = RequireMeshOutput(line);
    const unsigned int iterations = line.Has("--iterations") ? line.GetCount("--iterations", 0, 10000) : 10;

    CMeshData data = LoadMesh(input, line);
    const CMeshStatistics before = line.Has("--json") ? MeasureMesh(data) : CMeshStatistics();
    PrepareForLibrary(data, input, line);
    ToolMesh mesh;
    // Sums of positions and the cross products of the normals leave the
    // double range for meshes at extreme scales; such meshes are smoothed at
    // unit scale.
    const int exponent = UnitScaleExponent(data, true);
    ScaleByPowerOfTwo(data, exponent);
    LoadIntoMesh(data, mesh);

    CProgress progress(line.IsQuiet());
    const auto start = std::chrono::steady_clock::now();
    progress.Begin("smoothing");
    mesh.AssignFaceConnectivity(true);
    mesh.AssignVertexConnectivity(true);
    mesh.AllocateVertexAttributeBuffer();
    mesh.ResetAttributes();
    char fixedMask = 0;
    if (!line.Has("--free-boundary")) {
        mesh.MarkOpenVertices(OpenVertex);
        fixedMask = static_cast<char>(OpenVertex.m_Value);
    }
    mesh.Smooth(iterations, fixedMask, 0, 0);
    progress.End();
    const double seconds = SecondsSince(start);

    CMeshData result = ExtractFromMesh(mesh);
    ScaleByPowerOfTwo(result, -exponent);
    CheckResult(result, "smoothing", input);
    WriteMesh(output, result, line);
    std::printf("wrote %s: %s vertices, %s faces, %u smoothing iterations in %.2f s\n", output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatCount(result.m_Triangles.size()).c_str(),
                iterations, seconds);
    if (line.Has("--json"))
        WriteJsonSummary(line, SummariseEdit("smooth", input, output, before, MeasureMesh(result), seconds));
    return 0;
}

}  // namespace

CCommand DescribeSmooth() {
    CCommand command;
    command.m_Name = "smooth";
    command.m_Usage = "smooth INPUT -o OUTPUT [--iterations N] [--free-boundary] [--json FILE] [--quiet]";
    command.m_Summary = "Laplacian smoothing: move each vertex towards its neighbours";
    command.m_Description = "Each iteration moves every vertex to the average of itself and its neighbours, in\n"
                            "parallel over the vertices. Vertices on open boundaries stay in place unless\n"
                            "--free-boundary is given (then open surfaces shrink from their edges). The vertex order\n"
                            "and the faces are kept.";
    command.m_Options = {OutputOption(),
                         {"--iterations", "", "N", "smoothing iterations, 0 to 10000 (default 10)"},
                         {"--free-boundary", "", "", "let boundary vertices move too"},
                         AsciiOption(),
                         JsonOption(),
                         QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
