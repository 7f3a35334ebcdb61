#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "commands/Command.h"
#include "commands/CommandSupport.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "core/Progress.h"
#include "core/ToolError.h"
#include "report/MeshStatistics.h"
#include "report/QualityTable.h"
#include "report/SurfaceDistance.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

void DistanceRow(const char* name, double first, double second, double diagonal) {
    PrintRow(stdout, name, FormatQuantity(first, 5), FormatQuantity(second, 5));
    const std::string label = std::string(name) + " / diag";
    PrintRow(stdout, label.c_str(), FormatSmallPercent(first / diagonal), FormatSmallPercent(second / diagonal));
}

int Run(const CCommandLine& line) {
    if (line.GetPositional().size() != 2)
        throw CToolError(line.GetPositional().size() < 2
                             ? "compare needs two mesh files, A and B (see --help)"
                             : "unexpected argument '" + line.GetPositional()[2] + "' (see --help)");
    const std::string& nameA = line.GetPositional()[0];
    const std::string& nameB = line.GetPositional()[1];
    const std::size_t samples = line.Has("--samples") ? line.GetCount("--samples", 1, 20000000) : std::size_t(200000);
    CMeshData a = LoadMesh(nameA, line);
    CMeshData b = LoadMesh(nameB, line);
    if (a.m_Triangles.empty())
        throw CToolError(nameA + ": the mesh has no faces to measure against");
    if (b.m_Triangles.empty())
        throw CToolError(nameB + ": the mesh has no faces to measure against");

    CProgress progress(line.IsQuiet());
    progress.Begin("measuring");
    const CMeshStatistics statisticsA = MeasureMesh(a);
    const CMeshStatistics statisticsB = MeasureMesh(b);
    const CSurfaceDistances distances = MeasureSurfaceDistances(a, b, samples);
    progress.End();
    const double diagonal = UsedDiagonalLength(a);

    std::printf("quorvel compare: A = %s, B = %s\n", nameA.c_str(), nameB.c_str());
    PrintMeshRows(stdout, statisticsA, statisticsB, "A", "B");
    PrintRow(stdout, "open edges", FormatCount(statisticsA.m_OpenEdges), FormatCount(statisticsB.m_OpenEdges));
    PrintRow(stdout, "non-manifold edges", FormatCount(statisticsA.m_NonManifoldEdges),
             FormatCount(statisticsB.m_NonManifoldEdges));
    std::printf("\n  %-28s %16s %16s\n", "distance to the other", "from A to B", "from B to A");
    PrintRow(stdout, "samples", FormatCount(distances.m_FromFirst.m_Samples),
             FormatCount(distances.m_FromSecond.m_Samples));
    DistanceRow("max", distances.m_FromFirst.m_Max, distances.m_FromSecond.m_Max, diagonal);
    DistanceRow("mean", distances.m_FromFirst.m_Mean, distances.m_FromSecond.m_Mean, diagonal);
    DistanceRow("RMS", distances.m_FromFirst.m_Rms, distances.m_FromSecond.m_Rms, diagonal);
    std::printf("\n  %-28s %16s %16s\n", "both ways", "", "/ diag of A");
    const double hausdorff = distances.GetHausdorff(), mean = distances.GetMean(), rms = distances.GetRms();
    PrintRow(stdout, "Hausdorff (sampled)", FormatQuantity(hausdorff, 5), FormatSmallPercent(hausdorff / diagonal));
    PrintRow(stdout, "mean", FormatQuantity(mean, 5), FormatSmallPercent(mean / diagonal));
    PrintRow(stdout, "RMS", FormatQuantity(rms, 5), FormatSmallPercent(rms / diagonal));
    std::printf("  (bounding-box diagonal of A: %s)\n", FormatQuantity(diagonal, 5).c_str());
    return 0;
}

}  // namespace

CCommand DescribeCompare() {
    CCommand command;
    command.m_Name = "compare";
    command.m_Usage = "compare A B [--samples N] [--quiet]";
    command.m_Summary = "distances between two surfaces and their quality side by side";
    command.m_Description =
        "Prints both meshes' quality figures side by side, then how far each surface lies from the\n"
        "other: every vertex a face uses (up to N of them) and N more points spread over the faces\n"
        "by area are measured exactly to the nearest point of the other surface. The maximum of\n"
        "both directions is the sampled Hausdorff distance; mean and RMS are over all samples.\n"
        "Distances are also given over the bounding-box diagonal of A. The samples are drawn from\n"
        "a fixed seed: the same files give the same figures.";
    command.m_Options = {{"--samples", "", "N", "points spread over each surface (default 200,000)"}, QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
