#include "core/ToolMesh.h"

namespace Corvane::Pellix::Quorvel::Tool {

void LoadIntoMesh(const CMeshData& data, ToolMesh& mesh) {
    mesh.SetUseExponentialGrowth(true);
    const unsigned int vertexCount = static_cast<unsigned int>(data.m_Positions.size());
    const unsigned int faceCount = static_cast<unsigned int>(data.m_Triangles.size());
    mesh.m_Vertices.Expand(vertexCount);
    for (unsigned int i = 0; i < vertexCount; ++i)
        mesh.m_Vertices[i] = TVertexPN<double>(data.m_Positions[i], Point());
    mesh.m_Faces.Expand(faceCount);
    for (unsigned int i = 0; i < faceCount; ++i) {
        const Triangle& t = data.m_Triangles[i];
        mesh.m_Faces[i] = ToolMesh::Face(t[0], t[1], t[2]);
    }
    mesh.DetermineBoundingBox(true);
}

CMeshData ExtractFromMesh(const ToolMesh& mesh) {
    CMeshData data;
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    data.m_Positions.resize(vertexCount);
    for (unsigned int i = 0; i < vertexCount; ++i)
        data.m_Positions[i] = mesh.m_Vertices[i].m_Position;
    data.m_Triangles.resize(faceCount);
    for (unsigned int i = 0; i < faceCount; ++i) {
        const ToolMesh::Face& f = mesh.m_Faces[i];
        data.m_Triangles[i] = Triangle{f.m_Corners[0], f.m_Corners[1], f.m_Corners[2]};
    }
    return data;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
