#pragma once

#include "quorvel/utilities/TList.h"

namespace Corvane::Pellix::Quorvel {

/// A run of vertex indices into a flexible mesh's points together with the
/// primitive mode that groups them into triangles: the OpenGL modes 4
/// (separate triangles), 5 (triangle strip) and 6 (triangle fan). Other values
/// are carried along but turn into no faces.
class CFlexIndices : public Lintorra::TList<unsigned int> {
public:
    /// The primitive mode. Left uninitialised by the constructors: whoever
    /// fills the indices sets it.
    unsigned int m_PrimitiveType;

    /// An empty run with the list's capacity and grow size.
    CFlexIndices(unsigned int initialCapacity = 0, unsigned int growSize = 1000);
    /// Deep copy of the indices, and the primitive mode.
    CFlexIndices(CFlexIndices& other);
    ~CFlexIndices() override;

    /// Deep copy of the indices (as TList assignment), and the primitive mode.
    CFlexIndices& operator=(const CFlexIndices& other);
};

}  // namespace Corvane::Pellix::Quorvel

namespace Corvane::Pellix::Lintorra {

extern template class TList<Quorvel::CFlexIndices*>;

}  // namespace Corvane::Pellix::Lintorra
