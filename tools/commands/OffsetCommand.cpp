#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandPipeline.h"
#include "commands/CommandSupport.h"
#include "core/Numbers.h"
#include "core/ToolError.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    CMeshPipeline pipeline(line, "offset", input, RequireMeshOutput(line));
    if (!line.Has("--distance"))
        throw CToolError("missing --distance D (see --help)");
    const double distance = line.GetNonZeroNumber("--distance");

    pipeline.LoadForLibrary();
    // Face normals are cross products, which leave the double range for
    // meshes at extreme scales; such meshes are processed at unit scale.
    pipeline.ScaleToUnit();
    pipeline.Run(nullptr, [&](ToolMesh& mesh) {
        mesh.AssignVertexNormals();
        mesh.Offset(pipeline.ToLibraryScale(distance));
    });

    const CMeshData result = pipeline.GetResult();
    pipeline.Write(result, "the offset");
    std::printf("wrote %s: %s vertices moved by %s along their normals in %.2f s\n", pipeline.m_Output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatQuantity(distance).c_str(), pipeline.m_Seconds);
    return 0;
}

}  // namespace

CCommand DescribeOffset() {
    CCommand command;
    command.m_Name = "offset";
    command.m_Usage = "offset INPUT -o OUTPUT --distance D [--quiet]";
    command.m_Summary = "move every vertex along its normal by a distance";
    command.m_Description = "Moves each vertex by D along its unit normal (the normalised sum of the normals of the\n"
                            "faces around it); a negative D moves against the normals, inwards on a mesh wound\n"
                            "outwards. Vertex order and faces are kept; vertices used by no face stay where they are.";
    command.m_Options = {
        OutputOption(), {"--distance", "", "D", "signed offset distance"}, AsciiOption(), QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
