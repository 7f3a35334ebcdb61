#include "report/JsonSummary.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/OutputFile.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// The descriptor that still leads to the original stdout once
// PrepareJsonSummary has pointed stdout at stderr; -1 before that.
int g_JsonDescriptor = -1;

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned int>(c));
            quoted += escape;
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

bool WantsStdout(const CCommandLine& line) {
    return line.Has("--json") && line.Get("--json") == "-";
}

}  // namespace

COption JsonOption() {
    return {"--json", "", "FILE", "write the figures as JSON to FILE (- for stdout, then the table goes to stderr)"};
}

CJsonSummary::CJsonSummary(const std::string& command) {
    Add("command", command);
}

void CJsonSummary::Add(const std::string& key, const std::string& text) {
    m_Fields.emplace_back(key, Quoted(text));
}

void CJsonSummary::Add(const std::string& key, double number) {
    m_Fields.emplace_back(key, std::isfinite(number) ? FormatReal(number) : "null");
}

void CJsonSummary::AddCount(const std::string& key, std::uint64_t count) {
    m_Fields.emplace_back(key, std::to_string(count));
}

void CJsonSummary::AddMesh(const CMeshStatistics& mesh, const std::string& suffix) {
    AddCount("faces" + suffix, mesh.m_Faces);
    AddCount("vertices" + suffix, mesh.m_Vertices);
    Add("edge_mean" + suffix, mesh.m_MeanEdge);
    Add("edge_cv" + suffix, mesh.m_EdgeVariation);
    Add("smallest_angle" + suffix, mesh.m_MinAngle);
    Add("largest_angle" + suffix, mesh.m_MaxAngle);
    Add("valence6_share" + suffix, mesh.m_RegularShare);
    Add("area" + suffix, mesh.m_Area);
    Add("volume" + suffix, mesh.m_Volume);
    AddCount("open_edges" + suffix, mesh.m_OpenEdges);
    AddCount("non_manifold_edges" + suffix, mesh.m_NonManifoldEdges);
}

std::string CJsonSummary::GetText() const {
    std::string text = "{";
    for (std::size_t i = 0; i < m_Fields.size(); ++i)
        text += (i ? ", " : "") + Quoted(m_Fields[i].first) + ": " + m_Fields[i].second;
    return text + "}\n";
}

CJsonSummary SummariseEdit(const std::string& command, const std::string& input, const std::string& output,
                           const CMeshStatistics& before, const CMeshStatistics& after, double seconds) {
    CJsonSummary summary(command);
    summary.Add("input", input);
    summary.Add("output", output);
    summary.AddMesh(before, "_in");
    summary.AddMesh(after, "");
    // As in the remesh table; null where the input encloses no volume.
    summary.Add("volume_change", VolumeChange(before, after));
    summary.Add("wall_time", seconds);
    return summary;
}

void PrepareJsonSummary(const CCommandLine& line) {
    if (!line.Has("--json"))
        return;
    if (!WantsStdout(line)) {
        CheckOutputWritable(line.Get("--json"));
        return;
    }
    if (g_JsonDescriptor >= 0)
        return;
    std::fflush(stdout);
    g_JsonDescriptor = ::dup(STDOUT_FILENO);
    if (g_JsonDescriptor < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        throw CToolError("--json -: cannot set stdout aside for the JSON");
}

void WriteJsonSummary(const CCommandLine& line, const CJsonSummary& summary) {
    if (!line.Has("--json"))
        return;
    const std::string text = summary.GetText();
    if (!WantsStdout(line)) {
        COutputFile file(line.Get("--json"));
        file.Write(text);
        file.Commit();
        return;
    }
    std::fflush(stdout);
    const int descriptor = g_JsonDescriptor >= 0 ? g_JsonDescriptor : STDOUT_FILENO;
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t n = ::write(descriptor, text.data() + written, text.size() - written);
        if (n <= 0)
            throw CToolError("--json -: cannot write the JSON to stdout");
        written += static_cast<std::size_t>(n);
    }
}

}  // namespace Corvane::Pellix::Quorvel::Tool
