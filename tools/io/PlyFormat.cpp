#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"
#include "io/PointFiles.h"
#include "io/ReaderSupport.h"
#include "io/TextCursor.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

enum class EPlyType { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

bool ParseType(std::string_view name, EPlyType& type) {
    static const struct {
        const char* m_Names[2];
        EPlyType m_Type;
    } table[] = {{{"char", "int8"}, EPlyType::Int8},        {{"uchar", "uint8"}, EPlyType::UInt8},
                 {{"short", "int16"}, EPlyType::Int16},     {{"ushort", "uint16"}, EPlyType::UInt16},
                 {{"int", "int32"}, EPlyType::Int32},       {{"uint", "uint32"}, EPlyType::UInt32},
                 {{"float", "float32"}, EPlyType::Float32}, {{"double", "float64"}, EPlyType::Float64}};
    for (const auto& entry : table)
        if (name == entry.m_Names[0] || name == entry.m_Names[1]) {
            type = entry.m_Type;
            return true;
        }
    return false;
}

std::size_t SizeOf(EPlyType type) {
    switch (type) {
    case EPlyType::Int8:
    case EPlyType::UInt8:
        return 1;
    case EPlyType::Int16:
    case EPlyType::UInt16:
        return 2;
    case EPlyType::Int32:
    case EPlyType::UInt32:
    case EPlyType::Float32:
        return 4;
    case EPlyType::Float64:
        return 8;
    }
    return 1;
}

bool IsInteger(EPlyType type) {
    return type != EPlyType::Float32 && type != EPlyType::Float64;
}

class CPlyProperty {
public:
    std::string m_Name;
    EPlyType m_Type = EPlyType::Float32;
    bool m_IsList = false;
    EPlyType m_CountType = EPlyType::UInt8;
};

class CPlyElement {
public:
    std::string m_Name;
    std::uint64_t m_Count = 0;
    std::vector<CPlyProperty> m_Properties;
    // Bytes of one element when every list is empty: the least it can take.
    std::uint64_t GetMinimumBinarySize() const {
        std::uint64_t size = 0;
        for (const CPlyProperty& p : m_Properties)
            size += p.m_IsList ? SizeOf(p.m_CountType) : SizeOf(p.m_Type);
        return size;
    }
};

enum class EPlyFormat { Ascii, BinaryLittle, BinaryBig };

// Reads binary values in the file's byte order; every read checks the end of
// the data first, so a truncated file fails cleanly.
class CBinarySource {
public:
    CBinarySource(std::string_view data, bool bigEndian, const std::string& fileName)
        : m_Data(data), m_BigEndian(bigEndian), m_FileName(fileName) { }

    // Where the reads stand, for messages; kept as parts so that the hot loop
    // builds no strings.
    void SetLocation(const std::string& element, std::uint64_t index, std::uint64_t count) {
        m_Element = &element;
        m_Index = index;
        m_Count = count;
    }

    std::string GetLocation() const {
        return *m_Element + (" " + std::to_string(m_Index)) + " of " + std::to_string(m_Count);
    }

    double ReadReal(EPlyType type) {
        unsigned char bytes[8];
        Take(bytes, SizeOf(type));
        switch (type) {
        case EPlyType::Int8: {
            std::int8_t v;
            std::memcpy(&v, bytes, 1);
            return v;
        }
        case EPlyType::UInt8:
            return bytes[0];
        case EPlyType::Int16: {
            std::int16_t v;
            std::memcpy(&v, bytes, 2);
            return v;
        }
        case EPlyType::UInt16: {
            std::uint16_t v;
            std::memcpy(&v, bytes, 2);
            return v;
        }
        case EPlyType::Int32: {
            std::int32_t v;
            std::memcpy(&v, bytes, 4);
            return v;
        }
        case EPlyType::UInt32: {
            std::uint32_t v;
            std::memcpy(&v, bytes, 4);
            return v;
        }
        case EPlyType::Float32: {
            float v;
            std::memcpy(&v, bytes, 4);
            return v;
        }
        case EPlyType::Float64: {
            double v;
            std::memcpy(&v, bytes, 8);
            return v;
        }
        }
        return 0;
    }

    std::int64_t ReadInteger(EPlyType type) {
        if (!IsInteger(type))
            throw CToolError(Located(m_FileName, "indices and list lengths must have an integer type"));
        return static_cast<std::int64_t>(ReadReal(type));
    }

    void Skip(std::uint64_t size) {
        if (size > m_Data.size() - m_Offset)
            Truncated();
        m_Offset += size;
    }

    [[noreturn]] void Truncated() {
        throw CToolError(Located(m_FileName, "truncated: the data ends in " + GetLocation()));
    }

    std::size_t GetRemaining() const { return m_Data.size() - m_Offset; }

private:
    void Take(unsigned char* bytes, std::size_t size) {
        if (size > m_Data.size() - m_Offset)
            Truncated();
        std::memcpy(bytes, m_Data.data() + m_Offset, size);
        m_Offset += size;
        const bool hostBig = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
        if (m_BigEndian != hostBig)
            for (std::size_t i = 0; i < size / 2; ++i)
                std::swap(bytes[i], bytes[size - 1 - i]);
    }

    std::string_view m_Data;
    std::size_t m_Offset = 0;
    bool m_BigEndian;
    const std::string& m_FileName;
    const std::string* m_Element = nullptr;
    std::uint64_t m_Index = 0;
    std::uint64_t m_Count = 0;
};

// The layout that matters for a mesh: which property of the vertex element
// holds x, y and z, and which list of the face element holds the corners.
class CPlyLayout {
public:
    std::vector<CPlyElement> m_Elements;
    EPlyFormat m_Format = EPlyFormat::Ascii;
    int m_VertexElement = -1;
    int m_Coordinates[3] = {-1, -1, -1};
    int m_FaceElement = -1;
    int m_CornerList = -1;
};

CPlyLayout ReadHeader(CTextCursor& cursor) {
    CPlyLayout layout;
    std::string_view line;
    std::vector<std::string_view> tokens;
    if (!cursor.NextLine(line) || line != "ply")
        cursor.Fail("not a PLY file: it must start with 'ply'");
    bool formatSeen = false;
    while (true) {
        if (!cursor.NextLine(line))
            cursor.Fail("truncated: the header has no 'end_header'");
        CTextCursor::Split(line, tokens);
        if (tokens.empty() || tokens[0] == "comment" || tokens[0] == "obj_info")
            continue;
        if (tokens[0] == "end_header")
            break;
        if (tokens[0] == "format") {
            if (tokens.size() < 2)
                cursor.Fail("malformed format line");
            if (tokens[1] == "ascii")
                layout.m_Format = EPlyFormat::Ascii;
            else if (tokens[1] == "binary_little_endian")
                layout.m_Format = EPlyFormat::BinaryLittle;
            else if (tokens[1] == "binary_big_endian")
                layout.m_Format = EPlyFormat::BinaryBig;
            else
                cursor.Fail("unknown PLY format '" + std::string(tokens[1]) + "'");
            formatSeen = true;
        } else if (tokens[0] == "element") {
            std::int64_t count = 0;
            if (tokens.size() < 3 || !ParseInteger(tokens[2], count) || count < 0)
                cursor.Fail("malformed element line");
            if (static_cast<std::uint64_t>(count) > MaximumElementCount)
                cursor.Fail("the element count " + std::string(tokens[2]) + " is too large");
            CPlyElement element;
            element.m_Name = std::string(tokens[1]);
            element.m_Count = static_cast<std::uint64_t>(count);
            layout.m_Elements.push_back(element);
        } else if (tokens[0] == "property") {
            if (layout.m_Elements.empty())
                cursor.Fail("a property before any element");
            CPlyProperty property;
            if (tokens.size() == 5 && tokens[1] == "list") {
                property.m_IsList = true;
                if (!ParseType(tokens[2], property.m_CountType) || !ParseType(tokens[3], property.m_Type))
                    cursor.Fail("unknown property type");
                if (!IsInteger(property.m_CountType))
                    cursor.Fail("a list count must have an integer type");
                property.m_Name = std::string(tokens[4]);
            } else if (tokens.size() == 3) {
                if (!ParseType(tokens[1], property.m_Type))
                    cursor.Fail("unknown property type '" + std::string(tokens[1]) + "'");
                property.m_Name = std::string(tokens[2]);
            } else {
                cursor.Fail("malformed property line");
            }
            layout.m_Elements.back().m_Properties.push_back(property);
        } else {
            cursor.Fail("unknown header line '" + std::string(tokens[0]) + "'");
        }
    }
    if (!formatSeen)
        cursor.Fail("the header has no format line");

    for (std::size_t e = 0; e < layout.m_Elements.size(); ++e) {
        const CPlyElement& element = layout.m_Elements[e];
        if (element.m_Properties.empty() && element.m_Count != 0)
            cursor.Fail("element '" + element.m_Name + "' has no properties");
        if (element.m_Name == "vertex" && layout.m_VertexElement < 0) {
            layout.m_VertexElement = static_cast<int>(e);
            for (std::size_t p = 0; p < element.m_Properties.size(); ++p)
                for (int k = 0; k < 3; ++k)
                    if (!element.m_Properties[p].m_IsList && element.m_Properties[p].m_Name == "xyz"[k] + std::string())
                        layout.m_Coordinates[k] = static_cast<int>(p);
            if (layout.m_Coordinates[0] < 0 || layout.m_Coordinates[1] < 0 || layout.m_Coordinates[2] < 0)
                cursor.Fail("the vertex element lacks an x, y or z property");
        } else if (element.m_Name == "face" && layout.m_FaceElement < 0) {
            layout.m_FaceElement = static_cast<int>(e);
            for (std::size_t p = 0; p < element.m_Properties.size(); ++p)
                if (element.m_Properties[p].m_IsList && (element.m_Properties[p].m_Name == "vertex_indices" ||
                                                         element.m_Properties[p].m_Name == "vertex_index"))
                    layout.m_CornerList = static_cast<int>(p);
            if (layout.m_CornerList < 0)
                cursor.Fail("the face element lacks a vertex_indices list");
        }
    }
    if (layout.m_VertexElement < 0)
        cursor.Fail("the header declares no vertex element");
    return layout;
}

std::string OutOfRange(std::int64_t index, std::uint64_t vertexCount) {
    return "vertex index " + std::to_string(index) + " out of range (the file has " + std::to_string(vertexCount) +
           " vertices)";
}

// The layout nearly every binary PLY mesh has, read without the per-value
// dispatch of ReadBinaryBody: little-endian, vertices of fixed-size
// properties with float or double coordinates, then faces holding only a
// corner list of 8-bit counts and 32-bit indices. False, with the mesh as
// it was, for any other layout and for anything ReadBinaryBody would remark
// on (a count other than 3, an index out of range, a non-finite coordinate,
// a short file), which is then read the general way.
bool ReadCommonBinaryBody(const CPlyLayout& layout, std::string_view body, CMeshData& mesh) {
    if (__BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__ || layout.m_Format != EPlyFormat::BinaryLittle ||
        layout.m_Elements.size() != 2 || layout.m_VertexElement != 0 || layout.m_FaceElement != 1)
        return false;
    const CPlyElement& vertices = layout.m_Elements[0];
    const CPlyElement& faces = layout.m_Elements[1];
    std::size_t stride = 0, offsets[3] = {0, 0, 0};
    bool doubles[3] = {false, false, false};
    for (std::size_t k = 0; k < vertices.m_Properties.size(); ++k) {
        const CPlyProperty& property = vertices.m_Properties[k];
        if (property.m_IsList)
            return false;
        for (int c = 0; c < 3; ++c)
            if (layout.m_Coordinates[c] == static_cast<int>(k)) {
                if (property.m_Type != EPlyType::Float32 && property.m_Type != EPlyType::Float64)
                    return false;
                offsets[c] = stride;
                doubles[c] = property.m_Type == EPlyType::Float64;
            }
        stride += SizeOf(property.m_Type);
    }
    if (faces.m_Properties.size() != 1 || layout.m_CornerList != 0)
        return false;
    const CPlyProperty& list = faces.m_Properties[0];
    if (list.m_CountType != EPlyType::UInt8 && list.m_CountType != EPlyType::Int8)
        return false;
    if (list.m_Type != EPlyType::Int32 && list.m_Type != EPlyType::UInt32)
        return false;
    const std::uint64_t vertexCount = vertices.m_Count, faceCount = faces.m_Count;
    if (vertexCount > body.size() / std::max<std::size_t>(stride, 1) ||
        faceCount > (body.size() - vertexCount * stride) / 13)
        return false;
    const std::size_t firstPosition = mesh.m_Positions.size(), firstTriangle = mesh.m_Triangles.size();
    const char* at = body.data();
    mesh.m_Positions.reserve(firstPosition + vertexCount);
    for (std::uint64_t i = 0; i < vertexCount; ++i, at += stride) {
        Point p;
        for (int c = 0; c < 3; ++c) {
            if (doubles[c]) {
                std::memcpy(&p[c], at + offsets[c], 8);
            } else {
                float value;
                std::memcpy(&value, at + offsets[c], 4);
                p[c] = value;
            }
        }
        if (!IsFinitePoint(p)) {
            mesh.m_Positions.resize(firstPosition);
            return false;
        }
        mesh.m_Positions.push_back(p);
    }
    // Both index types are read as unsigned: a negative int32 is then beyond
    // every vertex count the header allows.
    mesh.m_Triangles.reserve(firstTriangle + faceCount);
    for (std::uint64_t i = 0; i < faceCount; ++i, at += 13) {
        std::uint32_t corners[3];
        std::memcpy(corners, at + 1, 12);
        if (at[0] != 3 || corners[0] >= vertexCount || corners[1] >= vertexCount || corners[2] >= vertexCount) {
            mesh.m_Positions.resize(firstPosition);
            mesh.m_Triangles.resize(firstTriangle);
            return false;
        }
        mesh.m_Triangles.push_back(Triangle{corners[0], corners[1], corners[2]});
    }
    return true;
}

void ReadBinaryBody(const CPlyLayout& layout, std::string_view body, const std::string& fileName, CMeshData& mesh) {
    if (ReadCommonBinaryBody(layout, body, mesh))
        return;
    CBinarySource source(body, layout.m_Format == EPlyFormat::BinaryBig, fileName);
    std::uint64_t least = 0;
    for (const CPlyElement& element : layout.m_Elements)
        least += element.m_Count * element.GetMinimumBinarySize();
    if (least > source.GetRemaining())
        throw CToolError(Located(fileName, "truncated: the header declares at least " + std::to_string(least) +
                                               " bytes of data, the file holds " +
                                               std::to_string(source.GetRemaining())));
    const std::uint64_t vertexCount = layout.m_Elements[layout.m_VertexElement].m_Count;
    std::vector<std::uint32_t> corners;
    for (std::size_t e = 0; e < layout.m_Elements.size(); ++e) {
        const CPlyElement& element = layout.m_Elements[e];
        const bool isVertex = static_cast<int>(e) == layout.m_VertexElement;
        const bool isFace = static_cast<int>(e) == layout.m_FaceElement;
        for (std::uint64_t i = 0; i < element.m_Count; ++i) {
            source.SetLocation(element.m_Name, i, element.m_Count);
            Point p;
            for (std::size_t k = 0; k < element.m_Properties.size(); ++k) {
                const CPlyProperty& property = element.m_Properties[k];
                if (property.m_IsList) {
                    const std::int64_t count = source.ReadInteger(property.m_CountType);
                    if (count < 0)
                        throw CToolError(
                            Located(fileName, "malformed: negative list length in " + source.GetLocation()));
                    if (isFace && static_cast<int>(k) == layout.m_CornerList) {
                        corners.clear();
                        if (static_cast<std::uint64_t>(count) * SizeOf(property.m_Type) > source.GetRemaining())
                            source.Truncated();
                        for (std::int64_t c = 0; c < count; ++c) {
                            const std::int64_t index = source.ReadInteger(property.m_Type);
                            if (index < 0 || static_cast<std::uint64_t>(index) >= vertexCount)
                                throw CToolError(
                                    Located(fileName, OutOfRange(index, vertexCount) + " in " + source.GetLocation()));
                            corners.push_back(static_cast<std::uint32_t>(index));
                        }
                        AddPolygon(mesh, corners.data(), corners.size());
                    } else {
                        source.Skip(static_cast<std::uint64_t>(count) * SizeOf(property.m_Type));
                    }
                } else if (isVertex) {
                    const double value = source.ReadReal(property.m_Type);
                    for (int c = 0; c < 3; ++c)
                        if (layout.m_Coordinates[c] == static_cast<int>(k))
                            p[c] = value;
                } else {
                    source.Skip(SizeOf(property.m_Type));
                }
            }
            if (isVertex) {
                if (!IsFinitePoint(p))
                    throw CToolError(Located(fileName, "non-finite coordinate in vertex " + std::to_string(i)));
                mesh.m_Positions.push_back(p);
            }
        }
    }
}

void ReadAsciiBody(const CPlyLayout& layout, CTextCursor& cursor, CMeshData& mesh) {
    std::uint64_t least = 0;
    for (const CPlyElement& element : layout.m_Elements)
        least += element.m_Count * 2 * element.m_Properties.size();
    if (least > cursor.GetRemainingBytes() + 1)
        cursor.Fail("the header declares more elements than the rest of the file can hold");
    const std::uint64_t vertexCount = layout.m_Elements[layout.m_VertexElement].m_Count;
    std::vector<std::string_view> tokens;
    std::vector<std::uint32_t> corners;
    std::string_view line;
    for (std::size_t e = 0; e < layout.m_Elements.size(); ++e) {
        const CPlyElement& element = layout.m_Elements[e];
        const bool isVertex = static_cast<int>(e) == layout.m_VertexElement;
        const bool isFace = static_cast<int>(e) == layout.m_FaceElement;
        for (std::uint64_t i = 0; i < element.m_Count; ++i) {
            if (!cursor.NextContentLine(line))
                throw CToolError(Located(cursor.GetFileName(), "truncated: the file ends after " + std::to_string(i) +
                                                                   " of " + std::to_string(element.m_Count) + " " +
                                                                   element.m_Name + " elements"));
            CTextCursor::Split(line, tokens);
            std::size_t t = 0;
            Point p;
            auto next = [&]() {
                if (t >= tokens.size())
                    cursor.Fail("too few values for a " + element.m_Name + " element");
                return tokens[t++];
            };
            for (std::size_t k = 0; k < element.m_Properties.size(); ++k) {
                const CPlyProperty& property = element.m_Properties[k];
                if (property.m_IsList) {
                    std::int64_t count = 0;
                    const std::string_view token = next();
                    if (!ParseInteger(token, count) || count < 0)
                        cursor.Fail("malformed list length '" + std::string(token) + "'");
                    if (static_cast<std::uint64_t>(count) > tokens.size())
                        cursor.Fail("the list is shorter than its length " + std::string(token));
                    const bool isCorners = isFace && static_cast<int>(k) == layout.m_CornerList;
                    corners.clear();
                    for (std::int64_t c = 0; c < count; ++c) {
                        const std::string_view item = next();
                        if (!isCorners)
                            continue;
                        std::int64_t index = 0;
                        if (!ParseInteger(item, index))
                            cursor.Fail("malformed vertex index '" + std::string(item) + "'");
                        if (index < 0 || static_cast<std::uint64_t>(index) >= vertexCount)
                            cursor.Fail(OutOfRange(index, vertexCount));
                        corners.push_back(static_cast<std::uint32_t>(index));
                    }
                    if (isCorners)
                        AddPolygon(mesh, corners.data(), corners.size());
                } else {
                    const std::string_view token = next();
                    double value = 0;
                    if (!ParseReal(token, value))
                        cursor.Fail("malformed value '" + std::string(token) + "'");
                    if (isVertex)
                        for (int c = 0; c < 3; ++c)
                            if (layout.m_Coordinates[c] == static_cast<int>(k))
                                p[c] = value;
                }
            }
            if (t != tokens.size())
                cursor.Fail("more values than the " + element.m_Name + " element declares");
            if (isVertex) {
                if (!IsFinitePoint(p))
                    cursor.Fail("non-finite vertex coordinate");
                mesh.m_Positions.push_back(p);
            }
        }
    }
}

template <typename T>
void AppendLittleEndian(std::string& out, T value) {
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)
        for (std::size_t i = 0; i < sizeof(T) / 2; ++i)
            std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
    out.append(reinterpret_cast<const char*>(bytes), sizeof(T));
}

std::string FormatLine(EEncoding encoding) {
    return encoding == EEncoding::Text ? "format ascii 1.0\n" : "format binary_little_endian 1.0\n";
}

}  // namespace

CMeshData ReadPly(std::string_view data, const std::string& fileName) {
    CTextCursor cursor(data, fileName);
    const CPlyLayout layout = ReadHeader(cursor);
    CMeshData mesh;
    // Counts are only trusted once the body has been checked to hold them,
    // so storage is reserved no further than the file size allows.
    const std::uint64_t vertexCount = layout.m_Elements[layout.m_VertexElement].m_Count;
    mesh.m_Positions.reserve(std::min<std::uint64_t>(vertexCount, cursor.GetRemainingBytes() / 2));
    if (layout.m_Format == EPlyFormat::Ascii)
        ReadAsciiBody(layout, cursor, mesh);
    else
        ReadBinaryBody(layout, data.substr(cursor.GetOffset()), fileName, mesh);
    return mesh;
}

void WritePly(COutputFile& out, const CMeshData& mesh, EEncoding encoding) {
    out.Write("ply\n" + FormatLine(encoding) + "comment quorvel\nelement vertex " +
              std::to_string(mesh.m_Positions.size()) +
              "\nproperty double x\nproperty double y\nproperty double z\nelement face " +
              std::to_string(mesh.m_Triangles.size()) + "\nproperty list uchar int vertex_indices\nend_header\n");
    std::string chunk;
    if (encoding == EEncoding::Text) {
        for (const Point& p : mesh.m_Positions) {
            chunk = FormatReal(p.x) + " " + FormatReal(p.y) + " " + FormatReal(p.z) + "\n";
            out.Write(chunk);
        }
        for (const Triangle& t : mesh.m_Triangles) {
            chunk = "3 " + std::to_string(t[0]) + " " + std::to_string(t[1]) + " " + std::to_string(t[2]) + "\n";
            out.Write(chunk);
        }
        return;
    }
    // Each list goes out in one piece: a call per element cost more than
    // its bytes.
    if (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__) {
        // The bytes in memory are the file's: copied in place, without an
        // append per value.
        chunk.resize(std::max(24 * mesh.m_Positions.size(), 13 * mesh.m_Triangles.size()));
        char* at = chunk.data();
        for (const Point& p : mesh.m_Positions) {
            const double xyz[3] = {p.x, p.y, p.z};
            std::memcpy(at, xyz, 24);
            at += 24;
        }
        out.Write(std::string_view(chunk.data(), 24 * mesh.m_Positions.size()));
        at = chunk.data();
        for (const Triangle& t : mesh.m_Triangles) {
            const std::int32_t corners[3] = {static_cast<std::int32_t>(t[0]), static_cast<std::int32_t>(t[1]),
                                             static_cast<std::int32_t>(t[2])};
            *at = char(3);
            std::memcpy(at + 1, corners, 12);
            at += 13;
        }
        out.Write(std::string_view(chunk.data(), 13 * mesh.m_Triangles.size()));
        return;
    }
    chunk.reserve(std::max(24 * mesh.m_Positions.size(), 13 * mesh.m_Triangles.size()));
    for (const Point& p : mesh.m_Positions) {
        AppendLittleEndian(chunk, p.x);
        AppendLittleEndian(chunk, p.y);
        AppendLittleEndian(chunk, p.z);
    }
    out.Write(chunk);
    chunk.clear();
    for (const Triangle& t : mesh.m_Triangles) {
        chunk.push_back(char(3));
        for (int k = 0; k < 3; ++k)
            AppendLittleEndian(chunk, static_cast<std::int32_t>(t[k]));
    }
    out.Write(chunk);
}

void WritePlyPoints(COutputFile& out, const std::vector<Point>& points, EEncoding encoding) {
    // Single precision keeps dense point sets small; points beyond its range
    // are written in double precision rather than as infinities.
    bool single = true;
    for (const Point& p : points)
        single = single && FitsInFloat(p);
    const char* type = single ? "float" : "double";
    out.Write("ply\n" + FormatLine(encoding) + "comment quorvel point set\nelement vertex " +
              std::to_string(points.size()) + "\nproperty " + type + " x\nproperty " + type + " y\nproperty " + type +
              " z\nend_header\n");
    std::string chunk;
    for (const Point& p : points) {
        chunk.clear();
        if (encoding == EEncoding::Text && single) {
            chunk = FormatFloat(float(p.x)) + " " + FormatFloat(float(p.y)) + " " + FormatFloat(float(p.z)) + "\n";
        } else if (encoding == EEncoding::Text) {
            chunk = FormatReal(p.x) + " " + FormatReal(p.y) + " " + FormatReal(p.z) + "\n";
        } else if (single) {
            AppendLittleEndian(chunk, float(p.x));
            AppendLittleEndian(chunk, float(p.y));
            AppendLittleEndian(chunk, float(p.z));
        } else {
            AppendLittleEndian(chunk, p.x);
            AppendLittleEndian(chunk, p.y);
            AppendLittleEndian(chunk, p.z);
        }
        out.Write(chunk);
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
