#pragma once

// The mesh object that Python sees. It holds one library mesh, in double or
// single precision, as an immutable snapshot: readers take the current
// snapshot and work on it without any lock, and every change builds a new
// mesh and publishes it only when the work has succeeded. So a failed or
// interrupted operation leaves the Python object exactly as it was, const
// queries may run from many threads at once, and a copy of the Python object
// shares the snapshot until one of the two changes.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <variant>

#include "core/ToolMesh.h"
#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Python {

namespace py = pybind11;

typedef Tool::ToolMesh DoubleMesh;
typedef TMesh<float, TVertexPN<float>, CA32, unsigned int> FloatMesh;

typedef std::shared_ptr<const DoubleMesh> DoubleSnapshot;
typedef std::shared_ptr<const FloatMesh> FloatSnapshot;
typedef std::variant<DoubleSnapshot, FloatSnapshot> Snapshot;

// Largest vertex or face count accepted: the library counts in 32 bits and
// the tool's readers stop at the same limit.
constexpr std::uint64_t MaximumElementCount = 0x7FFFFFFFu;

class CBoundMesh {
public:
    CBoundMesh() = default;
    explicit CBoundMesh(Snapshot snapshot) : m_Snapshot(std::move(snapshot)) { }
    CBoundMesh(const CBoundMesh& other) : m_Snapshot(other.Get()) { }

    Snapshot Get() const {
        std::lock_guard<std::mutex> lock(m_Guard);
        return m_Snapshot;
    }
    void Publish(Snapshot snapshot) {
        std::lock_guard<std::mutex> lock(m_Guard);
        m_Snapshot = std::move(snapshot);
    }
    bool IsSingle() const { return std::holds_alternative<FloatSnapshot>(Get()); }

    // Changes of one Python object run one at a time. The lock is taken with
    // the GIL released, so that a progress callback of the running change can
    // take the GIL; a change started from that callback, on the thread that
    // holds the lock, would wait for itself and raises RuntimeError instead.
    class CChangeLock {
    public:
        explicit CChangeLock(CBoundMesh& mesh);
        ~CChangeLock();
        CChangeLock(const CChangeLock&) = delete;
        CChangeLock& operator=(const CChangeLock&) = delete;

    private:
        CBoundMesh& m_Mesh;
    };

private:
    std::mutex m_ChangeMutex;
    std::atomic<std::thread::id> m_ChangeOwner{};
    mutable std::mutex m_Guard;
    Snapshot m_Snapshot;
};

// Finishes a freshly built mesh for publishing: vertex normals and the
// bounding box of all vertices are made current, so that readers never write.
template <typename Mesh>
std::shared_ptr<const Mesh> Finish(std::unique_ptr<Mesh> mesh) {
    mesh->AssignVertexNormals();
    mesh->DetermineBoundingBox(true);
    return std::shared_ptr<const Mesh>(std::move(mesh));
}

// Conversions between the file-side mesh (double positions) and a library
// mesh of either precision, keeping the order of vertices and faces.
template <typename Mesh>
std::unique_ptr<Mesh> BuildMesh(const Tool::CMeshData& data);
template <typename Mesh>
Tool::CMeshData ExtractData(const Mesh& mesh);
// The snapshot's mesh data, and a published snapshot of the same precision
// as `like` built from data.
Tool::CMeshData ExtractData(const Snapshot& snapshot);
Snapshot MakeSnapshot(const Tool::CMeshData& data, bool single);

// Copies of library meshes; the library's copy constructor takes a non-const
// reference but reads only.
template <typename Mesh>
std::unique_ptr<Mesh> CopyMesh(const Mesh& mesh) {
    return std::make_unique<Mesh>(const_cast<Mesh&>(mesh));
}

// Raised for bad arguments: ValueError or TypeError with the message as it
// stands. The helpers format "what and where" consistently.
[[noreturn]] void ThrowValue(const std::string& message);
[[noreturn]] void ThrowType(const std::string& message);
// A CToolError from a tool step, turned into the Python exception that fits.
[[noreturn]] void RethrowToolError(const std::exception& error);

// Checks after a call that ran with the GIL released: a Ctrl-C that arrived
// meanwhile raises KeyboardInterrupt now (through error_already_set).
void CheckSignals();

// Registration of the parts of the module, one per source file.
void BindMesh(py::module_& module, py::class_<CBoundMesh>& mesh);
void BindFiles(py::module_& module, py::class_<CBoundMesh>& mesh);
void BindMeasures(py::module_& module, py::class_<CBoundMesh>& mesh);
void BindOperations(py::module_& module, py::class_<CBoundMesh>& mesh);
void BindQueries(py::module_& module, py::class_<CBoundMesh>& mesh);

}  // namespace Corvane::Pellix::Quorvel::Python
