#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandPipeline.h"
#include "commands/CommandSupport.h"
#include "core/Numbers.h"
#include "core/PositionWelder.h"
#include "core/ResultEstimates.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    CMeshPipeline pipeline(line, "subdivide", input, RequireMeshOutput(line));
    const CMeshData& data = pipeline.LoadForLibrary();
    const double maxLength = ResolveLength(line, "--max-length", 0.5, data, input);
    // Bisection compares squared lengths, which leave the double range for
    // meshes at extreme scales; such meshes are split at unit scale.
    pipeline.ScaleToUnit();
    const double scaledLength = pipeline.ToLibraryScale(maxLength);
    CheckEstimatedSize(EstimateSubdivisionFaces(data, scaledLength), "faces",
                       "choose a larger --max-length or --relative (now " + FormatQuantity(maxLength, 4) + ")", input);
    pipeline.Run("subdividing", [&](ToolMesh& mesh) { mesh.SubDivide(scaledLength); });

    // The library splits every face on its own, into separate triangles; the
    // copies of each corner and midpoint are joined again here.
    const CMeshData result = WeldByPosition(pipeline.GetResult());
    pipeline.Write(result, "subdivision");
    std::printf("wrote %s: %s vertices, %s faces (longest edge at most %s) in %.2f s\n", pipeline.m_Output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatCount(result.m_Triangles.size()).c_str(),
                FormatQuantity(maxLength, 5).c_str(), pipeline.m_Seconds);
    pipeline.Summarise(result);
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
