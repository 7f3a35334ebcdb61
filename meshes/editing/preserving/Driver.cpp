#include "quorvel/meshes/editing/preserving/Engine.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

bool CEngine::Run() {
    const bool usable = m_TargetLength > 0 && std::isfinite(m_TargetLength) && std::isfinite(m_SplitLength2);
    const unsigned int total = usable ? m_Options.m_Iterations : 0;
    if (total > 0)
        SplitLockedLines();
    // Bounded: the caller's number of iterations, each a fixed sequence of
    // the bounded passes (the bound of each is at its loop).
    for (unsigned int iteration = 0; iteration < total; ++iteration) {
        // The first iteration's splits cut the input's long faces under the
        // budget of the global target; from the second on, the faces follow
        // the local target and the budget follows them (see GrowFaceBudget).
        if (iteration > 0)
            GrowFaceBudget();
        SplitLongEdges();
        CollapseShortEdges();
        FlipEdges();
        for (unsigned int step = 0; step < m_Options.m_RelaxationSteps; ++step)
            RelaxAndProject();
        // A collapse that removes a thin face may leave another beside it;
        // a few passes settle them.
        for (int pass = 0; pass < 4 && ImproveAngles(pass > 0); ++pass) { }
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
