#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

namespace {

// An input whose every edge lies between the collapse and the split length of
// its local target and whose every face has at least this smallest angle (the
// angle the final moves raise free faces to) is already what the remesh
// makes: it is returned as it is. The moves would only even its edges out a
// little further, and each moved vertex takes the faces around it off a
// curved input (a welded icosphere at its own edge length moved 0.05 % of its
// diagonal, for an edge-length spread of 0.046 against its own 0.065).
constexpr double SettledAngle = 35.0 * Pi / 180.0;

}  // namespace

bool CEngine::Run() {
    const bool usable = m_TargetLength > 0 && std::isfinite(m_TargetLength) && std::isfinite(m_SplitLength2);
    // Bounded: one pass over the half-edges.
    const auto settled = [&]() {
        const double cosSettled = std::cos(SettledAngle);
        for (std::uint32_t h = 0; h < static_cast<std::uint32_t>(m_Corner.size()); ++h) {
            if (m_Corner[h] == None)
                continue;
            const double length2 = EdgeLength2(h);
            if (!(length2 >= EdgeLimit2(h, CollapseFactor, m_CollapseLength2)) ||
                !(length2 <= EdgeLimit2(h, SplitFactor, m_SplitLength2)))
                return false;
            if (h % 3 == 0 && !(SmallestAngleCos(m_Position[m_Corner[h]], m_Position[m_Corner[h + 1]],
                                                 m_Position[m_Corner[h + 2]]) <= cosSettled))
                return false;
        }
        return true;
    };
    if (usable && m_Options.m_Iterations > 0 && settled()) {
        // Every iteration is reported, as a caller counting them expects.
        for (unsigned int iteration = 0; iteration < m_Options.m_Iterations; ++iteration)
            if (m_Options.m_Progress && !m_Options.m_Progress(iteration + 1, m_Options.m_Iterations))
                return false;
        return true;
    }
    const unsigned int total = usable ? m_Options.m_Iterations : 0;
    if (total > 0)
        SplitLockedLines();
    // Bounded: the caller's number of iterations, each a fixed sequence of
    // the bounded passes (the bound of each is at its loop).
    for (unsigned int iteration = 0; iteration < total; ++iteration) {
        SplitLongEdges();
        CollapseShortEdges();
        FlipEdges();
        for (unsigned int step = 0; step < m_Options.m_RelaxationSteps; ++step)
            RelaxAndProject();
        // A collapse that removes a thin face may leave another beside it;
        // a few passes settle them.
        for (int pass = 0; pass < 4 && ImproveAngles(); ++pass) { }
        Compact();
        // The final moves (see RaiseSmallestAngles) follow the last
        // iteration done, so that stopping after k iterations gives what
        // asking for k gives.
        if (m_Options.m_Progress && !m_Options.m_Progress(iteration + 1, total)) {
            FinalMoves();
            return false;
        }
    }
    FinalMoves();
    return true;
}

}  // namespace Corvane::Pellix::Quorvel::detail::preserving

namespace Corvane::Pellix::Quorvel::detail {

bool CPreservingRemesher::Run(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles,
                              double targetLength, const CRemeshOptions& options) {
    preserving::CEngine engine(positions, triangles, options, targetLength);
    const bool finished = engine.Run();
    engine.Extract(*this);
    return finished;
}

}  // namespace Corvane::Pellix::Quorvel::detail
