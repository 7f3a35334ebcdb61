#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandPipeline.h"
#include "commands/CommandSupport.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "core/Preparation.h"
#include "core/ToolError.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    CMeshPipeline pipeline(line, "thicken", input, RequireMeshOutput(line));
    if (!line.Has("--thickness"))
        throw CToolError("missing --thickness T (see --help)");
    const double thickness = line.GetNonZeroNumber("--thickness");

    CMeshData& data = pipeline.Load();
    // The shell is a new mesh, so the input's vertex numbering need not
    // survive.
    CPreparation changes;
    const EPreparationFault fault = PrepareForShell(data, changes);
    if (fault == EPreparationFault::NoUsableFaces)
        throw CToolError(Located(input, NoUsableFacesMessage));
    NoteChanges(line, input, changes.m_Degenerate);
    if (fault == EPreparationFault::NotManifold)
        throw CToolError(Located(input, "the mesh could not be made an oriented manifold, which a shell needs"));
    NoteChanges(line, input, changes.m_Repairs);
    if (CEdgeCensus(data).m_OpenEdges == 0)
        Note(line, input + ": the mesh has no open edges, so the shell is two nested surfaces without walls");

    // Face normals are cross products, which leave the double range for
    // meshes at extreme scales; such meshes are processed at unit scale.
    pipeline.ScaleToUnit();
    pipeline.Run(nullptr, [&](ToolMesh& mesh) {
        mesh.AssignVertexNormals();
        mesh.OffsetStitch(pipeline.ToLibraryScale(thickness), true);
    });

    CMeshData result = pipeline.GetResult();
    FinishShell(result, data.m_Triangles.size(), thickness);
    CheckResult(result, "thickening", input);
    const CEdgeCensus shell(result);
    if (shell.m_OpenEdges != 0 || shell.m_NonManifoldEdges != 0 || shell.m_MisorientedEdges != 0)
        Note(line, input + ": the shell is not a closed manifold: " + std::to_string(shell.m_OpenEdges) + " open, " +
                       std::to_string(shell.m_NonManifoldEdges) + " non-manifold and " +
                       std::to_string(shell.m_MisorientedEdges) + " misoriented edges remain");
    pipeline.Write(result, "thickening");
    std::printf("wrote %s: %s vertices, %s faces, thickness %s in %.2f s\n", pipeline.m_Output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatCount(result.m_Triangles.size()).c_str(),
                FormatQuantity(thickness).c_str(), pipeline.m_Seconds);
    pipeline.Summarise(result);
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
