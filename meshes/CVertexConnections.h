#pragma once

#include "quorvel/utilities/TList.h"

namespace Corvane::Pellix::Quorvel {

using Lintorra::TList;

// One list of unsigned ints per vertex (neighbour vertices or incident faces),
// owned by the table. Entry v is the list of vertex v.
class CVertexConnections : public TList<TList<unsigned int>*> {
public:
    CVertexConnections();
    // Shallow: both tables point at the same inner lists afterwards. Meshes
    // never copy-construct a table; they construct empty and assign.
    CVertexConnections(CVertexConnections& other);
    ~CVertexConnections() override;

    // Deep copy; the target keeps its own outer grow size.
    CVertexConnections& operator=(const CVertexConnections& other);

    void Allocate(unsigned int count, unsigned int growSize);
    void Add(unsigned int growSize);
    void Update(unsigned int vertex, unsigned int oldValue, unsigned int newValue);
    // Deletes every inner list but keeps the pointer array and its capacity.
    void Clear();

    TList<unsigned int>& operator[](unsigned int vertex) const { return *GetStream()[vertex]; }
    unsigned int GetCount() const { return TList<TList<unsigned int>*>::GetCount(); }
    void SetUseExponentialGrowth(bool on) { TList<TList<unsigned int>*>::SetUseExponentialGrowth(on); }
};

}  // namespace Corvane::Pellix::Quorvel
