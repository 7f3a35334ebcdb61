#include <algorithm>
#include <cctype>
#include <cstdio>
#include <vector>

#include "commands/Command.h"
#include "commands/CommandPipeline.h"
#include "commands/CommandSupport.h"
#include "core/Numbers.h"
#include "core/ResultEstimates.h"
#include "core/ToolError.h"
#include "io/PointFiles.h"
#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

bool HasExtension(const std::string& name, const char* extension) {
    const std::string tail(extension);
    if (name.size() < tail.size())
        return false;
    std::string end = name.substr(name.size() - tail.size());
    std::transform(end.begin(), end.end(), end.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return end == tail;
}

int Run(const CCommandLine& line) {
    const std::string& input = RequireInput(line);
    if (!line.Has("--output"))
        throw CToolError("missing -o OUTPUT.ply (see --help)");
    const std::string& output = line.Get("--output");
    if (!HasExtension(output, ".ply"))
        throw CToolError(Located(output, "a point set is written as PLY: give the output the extension .ply"));
    CheckOutputWritable(output);

    CMeshPipeline pipeline(line, "infill", input, output);
    const CMeshData& data = pipeline.LoadForLibrary();
    const double spacing = ResolveLength(line, "--spacing", 0.5, data, input);
    // Meshes at extreme scales are filled at unit scale, where edge lengths
    // and their ratios to the spacing stay finite.
    pipeline.ScaleToUnit();
    const double scaledSpacing = pipeline.ToLibraryScale(spacing);
    CheckEstimatedSize(EstimateInfillPoints(data, scaledSpacing), "points",
                       "choose a larger --spacing or --relative (now " + FormatQuantity(spacing, 4) + ")", input);
    TList<Point> list;
    list.SetUseExponentialGrowth(true);
    pipeline.Run(nullptr, [&](ToolMesh& mesh) { mesh.ExtractInfilledPointSet(scaledSpacing, &list); });

    std::vector<Point> points(list.GetStream(), list.GetStream() + list.GetCount());
    ScaleByPowerOfTwo(points, -pipeline.m_Exponent);
    for (const Point& p : points)
        if (!IsFinitePoint(p))
            throw CToolError(Located(input, "the infill produced a non-finite point; nothing was written"));
    COutputFile out(output);
    WritePlyPoints(out, points, GetEncoding(line));
    out.Commit();
    std::printf("wrote %s: %s points at most %s apart in %.2f s\n", output.c_str(), FormatCount(points.size()).c_str(),
                FormatQuantity(spacing, 5).c_str(), pipeline.m_Seconds);
    return 0;
}

}  // namespace

CCommand DescribeInfill() {
    CCommand command;
    command.m_Name = "infill";
    command.m_Usage = "infill INPUT -o OUTPUT.ply [--spacing S | --relative R] [--ascii] [--quiet]";
    command.m_Summary = "fill the surface with a dense point set (PLY)";
    command.m_Description = "Writes every vertex, points along every edge and points across every face, no further\n"
                            "than S apart along the lines that fill each face, as a PLY file of vertices only. Points\n"
                            "on an edge shared by two faces appear once for each face.";
    command.m_Options = {{"--output", "-o", "OUTPUT.ply", "point set to write"},
                         {"--spacing", "", "S", "largest gap between neighbouring points"},
                         {"--relative", "", "R", "S = R x the input's mean edge length (default 0.5)"},
                         AsciiOption(),
                         QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
