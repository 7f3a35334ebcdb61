#include "core/PositionWelder.h"

namespace Corvane::Pellix::Quorvel::Tool {

CMeshData WeldByPosition(const CMeshData& mesh) {
    CMeshData welded;
    welded.m_Triangles.reserve(mesh.m_Triangles.size());
    CPositionWelder welder(welded);
    for (const Triangle& t : mesh.m_Triangles)
        welded.m_Triangles.push_back(Triangle{welder.Add(mesh.m_Positions[t[0]]), welder.Add(mesh.m_Positions[t[1]]),
                                              welder.Add(mesh.m_Positions[t[2]])});
    return welded;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
