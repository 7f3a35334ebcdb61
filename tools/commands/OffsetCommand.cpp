#include <chrono>
#include <cmath>
#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandSupport.h"
#include "core/Numbers.h"
#include "core/ToolError.h"
#include "core/ToolMesh.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    const std::string& output = RequireMeshOutput(line);
    if (!line.Has("--distance"))
        throw CToolError("missing --distance D (see --help)");
    const double distance = line.GetNonZeroNumber("--distance");

    CMeshData data = LoadMesh(input, line);
    PrepareForLibrary(data, input, line);
    ToolMesh mesh;
    // Face normals are cross products, which leave the double range for
    // meshes at extreme scales; such meshes are processed at unit scale.
    const int exponent = UnitScaleExponent(data, true);
    ScaleByPowerOfTwo(data, exponent);
    LoadIntoMesh(data, mesh);
    const auto start = std::chrono::steady_clock::now();
    mesh.AssignVertexNormals();
    mesh.Offset(std::ldexp(distance, exponent));
    const double seconds = SecondsSince(start);

    CMeshData result = ExtractFromMesh(mesh);
    ScaleByPowerOfTwo(result, -exponent);
    CheckResult(result, "the offset", input);
    WriteMesh(output, result, line);
    std::printf("wrote %s: %s vertices moved by %s along their normals in %.2f s\n", output.c_str(),
                FormatCount(result.m_Positions.size()).c_str(), FormatQuantity(distance).c_str(), seconds);
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
