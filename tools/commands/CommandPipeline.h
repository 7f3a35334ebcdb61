#pragma once

#include <functional>
#include <string>

#include "core/Arguments.h"
#include "core/ToolMesh.h"
#include "io/MeshData.h"
#include "report/MeshStatistics.h"

namespace Corvane::Pellix::Quorvel::Tool {

// The steps a subcommand takes around its library call: read the input,
// prepare it, bring it to unit scale when its scale is extreme, run the
// library on it (timed, with progress), scale the result back, check it,
// write it and summarise the run. Each subcommand keeps only its options,
// its library call and its figures.
class CMeshPipeline {
public:
    // `input` and `output` are checked by the caller, before anything is read.
    CMeshPipeline(const CCommandLine& line, std::string command, std::string input, std::string output = "");

    // Reads the input, noting polygons left out, and measures it when --json
    // asks for the figures of the run.
    CMeshData& Load();
    // Load, then drops the faces the library cannot take (PrepareForLibrary).
    CMeshData& LoadForLibrary();
    // The figures of the input as read, measured once.
    const CMeshStatistics& MeasureInput();

    // Brings the mesh to unit scale by a power of two, exactly. With
    // onlyWhenExtreme (what the library's squared lengths and cross products
    // need), ordinary meshes keep their coordinates bit for bit.
    void ScaleToUnit(bool onlyWhenExtreme = true);
    // A length of the input's scale at the scale the library works at.
    double ToLibraryScale(double length) const;

    // Loads the mesh into the library's mesh and runs `edit` on it, timed,
    // with a progress display under `label` (none when null).
    void Run(const char* label, const std::function<void(ToolMesh&)>& edit);
    // The library's mesh as the edit left it, at the input's scale.
    CMeshData GetResult() const;

    // Checks the result (CheckResult, naming `operation`) and writes it to
    // the output.
    void Write(const CMeshData& result, const std::string& operation) const;
    // With --json: both meshes' figures, the volume change and the time.
    void Summarise(const CMeshData& result) const;

    const CCommandLine& m_Line;
    const std::string m_Command;
    const std::string m_Input;
    const std::string m_Output;
    CMeshData m_Data;
    // The input as read, measured only with --json or when asked.
    CMeshStatistics m_Before;
    bool m_Measured = false;
    ToolMesh m_Mesh;
    int m_Exponent = 0;
    // Wall time of the library call.
    double m_Seconds = 0;
};

}  // namespace Corvane::Pellix::Quorvel::Tool
