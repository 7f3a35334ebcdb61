#pragma once

// Every template body of TMesh. Only the instantiation units include this
// header; clients see the declarations in TMesh.h and link the compiled types.
#include "meshes/MeshObject_impl.h"
#include "meshes/Connectivity_impl.h"
#include "meshes/NormalsAndAttributes_impl.h"
#include "meshes/Measures_impl.h"
#include "meshes/SpatialQueries_impl.h"
#include "meshes/editing/DegenerateFaces_impl.h"
#include "meshes/editing/EdgeSplit_impl.h"
#include "meshes/editing/EdgeCollapse_impl.h"
#include "meshes/editing/EdgeFlip_impl.h"
#include "meshes/editing/Smoothing_impl.h"
#include "meshes/editing/Remeshing_impl.h"
#include "meshes/editing/Subdivision_impl.h"
#include "meshes/editing/OpenContour_impl.h"
#include "meshes/editing/Stitching_impl.h"
#include "meshes/editing/Infill_impl.h"
#include "meshes/editing/ShapeRemeshing_impl.h"
#include "meshes/flex/FlexConversion_impl.h"
