#include "commands/CommandSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <future>
#include <vector>

#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "core/Preparation.h"
#include "core/ToolError.h"
#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// Beyond this many faces or points a result no longer fits comfortably in
// the memory of an ordinary machine.
constexpr double ElementCeiling = 40e6;

}  // namespace

COption OutputOption() {
    return {"--output", "-o", "OUTPUT", "mesh file to write (.off, .obj, .ply or .stl)"};
}

COption QuietOption() {
    return {"--quiet", "", "", "no progress display and no notes on stderr"};
}

COption AsciiOption() {
    return {"--ascii", "", "", "write PLY and STL as text instead of binary"};
}

const std::string& RequireInput(const CCommandLine& line) {
    if (line.GetPositional().empty())
        throw CToolError("missing INPUT mesh file (see --help)");
    if (line.GetPositional().size() > 1)
        throw CToolError("unexpected argument '" + line.GetPositional()[1] + "' (see --help)");
    return line.GetPositional()[0];
}

const std::string& RequireMeshOutput(const CCommandLine& line) {
    if (!line.Has("--output"))
        throw CToolError("missing -o OUTPUT (see --help)");
    const std::string& output = line.Get("--output");
    FormatFromFileName(output);
    CheckOutputWritable(output);
    return output;
}

EEncoding GetEncoding(const CCommandLine& line) {
    return line.Has("--ascii") ? EEncoding::Text : EEncoding::Binary;
}

namespace {

std::vector<std::string>& PendingNotes() {
    static std::vector<std::string> notes;
    return notes;
}

}  // namespace

void Note(const CCommandLine& line, const std::string& text) {
    if (!line.IsQuiet())
        PendingNotes().push_back(text);
}

void FlushNotes() {
    std::fflush(stdout);
    for (const std::string& text : PendingNotes())
        std::fprintf(stderr, "quorvel: note: %s\n", text.c_str());
    PendingNotes().clear();
}

CMeshData LoadMesh(const std::string& fileName, const CCommandLine& line) {
    CMeshData mesh = ReadMeshFile(fileName);
    if (mesh.m_SkippedPolygons != 0)
        Note(line, fileName + ": left out " + std::to_string(mesh.m_SkippedPolygons) +
                       " polygons with fewer than three corners");
    return mesh;
}

const char* const NoUsableFacesMessage = "no usable faces: every face names a vertex twice";

void NoteChanges(const CCommandLine& line, const std::string& fileName, const CRepairSummary& changes,
                 const std::string& prefix) {
    const std::string text = changes.Describe();
    if (!text.empty())
        Note(line, fileName + ": " + prefix + text);
}

void PrepareForLibrary(CMeshData& mesh, const std::string& fileName, const CCommandLine& line) {
    CRepairSummary summary;
    DropRepeatedCornerFaces(mesh, summary);
    if (mesh.m_Triangles.empty())
        throw CToolError(Located(fileName, NoUsableFacesMessage));
    NoteChanges(line, fileName, summary);
}

double ResolveLength(const CCommandLine& line, const std::string& absoluteOption, double defaultRelative,
                     const CMeshData& mesh, const std::string& fileName, const std::vector<std::uint64_t>& edges) {
    if (line.Has(absoluteOption) && line.Has("--relative"))
        throw CToolError("give either " + absoluteOption + " or --relative, not both");
    if (line.Has(absoluteOption))
        return line.GetPositiveNumber(absoluteOption);
    const double factor = line.Has("--relative") ? line.GetPositiveNumber("--relative") : defaultRelative;
    const double mean = edges.empty() ? TrueMeanEdgeLength(mesh) : MeanEdgeLength(mesh, edges);
    const double length = factor * mean;
    if (std::isinf(mean))
        throw CToolError(Located(fileName, "edges of the mesh are longer than a double can hold, so --relative has "
                                           "nothing to measure against; give " +
                                               absoluteOption));
    if (!std::isfinite(length) || !(length > 0))
        throw CToolError(Located(fileName, "the mesh has no edge of positive length to measure --relative "
                                           "against; give " +
                                               absoluteOption));
    return length;
}

int UnitScaleExponent(const CMeshData& mesh, bool onlyWhenExtreme) {
    double largest = 0;
    for (const Point& p : mesh.m_Positions)
        largest = std::max({largest, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
    if (!(largest > 0))
        return 0;
    if (onlyWhenExtreme && largest < 0x1p400 && largest > 0x1p-400)
        return 0;
    int exponent = 0;
    std::frexp(largest, &exponent);
    return -exponent;
}

void ScaleByPowerOfTwo(std::vector<Point>& points, int exponent) {
    if (exponent == 0)
        return;
    // A product with a normal power of two rounds once, as ldexp does, at a
    // fraction of its cost; beyond the normal powers ldexp takes over.
    if (exponent >= -1022 && exponent <= 1023) {
        const double factor = std::ldexp(1.0, exponent);
        for (Point& p : points)
            p = Point(p.x * factor, p.y * factor, p.z * factor);
        return;
    }
    for (Point& p : points)
        p = Point(std::ldexp(p.x, exponent), std::ldexp(p.y, exponent), std::ldexp(p.z, exponent));
}

void ScaleByPowerOfTwo(CMeshData& mesh, int exponent) {
    ScaleByPowerOfTwo(mesh.m_Positions, exponent);
}

void CheckEstimatedSize(double estimate, const char* what, const std::string& advice, const std::string& fileName) {
    if (!(estimate <= ElementCeiling))
        throw CToolError(Located(fileName, "the result would have about " + FormatQuantity(estimate, 3) + " " + what +
                                               ", more than the limit of " + FormatQuantity(ElementCeiling, 3) + "; " +
                                               advice));
}

void CheckResult(const CMeshData& mesh, const std::string& operation, const std::string& fileName) {
    if (const char* fault = FindResultFault(mesh))
        throw CToolError(Located(fileName, operation + " " + fault + "; nothing was written"));
}

void WriteMesh(const std::string& fileName, const CMeshData& mesh, const CCommandLine& line) {
    WriteMeshFile(fileName, mesh, GetEncoding(line));
}

namespace {

// Below this many faces writing takes well under a millisecond, less than a
// thread for it costs.
constexpr std::size_t BackgroundWriteFaces = 4096;

// The file name, once its extension has been found to name a format, so that
// an unknown one is refused before a temporary file is made.
const std::string& WithKnownFormat(const std::string& fileName) {
    FormatFromFileName(fileName);
    return fileName;
}

}  // namespace

CMeshWrite::CMeshWrite(const std::string& fileName, const CMeshData& mesh, const CCommandLine& line)
    : m_File(WithKnownFormat(fileName)) {
    const EEncoding encoding = GetEncoding(line);
    m_Written = std::async(mesh.m_Triangles.size() >= BackgroundWriteFaces ? std::launch::async : std::launch::deferred,
                           [this, &mesh, encoding] { WriteMeshTo(m_File, mesh, encoding); });
}

CMeshWrite::~CMeshWrite() {
    // The writing thread must be done with the file before it goes (and its
    // temporary file with it); a deferred write never started.
    if (m_Written.valid() && m_Written.wait_for(std::chrono::seconds(0)) != std::future_status::deferred)
        m_Written.wait();
}

void CMeshWrite::Commit() {
    m_Written.get();
    m_File.Commit();
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace Corvane::Pellix::Quorvel::Tool
