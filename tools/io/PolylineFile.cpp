#include <algorithm>
#include <cctype>

#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/PointFiles.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

bool EndsWith(std::string name, const char* suffix) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::string tail(suffix);
    return name.size() >= tail.size() && name.compare(name.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

void CheckPolylineFileName(const std::string& fileName) {
    if (!EndsWith(fileName, ".obj") && !EndsWith(fileName, ".xyz") && !EndsWith(fileName, ".txt"))
        throw CToolError(Located(fileName, "unknown extension for a polyline: use .obj, .xyz or .txt"));
    CheckOutputWritable(fileName);
}

void WritePolylineFile(const std::string& fileName, const std::vector<Point>& points) {
    CheckPolylineFileName(fileName);
    const bool obj = EndsWith(fileName, ".obj");
    COutputFile out(fileName);
    std::string line;
    if (obj)
        out.Write("# quorvel open contour\n");
    for (const Point& p : points) {
        line = (obj ? "v " : "") + FormatReal(p.x) + " " + FormatReal(p.y) + " " + FormatReal(p.z) + "\n";
        out.Write(line);
    }
    if (obj && points.size() >= 2) {
        out.Write("l");
        for (std::size_t i = 1; i <= points.size(); ++i)
            out.Write(" " + std::to_string(i));
        out.Write("\n");
    }
    out.Commit();
}

}  // namespace Corvane::Pellix::Quorvel::Tool
