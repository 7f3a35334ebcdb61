// The library's spatial queries on arrays of rays and points. They read an
// immutable snapshot and may run from several Python threads at once.
//
// Each call indexes the snapshot's faces once (TMeshTree) and answers every
// ray or point through the index's twins of the designed queries, which give
// the designed answers (the same hit, face and inside verdict) on all cores.

#include <cmath>
#include <limits>
#include <mutex>
#include <string>
#include <vector>

#include "BoundMesh.h"
#include "core/Numbers.h"
#include "quorvel/meshes/queries/TMeshTree.h"

namespace Corvane::Pellix::Quorvel::Python {

namespace {

// The designed inside test of two meshes reseeds and draws from the C
// runtime's one random generator, which every thread shares: two tests at
// once would interleave their draws and give different answers. They run one
// at a time. (The index's twins draw from a private copy of the generator.)
std::mutex RandomGeneratorMutex;

// Queries between two checks for Ctrl-C.
constexpr std::size_t QueriesPerCheck = 4096;

class CPoints {
public:
    std::vector<Tool::Point> m_Points;
    // A single (3,) point: results are scalars.
    bool m_Single = false;
};

CPoints ReadPoints(const py::object& object, const char* name) {
    py::array a = py::module_::import("numpy").attr("asarray")(object);
    const char kind = a.dtype().kind();
    if (kind != 'f' && kind != 'i' && kind != 'u')
        ThrowType(std::string(name) + " must hold real numbers, not dtype " + py::str(a.dtype()).cast<std::string>());
    CPoints points;
    points.m_Single = a.ndim() == 1;
    if (!(a.ndim() == 1 && a.shape(0) == 3) && !(a.ndim() == 2 && a.shape(1) == 3))
        ThrowValue(std::string(name) + " must have shape (3,) or (k, 3), not " +
                   py::repr(py::tuple(a.attr("shape"))).cast<std::string>());
    const auto values = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
    const double* data = values.data();
    const std::size_t count = points.m_Single ? 1 : static_cast<std::size_t>(a.shape(0));
    points.m_Points.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        for (int k = 0; k < 3; ++k)
            if (!std::isfinite(data[3 * i + k]))
                ThrowValue(std::string(name) + (points.m_Single ? "" : "[" + std::to_string(i) + "]") + " has a " +
                           (std::isnan(data[3 * i + k]) ? "nan" : "infinite") + " coordinate");
        points.m_Points[i] = Tool::Point(data[3 * i], data[3 * i + 1], data[3 * i + 2]);
    }
    return points;
}

// Calls query(i) for i in [0, count) with the GIL released, on all cores,
// looking for Ctrl-C between blocks of queries. query must be safe to call
// from several threads at once (it writes only element i of its results).
template <typename Query>
void RunQueries(std::size_t count, Query query) {
    py::gil_scoped_release release;
    for (std::size_t begin = 0; begin < count; begin += QueriesPerCheck) {
        const long long end = static_cast<long long>(std::min(count, begin + QueriesPerCheck));
#pragma omp parallel for schedule(dynamic, 16) if (end - static_cast <long long>(begin) > 64)
        for (long long i = static_cast<long long>(begin); i < end; ++i)
            query(static_cast<std::size_t>(i));
        if (static_cast<std::size_t>(end) < count)
            CheckSignals();
    }
}

// The index of a snapshot's mesh, built with the GIL released.
template <typename Real, typename Vertex, typename Attribute, typename Index>
TMeshTree<Real, Vertex, Attribute, Index> IndexOf(const TMesh<Real, Vertex, Attribute, Index>& mesh) {
    py::gil_scoped_release release;
    return TMeshTree<Real, Vertex, Attribute, Index>(mesh);
}

template <typename Mesh>
typename Mesh::Vector ToVector(const Tool::Point& p) {
    typedef decltype(typename Mesh::Vector().x) Real;
    return typename Mesh::Vector(Real(p.x), Real(p.y), Real(p.z));
}

py::array_t<bool> Flags(const std::vector<char>& flags) {
    py::array_t<bool> out(static_cast<py::ssize_t>(flags.size()));
    bool* data = out.mutable_data();
    for (std::size_t i = 0; i < flags.size(); ++i)
        data[i] = flags[i] != 0;
    return out;
}

py::tuple RayCast(const CBoundMesh& self, const py::object& originsObject, const py::object& directionsObject,
                  const std::string& cull, double tolerance) {
    int mode = 0;
    if (cull == "back")
        mode = 1;
    else if (cull == "front")
        mode = 2;
    else if (cull != "none")
        ThrowValue("cull must be 'none', 'back' or 'front', not '" + cull + "'");
    if (!std::isfinite(tolerance) || tolerance < 0)
        ThrowValue("tolerance must be a finite number of at least 0, not " + Tool::FormatReal(tolerance));
    const CPoints origins = ReadPoints(originsObject, "origins");
    const CPoints directions = ReadPoints(directionsObject, "directions");
    const std::size_t no = origins.m_Points.size(), nd = directions.m_Points.size();
    if (no != nd && no != 1 && nd != 1)
        ThrowValue("origins and directions must have the same number of rows (or one of them a single point), not " +
                   std::to_string(no) + " and " + std::to_string(nd));
    const bool single = origins.m_Single && directions.m_Single;
    const std::size_t count = std::max(no, nd);
    std::vector<char> hits(count, 0);
    std::vector<Tool::Point> points(count, Tool::Point(NAN, NAN, NAN));
    const Snapshot snapshot = self.Get();
    std::visit(
        [&](const auto& mesh) {
            typedef std::remove_cv_t<std::remove_reference_t<decltype(*mesh)>> Mesh;
            typedef decltype(typename Mesh::Vector().x) Real;
            const auto tree = IndexOf(*mesh);
            RunQueries(count, [&](std::size_t i) {
                const TLine3<Real> line(ToVector<Mesh>(origins.m_Points[no == 1 ? 0 : i]),
                                        ToVector<Mesh>(directions.m_Points[nd == 1 ? 0 : i]));
                typename Mesh::Vector hit;
                const Real t = Real(tolerance);
                const bool found = mode == 0   ? tree.IntersectWith(line, &hit, t)
                                   : mode == 1 ? tree.IntersectWithBFC(line, &hit, t)
                                               : tree.IntersectWithFFC(line, &hit, t);
                if (found) {
                    hits[i] = 1;
                    points[i] = Tool::Point(hit.x, hit.y, hit.z);
                }
            });
        },
        snapshot);
    py::array_t<double> out({static_cast<py::ssize_t>(count), py::ssize_t(3)});
    for (std::size_t i = 0; i < count; ++i) {
        out.mutable_at(i, 0) = points[i].x;
        out.mutable_at(i, 1) = points[i].y;
        out.mutable_at(i, 2) = points[i].z;
    }
    if (single)
        return py::make_tuple(py::bool_(hits[0] != 0), out[py::int_(0)]);
    return py::make_tuple(Flags(hits), out);
}

// answer(tree, point) for every point, through the snapshot's index: the
// values, and whether a single (3,) point was given.
template <typename Value, typename Answer>
std::pair<std::vector<Value>, bool> AnswerPerPoint(const CBoundMesh& self, const py::object& pointsObject,
                                                   Answer answer) {
    const CPoints points = ReadPoints(pointsObject, "points");
    std::vector<Value> values(points.m_Points.size(), Value());
    const Snapshot snapshot = self.Get();
    std::visit(
        [&](const auto& mesh) {
            typedef std::remove_cv_t<std::remove_reference_t<decltype(*mesh)>> Mesh;
            const auto tree = IndexOf(*mesh);
            RunQueries(points.m_Points.size(),
                       [&](std::size_t i) { values[i] = Value(answer(tree, ToVector<Mesh>(points.m_Points[i]))); });
        },
        snapshot);
    return {std::move(values), points.m_Single};
}

py::object IsWithin(const CBoundMesh& self, const py::object& points) {
    const auto [inside, single] =
        AnswerPerPoint<char>(self, points, [](const auto& tree, const auto& p) { return tree.IsWithin(p); });
    if (single)
        return py::bool_(inside[0] != 0);
    return Flags(inside);
}

// The other mesh's snapshot in this mesh's precision.
Snapshot InPrecisionOf(const Snapshot& self, const CBoundMesh& other) {
    Snapshot snapshot = other.Get();
    if (snapshot.index() == self.index())
        return snapshot;
    py::gil_scoped_release release;
    return MakeSnapshot(ExtractData(snapshot), std::holds_alternative<FloatSnapshot>(self));
}

template <typename Function>
bool WithOther(const CBoundMesh& self, const CBoundMesh& other, Function function) {
    const Snapshot mine = self.Get();
    const Snapshot theirs = InPrecisionOf(mine, other);
    py::gil_scoped_release release;
    std::lock_guard<std::mutex> lock(RandomGeneratorMutex);
    if (std::holds_alternative<DoubleSnapshot>(mine))
        return function(*std::get<DoubleSnapshot>(mine), *std::get<DoubleSnapshot>(theirs));
    return function(*std::get<FloatSnapshot>(mine), *std::get<FloatSnapshot>(theirs));
}

bool IsWithinMesh(const CBoundMesh& self, const CBoundMesh& other) {
    return WithOther(self, other, [](const auto& a, const auto& b) { return a.IsWithin(b); });
}

bool Intersects(const CBoundMesh& self, const CBoundMesh& other) {
    return WithOther(self, other, [](const auto& a, const auto& b) { return a.IntersectsWith(b); });
}

py::object ClosestVertex(const CBoundMesh& self, const py::object& points) {
    const auto [closest, single] = AnswerPerPoint<std::int64_t>(
        self, points, [](const auto& tree, const auto& p) { return tree.FindClosestVertex(p); });
    if (single)
        return py::int_(closest[0]);
    py::array_t<std::int64_t> out(static_cast<py::ssize_t>(closest.size()));
    std::copy(closest.begin(), closest.end(), out.mutable_data());
    return out;
}

py::object ClosestPoint(const CBoundMesh& self, const py::object& points) {
    const auto [found, single] = AnswerPerPoint<CSurfacePoint>(
        self, points, [](const auto& tree, const auto& p) { return tree.FindClosestPoint(p); });
    const std::size_t count = found.size();
    py::array_t<double> closest({static_cast<py::ssize_t>(count), py::ssize_t(3)});
    py::array_t<double> weights({static_cast<py::ssize_t>(count), py::ssize_t(3)});
    py::array_t<std::int64_t> faces(static_cast<py::ssize_t>(count));
    py::array_t<double> distances(static_cast<py::ssize_t>(count));
    for (std::size_t i = 0; i < count; ++i) {
        const CSurfacePoint& p = found[i];
        closest.mutable_at(i, 0) = p.m_Point.x;
        closest.mutable_at(i, 1) = p.m_Point.y;
        closest.mutable_at(i, 2) = p.m_Point.z;
        for (int k = 0; k < 3; ++k)
            weights.mutable_at(i, k) = p.m_Barycentric[k];
        faces.mutable_at(i) = p.m_Triangle == CSurfacePoint::NoTriangle ? -1 : std::int64_t(p.m_Triangle);
        distances.mutable_at(i) = std::sqrt(p.m_DistanceSquared);
    }
    if (single)
        return py::make_tuple(closest[py::int_(0)], faces[py::int_(0)], weights[py::int_(0)], distances[py::int_(0)]);
    return py::make_tuple(closest, faces, weights, distances);
}

// One double per point from a const member of the index.
template <typename Answer>
py::object PerPoint(const CBoundMesh& self, const py::object& points, Answer answer) {
    const auto [values, single] = AnswerPerPoint<double>(self, points, answer);
    if (single)
        return py::float_(values[0]);
    py::array_t<double> out(static_cast<py::ssize_t>(values.size()));
    std::copy(values.begin(), values.end(), out.mutable_data());
    return out;
}

py::object SignedDistance(const CBoundMesh& self, const py::object& points) {
    return PerPoint(self, points, [](const auto& tree, const auto& p) { return tree.GetSignedDistance(p); });
}

py::object WindingNumber(const CBoundMesh& self, const py::object& points, bool exact) {
    if (exact)
        return PerPoint(self, points, [](const auto& tree, const auto& p) { return tree.GetWindingNumber(p); });
    return PerPoint(self, points, [](const auto& tree, const auto& p) { return tree.EstimateWindingNumber(p); });
}

py::object Contains(const CBoundMesh& self, const py::object& points) {
    const auto [inside, single] =
        AnswerPerPoint<char>(self, points, [](const auto& tree, const auto& p) { return tree.Contains(p); });
    if (single)
        return py::bool_(inside[0] != 0);
    return Flags(inside);
}

}  // namespace

void BindQueries(py::module_&, py::class_<CBoundMesh>& mesh) {
    mesh.def("ray_cast", &RayCast, py::arg("origins"), py::arg("directions"), py::arg("cull") = "none",
             py::arg("tolerance") = 0.0,
             R"doc(Nearest hit of rays origin + t * direction (t >= 0) with the faces (the library's IntersectWith).

origins, directions: (k, 3) arrays, or (3,) for one ray; a single row is
  paired with every row of the other.
cull: "none" (every face), "back" (back faces ignored: only faces seen from
  their front, where direction . normal < 0) or "front" (only faces seen from
  behind).
tolerance: widens every triangle in barycentric terms (0: exact).
Returns (hit, points): a (k,) bool array and a (k, 3) float64 array of hit
points, NaN where nothing was hit; for one ray a bool and a (3,) array. Ties
go to the lowest-numbered face, as in the library's designed query, answered through a bounding
volume hierarchy on all cores.)doc");
    mesh.def("is_within", &IsWithin, py::arg("points"),
             R"doc(The library's designed inside test (IsWithin) for each point: a (k,) bool array, or a bool for (3,).

A point outside the bounding box is never within. Otherwise rays of random
directions (the same sequence on every call, from seed 0) are cast up to the
box's diagonal; a ray that grazes an edge or vertex is discarded, and the first
clean ray decides: within when it crossed an even, non-zero number of faces.
That rule is the library's as designed: for a single closed surface a point
inside is crossed an odd number of times and is reported as not within (use
contains for an inside test that is right). Answered through a bounding volume
hierarchy on all cores, with a private copy of the C runtime's generator, so
the answers are the designed ones and calls from several threads do not
disturb each other.)doc");
    mesh.def("is_within_mesh", &IsWithinMesh, py::arg("other"),
             R"doc(True when any vertex of other passes is_within for this mesh (the library's IsWithin(mesh)).)doc");
    mesh.def("intersects", &Intersects, py::arg("other"),
             R"doc(The library's IntersectsWith: False when the bounding boxes are apart; True when either mesh
has a vertex within the other (is_within_mesh either way) or an edge of one touches a face of the other.
Quadratic in the face counts by design.)doc");
    mesh.def("closest_vertex", &ClosestVertex, py::arg("points"),
             R"doc(Index of the vertex nearest to each point (the library's FindClosestVertex): a (k,) int64
array, or an int for one (3,) point. Ties go to the lowest index; unused vertices count too.)doc");
    mesh.def("closest_point", &ClosestPoint, py::arg("points"),
             R"doc(Nearest point of the surface to each point: (points, faces, barycentric, distances).

points: (k, 3) float64; faces: (k,) int64, the face the point lies on (ties
go to the lowest index; -1 for a mesh without faces); barycentric: (k, 3)
weights of that face's corners 0, 1, 2; distances: (k,) float64. For one (3,)
point, one of each. Uses a bounding volume hierarchy, on all cores.)doc");
    mesh.def("signed_distance", &SignedDistance, py::arg("points"),
             R"doc(Distance from each point to the surface, negative inside: a (k,) float64 array, or a float.

Inside means a winding number of at least 1/2 (see winding_number), so the
sign is right for closed meshes and sensible for open ones.)doc");
    mesh.def("winding_number", &WindingNumber, py::arg("points"), py::arg("exact") = false,
             R"doc(Generalised winding number of the surface around each point: a (k,) float64 array, or a float.

1 inside a closed, outward-wound shell and 0 outside (2 inside two nested
shells); on open meshes a fraction that says how far the point is enclosed.
exact=False (default) uses a hierarchical approximation, accurate to a few
thousandths away from the surface; exact=True sums every face.)doc");
    mesh.def("contains", &Contains, py::arg("points"),
             R"doc(Whether each point is inside, by the winding number (>= 1/2): a (k,) bool array, or a bool.

Unlike is_within (the library's designed parity test) it is right for closed
meshes of any number of shells and degrades gracefully on open ones. On a
closed, consistently oriented mesh (corners matched by exact position) the
answer is that of the exact winding number (winding_number(exact=True) >= 1/2),
near the surface too; on other meshes that of the default estimate.)doc");
}

}  // namespace Corvane::Pellix::Quorvel::Python
