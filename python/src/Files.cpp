// Reading and writing mesh files through the command-line tool's readers and
// writers, with its error messages.

#include <cerrno>
#include <filesystem>
#include <string>

#include "BoundMesh.h"
#include "core/ToolError.h"
#include "io/MeshFormats.h"
#include "io/OutputFile.h"
#include "io/ReaderSupport.h"

namespace Corvane::Pellix::Quorvel::Python {

namespace {

std::string PathText(const py::object& path) {
    try {
        return py::module_::import("os").attr("fspath")(path).cast<std::string>();
    } catch (py::error_already_set&) {
        ThrowType("path must be a str or os.PathLike naming a file, not " + py::repr(path).cast<std::string>());
    } catch (py::cast_error&) {
        ThrowType("path must name a file as text, not bytes");
    }
}

[[noreturn]] void RaiseOs(PyObject* type, int code, const std::string& message, const std::string& path) {
    // OSError(errno, ...) gives the subclass that fits the code.
    py::object error = py::reinterpret_borrow<py::object>(type)(code, message, path);
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
    throw py::error_already_set();
}

CBoundMesh Load(const py::object& pathObject, const py::object& dtype) {
    const std::string path = PathText(pathObject);
    int precision = 0;
    if (!dtype.is_none()) {
        const std::string name = py::str(py::dtype::from_args(dtype)).cast<std::string>();
        if (name != "float32" && name != "float64")
            ThrowValue("dtype must be float32 or float64, not " + name);
        precision = name == "float32" ? 32 : 64;
    }
    try {
        Tool::FormatFromFileName(path);
    } catch (const Tool::CToolError& error) {
        RethrowToolError(error);
    }
    Tool::CMeshData data;
    std::string failure;
    {
        py::gil_scoped_release release;
        try {
            data = Tool::ReadMeshFile(path);
        } catch (const Tool::CToolError& error) {
            failure = error.what();
        }
    }
    CheckSignals();
    if (!failure.empty()) {
        std::error_code code;
        if (!std::filesystem::exists(path, code))
            RaiseOs(PyExc_FileNotFoundError, ENOENT, failure, path);
        if (failure.find(": cannot read") != std::string::npos)
            RaiseOs(PyExc_OSError, EIO, failure, path);
        ThrowValue(failure);
    }
    if (precision == 32)
        for (std::size_t i = 0; i < data.m_Positions.size(); ++i)
            if (!Tool::FitsInFloat(data.m_Positions[i]))
                ThrowValue(Tool::Located(path, "vertex " + std::to_string(i) + " does not fit in float32"));
    py::gil_scoped_release release;
    return CBoundMesh(MakeSnapshot(data, precision == 32));
}

void Save(const CBoundMesh& self, const py::object& pathObject, bool ascii) {
    const std::string path = PathText(pathObject);
    Tool::EMeshFormat format;
    try {
        format = Tool::FormatFromFileName(path);
    } catch (const Tool::CToolError& error) {
        RethrowToolError(error);
    }
    try {
        Tool::CheckOutputWritable(path);
    } catch (const Tool::CToolError& error) {
        std::error_code code;
        const std::filesystem::path parent = std::filesystem::path(path).parent_path();
        const bool missing = !parent.empty() && !std::filesystem::is_directory(parent, code);
        RaiseOs(PyExc_OSError, missing ? ENOENT : EACCES, error.what(), path);
    }
    std::string failure;
    {
        py::gil_scoped_release release;
        const Tool::CMeshData data = ExtractData(self.Get());
        if (format == Tool::EMeshFormat::Stl) {
            for (std::size_t i = 0; i < data.m_Positions.size() && failure.empty(); ++i)
                if (!Tool::FitsInFloat(data.m_Positions[i]))
                    failure = Tool::Located(path, "vertex " + std::to_string(i) +
                                                      " is beyond the single-precision range that STL holds");
        }
        if (failure.empty()) {
            try {
                Tool::WriteMeshFile(path, data, ascii ? Tool::EEncoding::Text : Tool::EEncoding::Binary);
            } catch (const Tool::CToolError& error) {
                failure = std::string("\x01") + error.what();
            }
        }
    }
    if (!failure.empty()) {
        if (failure[0] == '\x01')
            RaiseOs(PyExc_OSError, EIO, failure.substr(1), path);
        ThrowValue(failure);
    }
    CheckSignals();
}

}  // namespace

void BindFiles(py::module_& module, py::class_<CBoundMesh>& mesh) {
    module.def("load", &Load, py::arg("path"), py::arg("dtype") = py::none(),
               R"doc(Reads a mesh file: OFF, OBJ, PLY (text or binary) or STL (text or binary), by extension.

Vertices keep their order and count (STL corners are welded into one vertex
per exact position); polygons become fans around their first corner.
dtype=numpy.float32 gives a single-precision mesh (default float64).

Raises FileNotFoundError when the file does not exist, OSError when it cannot
be read, ValueError for malformed content, with the command-line tool's
message naming the file and, for text formats, the line.)doc");
    mesh.def("save", &Save, py::arg("path"), py::arg("ascii") = false,
             R"doc(Writes the mesh to path: OFF, OBJ, PLY or STL, chosen by extension.

PLY and STL are binary unless ascii=True. Coordinates are written with as many
digits as it takes to read back the same value. The file is written under a
temporary name beside path and renamed only when complete, so a failure never
leaves a partial file. Raises ValueError for an unknown extension or a mesh
beyond STL's single-precision range, OSError when the file cannot be written.)doc");
}

}  // namespace Corvane::Pellix::Quorvel::Python
