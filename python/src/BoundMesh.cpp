#include "BoundMesh.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "core/Numbers.h"
#include "core/ToolError.h"
#include "quorvel/maths/Limits.h"

namespace Corvane::Pellix::Quorvel::Python {

void ThrowValue(const std::string& message) {
    throw py::value_error(message);
}

void ThrowType(const std::string& message) {
    throw py::type_error(message);
}

void RethrowToolError(const std::exception& error) {
    throw py::value_error(error.what());
}

CBoundMesh::CChangeLock::CChangeLock(CBoundMesh& mesh) : m_Mesh(mesh) {
    if (mesh.m_ChangeOwner.load() == std::this_thread::get_id())
        throw std::runtime_error("this mesh is being changed by the call whose progress callback is running; change "
                                 "a copy instead");
    mesh.m_ChangeMutex.lock();
    mesh.m_ChangeOwner = std::this_thread::get_id();
}

CBoundMesh::CChangeLock::~CChangeLock() {
    m_Mesh.m_ChangeOwner = std::thread::id();
    m_Mesh.m_ChangeMutex.unlock();
}

void CheckSignals() {
    py::gil_scoped_acquire gil;
    if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
}

template <typename Mesh>
std::unique_ptr<Mesh> BuildMesh(const Tool::CMeshData& data) {
    typedef typename Mesh::Vector Vector;
    typedef decltype(Vector().x) Real;
    auto mesh = std::make_unique<Mesh>();
    // Editing steps append one element at a time; doubling keeps that
    // amortised constant.
    mesh->SetUseExponentialGrowth(true);
    const unsigned int vertexCount = static_cast<unsigned int>(data.m_Positions.size());
    const unsigned int faceCount = static_cast<unsigned int>(data.m_Triangles.size());
    mesh->m_Vertices.Expand(vertexCount);
    for (unsigned int i = 0; i < vertexCount; ++i) {
        const Tool::Point& p = data.m_Positions[i];
        mesh->m_Vertices[i] = TVertexPN<Real>(Vector(Real(p.x), Real(p.y), Real(p.z)), Vector());
    }
    mesh->m_Faces.Expand(faceCount);
    for (unsigned int i = 0; i < faceCount; ++i) {
        const Tool::Triangle& t = data.m_Triangles[i];
        mesh->m_Faces[i] = typename Mesh::Face(t[0], t[1], t[2]);
    }
    return mesh;
}

template <typename Mesh>
Tool::CMeshData ExtractData(const Mesh& mesh) {
    Tool::CMeshData data;
    const unsigned int vertexCount = mesh.m_Vertices.GetCount();
    const unsigned int faceCount = mesh.m_Faces.GetCount();
    data.m_Positions.resize(vertexCount);
    for (unsigned int i = 0; i < vertexCount; ++i) {
        const auto& p = mesh.m_Vertices[i].m_Position;
        data.m_Positions[i] = Tool::Point(p.x, p.y, p.z);
    }
    data.m_Triangles.resize(faceCount);
    for (unsigned int i = 0; i < faceCount; ++i) {
        const auto& f = mesh.m_Faces[i];
        data.m_Triangles[i] = Tool::Triangle{f.m_Corners[0], f.m_Corners[1], f.m_Corners[2]};
    }
    return data;
}

template std::unique_ptr<DoubleMesh> BuildMesh<DoubleMesh>(const Tool::CMeshData&);
template std::unique_ptr<FloatMesh> BuildMesh<FloatMesh>(const Tool::CMeshData&);
template Tool::CMeshData ExtractData<DoubleMesh>(const DoubleMesh&);
template Tool::CMeshData ExtractData<FloatMesh>(const FloatMesh&);

Tool::CMeshData ExtractData(const Snapshot& snapshot) {
    return std::visit([](const auto& mesh) { return ExtractData(*mesh); }, snapshot);
}

Snapshot MakeSnapshot(const Tool::CMeshData& data, bool single) {
    if (single)
        return Finish(BuildMesh<FloatMesh>(data));
    return Finish(BuildMesh<DoubleMesh>(data));
}

namespace {

std::string ShapeText(const py::array& a) {
    std::string text = "(";
    for (py::ssize_t i = 0; i < a.ndim(); ++i)
        text += (i ? ", " : "") + std::to_string(a.shape(i));
    return text + (a.ndim() == 1 ? ",)" : ")");
}

std::string DtypeText(const py::array& a) {
    return py::str(a.dtype()).cast<std::string>();
}

// np.asarray(obj) with the shape checked: (n, 3).
py::array AsTable(const py::object& object, const char* name) {
    py::array a;
    try {
        a = py::module_::import("numpy").attr("asarray")(object);
    } catch (py::error_already_set&) {
        ThrowType(std::string(name) + " must be an (n, 3) array-like of numbers");
    }
    if (a.ndim() != 2 || a.shape(1) != 3)
        ThrowValue(std::string(name) + " must have shape (n, 3), not " + ShapeText(a));
    return a;
}

char Kind(const py::array& a) {
    return a.dtype().kind();
}

}  // namespace

// Reads an (n, 3) array of coordinates; any order of memory and any real or
// integer dtype. Returns whether the array asks for single precision.
bool ReadPositions(const py::object& object, const char* name, std::vector<Tool::Point>& positions, int precision) {
    const py::array a = AsTable(object, name);
    const char kind = Kind(a);
    if (kind != 'f' && kind != 'i' && kind != 'u')
        ThrowType(std::string(name) + " must hold real numbers (float32 or float64), not dtype " + DtypeText(a));
    const bool single = precision == 0 ? DtypeText(a) == "float32" : precision == 32;
    // Counted before any conversion copies the array.
    const py::ssize_t n = a.shape(0);
    if (static_cast<std::uint64_t>(n) > MaximumElementCount)
        ThrowValue(std::string(name) + " has " + Tool::FormatCount(std::uint64_t(n)) + " rows, more than the " +
                   Tool::FormatCount(MaximumElementCount) + " a mesh can index with 32-bit indices");
    const auto values = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
    if (!values)
        throw py::error_already_set();
    const double* data = values.data();
    positions.resize(static_cast<std::size_t>(n));
    constexpr double largestFloat = Sarvetta::LargestFloat;
    for (py::ssize_t i = 0; i < n; ++i) {
        for (int k = 0; k < 3; ++k) {
            const double v = data[3 * i + k];
            if (!std::isfinite(v))
                ThrowValue(std::string(name) + "[" + std::to_string(i) + ", " + std::to_string(k) + "] is " +
                           (std::isnan(v) ? "nan" : "infinite") + ": coordinates must be finite");
            if (single && std::fabs(v) > largestFloat)
                ThrowValue(std::string(name) + "[" + std::to_string(i) + ", " + std::to_string(k) +
                           "] = " + Tool::FormatReal(v) + " does not fit in float32");
        }
        positions[static_cast<std::size_t>(i)] = Tool::Point(data[3 * i], data[3 * i + 1], data[3 * i + 2]);
    }
    return single;
}

namespace {

void ReadFaces(const py::object& object, std::size_t vertexCount, std::vector<Tool::Triangle>& triangles) {
    const py::array a = AsTable(object, "faces");
    const char kind = Kind(a);
    if (kind != 'i' && kind != 'u')
        ThrowType("faces must hold integer vertex indices, not dtype " + DtypeText(a));
    const py::ssize_t m = a.shape(0);
    if (m == 0)
        ThrowValue("faces is empty: a mesh needs at least one face");
    if (static_cast<std::uint64_t>(m) > MaximumElementCount)
        ThrowValue("faces has " + Tool::FormatCount(std::uint64_t(m)) + " rows, more than the " +
                   Tool::FormatCount(MaximumElementCount) + " a mesh can index with 32-bit indices");
    triangles.resize(static_cast<std::size_t>(m));
    auto check = [&](py::ssize_t row, int k, auto value) {
        if constexpr (std::is_signed_v<decltype(value)>)
            if (value < 0)
                ThrowValue("faces[" + std::to_string(row) + ", " + std::to_string(k) + "] = " + std::to_string(value) +
                           " is negative: indices count vertices from 0");
        if (static_cast<std::uint64_t>(value) >= vertexCount)
            ThrowValue("faces[" + std::to_string(row) + ", " + std::to_string(k) + "] = " + std::to_string(value) +
                       " is out of range for " + std::to_string(vertexCount) + " vertices");
        triangles[static_cast<std::size_t>(row)][k] = static_cast<std::uint32_t>(value);
    };
    if (kind == 'u') {
        const auto values = py::array_t<std::uint64_t, py::array::c_style | py::array::forcecast>::ensure(a);
        const std::uint64_t* data = values.data();
        for (py::ssize_t i = 0; i < m; ++i)
            for (int k = 0; k < 3; ++k)
                check(i, k, data[3 * i + k]);
    } else {
        const auto values = py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>::ensure(a);
        const std::int64_t* data = values.data();
        for (py::ssize_t i = 0; i < m; ++i)
            for (int k = 0; k < 3; ++k)
                check(i, k, data[3 * i + k]);
    }
}

// 0: as the vertices' dtype; 32 or 64: forced.
int ReadPrecision(const py::object& dtype) {
    if (dtype.is_none())
        return 0;
    py::dtype chosen;
    try {
        chosen = py::dtype::from_args(dtype);
    } catch (py::error_already_set&) {
        ThrowType("dtype must be numpy.float32 or numpy.float64, not " + py::repr(dtype).cast<std::string>());
    }
    const std::string name = py::str(chosen).cast<std::string>();
    if (name == "float32")
        return 32;
    if (name == "float64")
        return 64;
    ThrowValue("dtype must be float32 or float64, not " + name);
}

template <typename Real>
py::array_t<Real> NewTable(std::size_t rows) {
    return py::array_t<Real>({static_cast<py::ssize_t>(rows), py::ssize_t(3)});
}

// Arrays handed out are copies, marked read-only so that an assignment into
// one fails loudly instead of changing nothing.
template <typename Array>
Array ReadOnly(Array a) {
    py::detail::array_proxy(a.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return a;
}

py::object Vertices(const CBoundMesh& self) {
    return std::visit(
        [](const auto& mesh) -> py::object {
            typedef decltype(mesh->m_Vertices[0].m_Position.x) Real;
            typedef std::remove_cv_t<std::remove_reference_t<Real>> R;
            const unsigned int n = mesh->m_Vertices.GetCount();
            auto out = NewTable<R>(n);
            R* data = out.mutable_data();
            for (unsigned int i = 0; i < n; ++i) {
                const auto& p = mesh->m_Vertices[i].m_Position;
                data[3 * i] = p.x;
                data[3 * i + 1] = p.y;
                data[3 * i + 2] = p.z;
            }
            return ReadOnly(out);
        },
        self.Get());
}

py::object VertexNormals(const CBoundMesh& self) {
    return std::visit(
        [](const auto& mesh) -> py::object {
            typedef std::remove_cv_t<std::remove_reference_t<decltype(mesh->m_Vertices[0].m_Normal.x)>> R;
            const unsigned int n = mesh->m_Vertices.GetCount();
            auto out = NewTable<R>(n);
            R* data = out.mutable_data();
            for (unsigned int i = 0; i < n; ++i) {
                const auto& p = mesh->m_Vertices[i].m_Normal;
                data[3 * i] = p.x;
                data[3 * i + 1] = p.y;
                data[3 * i + 2] = p.z;
            }
            return ReadOnly(out);
        },
        self.Get());
}

py::object FaceNormals(const CBoundMesh& self) {
    return std::visit(
        [](const auto& mesh) -> py::object {
            typedef std::remove_cv_t<std::remove_reference_t<decltype(mesh->m_Vertices[0].m_Normal.x)>> R;
            const unsigned int m = mesh->m_Faces.GetCount();
            auto out = NewTable<R>(m);
            R* data = out.mutable_data();
            for (unsigned int f = 0; f < m; ++f) {
                const auto normal = mesh->GetFaceNormal(f);
                data[3 * f] = normal.x;
                data[3 * f + 1] = normal.y;
                data[3 * f + 2] = normal.z;
            }
            return ReadOnly(out);
        },
        self.Get());
}

py::object Faces(const CBoundMesh& self) {
    return std::visit(
        [](const auto& mesh) -> py::object {
            const unsigned int m = mesh->m_Faces.GetCount();
            auto out = NewTable<std::int64_t>(m);
            std::int64_t* data = out.mutable_data();
            for (unsigned int f = 0; f < m; ++f)
                for (int k = 0; k < 3; ++k)
                    data[3 * f + k] = mesh->m_Faces[f].m_Corners[k];
            return ReadOnly(out);
        },
        self.Get());
}

unsigned int VertexCount(const CBoundMesh& self) {
    return std::visit([](const auto& mesh) { return mesh->m_Vertices.GetCount(); }, self.Get());
}

unsigned int FaceCount(const CBoundMesh& self) {
    return std::visit([](const auto& mesh) { return mesh->m_Faces.GetCount(); }, self.Get());
}

py::dtype Dtype(const CBoundMesh& self) {
    return self.IsSingle() ? py::dtype::of<float>() : py::dtype::of<double>();
}

CBoundMesh Construct(const py::object& vertices, const py::object& faces, const py::object& dtype) {
    Tool::CMeshData data;
    const int precision = ReadPrecision(dtype);
    const bool single = ReadPositions(vertices, "vertices", data.m_Positions, precision);
    if (data.m_Positions.empty())
        ThrowValue("vertices is empty: a mesh needs at least three vertices");
    ReadFaces(faces, data.m_Positions.size(), data.m_Triangles);
    py::gil_scoped_release release;
    return CBoundMesh(MakeSnapshot(data, single));
}

void SetVertices(CBoundMesh& self, const py::object& vertices) {
    std::vector<Tool::Point> positions;
    ReadPositions(vertices, "vertices", positions, self.IsSingle() ? 32 : 64);
    py::gil_scoped_release release;
    CBoundMesh::CChangeLock change(self);
    Tool::CMeshData data = ExtractData(self.Get());
    if (positions.size() != data.m_Positions.size()) {
        py::gil_scoped_acquire gil;
        ThrowValue("vertices must keep the vertex count: the mesh has " + std::to_string(data.m_Positions.size()) +
                   " vertices, the array " + std::to_string(positions.size()) + " rows");
    }
    data.m_Positions = std::move(positions);
    self.Publish(MakeSnapshot(data, self.IsSingle()));
}

std::string Repr(const CBoundMesh& self) {
    return "quorvel.Mesh(" + Tool::FormatCount(VertexCount(self)) + " vertices, " + Tool::FormatCount(FaceCount(self)) +
           " faces, " + (self.IsSingle() ? "float32" : "float64") + ")";
}

}  // namespace

void BindMesh(py::module_&, py::class_<CBoundMesh>& mesh) {
    mesh.def(py::init(&Construct), py::arg("vertices"), py::arg("faces"), py::arg("dtype") = py::none(),
             R"doc(A triangle mesh from numpy arrays.

vertices: (n, 3) array-like of coordinates, any memory order. float32 arrays
  make a single-precision mesh, any other real or integer dtype a double one;
  dtype=numpy.float32 or numpy.float64 forces the precision.
faces: (m, 3) array-like of integer vertex indices, counted from 0.

Raises ValueError for a wrong shape, an empty array, a non-finite coordinate
or an index out of range (the message names the entry), TypeError for a
non-numeric or non-integer dtype. Faces that name a vertex twice are kept
as given; the operations that cannot take them drop them, as the command-line
tool does.)doc")
        .def_property("vertices", &Vertices, &SetVertices,
                      R"doc((n, 3) array of vertex positions, in the mesh's dtype.

A new read-only copy on every access: later changes of the mesh never show
through it. Assign a whole (n, 3) array to move the vertices (same count).)doc")
        .def_property_readonly("faces", &Faces, R"doc((m, 3) int64 array of vertex indices; a new read-only copy.)doc")
        .def_property_readonly("vertex_normals", &VertexNormals,
                               R"doc((n, 3) array of unit vertex normals, a new read-only copy.

Each is the normalised sum of the unit normals of the faces around the vertex
(once per corner); zero for a vertex that no face uses.)doc")
        .def_property_readonly("face_normals", &FaceNormals,
                               R"doc((m, 3) array of unit face normals, a new read-only copy.

The normal of face (a, b, c) follows the right-hand rule: (b - a) x (c - a),
normalised.)doc")
        .def_property_readonly("vertex_count", &VertexCount, "Number of vertices.")
        .def_property_readonly("face_count", &FaceCount, "Number of faces.")
        .def_property_readonly("dtype", &Dtype, "numpy.float32 or numpy.float64: the precision of the mesh.")
        .def(
            "copy", [](const CBoundMesh& self) { return CBoundMesh(self); },
            "An independent copy (cheap: the two share storage until one of them changes).")
        .def("__copy__", [](const CBoundMesh& self) { return CBoundMesh(self); })
        .def(
            "__deepcopy__", [](const CBoundMesh& self, const py::object&) { return CBoundMesh(self); }, py::arg("memo"))
        .def("__repr__", &Repr)
        .def(py::pickle([](const CBoundMesh& self) { return py::make_tuple(Vertices(self), Faces(self)); },
                        [](const py::tuple& state) {
                            if (state.size() != 2)
                                ThrowValue("cannot unpickle quorvel.Mesh: unexpected state");
                            return Construct(state[0], state[1], py::none());
                        }));
}

}  // namespace Corvane::Pellix::Quorvel::Python
