#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandSupport.h"
#include "core/Numbers.h"
#include "core/PositionWelder.h"
#include "core/Progress.h"
#include "core/ToolMesh.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// Longest-edge bisection of a face until no edge exceeds the limit ends with
// about twice (longest / limit) squared pieces.
double EstimateFaces(const CMeshData& mesh, double maxLength) {
    double faces = 0;
    for (const Triangle& t : mesh.m_Triangles) {
        const Point &a = mesh.m_Positions[t[0]], &b = mesh.m_Positions[t[1]], &c = mesh.m_Positions[t[2]];
        const double longest = std::max({a.DiffVectLen(b), b.DiffVectLen(c), c.DiffVectLen(a)}) / maxLength;
        faces += std::max(1.0, 2 * longest * longest);
    }
    return faces;
}

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    const std::string& output = RequireMeshOutput(line);
    CMeshData data = LoadMesh(input, line);
    const CMeshStatistics before = line.Has("--json") ? MeasureMesh(data) : CMeshStatistics();
    PrepareForLibrary(data, input, line);
    const double maxLength = ResolveLength(line, "--max-length", 0.5, data, input);
    // Bisection compares squared lengths, which leave the double range for
    // meshes at extreme scales; such meshes are split at unit scale.
    const int exponent = UnitScaleExponent(data, true);
    ScaleByPowerOfTwo(data, exponent);
    const double scaledLength = std::ldexp(maxLength, exponent);
    CheckEstimatedSize(EstimateFaces(data, scaledLength), "faces",
                       "choose a larger --max-length or --relative (now " + FormatQuantity(maxLength, 4) + ")", input);

    ToolMesh mesh;
    LoadIntoMesh(data, mesh);
    CProgress progress(line.IsQuiet());
    const auto start = std::chrono::steady_clock::now();
    progress.Begin("subdividing");
    mesh.SubDivide(scaledLength);
    progress.End();
    const double seconds = SecondsSince(start);

    // The library splits every face on its own, into separate triangles; the
    // copies of each corner and midpoint are joined again here.
    CMeshData pieces = ExtractFromMesh(mesh);
    ScaleByPowerOfTwo(pieces, -exponent);
    const CMeshData result = WeldByPosition(pieces);
    CheckResult(result, "subdivision", input);
    WriteMesh(output, result, line);
    std::printf("wrote %s: %s vertices, %s faces (longest edge at most %s) in %.2f s\n", output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatCount(result.m_Triangles.size()).c_str(),
                FormatQuantity(maxLength, 5).c_str(), seconds);
    if (line.Has("--json"))
        WriteJsonSummary(line, SummariseEdit("subdivide", input, output, before, MeasureMesh(result), seconds));
    return 0;
}

}  // namespace

CCommand DescribeSubdivide() {
    CCommand command;
    command.m_Name = "subdivide";
    command.m_Usage = "subdivide INPUT -o OUTPUT [--max-length L | --relative R] [--json FILE] [--quiet]";
    command.m_Summary = "split faces until no edge is longer than a limit";
    command.m_Description = "Bisects the longest edge of each face, recursively, until no edge is longer than L.\n"
                            "Faces are split independently, so the shape does not change at all; where neighbouring\n"
                            "faces split a shared edge differently the result has T-junctions. Vertices at equal\n"
                            "positions are merged in the output.";
    command.m_Options = {OutputOption(),
                         {"--max-length", "", "L", "longest edge allowed"},
                         {"--relative", "", "R", "L = R x the input's mean edge length (default 0.5)"},
                         AsciiOption(),
                         JsonOption(),
                         QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
