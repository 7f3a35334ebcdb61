#include <cctype>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/Numbers.h"
#include "core/PositionWelder.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"
#include "io/ReaderSupport.h"
#include "io/TextCursor.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// Keywords are compared without regard to case: a few writers shout them.
std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

bool LooksLikeAscii(std::string_view data) {
    // Some binary writers start their 80-byte header with "solid" too; a text
    // file also has a "facet" or an "endsolid" keyword near the start.
    const std::string head = Lower(data.substr(0, 1024));
    if (head.compare(0, 5, "solid") != 0)
        return false;
    return head.find("facet") != std::string::npos || head.find("endsolid") != std::string::npos;
}

std::uint32_t ReadUInt32(const char* p) {
    const unsigned char* b = reinterpret_cast<const unsigned char*>(p);
    return std::uint32_t(b[0]) | (std::uint32_t(b[1]) << 8) | (std::uint32_t(b[2]) << 16) | (std::uint32_t(b[3]) << 24);
}

float ReadFloat(const char* p) {
    const std::uint32_t bits = ReadUInt32(p);
    float value;
    std::memcpy(&value, &bits, 4);
    return value;
}

CMeshData ReadBinaryStl(std::string_view data, const std::string& fileName) {
    if (data.size() < 84)
        throw CToolError(Located(fileName, "truncated: a binary STL needs an 84-byte header, the file has " +
                                               std::to_string(data.size()) + " bytes"));
    const std::uint64_t count = ReadUInt32(data.data() + 80);
    if (84 + 50 * count > data.size())
        throw CToolError(Located(fileName, "truncated: the header declares " + std::to_string(count) + " triangles (" +
                                               std::to_string(84 + 50 * count) + " bytes), the file has " +
                                               std::to_string(data.size()) + " bytes"));
    CMeshData mesh;
    mesh.m_Triangles.reserve(count);
    // STL repeats every corner in every triangle: corners at the same
    // position become one vertex.
    CPositionWelder welder(mesh);
    for (std::uint64_t i = 0; i < count; ++i) {
        const char* record = data.data() + 84 + 50 * i + 12;
        std::uint32_t corners[3];
        for (int k = 0; k < 3; ++k) {
            const Point p(ReadFloat(record + 12 * k), ReadFloat(record + 12 * k + 4), ReadFloat(record + 12 * k + 8));
            if (!IsFinitePoint(p))
                throw CToolError(Located(fileName, "non-finite coordinate in triangle " + std::to_string(i)));
            corners[k] = welder.Add(p);
        }
        AddPolygon(mesh, corners, 3);
    }
    return mesh;
}

CMeshData ReadAsciiStl(std::string_view text, const std::string& fileName) {
    CTextCursor cursor(text, fileName);
    CMeshData mesh;
    CPositionWelder welder(mesh);
    std::vector<std::string_view> tokens;
    std::vector<std::uint32_t> loop;
    bool inLoop = false;
    bool ended = false;
    std::string_view line;
    while (cursor.NextLine(line)) {
        CTextCursor::Split(line, tokens);
        if (tokens.empty())
            continue;
        const std::string keyword = Lower(tokens[0]);
        if (keyword == "vertex") {
            if (!inLoop)
                cursor.Fail("'vertex' outside an 'outer loop'");
            if (tokens.size() != 4)
                cursor.Fail("a vertex needs three coordinates");
            double c[3];
            for (int k = 0; k < 3; ++k)
                if (!ParseReal(tokens[1 + k], c[k]))
                    cursor.Fail("malformed vertex coordinate '" + std::string(tokens[1 + k]) + "'");
            // STL holds single precision; text and binary files of the same
            // triangles give the same mesh.
            const Point p{double(float(c[0])), double(float(c[1])), double(float(c[2]))};
            if (!IsFinitePoint(p))
                cursor.Fail("non-finite vertex coordinate");
            loop.push_back(welder.Add(p));
        } else if (keyword == "outer") {
            if (inLoop)
                cursor.Fail("'outer loop' inside another loop");
            inLoop = true;
            loop.clear();
        } else if (keyword == "endloop") {
            if (!inLoop)
                cursor.Fail("'endloop' without 'outer loop'");
            inLoop = false;
            AddPolygon(mesh, loop.data(), loop.size());
        } else if (keyword == "endsolid") {
            ended = true;
        } else if (keyword != "solid" && keyword != "facet" && keyword != "endfacet") {
            cursor.Fail("unexpected '" + std::string(keyword) + "' in an STL file");
        }
    }
    if (inLoop || !ended)
        throw CToolError(Located(fileName, cursor.GetLineNumber(), "truncated: the file ends before 'endsolid'"));
    return mesh;
}

void AppendFloat(std::string& out, float value) {
    char bytes[4];
    std::memcpy(bytes, &value, 4);
    if (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) {
        std::swap(bytes[0], bytes[3]);
        std::swap(bytes[1], bytes[2]);
    }
    out.append(bytes, 4);
}

Point FacetNormal(const Point& a, const Point& b, const Point& c) {
    Point n = (b - a) * (c - a);
    n.Normalise();
    return n;
}

}  // namespace

CMeshData ReadStl(std::string_view data, const std::string& fileName) {
    // A binary file whose size matches its triangle count exactly is binary,
    // whatever its header says.
    const bool sizedAsBinary =
        data.size() >= 84 && 84 + 50 * std::uint64_t(ReadUInt32(data.data() + 80)) == data.size();
    if (sizedAsBinary)
        return ReadBinaryStl(data, fileName);
    // The byte order mark some editors write is dropped only here: a binary
    // header is free text and may start with anything.
    if (data.substr(0, 3) == "\xEF\xBB\xBF" && LooksLikeAscii(data.substr(3)))
        return ReadAsciiStl(data.substr(3), fileName);
    return LooksLikeAscii(data) ? ReadAsciiStl(data, fileName) : ReadBinaryStl(data, fileName);
}

void WriteStl(COutputFile& out, const CMeshData& mesh, EEncoding encoding) {
    const auto& v = mesh.m_Positions;
    for (const Point& p : v)
        if (!FitsInFloat(p))
            throw CToolError(Located(
                out.GetFileName(),
                "a coordinate (" + FormatReal(std::fmax(std::fabs(p.x), std::fmax(std::fabs(p.y), std::fabs(p.z)))) +
                    ") is beyond the single "
                    "precision of STL; write .ply, .obj or .off instead"));
    std::string chunk;
    if (encoding == EEncoding::Text) {
        out.Write("solid quorvel\n");
        for (const Triangle& t : mesh.m_Triangles) {
            const Point n = FacetNormal(v[t[0]], v[t[1]], v[t[2]]);
            chunk = "facet normal " + FormatFloat(float(n.x)) + " " + FormatFloat(float(n.y)) + " " +
                    FormatFloat(float(n.z)) + "\n outer loop\n";
            for (int k = 0; k < 3; ++k) {
                const Point& p = v[t[k]];
                chunk += "  vertex " + FormatFloat(float(p.x)) + " " + FormatFloat(float(p.y)) + " " +
                         FormatFloat(float(p.z)) + "\n";
            }
            chunk += " endloop\nendfacet\n";
            out.Write(chunk);
        }
        out.Write("endsolid quorvel\n");
        return;
    }
    std::string header("quorvel binary STL");
    header.resize(80, ' ');
    out.Write(header);
    const std::uint32_t count = static_cast<std::uint32_t>(mesh.m_Triangles.size());
    const char countBytes[4] = {char(count & 0xFF), char((count >> 8) & 0xFF), char((count >> 16) & 0xFF),
                                char((count >> 24) & 0xFF)};
    out.Write(countBytes, 4);
    for (const Triangle& t : mesh.m_Triangles) {
        chunk.clear();
        const Point n = FacetNormal(v[t[0]], v[t[1]], v[t[2]]);
        AppendFloat(chunk, float(n.x));
        AppendFloat(chunk, float(n.y));
        AppendFloat(chunk, float(n.z));
        for (int k = 0; k < 3; ++k) {
            AppendFloat(chunk, float(v[t[k]].x));
            AppendFloat(chunk, float(v[t[k]].y));
            AppendFloat(chunk, float(v[t[k]].z));
        }
        chunk.append(2, '\0');
        out.Write(chunk);
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
