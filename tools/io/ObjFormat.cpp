#include <string>
#include <utility>
#include <vector>

#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"
#include "io/ReaderSupport.h"
#include "io/TextCursor.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// A face corner is "v", "v/vt", "v//vn" or "v/vt/vn"; only v matters here.
// Negative indices count back from the last vertex read so far.
std::int64_t ParseCorner(const CTextCursor& cursor, std::string_view token, std::size_t vertexCount) {
    const std::string_view first = token.substr(0, token.find('/'));
    std::int64_t index = 0;
    if (!ParseInteger(first, index))
        cursor.Fail("malformed face corner '" + std::string(token) + "'");
    if (index == 0)
        cursor.Fail("vertex index 0 in a face (OBJ counts vertices from 1)");
    if (index < 0) {
        index += static_cast<std::int64_t>(vertexCount);
        if (index < 0)
            cursor.Fail("relative vertex index " + std::string(first) + " reaches before the first vertex");
        return index;
    }
    return index - 1;
}

}  // namespace

CMeshData ReadObj(std::string_view text, const std::string& fileName) {
    CTextCursor cursor(text, fileName);
    CMeshData mesh;
    std::vector<std::string_view> tokens;
    std::vector<std::uint32_t> corners;
    // Faces may name vertices that a later line defines; those few are
    // checked at the end, with the line that named them.
    std::vector<std::pair<std::size_t, std::int64_t>> forwardReferences;
    std::string joined;
    std::string_view line;

    while (cursor.NextLine(line)) {
        // A trailing backslash continues the statement on the next line.
        if (!line.empty() && line.back() == '\\') {
            joined.assign(line.substr(0, line.size() - 1));
            std::string_view more;
            while (cursor.NextLine(more)) {
                const bool continues = !more.empty() && more.back() == '\\';
                joined += ' ';
                joined.append(continues ? more.substr(0, more.size() - 1) : more);
                if (!continues)
                    break;
            }
            line = joined;
        }
        CTextCursor::Split(line, tokens);
        if (tokens.empty() || tokens[0][0] == '#')
            continue;
        if (tokens[0] == "v") {
            if (tokens.size() < 4)
                cursor.Fail("a vertex needs three coordinates");
            Point p;
            for (int k = 0; k < 3; ++k)
                if (!ParseReal(tokens[1 + k], p[k]))
                    cursor.Fail("malformed vertex coordinate '" + std::string(tokens[1 + k]) + "'");
            if (!IsFinitePoint(p))
                cursor.Fail("non-finite vertex coordinate");
            if (mesh.m_Positions.size() >= MaximumElementCount)
                cursor.Fail("too many vertices");
            mesh.m_Positions.push_back(p);
        } else if (tokens[0] == "f") {
            corners.clear();
            for (std::size_t k = 1; k < tokens.size(); ++k) {
                const std::int64_t index = ParseCorner(cursor, tokens[k], mesh.m_Positions.size());
                if (index >= static_cast<std::int64_t>(MaximumElementCount))
                    cursor.Fail("vertex index " + std::string(tokens[k]) + " out of range");
                if (static_cast<std::uint64_t>(index) >= mesh.m_Positions.size())
                    forwardReferences.emplace_back(cursor.GetLineNumber(), index);
                corners.push_back(static_cast<std::uint32_t>(index));
            }
            AddPolygon(mesh, corners.data(), corners.size());
        }
        // Texture coordinates, normals, groups, materials, lines and points
        // carry nothing a triangle mesh keeps.
    }

    for (const auto& reference : forwardReferences)
        if (static_cast<std::uint64_t>(reference.second) >= mesh.m_Positions.size())
            throw CToolError(Located(fileName, reference.first,
                                     "vertex index " + std::to_string(reference.second + 1) +
                                         " out of range (the file has " + std::to_string(mesh.m_Positions.size()) +
                                         " vertices)"));
    return mesh;
}

void WriteObj(COutputFile& out, const CMeshData& mesh) {
    out.Write("# quorvel\n");
    std::string line;
    for (const Point& p : mesh.m_Positions) {
        line = "v " + FormatReal(p.x) + " " + FormatReal(p.y) + " " + FormatReal(p.z) + "\n";
        out.Write(line);
    }
    for (const Triangle& t : mesh.m_Triangles) {
        line = "f " + std::to_string(t[0] + 1) + " " + std::to_string(t[1] + 1) + " " + std::to_string(t[2] + 1) + "\n";
        out.Write(line);
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
