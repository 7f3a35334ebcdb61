#include <cmath>
#include <cstdio>

#include "commands/Command.h"
#include "commands/CommandPipeline.h"
#include "commands/CommandSupport.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "report/JsonSummary.h"
#include "report/MeshStatistics.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

std::string Vector(const Point& p) {
    return "(" + FormatQuantity(p.x) + ", " + FormatQuantity(p.y) + ", " + FormatQuantity(p.z) + ")";
}

void Row(const char* name, const std::string& value) {
    std::printf("  %-22s %s\n", name, value.c_str());
}

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    CMeshPipeline pipeline(line, "info", input);
    const CMeshData& data = pipeline.Load();
    const CEdgeCensus census(data);
    const CMeshStatistics& statistics = pipeline.MeasureInput();

    std::uint64_t repeated = 0;
    std::vector<char> used(data.m_Positions.size(), 0);
    for (const Triangle& t : data.m_Triangles) {
        repeated += t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
        used[t[0]] = used[t[1]] = used[t[2]] = 1;
    }
    std::uint64_t unused = 0;
    for (char u : used)
        unused += !u;

    // The whole-mesh measures come from the library itself.
    double area = 0, volume = 0;
    Point centre, major, middle, minor;
    bool axes = false;
    pipeline.Run(nullptr, [&](ToolMesh& mesh) {
        mesh.DetermineBoundingBox(true);
        area = mesh.GetSurfaceArea();
        volume = mesh.GetVolume();
        mesh.CentreOfMass(&centre);
        axes = mesh.DeterminePrincipalAxes(&major, &middle, &minor);
    });
    const ToolMesh& mesh = pipeline.m_Mesh;

    std::printf("%s\n", input.c_str());
    Row("vertices", FormatCount(data.m_Positions.size()) + (unused ? " (" + FormatCount(unused) + " unused)" : ""));
    Row("faces", FormatCount(data.m_Triangles.size()) +
                     (repeated ? " (" + FormatCount(repeated) + " naming a vertex twice)" : ""));
    Row("bounding box min", Vector(mesh.m_BoundingBox.m_Min));
    Row("bounding box max", Vector(mesh.m_BoundingBox.m_Max));
    Row("size", Vector(mesh.m_BoundingBox.m_Max - mesh.m_BoundingBox.m_Min));
    Row("area", FormatQuantity(area));
    Row("volume", FormatQuantity(volume) + (census.m_OpenEdges || census.m_NonManifoldEdges || census.m_MisorientedEdges
                                                ? " (not a closed oriented surface: only indicative)"
                                                : ""));
    Row("centre of mass", std::isfinite(centre.x + centre.y + centre.z) ? Vector(centre) : "undefined (no volume)");
    if (axes) {
        // With three equal spreads the library leaves the major axis unset.
        Row("major axis", major.GetLength() > 0 ? Vector(major) : "any direction");
        Row("middle axis", Vector(middle));
        Row("minor axis", Vector(minor));
    } else {
        Row("principal axes", "undetermined");
    }
    Row("edges", FormatCount(census.m_Edges.size()));
    Row("edge length min", FormatQuantity(statistics.m_MinEdge));
    Row("edge length mean", FormatQuantity(statistics.m_MeanEdge));
    Row("edge length max", FormatQuantity(statistics.m_MaxEdge));
    Row("edge length CV", FormatQuantity(statistics.m_EdgeVariation, 3));
    Row("smallest angle", FormatQuantity(statistics.m_MinAngle, 4) + " deg");
    Row("largest angle", FormatQuantity(statistics.m_MaxAngle, 4) + " deg");
    Row("open edges", FormatCount(census.m_OpenEdges));
    Row("open contours", FormatCount(census.m_OpenContours));
    Row("non-manifold edges", FormatCount(census.m_NonManifoldEdges));
    Row("misoriented edges", FormatCount(census.m_MisorientedEdges));
    Row("closed manifold",
        census.m_OpenEdges == 0 && census.m_NonManifoldEdges == 0 && census.m_MisorientedEdges == 0 && repeated == 0
            ? "yes"
            : "no");
    if (line.Has("--json")) {
        CJsonSummary summary("info");
        summary.Add("input", input);
        summary.AddMesh(statistics, "_in");
        summary.AddCount("misoriented_edges_in", census.m_MisorientedEdges);
        summary.AddCount("open_contours_in", census.m_OpenContours);
        WriteJsonSummary(line, summary);
    }
    return 0;
}

}  // namespace

CCommand DescribeInfo() {
    CCommand command;
    command.m_Name = "info";
    command.m_Usage = "info INPUT [--json FILE]";
    command.m_Summary = "counts, measures and defects of a mesh";
    command.m_Description = "Prints the vertex and face counts, bounding box, area, volume, centre of mass, principal\n"
                            "axes, edge-length statistics, open edges and open contours (boundary loops), and the\n"
                            "edges where the mesh is not manifold (shared by more than two faces) or not consistently\n"
                            "oriented. Edge figures count each edge once.";
    command.m_Options = {JsonOption(), QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
