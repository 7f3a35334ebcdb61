#include <string>
#include <vector>

#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"
#include "io/ReaderSupport.h"
#include "io/TextCursor.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// OFF allows a comment after the data on any line.
std::string_view WithoutComment(std::string_view line) {
    const std::size_t hash = line.find('#');
    return hash == std::string_view::npos ? line : line.substr(0, hash);
}

bool NextTokens(CTextCursor& cursor, std::vector<std::string_view>& tokens) {
    std::string_view line;
    while (cursor.NextContentLine(line)) {
        CTextCursor::Split(WithoutComment(line), tokens);
        if (!tokens.empty())
            return true;
    }
    return false;
}

std::uint64_t ParseCount(CTextCursor& cursor, std::string_view token, const char* what) {
    std::int64_t value = 0;
    if (!ParseInteger(token, value) || value < 0)
        cursor.Fail(std::string("malformed ") + what + " count '" + std::string(token) + "'");
    if (static_cast<std::uint64_t>(value) > MaximumElementCount)
        cursor.Fail(std::string("the ") + what + " count " + std::string(token) + " is too large");
    return static_cast<std::uint64_t>(value);
}

}  // namespace

CMeshData ReadOff(std::string_view text, const std::string& fileName) {
    CTextCursor cursor(text, fileName);
    std::vector<std::string_view> tokens;
    if (!NextTokens(cursor, tokens))
        throw CToolError(Located(fileName, "the file holds no OFF header"));

    // The keyword may carry prefixes (ST, C, N) for per-vertex extras that
    // follow the coordinates; they are read past. Other dimensions are not.
    const std::string_view keyword = tokens[0];
    if (keyword.size() < 3 || keyword.substr(keyword.size() - 3) != "OFF" ||
        keyword.find_first_not_of("STCNOF") != std::string_view::npos)
        cursor.Fail("not an OFF file: it must start with 'OFF'");
    std::size_t next = 1;
    if (tokens.size() > 1 && tokens[1] == "BINARY")
        cursor.Fail("binary OFF is not supported; write it as text OFF");
    if (tokens.size() <= next) {
        if (!NextTokens(cursor, tokens))
            cursor.Fail("the file ends before the vertex and face counts");
        next = 0;
    }
    if (tokens.size() < next + 2)
        cursor.Fail("expected the vertex and face counts");
    const std::uint64_t vertexCount = ParseCount(cursor, tokens[next], "vertex");
    const std::uint64_t faceCount = ParseCount(cursor, tokens[next + 1], "face");

    // The shortest vertex line is "0 0 0\n" and the shortest face "3 0 1 2\n":
    // a count that cannot fit in the rest of the file is refused before any
    // storage is reserved for it.
    if (vertexCount * 6 + faceCount * 8 > cursor.GetRemainingBytes() + 2)
        cursor.Fail("the header declares " + std::to_string(vertexCount) + " vertices and " +
                    std::to_string(faceCount) + " faces, more than the rest of the file can hold");

    CMeshData mesh;
    mesh.m_Positions.reserve(vertexCount);
    mesh.m_Triangles.reserve(faceCount);
    for (std::uint64_t i = 0; i < vertexCount; ++i) {
        if (!NextTokens(cursor, tokens))
            throw CToolError(Located(fileName, "truncated: the file ends after " + std::to_string(i) + " of " +
                                                   std::to_string(vertexCount) + " vertices"));
        if (tokens.size() < 3)
            cursor.Fail("a vertex needs three coordinates");
        Point p;
        for (int k = 0; k < 3; ++k)
            if (!ParseReal(tokens[k], p[k]))
                cursor.Fail("malformed vertex coordinate '" + std::string(tokens[k]) + "'");
        if (!IsFinitePoint(p))
            cursor.Fail("non-finite vertex coordinate");
        mesh.m_Positions.push_back(p);
    }

    std::vector<std::uint32_t> corners;
    for (std::uint64_t i = 0; i < faceCount; ++i) {
        if (!NextTokens(cursor, tokens))
            throw CToolError(Located(fileName, "truncated: the file ends after " + std::to_string(i) + " of " +
                                                   std::to_string(faceCount) + " faces"));
        std::int64_t count = 0;
        if (!ParseInteger(tokens[0], count) || count < 0)
            cursor.Fail("malformed corner count '" + std::string(tokens[0]) + "'");
        if (static_cast<std::uint64_t>(count) + 1 > tokens.size())
            cursor.Fail("the face lists " + std::to_string(count) + " corners but gives " +
                        std::to_string(tokens.size() - 1));
        corners.clear();
        for (std::int64_t k = 0; k < count; ++k) {
            std::int64_t index = 0;
            if (!ParseInteger(tokens[1 + k], index))
                cursor.Fail("malformed vertex index '" + std::string(tokens[1 + k]) + "'");
            if (index < 0 || static_cast<std::uint64_t>(index) >= vertexCount)
                cursor.Fail("vertex index " + std::to_string(index) + " out of range (the file has " +
                            std::to_string(vertexCount) + " vertices)");
            corners.push_back(static_cast<std::uint32_t>(index));
        }
        AddPolygon(mesh, corners.data(), corners.size());
    }
    return mesh;
}

void WriteOff(COutputFile& out, const CMeshData& mesh) {
    out.Write("OFF\n" + std::to_string(mesh.m_Positions.size()) + " " + std::to_string(mesh.m_Triangles.size()) +
              " 0\n");
    std::string line;
    for (const Point& p : mesh.m_Positions) {
        line = FormatReal(p.x) + " " + FormatReal(p.y) + " " + FormatReal(p.z) + "\n";
        out.Write(line);
    }
    for (const Triangle& t : mesh.m_Triangles) {
        line = "3 " + std::to_string(t[0]) + " " + std::to_string(t[1]) + " " + std::to_string(t[2]) + "\n";
        out.Write(line);
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
