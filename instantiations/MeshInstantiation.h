#pragma once

#include "quorvel/meshes/TMesh_impl.h"

// One unit per (precision, vertex type, index type) keeps the units small
// enough that both cores stay busy during a full build.
#define QUORVEL_INSTANTIATE_MESH(R, V, A, I)                                                                           \
    template class Corvane::Pellix::Quorvel::TMesh<R, Corvane::Pellix::Quorvel::V<R>, Corvane::Pellix::Quorvel::A, I>; \
    template class Corvane::Pellix::Lintorra::TList<                                                                   \
        Corvane::Pellix::Quorvel::TMesh<R, Corvane::Pellix::Quorvel::V<R>, Corvane::Pellix::Quorvel::A, I>*>;

#define QUORVEL_INSTANTIATE_MESHES(R, V, I)                                                                            \
    QUORVEL_INSTANTIATE_MESH(R, V, CA8, I)                                                                             \
    QUORVEL_INSTANTIATE_MESH(R, V, CA16, I)                                                                            \
    QUORVEL_INSTANTIATE_MESH(R, V, CA32, I)
