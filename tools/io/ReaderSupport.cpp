#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Tool {

void AddPolygon(CMeshData& mesh, const std::uint32_t* corners, std::size_t count) {
    if (count < 3) {
        ++mesh.m_SkippedPolygons;
        return;
    }
    for (std::size_t i = 1; i + 1 < count; ++i)
        mesh.m_Triangles.push_back(Triangle{corners[0], corners[i], corners[i + 1]});
}

}  // namespace Corvane::Pellix::Quorvel::Tool
