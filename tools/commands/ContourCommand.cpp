#include <cstdio>
#include <vector>

#include "commands/Command.h"
#include "commands/CommandPipeline.h"
#include "commands/CommandSupport.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/PointFiles.h"
#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// The attribute bit with which the library marks the boundary it walks.
const CA32 ContourMark(1);

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    if (!line.Has("--output"))
        throw CToolError("missing -o OUTPUT (see --help)");
    const std::string& output = line.Get("--output");
    CheckPolylineFileName(output);

    CMeshPipeline pipeline(line, "contour", input, output);
    const CMeshData& data = pipeline.LoadForLibrary();
    const CEdgeCensus census(data);
    if (census.m_OpenEdges == 0)
        throw CToolError(Located(input, "the mesh is closed: it has no open boundary to extract"));
    if (census.m_OpenContours > 1)
        Note(line, input + ": the mesh has " + std::to_string(census.m_OpenContours) +
                       " open contours; the one through the lowest-numbered boundary vertex is written");

    TPolygon<double, Point> polygon;
    pipeline.Run(nullptr, [&](ToolMesh& mesh) {
        mesh.AssignFaceConnectivity(true);
        mesh.AssignVertexConnectivity(true);
        mesh.AllocateVertexAttributeBuffer();
        mesh.ResetAttributes();
        mesh.ExtractOpenContour(ContourMark, &polygon);
    });

    std::vector<Point> points(polygon.GetStream(), polygon.GetStream() + polygon.GetCount());
    for (const Point& p : points)
        if (!IsFinitePoint(p))
            throw CToolError(Located(input, "the contour has a non-finite point; nothing was written"));
    WritePolylineFile(output, points);
    std::printf("wrote %s: open contour of %s points\n", output.c_str(), FormatCount(points.size()).c_str());
    return 0;
}

}  // namespace

CCommand DescribeContour() {
    CCommand command;
    command.m_Name = "contour";
    command.m_Usage = "contour INPUT -o OUTPUT.obj|OUTPUT.xyz [--quiet]";
    command.m_Summary = "write the open boundary of a surface as a polyline";
    command.m_Description = "Walks the open boundary (the edges with a face on one side only) from its\n"
                            "lowest-numbered vertex, vertex to neighbouring vertex, and writes the points in walking\n"
                            "order: as an OBJ file with one 'l' polyline, or as plain 'x y z' lines for .xyz or .txt.\n"
                            "A closed mesh has no open boundary and is refused.";
    command.m_Options = {{"--output", "-o", "OUTPUT", "polyline file to write (.obj, .xyz or .txt)"}, QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
