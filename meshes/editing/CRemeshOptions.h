#pragma once

#include <functional>

namespace Corvane::Pellix::Quorvel {

/// Settings of the shape-preserving remesh (TMesh::RemeshPreservingShape).
class CRemeshOptions {
public:
    /// Rounds of split, collapse, flip, relax and project.
    unsigned int m_Iterations = 5;
    /// Edges whose dihedral angle reaches this many degrees (within 1e-5
    /// degrees, so that the sides of a regular octagon or a 45-degree chamfer
    /// all count at the default) are kept as features, and so are tips whose faces lean further than this from the
    /// plane across them (the apex of a cone); 0 turns feature detection off.
    /// An edge whose two faces lie folded flat onto each other (normals
    /// within 0.8 degrees of opposite, as where a fan overlaps itself) is
    /// no feature whatever this angle, and nor is a line of such edges whose
    /// both ends stop in the open surface on a thin part faceted coarsely for
    /// the target (a scanned animal's ear or tail: the faces beside the line
    /// turn against their other neighbours by 3 degrees or more on average,
    /// and the surface by 60 degrees or more within one and a half targets
    /// across it).
    double m_FeatureAngle = 45.0;
    /// True: boundary vertices stay where they are, and so does the shape of
    /// the boundary; an open edge longer than 4/3 of the target is still split,
    /// the new vertex fixed on it, and a boundary vertex closer than half the
    /// target to a neighbour along the boundary may merge into that neighbour
    /// where the boundary turns there by less than the corner angle and the
    /// straightened boundary stays within a twentieth of the target of the
    /// input's boundary vertices (a boundary finer than the target would
    /// otherwise leave slivers). Where the input's boundary is noisy (it
    /// zig-zags from vertex to vertex, as the cut of a scan does) the
    /// straightening may reach four times the boundary's typical bend at its
    /// vertices (the median over nine neighbours along it; six times where
    /// the merge removes a triangle with an angle under 20 degrees), at most
    /// a quarter of the target, and a turn within that is no corner; a clean
    /// boundary keeps the limits above. A target between 3/4 of the longest
    /// and twice the shortest open edge leaves the open edges exactly as they
    /// are.
    /// False: boundary vertices slide along the boundary, which is remeshed
    /// like the rest.
    bool m_KeepBoundaries = true;
    /// Passes of tangential relaxation, each followed by projection onto the
    /// input, in every iteration.
    unsigned int m_RelaxationSteps = 1;
    /// True: at the end every free vertex (on no feature line, corner or
    /// boundary) moves off the input along its normal, by at most a
    /// twentieth of the target, to the mean over its faces of the middle of
    /// the span of depths below and above the input that each face's
    /// corners, centroid and side midpoints cover. On curved parts the
    /// faces' middles and corners then lie about equally far from the input
    /// on either side, instead of the corners on it and the middles inside a
    /// convex part and outside a concave one: a smaller largest distance
    /// from the input (by a fifth to a third on faceted spheres and tori)
    /// and less volume lost. No
    /// face gets a smaller angle than the smallest one before. Free vertices
    /// then lie slightly off the input; feature lines, corners and
    /// boundaries stay exactly where they were.
    /// False: every vertex stays on the input.
    bool m_FitFaces = true;
    /// Called once after every iteration with the number of iterations done and
    /// the total; returning false stops the work (the mesh is left valid).
    std::function<bool(unsigned int done, unsigned int total)> m_Progress;
};

}  // namespace Corvane::Pellix::Quorvel
