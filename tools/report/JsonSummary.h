#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/Arguments.h"
#include "report/MeshStatistics.h"

namespace Corvane::Pellix::Quorvel::Tool {

// --json FILE (or - for stdout): the figures of a run as one flat JSON
// object, for scripts and `quorvel batch`. Keys of the input mesh end in
// "_in", keys without it describe the output (or, for info, nothing).
// Shares and changes are fractions, not percentages; angles are degrees.
COption JsonOption();

class CJsonSummary {
public:
    explicit CJsonSummary(const std::string& command);

    void Add(const std::string& key, const std::string& text);
    // Non-finite numbers become null, which JSON readers accept.
    void Add(const std::string& key, double number);
    void AddCount(const std::string& key, std::uint64_t count);
    // faces, vertices, edge_cv, smallest_angle, valence6_share, volume...,
    // each key followed by `suffix`.
    void AddMesh(const CMeshStatistics& mesh, const std::string& suffix);
    std::string GetText() const;

private:
    std::vector<std::pair<std::string, std::string>> m_Fields;
};

// The summary of an edit that reads one mesh and writes another: both
// meshes' figures, the volume change and the wall time.
CJsonSummary SummariseEdit(const std::string& command, const std::string& input, const std::string& output,
                           const CMeshStatistics& before, const CMeshStatistics& after, double seconds);

// Called before the command runs. With --json -, the summary must be the
// only thing on stdout: stdout is kept for it and the usual text goes to
// stderr. A file is checked to be writable, like every output.
void PrepareJsonSummary(const CCommandLine& line);
// Writes the summary where --json says, if it was given; a file is written
// to a temporary name and renamed like every output.
void WriteJsonSummary(const CCommandLine& line, const CJsonSummary& summary);

}  // namespace Corvane::Pellix::Quorvel::Tool
