#include "quorvel/instantiations/MeshTreeInstantiation.h"

QUORVEL_INSTANTIATE_MESH_TREES(double, TVertexPNC)
