#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandPipeline.h"
#include "commands/CommandSupport.h"
#include "core/Numbers.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// The open-vertex flag, which the smoothing mask keeps in place.
const CA32 OpenVertex(1);

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    CMeshPipeline pipeline(line, "smooth", input, RequireMeshOutput(line));
    const unsigned int iterations = line.Has("--iterations") ? line.GetCount("--iterations", 0, 10000) : 10;

    pipeline.LoadForLibrary();
    // Sums of positions and the cross products of the normals leave the
    // double range for meshes at extreme scales; such meshes are smoothed at
    // unit scale.
    pipeline.ScaleToUnit();
    pipeline.Run("smoothing", [&](ToolMesh& mesh) {
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
    });

    const CMeshData result = pipeline.GetResult();
    pipeline.Write(result, "smoothing");
    std::printf("wrote %s: %s vertices, %s faces, %u smoothing iterations in %.2f s\n", pipeline.m_Output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatCount(result.m_Triangles.size()).c_str(),
                iterations, pipeline.m_Seconds);
    pipeline.Summarise(result);
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
