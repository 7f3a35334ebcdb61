#pragma once

#include <string>
#include <vector>

#include "io/MeshData.h"
#include "io/MeshFormats.h"

namespace Corvane::Pellix::Quorvel::Tool {

// A point set as PLY vertices without faces, single precision.
void WritePlyPoints(COutputFile& out, const std::vector<Point>& points, EEncoding encoding);

// A polyline by extension: .obj gives "v" lines and one "l" line through them
// in order; .xyz or .txt give one "x y z" line per point. Anything else is
// refused with CToolError.
void CheckPolylineFileName(const std::string& fileName);
void WritePolylineFile(const std::string& fileName, const std::vector<Point>& points);

}  // namespace Corvane::Pellix::Quorvel::Tool
