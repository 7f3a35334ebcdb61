// The editing operations, each prepared the way the command-line subcommand
// of the same name prepares it, so that a mesh gives the same result from
// Python and from `quorvel`. Every operation works on its own copy of the
// mesh with the GIL released and publishes the result only on success: an
// error, an exception from the progress callback or Ctrl-C leaves the mesh
// as it was.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "BoundMesh.h"
#include "commands/CommandSupport.h"
#include "core/MeshRepair.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "core/PositionWelder.h"
#include "core/Preparation.h"
#include "core/ResultEstimates.h"
#include "core/ToolError.h"
#include "core/Watchdog.h"
#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Python {

namespace {

// ---- Shared steps -------------------------------------------------------------

// Relays progress from the working thread to Python. Every report takes the
// GIL, lets Python run its signal handlers (so Ctrl-C raises
// KeyboardInterrupt here) and calls the user's callback; an exception from
// either stops the work and is raised again once the work has unwound.
class CProgressRelay {
public:
    explicit CProgressRelay(py::object callback) : m_Callback(std::move(callback)) { }

    // Called with the GIL released. False: stop.
    bool Report(unsigned int done, unsigned int total) {
        py::gil_scoped_acquire gil;
        if (m_Error)
            return false;
        try {
            if (PyErr_CheckSignals() != 0)
                throw py::error_already_set();
            if (!m_Callback.is_none())
                m_Callback(done, total);
            return true;
        } catch (...) {
            m_Error = std::current_exception();
            return false;
        }
    }
    // Raises what stopped the work, if anything did.
    void Rethrow() {
        if (m_Error)
            std::rethrow_exception(m_Error);
    }

private:
    py::object m_Callback;
    std::exception_ptr m_Error;
};

py::object CheckCallback(const py::object& progress) {
    if (!progress.is_none() && !PyCallable_Check(progress.ptr()))
        ThrowType("progress must be a callable taking (done, total), or None");
    return progress;
}

double CheckLength(const py::object& value, const char* name) {
    double v = 0;
    try {
        v = value.cast<double>();
    } catch (py::cast_error&) {
        ThrowType(std::string(name) + " must be a number, not " + py::repr(value).cast<std::string>());
    }
    if (!std::isfinite(v) || !(v > 0))
        ThrowValue(std::string(name) + " must be a positive finite number, not " + Tool::FormatReal(v));
    return v;
}

double CheckFinite(double v, const char* name) {
    if (!std::isfinite(v))
        ThrowValue(std::string(name) + " must be a finite number, not " + Tool::FormatReal(v));
    return v;
}

// A length relative to the mean edge length (every edge counted once) of
// the mesh as it is passed.
double RelativeLength(double relative, const char* absoluteName, const Tool::CMeshData& mesh) {
    const double mean = Tool::TrueMeanEdgeLength(mesh);
    const double length = relative * mean;
    if (std::isinf(mean))
        ThrowValue(std::string("edges of the mesh are longer than a double can hold, so relative has nothing to "
                               "measure against; give ") +
                   absoluteName);
    if (!std::isfinite(length) || !(length > 0))
        ThrowValue(std::string("the mesh has no edge of positive length to measure relative against; give ") +
                   absoluteName);
    return length;
}

// An absolute length, or 0 when the relative one applies; both checked.
double CheckLengthChoice(const py::object& absolute, const char* absoluteName, double relative,
                         double defaultRelative) {
    if (!absolute.is_none()) {
        if (relative != defaultRelative)
            ThrowValue(std::string("give either ") + absoluteName + " or relative, not both");
        return CheckLength(absolute, absoluteName);
    }
    CheckLength(py::float_(relative), "relative");
    return 0;
}

// Notes on what the preparation changed go to the "quorvel" logger at level
// INFO, where the tool prints them on stderr.
void Log(const std::vector<std::string>& notes) {
    if (notes.empty())
        return;
    py::object logger = py::module_::import("logging").attr("getLogger")("quorvel");
    for (const std::string& note : notes)
        logger.attr("info")(note);
}

void NoteChanges(std::vector<std::string>& notes, const Tool::CRepairSummary& summary, const std::string& prefix = "") {
    const std::string text = summary.Describe();
    if (!text.empty())
        notes.push_back(prefix + text);
}

// The faces the library steps cannot take (a vertex named twice) dropped.
void PrepareForLibrary(Tool::CMeshData& mesh, std::vector<std::string>& notes) {
    Tool::CRepairSummary summary;
    Tool::DropRepeatedCornerFaces(mesh, summary);
    if (mesh.m_Triangles.empty())
        ThrowValue(Tool::NoUsableFacesMessage);
    NoteChanges(notes, summary);
}

void CheckResult(const Tool::CMeshData& mesh, const std::string& operation) {
    if (const char* fault = Tool::FindResultFault(mesh))
        ThrowValue(operation + " " + fault + "; the mesh is unchanged");
}

template <typename Mesh>
using RealOf = std::remove_cv_t<std::remove_reference_t<decltype(std::declval<Mesh>().m_Vertices[0].m_Position.x)>>;

// Runs `work` on the mesh data with the GIL released, one change at a time,
// and publishes the mesh it returns. Tool errors become ValueError.
template <typename Work>
void Change(CBoundMesh& self, Work work) {
    std::vector<std::string> notes;
    {
        py::gil_scoped_release release;
        CBoundMesh::CChangeLock change(self);
        Snapshot next;
        try {
            next = work(self.Get(), notes);
        } catch (const Tool::CToolError& error) {
            RethrowToolError(error);
        }
        CheckSignals();
        self.Publish(std::move(next));
    }
    Log(notes);
}

// The same for work that returns points and leaves the mesh alone.
template <typename Work>
py::array_t<double> Extract(const CBoundMesh& self, Work work) {
    std::vector<std::string> notes;
    std::vector<Tool::Point> points;
    {
        py::gil_scoped_release release;
        try {
            points = work(self.Get(), notes);
        } catch (const Tool::CToolError& error) {
            RethrowToolError(error);
        }
        CheckSignals();
    }
    Log(notes);
    py::array_t<double> out({static_cast<py::ssize_t>(points.size()), py::ssize_t(3)});
    double* data = out.mutable_data();
    for (std::size_t i = 0; i < points.size(); ++i) {
        data[3 * i] = points[i].x;
        data[3 * i + 1] = points[i].y;
        data[3 * i + 2] = points[i].z;
    }
    return out;
}

template <typename Mesh>
std::unique_ptr<Mesh> Load(const Tool::CMeshData& data) {
    auto mesh = BuildMesh<Mesh>(data);
    mesh->DetermineBoundingBox(true);
    return mesh;
}

template <typename Function>
auto WithPrecision(bool single, Function function) {
    if (single)
        return function(static_cast<FloatMesh*>(nullptr));
    return function(static_cast<DoubleMesh*>(nullptr));
}

// ---- Remesh ---------------------------------------------------------------------

// MemoryError and TimeoutError with the guard's one-line message.
using py::builtin_exception;
PYBIND11_RUNTIME_EXCEPTION(MemoryLimitError, PyExc_MemoryError)
PYBIND11_RUNTIME_EXCEPTION(TimeLimitError, PyExc_TimeoutError)

// max_memory: None (half the machine's memory, as the tool), a number of
// bytes, or a size such as "4G" or "512M".
std::uint64_t GetMemoryLimit(const py::object& given) {
    if (given.is_none())
        return Tool::GetDefaultMemoryLimit();
    std::uint64_t bytes = 0;
    if (py::isinstance<py::str>(given)) {
        if (Tool::ParseMemorySize(given.cast<std::string>(), bytes))
            return bytes;
    } else if (py::isinstance<py::int_>(given) && !py::isinstance<py::bool_>(given)) {
        const long long value = given.cast<long long>();
        if (value > 0)
            return static_cast<std::uint64_t>(value);
    } else {
        ThrowType("max_memory must be None, a number of bytes or a size such as '4G', not " +
                  std::string(py::str(py::type::of(given).attr("__name__"))));
    }
    ThrowValue("max_memory must be a positive size such as 4294967296, '4G' or '512M', not " +
               std::string(py::str(py::repr(given))));
}

void Remesh(CBoundMesh& self, const py::object& targetObject, double relative, const std::string& method,
            double featureAngle, int iterations, bool keepBoundaries, const py::object& progress,
            const py::object& maxMemory) {
    const bool exact = method == "exact";
    const std::uint64_t memoryLimit = GetMemoryLimit(maxMemory);
    if (!exact && method != "preserve")
        ThrowValue("method must be 'preserve' or 'exact', not '" + method + "'");
    if (!(featureAngle >= 0 && featureAngle <= 180))
        ThrowValue("feature_angle must be from 0 to 180 degrees, not " + Tool::FormatReal(featureAngle));
    if (iterations < 1 || iterations > 100)
        ThrowValue("iterations must be from 1 to 100, not " + std::to_string(iterations));
    if (exact && (featureAngle != 45 || iterations != 5 || !keepBoundaries))
        ThrowValue("feature_angle, iterations and keep_boundaries belong to method='preserve'; the exact method has "
                   "none of them");
    const double givenTarget = CheckLengthChoice(targetObject, "target", relative, 1.0);
    CProgressRelay relay(CheckCallback(progress));
    const bool single = self.IsSingle();

    Change(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) -> Snapshot {
        Tool::CMeshData input = ExtractData(snapshot);
        // The same preparation as `quorvel remesh`.
        Tool::CPreparation changes;
        const Tool::EPreparationFault fault = Tool::PrepareForRemesh(input, exact, changes);
        if (fault == Tool::EPreparationFault::NoUsableFaces)
            ThrowValue(Tool::NoUsableFacesMessage);
        if (fault == Tool::EPreparationFault::NotManifold)
            ThrowValue("the mesh could not be made manifold for method='exact'; try method='preserve'");
        NoteChanges(notes, changes.m_Degenerate);
        NoteChanges(notes, changes.m_Repairs);
        NoteChanges(notes, changes.m_Manifold, "for method='exact': ");
        if (fault == Tool::EPreparationFault::NoFacesLeft)
            ThrowValue("no faces are left for method='exact'");

        const int exponent = Tool::UnitScaleExponent(input, false);
        Tool::ScaleByPowerOfTwo(input, exponent);
        const double scaledTarget =
            givenTarget > 0 ? std::ldexp(givenTarget, exponent) : RelativeLength(relative, "target", input);
        const double target = std::ldexp(scaledTarget, -exponent);
        if (!std::isfinite(scaledTarget) || !(scaledTarget > 0))
            ThrowValue("the target " + Tool::FormatQuantity(target, 4) + " is out of proportion to the mesh");
        // The exact method collapses whatever is shorter than the target with
        // no limit: at a target wider than the mesh the surface piles into a
        // few vertices, slowly, and the result means nothing.
        if (exact && scaledTarget > Tool::DiagonalLength(input))
            ThrowValue("the target " + Tool::FormatQuantity(target, 4) +
                       " is longer than the mesh is wide; method='exact' would collapse it to nothing (choose a "
                       "smaller target or relative)");
        const std::string advice = "choose a larger target or relative (now " + Tool::FormatQuantity(target, 4) + ")";
        Tool::CheckEstimatedSize(Tool::EstimateRemeshFaces(input, scaledTarget), "faces", advice, "remesh");
        // The guards of `quorvel remesh`: a run whose estimated peak exceeds
        // the limit is refused before anything starts, and the shape-preserving
        // method runs under a watchdog that stops it through its progress hook.
        // The designed Remesh has no hook and could only be stopped by ending
        // the interpreter, so for it the estimate is the guard.
        Tool::CResourceLimits limits;
        limits.m_MaxMemory = memoryLimit;
        limits.m_MemoryName = "max_memory=";
        limits.m_TimeName = "a time limit";
        const double peak = Tool::EstimateRemeshPeakMemory(
            input, scaledTarget, exact ? Tool::ERemeshMethod::Exact : Tool::ERemeshMethod::Preserve);
        if (peak > double(memoryLimit))
            throw MemoryLimitError("remeshing to " + Tool::FormatQuantity(target, 4) + " would need about " +
                                   Tool::FormatMemorySize(std::uint64_t(peak)) + " of memory, more than the limit of " +
                                   Tool::FormatMemorySize(memoryLimit) + " (max_memory=); " + advice +
                                   "; the mesh is unchanged");
        limits.m_ExpectedMemory = std::uint64_t(peak);
        limits.m_MaxSeconds =
            Tool::GetDefaultTimeLimit(double(input.m_Triangles.size()), Tool::EstimatePeakFaces(input, scaledTarget));

        Tool::CMeshData result = WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            typedef RealOf<Mesh> Real;
            auto mesh = Load<Mesh>(input);
            if (exact) {
                // The designed Remesh has no progress hook: the relay is
                // asked once before and once after it.
                if (!relay.Report(0, 1))
                    relay.Rethrow();
                mesh->AssignFaceConnectivity(true);
                mesh->AssignVertexConnectivity(true);
                mesh->Remesh(Real(scaledTarget));
                mesh->DiscardVertices();
                if (!relay.Report(1, 1))
                    relay.Rethrow();
            } else {
                CRemeshOptions options;
                options.m_FeatureAngle = featureAngle;
                options.m_Iterations = static_cast<unsigned int>(iterations);
                options.m_KeepBoundaries = keepBoundaries;
                Tool::CWatchdog watchdog(limits, Tool::EWatchdogAction::Flag, "remeshing", advice);
                options.m_Progress = [&relay, &watchdog](unsigned int done, unsigned int total) {
                    return relay.Report(done, total) && !watchdog.IsTripped();
                };
                watchdog.Start();
                const bool finished =
                    relay.Report(0, options.m_Iterations) && mesh->RemeshPreservingShape(Real(scaledTarget), options);
                watchdog.Stop();
                if (watchdog.IsTripped()) {
                    const std::string message = watchdog.GetMessage() + "; the mesh is unchanged";
                    if (message.find(limits.m_TimeName) != std::string::npos)
                        throw TimeLimitError(message);
                    throw MemoryLimitError(message);
                }
                if (!finished)
                    relay.Rethrow();
            }
            return ExtractData(*mesh);
        });
        relay.Rethrow();
        Tool::ScaleByPowerOfTwo(result, -exponent);
        CheckResult(result, "remeshing");
        // Collapses of the exact method can leave faces that name a vertex
        // twice.
        Tool::CRepairSummary collapsed;
        Tool::DropRepeatedCornerFaces(result, collapsed);
        if (collapsed.m_RepeatedCornerFaces != 0)
            notes.push_back(std::to_string(collapsed.m_RepeatedCornerFaces) +
                            " faces that remeshing reduced to lines dropped from the result");
        Tool::DropUnusedVertices(result, changes.m_Unused);
        if (result.m_Triangles.empty())
            ThrowValue("remeshing left no faces (the target " + Tool::FormatQuantity(target, 4) +
                       " may be too large for this mesh); the mesh is unchanged");
        return MakeSnapshot(result, single);
    });
}

// ---- Smooth, offset, subdivide, thicken -----------------------------------------

void Smooth(CBoundMesh& self, long long iterationsGiven, bool keepBoundaries, const py::object& progress) {
    if (iterationsGiven < 0 || iterationsGiven > 0xFFFFFFFFll)
        ThrowValue("iterations must be from 0 to 4294967295, not " + std::to_string(iterationsGiven));
    const unsigned int iterations = static_cast<unsigned int>(iterationsGiven);
    CProgressRelay relay(CheckCallback(progress));
    const bool single = self.IsSingle();
    Change(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) -> Snapshot {
        Tool::CMeshData data = ExtractData(snapshot);
        PrepareForLibrary(data, notes);
        // Sums of positions and cross products leave the double range at
        // extreme scales; such meshes are smoothed at unit scale.
        const int exponent = Tool::UnitScaleExponent(data, true);
        Tool::ScaleByPowerOfTwo(data, exponent);
        Tool::CMeshData result = WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            auto mesh = Load<Mesh>(data);
            mesh->AssignFaceConnectivity(true);
            mesh->AssignVertexConnectivity(true);
            mesh->AllocateVertexAttributeBuffer();
            mesh->ResetAttributes();
            char fixedMask = 0;
            if (keepBoundaries) {
                mesh->MarkOpenVertices(CA32(1));
                fixedMask = 1;
            }
            // One iteration per call: each is a Jacobi step from the previous
            // positions, so the result is that of one call with all of them,
            // and progress and Ctrl-C are seen between iterations.
            if (iterations == 0)
                mesh->Smooth(0, fixedMask, 0, 0);
            for (unsigned int i = 0; i < iterations; ++i) {
                if (!relay.Report(i, iterations))
                    relay.Rethrow();
                mesh->Smooth(1, fixedMask, 0, 0);
            }
            if (!relay.Report(iterations, iterations))
                relay.Rethrow();
            return ExtractData(*mesh);
        });
        Tool::ScaleByPowerOfTwo(result, -exponent);
        CheckResult(result, "smoothing");
        return MakeSnapshot(result, single);
    });
}

void Offset(CBoundMesh& self, double distance) {
    CheckFinite(distance, "distance");
    const bool single = self.IsSingle();
    Change(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) -> Snapshot {
        Tool::CMeshData data = ExtractData(snapshot);
        PrepareForLibrary(data, notes);
        const int exponent = Tool::UnitScaleExponent(data, true);
        Tool::ScaleByPowerOfTwo(data, exponent);
        Tool::CMeshData result = WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            auto mesh = Load<Mesh>(data);
            mesh->AssignVertexNormals();
            mesh->Offset(RealOf<Mesh>(std::ldexp(distance, exponent)));
            return ExtractData(*mesh);
        });
        Tool::ScaleByPowerOfTwo(result, -exponent);
        CheckResult(result, "the offset");
        return MakeSnapshot(result, single);
    });
}

void Subdivide(CBoundMesh& self, const py::object& maxLength, double relative) {
    const double given = CheckLengthChoice(maxLength, "max_length", relative, 0.5);
    const bool single = self.IsSingle();
    Change(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) -> Snapshot {
        Tool::CMeshData data = ExtractData(snapshot);
        PrepareForLibrary(data, notes);
        const double length = given > 0 ? given : RelativeLength(relative, "max_length", data);
        const int exponent = Tool::UnitScaleExponent(data, true);
        Tool::ScaleByPowerOfTwo(data, exponent);
        const double scaledLength = std::ldexp(length, exponent);
        Tool::CheckEstimatedSize(Tool::EstimateSubdivisionFaces(data, scaledLength), "faces",
                                 "choose a larger max_length or relative (now " + Tool::FormatQuantity(length, 4) + ")",
                                 "subdivide");
        Tool::CMeshData pieces = WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            auto mesh = Load<Mesh>(data);
            mesh->SubDivide(RealOf<Mesh>(scaledLength));
            return ExtractData(*mesh);
        });
        Tool::ScaleByPowerOfTwo(pieces, -exponent);
        // The library splits every face on its own, into separate triangles;
        // the copies of each corner and midpoint are joined again.
        const Tool::CMeshData result = Tool::WeldByPosition(pieces);
        CheckResult(result, "subdivision");
        return MakeSnapshot(result, single);
    });
}

void Thicken(CBoundMesh& self, double thickness) {
    CheckFinite(thickness, "thickness");
    if (thickness == 0)
        ThrowValue("thickness must not be 0");
    const bool single = self.IsSingle();
    Change(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) -> Snapshot {
        Tool::CMeshData data = ExtractData(snapshot);
        // The same preparation as `quorvel thicken`.
        Tool::CPreparation changes;
        const Tool::EPreparationFault fault = Tool::PrepareForShell(data, changes);
        if (fault == Tool::EPreparationFault::NoUsableFaces)
            ThrowValue(Tool::NoUsableFacesMessage);
        if (fault == Tool::EPreparationFault::NotManifold)
            ThrowValue("the mesh could not be made an oriented manifold, which a shell needs");
        NoteChanges(notes, changes.m_Degenerate);
        NoteChanges(notes, changes.m_Repairs);
        if (Tool::CEdgeCensus(data).m_OpenEdges == 0)
            notes.push_back("the mesh has no open edges, so the shell is two nested surfaces without walls");

        const int exponent = Tool::UnitScaleExponent(data, true);
        Tool::ScaleByPowerOfTwo(data, exponent);
        const std::size_t faces = data.m_Triangles.size();
        Tool::CMeshData result = WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            auto mesh = Load<Mesh>(data);
            mesh->AssignVertexNormals();
            mesh->OffsetStitch(RealOf<Mesh>(std::ldexp(thickness, exponent)), true);
            return ExtractData(*mesh);
        });
        Tool::ScaleByPowerOfTwo(result, -exponent);
        Tool::FinishShell(result, faces, thickness);
        CheckResult(result, "thickening");
        if (result.m_Triangles.empty())
            ThrowValue("thickening left no faces; the mesh is unchanged");
        const Tool::CEdgeCensus shell(result);
        if (shell.m_OpenEdges != 0 || shell.m_NonManifoldEdges != 0 || shell.m_MisorientedEdges != 0)
            notes.push_back("the shell is not a closed manifold: " + std::to_string(shell.m_OpenEdges) + " open, " +
                            std::to_string(shell.m_NonManifoldEdges) + " non-manifold and " +
                            std::to_string(shell.m_MisorientedEdges) + " misoriented edges remain");
        return MakeSnapshot(result, single);
    });
}

void DiscardDegenerate(CBoundMesh& self, double tolerance) {
    if (!(tolerance >= 0) || !std::isfinite(tolerance))
        ThrowValue("tolerance must be a finite number of at least 0, not " + Tool::FormatReal(tolerance));
    const bool single = self.IsSingle();
    Change(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) -> Snapshot {
        Tool::CMeshData data = ExtractData(snapshot);
        Tool::CRepairSummary summary;
        Tool::DropRepeatedCornerFaces(data, summary);
        NoteChanges(notes, summary);
        if (data.m_Triangles.empty())
            ThrowValue("every face names a vertex twice: discarding them would leave no faces; the mesh is unchanged");
        Tool::CMeshData result = WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            auto mesh = Load<Mesh>(data);
            if (tolerance > 0)
                mesh->RemoveDegenerateFaces(RealOf<Mesh>(tolerance));
            mesh->DiscardVertices();
            return ExtractData(*mesh);
        });
        // Collapsing an edge can make a neighbouring face name one vertex
        // twice.
        Tool::CRepairSummary collapsed;
        Tool::DropRepeatedCornerFaces(result, collapsed);
        Tool::DropUnusedVertices(result, collapsed);
        if (result.m_Triangles.empty())
            ThrowValue("every face has an edge shorter than the tolerance: discarding them would leave no faces; the "
                       "mesh is unchanged");
        return MakeSnapshot(result, single);
    });
}

// ---- Contour and infill -----------------------------------------------------------

py::array_t<double> Contour(const CBoundMesh& self) {
    const bool single = self.IsSingle();
    return Extract(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) {
        Tool::CMeshData data = ExtractData(snapshot);
        PrepareForLibrary(data, notes);
        const Tool::CEdgeCensus census(data);
        std::vector<Tool::Point> points;
        if (census.m_OpenEdges == 0)
            return points;
        if (census.m_OpenContours > 1)
            notes.push_back("the mesh has " + std::to_string(census.m_OpenContours) +
                            " open contours; the one through the lowest-numbered boundary vertex is returned");
        WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            typedef RealOf<Mesh> Real;
            auto mesh = Load<Mesh>(data);
            mesh->AssignFaceConnectivity(true);
            mesh->AssignVertexConnectivity(true);
            mesh->AllocateVertexAttributeBuffer();
            mesh->ResetAttributes();
            TPolygon<Real, typename Mesh::Vector> polygon;
            mesh->ExtractOpenContour(CA32(1), &polygon);
            for (unsigned int i = 0; i < polygon.GetCount(); ++i)
                points.push_back(Tool::Point(polygon[i].x, polygon[i].y, polygon[i].z));
            return 0;
        });
        return points;
    });
}

py::array_t<double> Infill(const CBoundMesh& self, const py::object& spacingObject, double relative) {
    const double given = CheckLengthChoice(spacingObject, "spacing", relative, 0.5);
    const bool single = self.IsSingle();
    return Extract(self, [&](const Snapshot& snapshot, std::vector<std::string>& notes) {
        Tool::CMeshData data = ExtractData(snapshot);
        PrepareForLibrary(data, notes);
        const double spacing = given > 0 ? given : RelativeLength(relative, "spacing", data);
        const int exponent = Tool::UnitScaleExponent(data, true);
        Tool::ScaleByPowerOfTwo(data, exponent);
        const double scaledSpacing = std::ldexp(spacing, exponent);
        Tool::CheckEstimatedSize(Tool::EstimateInfillPoints(data, scaledSpacing), "points",
                                 "choose a larger spacing or relative (now " + Tool::FormatQuantity(spacing, 4) + ")",
                                 "infill");
        std::vector<Tool::Point> points;
        WithPrecision(single, [&](auto* kind) {
            typedef std::remove_pointer_t<decltype(kind)> Mesh;
            typedef RealOf<Mesh> Real;
            auto mesh = Load<Mesh>(data);
            TList<typename Mesh::Vector> list;
            list.SetUseExponentialGrowth(true);
            const Real s = Real(scaledSpacing);
            mesh->ExtractInfilledPointSet(s, &list);
            points.reserve(list.GetCount());
            for (unsigned int i = 0; i < list.GetCount(); ++i)
                points.push_back(Tool::Point(list[i].x, list[i].y, list[i].z));
            return 0;
        });
        Tool::ScaleByPowerOfTwo(points, -exponent);
        for (const Tool::Point& p : points)
            if (!Tool::IsFinitePoint(p))
                ThrowValue("the infill produced a non-finite point");
        return points;
    });
}

}  // namespace

void BindOperations(py::module_&, py::class_<CBoundMesh>& mesh) {
    mesh.def("remesh", &Remesh, py::arg("target") = py::none(), py::arg("relative") = 1.0,
             py::arg("method") = "preserve", py::arg("feature_angle") = 45.0, py::arg("iterations") = 5,
             py::arg("keep_boundaries") = true, py::arg("progress") = py::none(), py::arg("max_memory") = py::none(),
             R"doc(Isotropic remeshing towards one edge length, in place; returns None.

Does what `quorvel remesh` does, with the same preparation: vertices at equal
positions are merged, faces naming a vertex twice and repeated faces dropped,
faces turned to agree with their neighbours, and the mesh brought to unit scale
by a power of two while it is remeshed. The result is a new vertex numbering.

target: the edge length; default relative (1.0) times the mean edge length,
  every edge counted once. Give one of target and relative.
method: "preserve" (default) keeps the shape: vertices are projected back onto
  the input, sharp features (edges bent by feature_angle degrees or more,
  but for the creases of thin parts faceted coarsely for the target, such as
  a scanned animal's ears; 0 keeps none) and boundaries are kept (keep_boundaries=False lets boundary
  vertices slide along the boundary). iterations: rounds, 1 to 100.
  "exact" is the library's Remesh as designed (five rounds of split, collapse,
  flip and neighbour averaging, which shrinks curved surfaces a little); the
  mesh is first made an oriented manifold (faces flipped, sheets meeting at a
  vertex or edge given vertices of their own), and the preserve-only options
  must keep their defaults.
progress: None or a callable progress(done, total), called after every
  iteration (for "exact" only before and after). An exception raised in it,
  or Ctrl-C (KeyboardInterrupt), stops the work and leaves the mesh unchanged.

max_memory: None (half the machine's memory), a number of bytes, or a size
  such as "4G" or "512M". A remesh whose estimated peak memory exceeds it
  raises MemoryError before it starts; the "preserve" method is also watched
  while it runs and stopped (MemoryError, or TimeoutError when it runs far
  longer than its size warrants) with the mesh unchanged.

Runs with the GIL released. Raises ValueError for a non-positive or
non-finite target, a target wider than the mesh for "exact", a result beyond
40 million faces, or a mesh that cannot be prepared. Notes on what the
preparation changed go to the logging logger "quorvel" (level INFO).)doc");
    mesh.def("smooth", &Smooth, py::arg("iterations") = 10, py::arg("keep_boundaries") = true,
             py::arg("progress") = py::none(),
             R"doc(Laplacian smoothing in place: each iteration moves every vertex to the average of itself and
its neighbours (as `quorvel smooth`). Open boundaries stay put unless keep_boundaries=False.
Faces naming a vertex twice are dropped first. progress(done, total) is called between
iterations; an exception in it or Ctrl-C leaves the mesh unchanged.)doc");
    mesh.def("offset", &Offset, py::arg("distance"),
             R"doc(Moves every vertex by distance along its unit normal, in place (negative: against the normals,
inwards on a mesh wound outwards), as `quorvel offset`. Vertices that no face uses stay.)doc");
    mesh.def("subdivide", &Subdivide, py::arg("max_length") = py::none(), py::arg("relative") = 0.5,
             R"doc(Longest-edge bisection in place until no edge is longer than max_length (default relative x
the mean edge length), as `quorvel subdivide`: the shape does not change; faces are split
independently, so neighbours may meet at T-junctions; vertices at equal positions are merged.
Raises ValueError for a non-positive length or a result beyond 40 million faces.)doc");
    mesh.def("thicken", &Thicken, py::arg("thickness"),
             R"doc(Turns the surface into a closed shell of the given thickness, in place, as `quorvel thicken`:
a copy moved by thickness against the vertex normals (positive: behind the side the faces face)
plus walls along the open edges, oriented consistently. Equal positions are merged and faces
turned to agree first; a mesh that cannot be made an oriented manifold raises ValueError.)doc");
    mesh.def("discard_degenerate", &DiscardDegenerate, py::arg("tolerance") = 0.0,
             R"doc(Removes degenerate faces in place: faces naming a vertex twice, and with tolerance > 0 faces
with an edge shorter than tolerance (the library's RemoveDegenerateFaces, which merges the
edge's ends; its cost grows with faces x removals). Vertices no face uses are dropped and the
rest renumbered in order. Raises ValueError, leaving the mesh unchanged, if no face would remain.)doc");
    mesh.def("contour", &Contour,
             R"doc(The open boundary as a (k, 3) float64 array of points, walked from its lowest-numbered vertex
(the library's ExtractOpenContour, as `quorvel contour`). A closed mesh gives an empty (0, 3) array.)doc");
    mesh.def("infill", &Infill, py::arg("spacing") = py::none(), py::arg("relative") = 0.5,
             R"doc(A dense point set as a (k, 3) float64 array: the vertices, then points along the edges and across
the faces no further than spacing apart (default relative x the mean edge length), as
`quorvel infill`. Points on an edge shared by two faces appear once per face. Raises ValueError
for a non-positive spacing or a result beyond 40 million points.)doc");
}

}  // namespace Corvane::Pellix::Quorvel::Python
