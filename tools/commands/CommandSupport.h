#pragma once

#include <chrono>
#include <cstdint>
#include <future>
#include <string>
#include <vector>

#include "core/Arguments.h"
#include "core/MeshRepair.h"
#include "io/MeshData.h"
#include "io/MeshFormats.h"

namespace Corvane::Pellix::Quorvel::Tool {

// Steps that several subcommands share.

COption OutputOption();
COption QuietOption();
COption AsciiOption();

// The single INPUT argument; CToolError when it is missing or repeated.
const std::string& RequireInput(const CCommandLine& line);
// The -o OUTPUT of a mesh-writing subcommand, checked (extension, writable
// directory) before any work is done.
const std::string& RequireMeshOutput(const CCommandLine& line);
EEncoding GetEncoding(const CCommandLine& line);

// "quorvel: note: ..." on stderr, unless --quiet. Notes are held back until
// the command has succeeded (FlushNotes), so a failed run still prints
// exactly one line: its error.
void Note(const CCommandLine& line, const std::string& text);
void FlushNotes();

// "FILE: PREFIXwhat changed" as a note, unless nothing did.
void NoteChanges(const CCommandLine& line, const std::string& fileName, const CRepairSummary& changes,
                 const std::string& prefix = "");

// Reads a mesh file and notes polygons that had to be left out.
CMeshData LoadMesh(const std::string& fileName, const CCommandLine& line);
// Drops the faces the library steps cannot take (a vertex named twice) and
// notes them; CToolError when no face is left.
void PrepareForLibrary(CMeshData& mesh, const std::string& fileName, const CCommandLine& line);
// Why PrepareForLibrary refuses a mesh.
extern const char* const NoUsableFacesMessage;

// A length given either absolutely (--NAME L) or relative to the mesh's true
// mean edge length (--relative R, default `defaultRelative`). Errors name
// the mesh's file. `edges`, when not empty, are the mesh's edges as
// MeanEdgeLength takes them, found already.
double ResolveLength(const CCommandLine& line, const std::string& absoluteOption, double defaultRelative,
                     const CMeshData& mesh, const std::string& fileName, const std::vector<std::uint64_t>& edges = {});

// The power of two, as its exponent, that brings the largest coordinate near
// 1. Scaling by it is exact, and so is scaling back; in between, squared
// lengths neither overflow nor underflow. Kept as an exponent because the
// factor for coordinates near the top of the double range, 2^-1024, has no
// finite reciprocal. With onlyWhenExtreme, 0 unless squares of the mesh's
// lengths could leave the double range, so that ordinary meshes keep their
// coordinates bit for bit.
int UnitScaleExponent(const CMeshData& mesh, bool onlyWhenExtreme);
void ScaleByPowerOfTwo(CMeshData& mesh, int exponent);
void ScaleByPowerOfTwo(std::vector<Point>& points, int exponent);

// Refuses work whose result would not fit in memory: `estimate` elements
// against a fixed ceiling, with advice on the option to change.
void CheckEstimatedSize(double estimate, const char* what, const std::string& advice, const std::string& fileName);

// Guards the files the tool writes: every index in range and every
// coordinate finite. CToolError naming the input file and the operation
// otherwise, so that a broken result is never written.
void CheckResult(const CMeshData& mesh, const std::string& operation, const std::string& fileName);

void WriteMesh(const std::string& fileName, const CMeshData& mesh, const CCommandLine& line);

// WriteMesh while the caller goes on: a large mesh is written to the
// temporary file on a thread of its own from construction on, a small one
// in Commit. Commit waits for the writing, throws what it threw and puts the
// file in place; an object dropped without Commit leaves no file behind.
// `mesh` must stay unchanged until Commit or destruction.
class CMeshWrite {
public:
    CMeshWrite(const std::string& fileName, const CMeshData& mesh, const CCommandLine& line);
    ~CMeshWrite();
    CMeshWrite(const CMeshWrite&) = delete;
    CMeshWrite& operator=(const CMeshWrite&) = delete;

    void Commit();

private:
    COutputFile m_File;
    std::future<void> m_Written;
};

// Seconds since `start`.
double SecondsSince(std::chrono::steady_clock::time_point start);

}  // namespace Corvane::Pellix::Quorvel::Tool
