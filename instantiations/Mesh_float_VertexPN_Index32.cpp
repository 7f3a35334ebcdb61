#include "quorvel/instantiations/MeshInstantiation.h"

QUORVEL_INSTANTIATE_MESHES(float, TVertexPN, unsigned int)
