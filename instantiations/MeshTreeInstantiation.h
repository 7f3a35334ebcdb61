#pragma once

#include "quorvel/meshes/queries/MeshTree_impl.h"

// Split like the mesh units, by precision and vertex type, so that the
// spatial index compiles on both cores beside them.
#define QUORVEL_INSTANTIATE_MESH_TREE(R, V, A, I)                                                                      \
    template class Corvane::Pellix::Quorvel::TMeshTree<R, Corvane::Pellix::Quorvel::V<R>, Corvane::Pellix::Quorvel::A, \
                                                       I>;

#define QUORVEL_INSTANTIATE_MESH_TREES(R, V)                                                                           \
    QUORVEL_INSTANTIATE_MESH_TREE(R, V, CA8, unsigned short)                                                           \
    QUORVEL_INSTANTIATE_MESH_TREE(R, V, CA16, unsigned short)                                                          \
    QUORVEL_INSTANTIATE_MESH_TREE(R, V, CA32, unsigned short)                                                          \
    QUORVEL_INSTANTIATE_MESH_TREE(R, V, CA8, unsigned int)                                                             \
    QUORVEL_INSTANTIATE_MESH_TREE(R, V, CA16, unsigned int)                                                            \
    QUORVEL_INSTANTIATE_MESH_TREE(R, V, CA32, unsigned int)
