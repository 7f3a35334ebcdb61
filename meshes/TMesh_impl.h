#pragma once

// Every template body of TMesh. Only the instantiation units include this
// header; clients see the declarations in TMesh.h and link the compiled types.
#include "quorvel/meshes/Connectivity_impl.h"
#include "quorvel/meshes/Measures_impl.h"
#include "quorvel/meshes/MeshObject_impl.h"
#include "quorvel/meshes/NormalsAndAttributes_impl.h"
#include "quorvel/meshes/SpatialQueries_impl.h"
#include "quorvel/meshes/editing/DegenerateFaces_impl.h"
#include "quorvel/meshes/editing/EdgeCollapse_impl.h"
#include "quorvel/meshes/editing/EdgeFlip_impl.h"
#include "quorvel/meshes/editing/EdgeSplit_impl.h"
#include "quorvel/meshes/editing/Infill_impl.h"
#include "quorvel/meshes/editing/OpenContour_impl.h"
#include "quorvel/meshes/editing/RemeshPreservingShape_impl.h"
#include "quorvel/meshes/editing/Remeshing_impl.h"
#include "quorvel/meshes/editing/Smoothing_impl.h"
#include "quorvel/meshes/editing/Stitching_impl.h"
#include "quorvel/meshes/editing/Subdivision_impl.h"
#include "quorvel/meshes/flex/FlexConversion_impl.h"
