// Whole-mesh measures from the library, and the quality figures of the
// command-line tool (`quorvel info`, the table of `quorvel remesh`).

#include <array>
#include <cmath>
#include <limits>

#include "BoundMesh.h"
#include "core/MeshTopology.h"
#include "report/MeshStatistics.h"
#include "report/SurfaceDistance.h"

namespace Corvane::Pellix::Quorvel::Python {

namespace {

// Samples per surface for the distance of a quality report: the count that
// `quorvel remesh` uses.
constexpr std::size_t DistanceSamples = 200000;

typedef std::array<double, 3> Triple;

py::array_t<double> ToArray(const Triple& t) {
    py::array_t<double> out(3);
    std::copy(t.begin(), t.end(), out.mutable_data());
    return out;
}

template <typename V>
Triple ToTriple(const V& v) {
    return Triple{double(v.x), double(v.y), double(v.z)};
}

double Area(const CBoundMesh& self) {
    return std::visit([](const auto& mesh) { return double(mesh->GetSurfaceArea()); }, self.Get());
}

double Volume(const CBoundMesh& self) {
    return std::visit([](const auto& mesh) { return double(mesh->GetVolume()); }, self.Get());
}

py::array_t<double> CentreOfMass(const CBoundMesh& self) {
    Triple centre;
    {
        py::gil_scoped_release release;
        centre = std::visit(
            [](const auto& mesh) {
                typename std::remove_cv_t<std::remove_reference_t<decltype(*mesh)>>::Vector out;
                mesh->CentreOfMass(&out);
                return ToTriple(out);
            },
            self.Get());
    }
    return ToArray(centre);
}

py::array_t<double> Bounds(const CBoundMesh& self) {
    const std::array<Triple, 2> box = std::visit(
        [](const auto& mesh) {
            return std::array<Triple, 2>{ToTriple(mesh->m_BoundingBox.m_Min), ToTriple(mesh->m_BoundingBox.m_Max)};
        },
        self.Get());
    py::array_t<double> out({2, 3});
    for (int r = 0; r < 2; ++r)
        for (int k = 0; k < 3; ++k)
            out.mutable_at(r, k) = box[r][k];
    return out;
}

py::array_t<double> PrincipalAxes(const CBoundMesh& self) {
    // Rows major, middle, minor; NaN rows for what the library leaves unset.
    std::array<Triple, 3> axes;
    {
        py::gil_scoped_release release;
        axes = std::visit(
            [](const auto& mesh) {
                constexpr double nan = std::numeric_limits<double>::quiet_NaN();
                typedef typename std::remove_cv_t<std::remove_reference_t<decltype(*mesh)>>::Vector Vector;
                const Vector unset(nan, nan, nan);
                Vector major = unset, middle = unset, minor = unset;
                mesh->DeterminePrincipalAxes(&major, &middle, &minor);
                return std::array<Triple, 3>{ToTriple(major), ToTriple(middle), ToTriple(minor)};
            },
            self.Get());
    }
    py::array_t<double> out({3, 3});
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 3; ++k)
            out.mutable_at(r, k) = axes[r][k];
    return out;
}

py::dict StatisticsDict(const Tool::CMeshStatistics& s) {
    py::dict d;
    d["vertices"] = s.m_Vertices;
    d["faces"] = s.m_Faces;
    d["edge_length_min"] = s.m_MinEdge;
    d["edge_length_mean"] = s.m_MeanEdge;
    d["edge_length_max"] = s.m_MaxEdge;
    d["edge_length_cv"] = s.m_EdgeVariation;
    d["interior_valence_6"] = s.m_RegularShare;
    d["smallest_angle"] = s.m_MinAngle;
    d["largest_angle"] = s.m_MaxAngle;
    d["area"] = s.m_Area;
    d["volume"] = s.m_Volume;
    d["open_edges"] = s.m_OpenEdges;
    d["non_manifold_edges"] = s.m_NonManifoldEdges;
    return d;
}

py::dict Quality(const CBoundMesh& self) {
    Tool::CMeshStatistics s;
    {
        py::gil_scoped_release release;
        s = Tool::MeasureMesh(ExtractData(self.Get()));
    }
    return StatisticsDict(s);
}

py::dict QualityReport(const CBoundMesh& before, const CBoundMesh& after, std::size_t samples) {
    if (samples == 0)
        ThrowValue("samples must be positive");
    Tool::CMeshStatistics input, output;
    double distance = 0;
    {
        py::gil_scoped_release release;
        const Tool::CMeshData a = ExtractData(before.Get()), b = ExtractData(after.Get());
        input = Tool::MeasureMesh(a);
        output = Tool::MeasureMesh(b);
        const double diagonal = Tool::UsedDiagonalLength(a);
        distance = diagonal > 0 ? Tool::SampledHausdorffDistance(a, b, samples) / diagonal : 0;
    }
    CheckSignals();
    py::dict d;
    d["input"] = StatisticsDict(input);
    d["output"] = StatisticsDict(output);
    d["volume_change"] = Tool::VolumeChange(input, output);
    d["distance"] = distance;
    return d;
}

py::dict EdgeLengthStats(const CBoundMesh& self) {
    Tool::CMeshStatistics s;
    double shortest = 0, longest = 0, byFaces = 0;
    std::size_t edges = 0;
    {
        py::gil_scoped_release release;
        const Snapshot snapshot = self.Get();
        s = Tool::MeasureMesh(ExtractData(snapshot));
        edges = s.m_EdgeLengths.size();
        std::visit(
            [&](const auto& mesh) {
                shortest = mesh->GetMinEdgeLength();
                longest = mesh->GetMaxEdgeLength();
                byFaces = mesh->GetMeanEdgeLength();
            },
            snapshot);
    }
    py::dict d;
    d["count"] = edges;
    d["min"] = shortest;
    d["max"] = longest;
    d["mean"] = s.m_MeanEdge;
    d["cv"] = s.m_EdgeVariation;
    d["mean_by_faces"] = byFaces;
    return d;
}

py::dict Info(const CBoundMesh& self) {
    Tool::CMeshData data;
    std::uint64_t repeated = 0, unused = 0, edges = 0, open = 0, contours = 0, nonManifold = 0, misoriented = 0;
    {
        py::gil_scoped_release release;
        data = ExtractData(self.Get());
        const Tool::CEdgeCensus census(data);
        std::vector<char> used(data.m_Positions.size(), 0);
        for (const Tool::Triangle& t : data.m_Triangles) {
            repeated += t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
            used[t[0]] = used[t[1]] = used[t[2]] = 1;
        }
        for (char u : used)
            unused += !u;
        edges = census.m_Edges.size();
        open = census.m_OpenEdges;
        contours = census.m_OpenContours;
        nonManifold = census.m_NonManifoldEdges;
        misoriented = census.m_MisorientedEdges;
    }
    py::dict d;
    d["vertices"] = data.m_Positions.size();
    d["unused_vertices"] = unused;
    d["faces"] = data.m_Triangles.size();
    d["repeated_corner_faces"] = repeated;
    d["edges"] = edges;
    d["open_edges"] = open;
    d["open_contours"] = contours;
    d["non_manifold_edges"] = nonManifold;
    d["misoriented_edges"] = misoriented;
    d["closed_manifold"] = open == 0 && nonManifold == 0 && misoriented == 0 && repeated == 0;
    return d;
}

}  // namespace

void BindMeasures(py::module_& module, py::class_<CBoundMesh>& mesh) {
    mesh.def_property_readonly("area", &Area, "Total area of the faces (the library's GetSurfaceArea).")
        .def_property_readonly("volume", &Volume,
                               R"doc(Signed enclosed volume: the sum over faces of the tetrahedra to the origin.

Positive for a closed surface wound outwards (counter-clockwise seen from
outside), negative when wound inwards; only indicative for open surfaces.)doc")
        .def_property_readonly("centre_of_mass", &CentreOfMass,
                               R"doc(Centroid of the enclosed solid as a (3,) float64 array.

NaN or infinite components when the mesh encloses no volume.)doc")
        .def_property_readonly("principal_axes", &PrincipalAxes,
                               R"doc((3, 3) float64 array: rows major, middle and minor axis (unit vectors).

The axes are the eigenvectors of the scatter matrix of the vertex positions
about their mean. When all three spreads are equal any direction is a major
axis and that row is NaN; all rows are NaN when the decomposition fails.)doc")
        .def_property_readonly("bounds", &Bounds,
                               "(2, 3) float64 array: minimum and maximum corner of the vertices' box.")
        .def("edge_length_stats", &EdgeLengthStats,
             R"doc(Edge lengths, every edge counted once: a dict with keys
count, min, max, mean (the plain mean), cv (standard deviation over mean) and
mean_by_faces (the library's GetMeanEdgeLength: the shortest length plus the
summed deviations of the face edges divided by the face count, larger than
the plain mean when lengths differ).)doc")
        .def("quality", &Quality,
             R"doc(The quality figures of `quorvel remesh`'s table for this mesh, as a dict:
vertices, faces, edge_length_min / _mean / _max, edge_length_cv, interior_valence_6
(share of interior vertices with six neighbours, 0 to 1), smallest_angle and
largest_angle (degrees), area, volume, open_edges, non_manifold_edges.)doc")
        .def("info", &Info,
             R"doc(The counts and defects that `quorvel info` reports, as a dict:
vertices, unused_vertices, faces, repeated_corner_faces (faces naming a vertex
twice), edges, open_edges, open_contours, non_manifold_edges, misoriented_edges,
closed_manifold.)doc");
    module.def("quality_report", &QualityReport, py::arg("before"), py::arg("after"),
               py::arg("samples") = DistanceSamples,
               R"doc(The before/after table of `quorvel remesh` as a dict.

Keys: input and output (each the dict of Mesh.quality()), volume_change
(relative, signed; NaN when the input has no volume) and distance (the sampled
Hausdorff distance between the surfaces over the input's bounding-box diagonal,
from `samples` points per surface). Typical use:

    before = mesh.copy()
    mesh.remesh()
    report = quorvel.quality_report(before, mesh))doc");
}

}  // namespace Corvane::Pellix::Quorvel::Python
