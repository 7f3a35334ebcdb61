#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>

#include "commands/Command.h"
#include "commands/CommandSupport.h"
#include "commands/DefaultMesh.h"
#include "core/MeshRepair.h"
#include "core/MeshTopology.h"
#include "core/Numbers.h"
#include "core/Preparation.h"
#include "core/Progress.h"
#include "core/ToolError.h"
#include "core/ToolMesh.h"
#include "core/Watchdog.h"
#include "report/JsonSummary.h"
#include "report/MeshStatistics.h"
#include "report/QualityTable.h"
#include "report/RemeshMeasures.h"
#include "report/SvgReport.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

enum class EMethod { Preserve, Exact };

EMethod GetMethod(const CCommandLine& line) {
    if (!line.Has("--method") || line.Get("--method") == "preserve")
        return EMethod::Preserve;
    if (line.Get("--method") == "exact")
        return EMethod::Exact;
    throw CToolError("--method must be 'preserve' or 'exact', not '" + line.Get("--method") + "'");
}

std::uint64_t GetMemorySize(const CCommandLine& line, const std::string& name) {
    std::uint64_t bytes = 0;
    if (!ParseMemorySize(line.Get(name), bytes))
        throw CToolError(name + " needs a size such as 4G, 512M or 1000000 (bytes), not '" + line.Get(name) + "'");
    return bytes;
}

// The limits a remesh runs under: --max-memory (default: half the machine's
// memory) and --max-time (default: in proportion to the input and the
// estimated result).
CResourceLimits GetLimits(const CCommandLine& line, double inputFaces, double resultFaces) {
    CResourceLimits limits;
    limits.m_MaxMemory = line.Has("--max-memory") ? GetMemorySize(line, "--max-memory") : GetDefaultMemoryLimit();
    limits.m_MaxSeconds =
        line.Has("--max-time") ? line.GetPositiveNumber("--max-time") : GetDefaultTimeLimit(inputFaces, resultFaces);
    return limits;
}

// The limit in words, saying where a default came from.
std::string DescribeMemoryLimit(const CResourceLimits& limits, const CCommandLine& line) {
    const std::string size = FormatMemorySize(limits.m_MaxMemory);
    if (line.Has("--max-memory"))
        return "the limit of " + size + " (--max-memory)";
    const bool addressSpace = GetAddressSpaceLimit() != 0 && limits.m_MaxMemory < GetAvailableMemory() / 2;
    return "the default limit of " + size + " (" +
           (addressSpace ? "a third of the address-space limit, ulimit -v" : "half of the machine's memory") +
           "; --max-memory moves it)";
}

// What the run would hold at its peak: what the process holds now (the
// input, read and repaired, and the program itself) plus what the method
// adds. Refused up front when over the limit; otherwise the watchdog expects
// it.
double CheckEstimatedMemory(const CResourceLimits& limits, double inputFaces, double peakFaces, EMethod method,
                            double target, const std::string& name, const CCommandLine& line) {
    const double needed = EstimateRemeshPeakMemory(
        inputFaces, peakFaces, method == EMethod::Exact ? ERemeshMethod::Exact : ERemeshMethod::Preserve);
    if (limits.m_MaxMemory != 0 && needed > static_cast<double>(limits.m_MaxMemory))
        throw CToolError(Located(name, "remeshing to " + FormatQuantity(target, 4) + " would need about " +
                                           FormatMemorySize(static_cast<std::uint64_t>(needed)) +
                                           " of memory, more than " + DescribeMemoryLimit(limits, line) +
                                           "; choose a larger --target or --relative"));
    return needed;
}

CMeshData RunExact(const CMeshData& input, double target, CProgress& progress) {
    ToolMesh mesh;
    LoadIntoMesh(input, mesh);
    progress.Begin("remeshing (exact)");
    mesh.AssignFaceConnectivity(true);
    mesh.AssignVertexConnectivity(true);
    mesh.Remesh(target);
    mesh.DiscardVertices();
    progress.End();
    return ExtractFromMesh(mesh);
}

CRemeshOptions GetPreserveOptions(const CCommandLine& line) {
    CRemeshOptions options;
    if (line.Has("--feature-angle"))
        options.m_FeatureAngle = line.GetNumberIn("--feature-angle", 0, 180);
    if (line.Has("--iterations"))
        options.m_Iterations = line.GetCount("--iterations", 1, 100);
    return options;
}

CMeshData RunPreserve(const CMeshData& input, double target, CRemeshOptions options, double estimatedFaces,
                      CProgress& progress, CWatchdog& watchdog) {
    ToolMesh mesh;
    LoadIntoMesh(input, mesh);
    // Every iteration splits towards the target and collapses back, so after
    // each one the mesh is near its final size: within the estimate on
    // ordinary meshes, a few times over it where kept boundaries and
    // features of wild inputs cannot collapse. Far beyond it, the edits of a
    // pass are feeding themselves and the run would not end.
    const double faceCeiling = 8 * std::max(estimatedFaces, static_cast<double>(input.m_Triangles.size())) + 10000;
    options.m_Progress = [&](unsigned int done, unsigned int total) {
        progress.Report(done, total);
        const unsigned int faces = mesh.m_Faces.GetCount();
        if (faces > faceCeiling)
            watchdog.Trip("after iteration " + std::to_string(done) + " of " + std::to_string(total) + " it had " +
                          FormatCount(faces) + " faces, more than eight times the " +
                          FormatCount(static_cast<std::uint64_t>(estimatedFaces)) + " expected");
        return !watchdog.IsTripped();
    };
    progress.Begin("remeshing (preserve)");
    mesh.RemeshPreservingShape(target, options);
    progress.End();
    watchdog.ThrowIfTripped();
    return ExtractFromMesh(mesh);
}

int Run(const CCommandLine& line) {
    if (line.GetPositional().size() > 1)
        throw CToolError("unexpected argument '" + line.GetPositional()[1] + "' (see --help)");
    const EMethod method = GetMethod(line);
    const CRemeshOptions options = GetPreserveOptions(line);
    if (method == EMethod::Exact && (line.Has("--feature-angle") || line.Has("--iterations")))
        throw CToolError("--feature-angle and --iterations belong to --method preserve; the exact method has neither");
    const bool builtIn = line.GetPositional().empty();
    const std::string name = builtIn ? std::string(DefaultMeshName) : line.GetPositional()[0];
    std::string output;
    if (line.Has("--output"))
        output = RequireMeshOutput(line);
    if (line.Has("--report")) {
        const std::string& report = line.Get("--report");
        if (report.size() < 4 || report.compare(report.size() - 4, 4, ".svg") != 0)
            throw CToolError(Located(report, "the report is an SVG file: give it the extension .svg"));
        CheckOutputWritable(report);
    }
    if (line.Has("--target"))
        line.GetPositiveNumber("--target");
    if (line.Has("--relative"))
        line.GetPositiveNumber("--relative");
    if (line.Has("--max-memory"))
        GetMemorySize(line, "--max-memory");
    if (line.Has("--max-time"))
        line.GetPositiveNumber("--max-time");
    if (line.Has("--weld-tolerance"))
        line.GetNumberIn("--weld-tolerance", 0, 0.01);

    const CMeshData original = builtIn ? MakeDefaultMesh() : LoadMesh(name, line);
    // The input's half of the measures starts now, on the core that the
    // preparation below leaves idle, and overlaps the remesh after it.
    CRemeshMeasurer measurer(original);
    CMeshData input = original;
    CPreparation changes;
    const double weldTolerance =
        line.Has("--weld-tolerance") ? line.GetNumberIn("--weld-tolerance", 0, 0.01) : DefaultWeldTolerance;
    const EPreparationFault fault = PrepareForRemesh(input, method == EMethod::Exact, changes, weldTolerance);
    if (fault == EPreparationFault::NoUsableFaces)
        throw CToolError(Located(name, NoUsableFacesMessage));
    if (fault == EPreparationFault::NotManifold)
        throw CToolError(name + ": the mesh could not be made manifold for --method exact; try --method preserve");
    NoteChanges(line, name, changes.m_Degenerate);
    NoteChanges(line, name, changes.m_Repairs);
    NoteChanges(line, name, changes.m_Manifold, "for --method exact: ");
    if (fault == EPreparationFault::NoFacesLeft)
        throw CToolError(name + ": no faces are left for --method exact");

    const int exponent = UnitScaleExponent(input, false);
    ScaleByPowerOfTwo(input, exponent);
    const double scaledTarget = line.Has("--target") && !line.Has("--relative")
                                    ? std::ldexp(line.GetPositiveNumber("--target"), exponent)
                                    : ResolveLength(line, "--target", 1.0, input, name, changes.m_Edges);
    const double target = std::ldexp(scaledTarget, -exponent);
    if (!std::isfinite(scaledTarget) || !(scaledTarget > 0))
        throw CToolError(
            Located(name, "the target " + FormatQuantity(target, 4) + " is out of proportion to the mesh"));
    // The exact method collapses whatever is shorter than the target, with
    // no limit on what a vertex gathers: at a target wider than the mesh the
    // whole surface piles into a few vertices, slowly (minutes at a million
    // faces), and the result means nothing.
    if (method == EMethod::Exact && scaledTarget > DiagonalLength(input))
        throw CToolError(Located(name, "the target " + FormatQuantity(target, 4) +
                                           " is longer than the mesh is wide; --method exact would collapse it to "
                                           "nothing (choose a smaller --target or --relative)"));
    const double estimatedFaces = EstimateRemeshFaces(input, scaledTarget);
    const double inputFaces = static_cast<double>(input.m_Triangles.size());
    CheckEstimatedSize(estimatedFaces, "faces",
                       "choose a larger --target or --relative (now " + FormatQuantity(target, 4) + ")", name);
    const double peakFaces = EstimatePeakFaces(input, scaledTarget);
    CResourceLimits limits = GetLimits(line, inputFaces, peakFaces);
    limits.m_ExpectedMemory =
        static_cast<std::uint64_t>(CheckEstimatedMemory(limits, inputFaces, peakFaces, method, target, name, line));

    // The designed Remesh cannot be interrupted, so its watchdog ends the
    // process; the shape-preserving remesh is asked to stop after its
    // current iteration first, and ended only if it does not.
    CWatchdog watchdog(limits, method == EMethod::Exact ? EWatchdogAction::Exit : EWatchdogAction::FlagThenExit,
                       Located(name, "remeshing"),
                       "choose a larger --target or --relative (now " + FormatQuantity(target, 4) +
                           "); nothing was written");
    CProgress progress(line.IsQuiet());
    const auto start = std::chrono::steady_clock::now();
    watchdog.Start();
    CMeshData result = method == EMethod::Exact
                           ? RunExact(input, scaledTarget, progress)
                           : RunPreserve(input, scaledTarget, options, estimatedFaces, progress, watchdog);
    CRemeshOutcome outcome;
    outcome.m_Seconds = SecondsSince(start);
    outcome.m_TargetLength = target;
    ScaleByPowerOfTwo(result, -exponent);
    ScaleByPowerOfTwo(input, -exponent);

    CheckResult(result, "remeshing", name);
    // Collapses of the exact method can leave faces that name a vertex twice.
    CRepairSummary collapsed;
    DropRepeatedCornerFaces(result, collapsed);
    if (collapsed.m_RepeatedCornerFaces != 0)
        Note(line, name + ": " + std::to_string(collapsed.m_RepeatedCornerFaces) +
                       " faces that remeshing reduced to lines dropped from the result");
    DropUnusedVertices(result, changes.m_Unused);
    if (result.m_Triangles.empty())
        throw CToolError(Located(name, "remeshing left no faces (the target " + FormatQuantity(target, 4) +
                                           " may be too large for this mesh); nothing was written"));

    // The output goes to its temporary file while the measures are taken,
    // and into place only once the run has succeeded.
    std::optional<CMeshWrite> written;
    if (!output.empty())
        written.emplace(output, result, line);
    progress.Begin("measuring");
    const CRemeshMeasures measures = measurer.Finish(result);
    const CMeshStatistics& before = measures.m_Before;
    const CMeshStatistics& after = measures.m_After;
    const double diagonal = DiagonalLength(input);
    outcome.m_InputSamples = measures.m_BeforeSamples;
    outcome.m_OutputSamples = measures.m_AfterSamples;
    outcome.m_RelativeDistance = diagonal > 0 ? measures.m_Hausdorff / diagonal : 0;
    progress.End();
    watchdog.Stop();
    watchdog.ThrowIfTripped();

    std::printf("quorvel remesh: %s, method %s, target edge length %s\n", name.c_str(),
                method == EMethod::Exact ? "exact" : "preserve", FormatQuantity(target, 5).c_str());
    PrintQualityTable(stdout, before, after, outcome);
    if (written) {
        written->Commit();
        std::printf("wrote %s\n", output.c_str());
    }
    if (line.Has("--report")) {
        WriteSvgReport(line.Get("--report"), before, after, target,
                       "quorvel remesh: " + name + " (" + (method == EMethod::Exact ? "exact" : "preserve") + ")");
        std::printf("wrote %s\n", line.Get("--report").c_str());
    }
    if (line.Has("--json")) {
        CJsonSummary summary = SummariseEdit("remesh", name, output, before, after, outcome.m_Seconds);
        summary.Add("target_length", target);
        summary.Add("hausdorff", outcome.m_RelativeDistance);
        WriteJsonSummary(line, summary);
    }
    return 0;
}

}  // namespace

CCommand DescribeRemesh() {
    CCommand command;
    command.m_Name = "remesh";
    command.m_Usage = "remesh [INPUT] [-o OUTPUT] [--target L | --relative R] [--method preserve|exact] "
                      "[--feature-angle DEG] [--iterations N] [--weld-tolerance F] [--report FILE.svg] [--json FILE] "
                      "[--max-memory SIZE] "
                      "[--max-time SECONDS] [--quiet]";
    command.m_Summary = "make all edges approach one length (isotropic remeshing)";
    command.m_Description =
        "Splits long edges, collapses short ones, flips edges towards valence 6 and relaxes the\n"
        "vertices until the edges are close to the target length, then prints a before/after table\n"
        "of mesh quality. Without INPUT it remeshes a built-in latitude-longitude sphere, whose\n"
        "sliver faces and high-valence poles show what remeshing is for.\n\n"
        "Methods:\n"
        "  preserve  (default) keeps the shape: moved vertices are projected back onto the input\n"
        "            surface, sharp features and open boundaries are kept.\n"
        "  exact     the library's Remesh as designed: five rounds of split, collapse, flip and\n"
        "            plain neighbour averaging. The mesh is first made an oriented manifold\n"
        "            (flipped faces, split non-manifold vertices), which that method assumes.\n\n"
        "Before either method, vertices at the same position become one, and so does an end of an\n"
        "open edge lying within --weld-tolerance times the bounding-box diagonal (default 1e-6) of\n"
        "an earlier one: copies that an exporter rounded apart then join; an end of an open edge\n"
        "within that distance of the inside of another open edge (a T-junction) is stitched into\n"
        "it, the edge's face split there. 0 joins exact copies only and stitches nothing.\n\n"
        "The distance row is the sampled Hausdorff distance between input and output over the\n"
        "input's bounding-box diagonal, measured from every vertex and edge midpoint of both meshes\n"
        "and from points spread by area: one a face up to 4,000 faces, fewer on larger meshes (the\n"
        "footnote gives the counts). Progress is shown on stderr when it is a terminal.\n\n"
        "Limits: a run whose estimated result needs more memory than --max-memory is refused before\n"
        "it starts; one that grows past it, or to four times its estimate, or runs past --max-time\n"
        "(processor time of the remesh, so a busy machine does not cut it short) is stopped. Either\n"
        "way: one error line, exit status 2, no output. Under an address-space limit (ulimit -v) the\n"
        "default memory limit is at most a third of it.";
    command.m_Options = {
        OutputOption(),
        {"--target", "", "L", "target edge length"},
        {"--relative", "", "R", "target = R x the input's mean edge length (default 1)"},
        {"--method", "", "M", "preserve (default) or exact"},
        {"--feature-angle", "", "DEG", "preserve: edges bent by DEG degrees or more stay sharp (45; 0: none)"},
        {"--iterations", "", "N", "preserve: rounds of remeshing (default 5)"},
        {"--weld-tolerance", "", "F", "join open-edge vertices closer than F x the diagonal (1e-6; 0: exact only)"},
        {"--report", "", "FILE.svg", "draw edge-length and valence histograms before and after"},
        {"--max-memory", "", "SIZE", "stop beyond this much memory (4G, 512M, bytes; default: half of RAM)"},
        {"--max-time", "", "SECONDS", "stop after this much processor time (default: 20 s + 0.1 ms a face)"},
        AsciiOption(),
        JsonOption(),
        QuietOption()};
    command.m_Run = &Run;
    return command;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
