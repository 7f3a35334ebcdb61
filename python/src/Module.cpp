// The compiled part of the Python package: quorvel._quorvel. The package's
// __init__.py re-exports it and adds the conversions to and from other
// Python mesh libraries.

#include "BoundMesh.h"

namespace py = pybind11;
using namespace Corvane::Pellix::Quorvel::Python;

PYBIND11_MODULE(_quorvel, module) {
    module.doc() = "quorvel's compiled core: the Mesh type and the functions that make and compare meshes.";
    py::class_<CBoundMesh> mesh(module, "Mesh",
                                R"doc(A triangle mesh in double or single precision.

Operations that change the mesh (remesh, smooth, offset, subdivide, thicken,
discard_degenerate, assigning vertices) work in place on a private copy and
take effect only when they succeed, so an error or Ctrl-C leaves the mesh as
it was. Arrays read from the mesh are copies. Queries and measures may be
called from several threads at once.)doc");
    BindMesh(module, mesh);
    BindFiles(module, mesh);
    BindMeasures(module, mesh);
    BindOperations(module, mesh);
    BindQueries(module, mesh);
}
