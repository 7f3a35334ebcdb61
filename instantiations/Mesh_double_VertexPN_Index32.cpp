#include "quorvel/instantiations/MeshInstantiation.h"

QUORVEL_INSTANTIATE_MESHES(double, TVertexPN, unsigned int)
