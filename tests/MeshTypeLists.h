#pragma once

// The mesh types the typed suites run over, spelled out here rather than
// taken from the library, and the query tree that belongs to each.
#include <gtest/gtest.h>

#include "MeshFixtures.h"
#include "quorvel/meshes/queries/TMeshTree.h"

namespace QuorvelTest {

// Every exported type: two reals, two vertex records, three attribute widths
// and two index widths.
#define QUORVEL_EVERY_ATTRIBUTE(R, V, I) TMesh<R, V<R>, CA8, I>, TMesh<R, V<R>, CA16, I>, TMesh<R, V<R>, CA32, I>
#define QUORVEL_EVERY_INDEX(R, V)                                                                                      \
    QUORVEL_EVERY_ATTRIBUTE(R, V, unsigned short), QUORVEL_EVERY_ATTRIBUTE(R, V, unsigned int)
typedef ::testing::Types<QUORVEL_EVERY_INDEX(float, TVertexPN), QUORVEL_EVERY_INDEX(float, TVertexPNC),
                         QUORVEL_EVERY_INDEX(double, TVertexPN), QUORVEL_EVERY_INDEX(double, TVertexPNC)>
    AllMeshTypes;
#undef QUORVEL_EVERY_INDEX
#undef QUORVEL_EVERY_ATTRIBUTE

// The two ends of that range, for suites whose subject does not depend on
// the attribute or index width: narrow and single precision, wide and double.
typedef ::testing::Types<TMesh<float, TVertexPN<float>, CA8, unsigned short>,
                         TMesh<double, TVertexPNC<double>, CA32, unsigned int>>
    TwoMeshTypes;

template <typename Mesh>
struct TreeOf;
template <typename R, typename V, typename A, typename I>
struct TreeOf<TMesh<R, V, A, I>> {
    typedef TMeshTree<R, V, A, I> Type;
};

}  // namespace QuorvelTest
