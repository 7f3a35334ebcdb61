#include "commands/CommandPipeline.h"

#include <chrono>
#include <cmath>
#include <utility>

#include "commands/CommandSupport.h"
#include "core/Progress.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

CMeshPipeline::CMeshPipeline(const CCommandLine& line, std::string command, std::string input, std::string output)
    : m_Line(line), m_Command(std::move(command)), m_Input(std::move(input)), m_Output(std::move(output)) { }

CMeshData& CMeshPipeline::Load() {
    m_Data = LoadMesh(m_Input, m_Line);
    // The figures of the input as given, before any preparation.
    if (m_Line.Has("--json"))
        MeasureInput();
    return m_Data;
}

const CMeshStatistics& CMeshPipeline::MeasureInput() {
    if (!m_Measured)
        m_Before = MeasureMesh(m_Data);
    m_Measured = true;
    return m_Before;
}

CMeshData& CMeshPipeline::LoadForLibrary() {
    Load();
    PrepareForLibrary(m_Data, m_Input, m_Line);
    return m_Data;
}

void CMeshPipeline::ScaleToUnit(bool onlyWhenExtreme) {
    m_Exponent = UnitScaleExponent(m_Data, onlyWhenExtreme);
    ScaleByPowerOfTwo(m_Data, m_Exponent);
}

double CMeshPipeline::ToLibraryScale(double length) const {
    return std::ldexp(length, m_Exponent);
}

void CMeshPipeline::Run(const char* label, const std::function<void(ToolMesh&)>& edit) {
    LoadIntoMesh(m_Data, m_Mesh);
    CProgress progress(m_Line.IsQuiet());
    const auto start = std::chrono::steady_clock::now();
    if (label != nullptr)
        progress.Begin(label);
    edit(m_Mesh);
    progress.End();
    m_Seconds = SecondsSince(start);
}

CMeshData CMeshPipeline::GetResult() const {
    CMeshData result = ExtractFromMesh(m_Mesh);
    ScaleByPowerOfTwo(result, -m_Exponent);
    return result;
}

void CMeshPipeline::Write(const CMeshData& result, const std::string& operation) const {
    CheckResult(result, operation, m_Input);
    WriteMesh(m_Output, result, m_Line);
}

void CMeshPipeline::Summarise(const CMeshData& result) const {
    if (m_Line.Has("--json"))
        WriteJsonSummary(m_Line, SummariseEdit(m_Command, m_Input, m_Output, m_Before, MeasureMesh(result), m_Seconds));
}

}  // namespace Corvane::Pellix::Quorvel::Tool
