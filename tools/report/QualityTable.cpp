#include "report/QualityTable.h"

#include <cmath>
#include <string>

#include "core/Numbers.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

std::string Percent(double share) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %%", 100 * share);
    return text;
}

std::string Degrees(double angle) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f deg", angle);
    return text;
}

std::string SignedPercent(double share) {
    if (!std::isfinite(share))
        return "n/a";
    char text[32];
    std::snprintf(text, sizeof text, "%+.3f %%", 100 * share);
    return text;
}

void Row(std::FILE* out, const char* name, const std::string& before, const std::string& after) {
    PrintRow(out, name, before, after);
}

}  // namespace

void PrintRow(std::FILE* out, const char* name, const std::string& first, const std::string& second) {
    std::fprintf(out, "  %-28s %16s %16s\n", name, first.c_str(), second.c_str());
}

// Distances are often far below one percent; significant digits keep them
// readable.
std::string FormatSmallPercent(double share) {
    if (!std::isfinite(share))
        return "n/a";
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %%", 100 * share);
    return text;
}

void PrintMeshRows(std::FILE* out, const CMeshStatistics& before, const CMeshStatistics& after, const char* firstName,
                   const char* secondName) {
    std::fprintf(out, "  %-28s %16s %16s\n", "", firstName, secondName);
    Row(out, "vertices", FormatCount(before.m_Vertices), FormatCount(after.m_Vertices));
    Row(out, "faces", FormatCount(before.m_Faces), FormatCount(after.m_Faces));
    Row(out, "edge length min", FormatQuantity(before.m_MinEdge, 5), FormatQuantity(after.m_MinEdge, 5));
    Row(out, "edge length mean", FormatQuantity(before.m_MeanEdge, 5), FormatQuantity(after.m_MeanEdge, 5));
    Row(out, "edge length max", FormatQuantity(before.m_MaxEdge, 5), FormatQuantity(after.m_MaxEdge, 5));
    Row(out, "edge length CV (sd/mean)", FormatQuantity(before.m_EdgeVariation, 3),
        FormatQuantity(after.m_EdgeVariation, 3));
    Row(out, "interior valence 6", Percent(before.m_RegularShare), Percent(after.m_RegularShare));
    Row(out, "smallest angle", Degrees(before.m_MinAngle), Degrees(after.m_MinAngle));
    Row(out, "largest angle", Degrees(before.m_MaxAngle), Degrees(after.m_MaxAngle));
    Row(out, "area", FormatQuantity(before.m_Area), FormatQuantity(after.m_Area));
    Row(out, "volume", FormatQuantity(before.m_Volume), FormatQuantity(after.m_Volume));
}

void PrintQualityTable(std::FILE* out, const CMeshStatistics& before, const CMeshStatistics& after,
                       const CRemeshOutcome& outcome) {
    PrintMeshRows(out, before, after, "input", "output");
    Row(out, "volume change", "", SignedPercent(VolumeChange(before, after)));
    Row(out, "distance from input / diag", "", FormatSmallPercent(outcome.m_RelativeDistance));
    Row(out, "open edges", FormatCount(before.m_OpenEdges), FormatCount(after.m_OpenEdges));
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.2f s", outcome.m_Seconds);
    Row(out, "wall time", "", seconds);
    std::fprintf(out,
                 "  (target edge length %s; distance: sampled Hausdorff over the input's bounding-box diagonal, "
                 "from %s points of the input and %s of the output: every vertex, every edge's midpoint and "
                 "points spread by area, one a face, at least 500 and at most 4,000 or one per 8 faces)\n",
                 FormatQuantity(outcome.m_TargetLength, 5).c_str(), FormatCount(outcome.m_InputSamples).c_str(),
                 FormatCount(outcome.m_OutputSamples).c_str());
}

}  // namespace Corvane::Pellix::Quorvel::Tool
