#pragma once

// The shape-preserving remesh engine's private declarations, shared by its
// units and by nothing else (the folder is not installed). The units read in
// the order of the work:
//   Surface.cpp      the half-edge arrays it edits: load the input, pair the
//                    edges, compact between iterations, extract the result;
//   Constraints.cpp  which edges are features or boundaries and which
//                    vertices are kept, sliding or corners;
//   Sizing.cpp       the local target, lowered where corners or lines
//                    stand much closer together than the global one;
//   Splits.cpp, Collapses.cpp, Flips.cpp  the edits (flips also raise small
//                    angles);
//   Tips.cpp         the final moves around kept needle and cone tips;
//   Relaxation.cpp   tangential relaxation, and Projection.cpp, which puts
//                    the moved vertices back onto the input;
//   Driver.cpp       the loop: split, collapse, flip, relax, repeat.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

#include "quorvel/maths/TVector3.h"
#include "quorvel/meshes/editing/preserving/CPreservingRemesher.h"
#include "quorvel/meshes/queries/CBoxHierarchy.h"
#include "quorvel/meshes/queries/TreeWalk_impl.h"

namespace Corvane::Pellix::Quorvel::detail::preserving {

typedef Sarvetta::TVector3<double> Vec;

constexpr std::uint32_t None = 0xFFFFFFFFu;
// Edge kinds, one per half-edge and equal on both halves of an edge: None for
// a free edge, Locked for one no edit may touch, Kept for an open edge that
// may only be split (its ends and the new vertex stay fixed), Pending for a
// constraint before its line is known, any smaller value the id of the
// constraint line (a feature line, or an open boundary that may slide) the
// edge lies on.
constexpr std::uint32_t Locked = 0xFFFFFFFEu;
constexpr std::uint32_t Kept = 0xFFFFFFFDu;
constexpr std::uint32_t Pending = 0xFFFFFFFCu;

// Vertex flags. A fixed vertex never moves and is never removed; a sliding
// one moves along its constraint line only; a non-manifold one (separate fans
// meeting at it) is also fixed, and no edit that reads its ring may touch it.
constexpr std::uint8_t Deleted = 1;
constexpr std::uint8_t Fixed = 2;
constexpr std::uint8_t Sliding = 4;
constexpr std::uint8_t NonManifold = 8;
// A fixed vertex that is fixed only as the corner of constraint lines.
constexpr std::uint8_t Corner = 16;
// The tip of a needle whose creases were dropped (see DropLinesAtNeedleTips):
// a fixed corner on no line whose fan keeps at least four faces (see
// MinValence).
constexpr std::uint8_t Needle = 32;
// A corner that two constrained vertices merged into (see CornerMergeFactor).
constexpr std::uint8_t Merged = 64;

// The split and collapse limits of the incremental isotropic scheme; between
// them every edge is left alone.
constexpr double SplitFactor = 4.0 / 3.0;
constexpr double CollapseFactor = 4.0 / 5.0;
// Where the feature angle is off, an open boundary that slides still keeps a
// corner where it turns by more than this.
constexpr double DefaultCornerAngle = 45.0;
// A collapse may turn no surrounding face by 90 degrees or more.
constexpr double CollapseMinCos = 0.0;
// Two faces fold against each other where their normals lie more than 120
// degrees apart; no collapse may make a new fold (see MakesFold).
constexpr double MaxFoldCos = -0.5;
// Faces narrower than this many target lengths across the side they share
// may fold there (see MakesFold).
constexpr double NarrowFoldFactor = 1.0 / 3.0;
// An edge shorter than this many target lengths that no end can take may
// collapse to its midpoint instead. (Midpoints for every collapse would make
// more of them pass the length test and leave the edges about a tenth longer
// on average than end-to-end collapses do: a coarser surface for the same
// target.)
constexpr double MidpointCollapseFactor = 0.5;
// A collapse that removes a thin face may leave edges up to this many target
// lengths: a few edges somewhat too long cost less than a sliver, and the
// next iteration splits them.
constexpr double AngleReachFactor = 1.6;
// No collapse may leave a vertex with more neighbours than this. A vertex
// that cannot be removed (a rim much finer than the target, a frozen patch)
// would otherwise swallow its free neighbours one after another, and every
// later attempt at its edges walks the whole grown fan: on a strip between two
// dense rims one vertex took all 14,000 faces and the collapses grew
// quadratic in the face count. With the bound an attempt costs at most a walk
// of this many edges on each side. It lies above what the collapses of every
// test mesh make (at most 44 on smooth surfaces, 61 on the fans of a CAD
// block), so their results do not change.
constexpr int MaxCollapseValence = 64;
// Constrained vertices closer than this many target lengths (corners, or
// vertices of two lines that run side by side, as noise in scans makes them)
// are one corner at the target resolution: they may merge.
constexpr double CornerMergeFactor = 0.25;
// An iso-surface extraction cuts a crease that runs diagonal to its grid
// across: a chamfer a fraction of a voxel wide between two bends of about
// half the crease's turn each, both kept as lines. Faces between the two
// lines stay as narrow as the chamfer, and the lines lower the target around
// them, so their vertices side by side never came within the corner merge
// of the lowered target (a voxelised pipe tee kept faces of 15 degrees
// there). Two lines' sliding vertices closer than the corner merge at the
// global target whose fans face within 30 degrees of each other (this
// cosine) merge into a corner, the crease whole again there. Across a thin
// slab or a strand the two rims' fans face apart by about a right angle (its
// sides) and stay.
constexpr double SplitCreaseFanCos = 0.8660254037844386;
// The end of a feature line that stops in the open surface is no corner of
// the shape, only where the crease fades out. Two such ends (a crease the
// input's sampling broke in two, as along the coarse facets of a
// reconstructed limb) closer than this many target lengths merge, so that no
// pair of fixed vertices closer than the target pins slivers between them.
// So does such an end this close to a sliding vertex of another line, onto
// that vertex (see EndOntoLine).
constexpr double LineEndMergeFactor = 0.5;
// A sliding vertex may merge along its line into a neighbour only where the
// line, straightened past it, stays within this many target lengths of it.
constexpr double LineDeviationFactor = 0.25;
// No edge of a rod's rim (see FindRodRims) may span more than this share of
// the rim along the input's line, after a collapse or a move of its
// vertices. A rim shorter than the target comes down to the three vertices
// a closed line keeps, in the order its short edges come: left side by side
// on one side of the rim, the cap they span is a sliver and the tube
// between two such rims a flat strip. Over half, the vertices no longer
// hold the rod's axis between them.
constexpr double RodRimShare = 0.5 * 1.02;
// Where a sheet's rim bent round without a line lowers the target (see
// ThinPartSpread), a free vertex merges into a neighbour only where it lies
// within this many local targets of the faces that take its place. Bounded
// by nothing but the faces' turn, the collapses cut the half-round rim of a
// sheet a quarter of the target thick a little deeper at every pass, even
// refined to its thickness (6 % of the diagonal, 2.9 % so bounded). Bounded
// wherever the target is lowered, the collapses on a lathe's stem, whose
// faces bend as much about it, left a wine glass's rim 7 degrees worse.
constexpr double FreeDeviationFactor = 0.25;
// Elsewhere, where the local target is the global one, a vertex of the input
// merges into a neighbour only where it lies within this many targets of the
// faces that take its place. On a faceted input remeshed near its own edge
// length (a low-poly rock: a hull of 19 points, its creases too short to stay
// lines) the input's vertices are the corners of its shape; each pass cut
// off the ones sticking out furthest, the hull shrank, its edges shortened
// and the next pass cut again, down to 7 vertices, 71 % of the volume gone
// and 37 % of the diagonal off. Vertices the splits made lie on the input's
// faces and edges and go as before. A tighter bound keeps the noise of
// scans and the spikes of spiked ones as well (0.3 targets: a scan noisy by
// an edge 9.3 -> 5.6 degrees; 0.4: a spiked scan 8.7 -> 7.3); applied where
// the target is lowered, or to every vertex, it left slivers on thin rims
// and bends (a lathe's wine glass 14.6 -> 7.7 degrees).
constexpr double InputVertexDeviationFactor = 0.5;
// A sliding vertex whose line faces another across a strip narrower than
// this many local targets (measured from a vertex of the other line, joined
// to it by an inner edge, to its line's edges) leaves along its line only
// where the edge is short by that vertex's local target too. The two lines'
// targets differ where a corner near one lowers it: measured by its own
// target alone, the far line coarsened to twice the near one's spacing, and
// the faces across the strip were as thin as the strip is narrow against
// the long edge (16.95 degrees on the low-poly house's base slab, a strip
// 0.2 tall, an edge of 0.875 facing two of 0.44). At half a target the
// rule also held a gear's sides, 0.42 targets thick, finer than they need.
// The angle passes, which collapse longer edges, take the same bound.
constexpr double FacingStripFactor = 0.4;
// A face whose every side is open or shared by three or more faces (a flap
// that vertex clustering folded back onto the surface) is dropped where it
// lies within this many targets of the ordinary faces around its corners: a
// sliver that only doubles the surface there. Clustered spheres' flaps lie
// within 0.055 targets of the surface, their ordinary faces 0.13 and more
// (at 0.05 the icosphere kept a flap of 15 degrees).
constexpr double FinCoverFactor = 0.075;
// A kept open boundary much finer than the target (a rim refined for another
// purpose, a scan cut by a plane) would leave slivers beside every fixed
// vertex. A vertex of it closer than this many target lengths to a
// neighbour along the boundary may merge into that neighbour...
constexpr double KeptCollapseFactor = 0.5;
// ...while the straightened boundary stays within this many target lengths
// of the vertices of the input's boundary it replaces (each open edge carries
// the ones removed along it, so that removals one after another cannot drift)
// and turns at the removed vertex by less than the corner angle.
constexpr double KeptDeviationFactor = 0.05;
// An open edge carries at most this many removed vertices: a removal that
// would give it more is refused, so that each check and merge of the lists
// costs at most this much. Enough for a rim a hundred times finer than the
// target to thin out to it; at 48 such a rim stayed three times finer, with
// slivers beside it.
constexpr std::size_t MaxCarriedVertices = 256;
// A noisy kept boundary (the cut of a scan) zig-zags by more than that
// deviation and turns by more than the corner angle at nearly every vertex,
// so none could leave it, and slivers lined it. Its noise is measured at each
// input vertex as the median, over this many neighbours along the boundary
// on each side, of every vertex's distance from the chord of its two
// neighbours (a median, so that a real corner, one large distance among
// small ones, does not count as noise)...
constexpr int RoughnessReach = 4;
// ...and the boundary may straighten within this many times that noise (a
// turn within it is no corner)...
constexpr double RoughnessAllowance = 4.0;
// ...but never by more than this many target lengths.
constexpr double MaxRoughnessFactor = 0.25;
// A boundary whose vertices lie further than this many target lengths from
// the chords of their neighbours (the median over the same window) is no
// noisy one but coarser than the target: the hull of a height field, a few
// rim edges each many targets long, whose every vertex is a corner. Its
// vertices are not measured as noise: smoothed, a square's four corners
// would meet at its centre, and the faces along its rims, judged on those
// places, would turn against each other and be kept as lines beside the rim.
constexpr double CoarseBoundaryFactor = 1.0;
// A boundary vertex is noisy only where its neighbours' offsets from their
// chords (in the frame of their faces) differ from their mean by at least
// this share of the median offset: a zig-zag differs by all of it, a rim
// that turns evenly by none.
constexpr double EvenTurnShare = 0.5;
// A wall between two lines is thin where the vertices of one that a vertex
// of the other is joined to lie closer than this many local targets (see
// SizeGrading: where corners lower the target, the wall is resolved) to the
// straight line through that vertex's neighbours along its own line.
constexpr double ThinWallFactor = 0.5;
// A line's vertex with nothing else across such a wall staggers against a
// kept open boundary where the boundary's edge there is at least this share
// of the line's own spacing; against a boundary finer than that it stands at
// one of the boundary's vertices, and against one finer than half that it
// keeps the middle of its ends.
constexpr double RimStaggerShare = 0.75;
// To remove a sliver (a face with an angle under 20 degrees, see Flips.cpp)
// beside a noisy kept boundary the straightening may reach this many times
// further (within the same cap): the noise measure is a median, and the
// zig-zag's peaks lie further out than it, so a removal within this still
// stays inside the band the noise spans, where the sliver it removes would
// stay for good.
constexpr double ThinFaceRoughnessFactor = 1.5;
// An ear of a kept boundary (one face, two of its sides open) whose base is
// shorter than this many targets...
constexpr double EarBaseFactor = 0.35;
// ...and the face inward from whose base has an angle under this many
// degrees may lose its tip (see IsThinEar)...
constexpr double EarInnerAngle = 20.0;
// ...where the tip lies within this many targets of the base.
constexpr double EarTipReachFactor = 0.4;

// Corners joined by a line edge much shorter than the target (the root
// between two teeth of a gear) pin every face beside the edge as narrow as
// the edge is short, and so do two lines that run side by side closer than
// the target (the rims of a bracket's arm thinner than the target): there
// the target shrinks to the edge's length or the lines' distance, and grows
// back with distance by this many lengths per length (a neighbour's edges
// may be up to half as long again), so that the faces between can be well
// shaped while the shape stays exact. The split, collapse and corner-merge
// lengths of an edge, and how narrow its faces may be to fold (see
// NarrowAcross), follow the smaller local target of its ends.
constexpr double SizeGrading = 0.5;
// Gaps shorter than this many targets set no local target: such corners
// merge (see CornerMergeFactor) as they do at the global one, rather than
// refine all around a plate far thinner than the target.
constexpr double MinSizeFactor = 0.1;
// Nor do gaps as long as this many targets: beside them the faces the
// global target makes are good enough. A wall of that height between two
// lines, its lines' vertices staggered across it (see ThinWallFactor),
// makes faces of about atan(2 x height / target), 30 degrees at 0.29
// targets: a thin plate 0.34 targets thick keeps 34 degrees that way, and
// fell to 23 refined to its thickness (27 where only its corners' short
// edges refined it). A cube remeshed at its mean edge length (edges of 0.88
// targets) stays as it is. The flanks of a gear's teeth (0.4 targets) set
// none either, although the faces beside them would gain 5 degrees.
constexpr double MaxSizeFactor = 0.29;
// Two edges of lines, each between two corners, on one piece of surface
// count as side by side where they run within this many degrees of
// parallel, measured at this many points a target along each. (Lines of
// sliding vertices are coarsened by the collapses like any other part
// thinner than the target: a thin tube's creases, refined to their
// distance, turned a coarse remesh of the tube into one eight times finer
// than its input.)...
constexpr double FacingAngle = 30.0;
constexpr double FacingSamples = 4.0;
// ...where the nearest point of the other line lies inside one of its edges,
// this share of its length from either end (at an end it would be a
// neighbour of the same outline round a corner)...
constexpr double FacingMargin = 0.01;
// ...and where both lines' edges there are longer than this many times the
// distance between them. Lines sampled finer (the rim of a round hole near
// the side of a block) are coarsened by the collapses like any other, and
// refined to their distance the faces in the hole behind them lost 5
// degrees.
constexpr double FacingLengths = 2.0;
// Two lines of sliding vertices closer than the corner merge (the rims of a
// parapet or of a shell's wall thinner than a quarter target) merged into one
// zig-zag line, the two sides meeting at a knife edge that folds, and where
// only some pairs merged, slivers filled the rest. Where such lines face each
// other, their faces turned back to back (see BackToBack), the target
// shrinks to this many times their distance: the merge length falls below
// the distance, so both rims stay, and rim edges up to the split length
// staggered across the wall make faces of at least atan(2 / (4/3 x this)),
// 31 degrees. (At 2 / tan 30 degrees the rims' edges stayed too long for the
// wall: 25 degrees on a parapet 0.2 targets thick.)
constexpr double ThinWallStretch = 2.5;
// Where the other line lies through the solid from a line, more than 60
// degrees out of both its faces (cosine this), the wall is no strip of the
// surface but the root of a membrane whose two sheets join a body back to
// back: only the rims need the stretched target, and the faces beside them,
// turned away from the wall, grade back to the global target at this many
// lengths per length, slower than SizeGrading. At that grading the row beside
// the rim was half as long again as the rim's edges, and a vertex wedged into
// it between two of the rim's vertices pinned faces of 26.8 degrees (30.5 at
// this grading). The walls of CAD parts lie across one of the lines' faces
// (a parapet's top, a hole's side in a thin plate) and grade as before: at
// this grading their refinement reached further, into the corners and
// window lines beside them, and a block of flats fell from 25 to 11 degrees.
constexpr double ThroughWallCos = 0.5;
constexpr double ThroughWallGrading = 0.35;
// Such a wall's lines lie no further apart at one end of a line's edge than
// this many times their distance at the other: lines that converge (the
// meridians at a pole) bound none.
constexpr double WallEvenness = 1.5;
// Wider walls, up to where the stretched target reaches the global one, take
// it only where both lines' edges are longer than this many times their
// distance: staggered across the wall at that spacing, faces fall below 30
// degrees (2 / tan 30 degrees). The flat rim of a thin bowl, 0.29 targets
// wide between two closed outlines whose edges are 1.25 targets long, made
// faces of 24.6 degrees across it.
constexpr double StaggerLengths = 3.4641016151377544;
// A wall under the floor of the sizing (see MinSizeFactor) down to this many
// targets still sets its target where it is one row of faces between lines
// whose edges are long against it (see StaggerLengths), and the face beyond
// its line is wider than the stretched target: the side of a hole through a
// plate 0.08 targets thick. Merged there, the plate's two sides lay on each
// other and folded along every hole. The strands of a head of hair (walls on
// both sides of every crease) and a membrane's two sheets (joined only far
// off, at their outer rim) stay as they were.
constexpr double MinWallFactor = 0.05;
// Such a wall may also be one whose two lines bound faces in one plane (see
// FlatAcross), though no face joins them: the web of a sheet-metal bracket
// 0.095 targets thick, its section's cap clipped ear by ear into long slivers
// that run from the web to the bends. Unrefined, the web's ends kept edges
// seven times their width (10.6 degrees). A membrane's two sheets lie in
// parallel planes, a gap apart, and strands of hair turn their faces apart.
// In one plane: the faces' normals within a degree, and the other line's ends
// off the plane by under this share of their distance from the edge.
constexpr double FlatAcrossCos = 0.9998476951563913;
constexpr double FlatAcrossShare = 0.01;
// Lines that are each one edge between corners do not come together as a
// thin plate's rims of sliding vertices do (its two sides laid on each other
// along a knife edge): a wall between two such lines under MinWallFactor
// kept its rims' edges as long as the global target, the top of a plate's
// rib 0.035 targets wide rims of half a target and faces of 3.4 degrees,
// and the rib's end caps folded. Between such lines the floor is this many
// targets. (Lines of sliding vertices stay at
// MinWallFactor: at 0.03 the thin plate 0.04 targets thick, refined to its
// thickness, fell from 31 to 16 degrees in eight times its faces.)
constexpr double MinCornerWallFactor = 0.03;
// Under MinWallFactor such a wall takes this many times its width rather
// than ThinWallStretch. At 2.5 times, the rims' splits halved edges of four
// widths into two of two, at the collapse length there, and the next pass
// took some back: rims of two and four widths side by side left faces of
// 24 to 25.5 degrees on the rib's top. At two widths the halves stay clear
// of the collapses, and rims of two widths make faces of at least 26.6
// degrees even where a vertex stands opposite another across the wall.
constexpr double CornerWallStretch = 2.0;
// Where the two corners that end such a wall's lines face each other
// square across a face of the surface with no line between them (a rib's
// end cap, which runs on into the plate's end), the wall sets this many
// times its width at the corners. Measured only inside the lines, the target
// graded up towards their ends, the corners a width apart merged and the
// cap folded; at the wall's stretched target (2.5 widths then) the end's
// face beneath, whose two corners a width apart face an edge a plate's
// thickness away, kept 18.6 degrees, and 28.5 at two widths.
constexpr double CornerWallEndFactor = 1.0;
// Two different lines of sliding vertices closer than the corner merge,
// back to back, whose edges are shorter than the merge and than
// FacingLengths times their distance (the rims of a lathe's flat annulus
// 0.08 targets wide, each a 192-gon, or a thin foot's rim) were coarsened
// like any other lines: their edges grew to 1.1 targets, so that the outer
// rim's chords passed within a hair of the inner rim's vertices and the
// faces across lay flat, or the two rims merged and folded. The target there
// shrinks until the lines lie this many local targets apart: the merge
// length (a quarter) stays below their distance, and the rims' edges keep
// their chords' sagitta far under it. (At 0.33 and 0.4 the finer rims
// pulled the stem beside them into slivers of 8 degrees.)
constexpr double CloseWallSpacing = 0.28;
// Two different lines of sliding vertices joined by one row of faces, back
// to back, from the corner merge up to StripReach targets apart, the edges
// of both shorter than FacingLengths times their distance: the end annulus
// of a thick-walled pipe, 0.34 targets wide between its two kept 32-gons.
// Coarsened like any other lines, both rims' edges grew to a target; rims
// of different lengths cannot stay staggered all round, and where a vertex
// faced the one across, the faces were as thin as the strip is narrow
// against the edge (20 degrees). The target there shrinks to this
// many times the width: rim edges up to the split length, 4/3 of it, make
// faces of at least atan(3/4), 37 degrees, however the two rims' vertices
// fall. (At 1.15 and 1.3 times the width the elbow's smallest angle over
// targets 0.9 to 1.1 times its own ranged from 18 to 32 degrees, at 1 from
// 27 to 30: the faces from the rims into the tube are what varies.)
constexpr double StripWidthFactor = 1.0;
// Wider strips keep the target: the top of a building's parapet, 0.87
// targets wide, refined to its width lost 6 degrees. So does a strip whose
// other line has long edges: beside the holes of a block whose top is
// fanned from the corners of its cells (the fans overlapping themselves),
// the holes' rims refined alone left faces of a degree and 56 folded edges.
constexpr double StripReach = 0.5;
// The face beyond each rim reaches at least this many widths from it: the
// strip lies on a part wider than itself (a pipe's end), not on a side of
// one as thin all round (a square strand of hair, each side a strip between
// two creases: refined, the hair kept 604 folded edges where it kept 583).
constexpr double StripBeyondFactor = 2.0;
// Such a strip under the corner merge down to this many targets wide, both
// rims' edges shorter than the merge, is refined to its width as well (the
// same pipe's end annulus at twice its mean edge, 0.17 targets wide between
// 32-gons whose edges are as long as it is wide). At the close-wall spacing
// (see CloseWallSpacing) its rims' edges grew to three times its width, and
// the faces across it fell to 12 degrees, 4.4 % of the diagonal off the
// input. Narrower strips keep that spacing: a lathe's foot band 0.12 targets
// tall, refined to its width, took twice the wine glass's faces, and the
// glass's rim and stem lost 9 and 4 degrees. Where a rim's edges reach past
// the merge (two creases of a low-poly animal 0.18 targets apart, one edge
// 1.75 times that long), the strip is no such end annulus and keeps it too:
// refined there, the animal folded at two more edges.
constexpr double StripFloorFactor = 0.15;

// A part thinner than the target all round (a stem, a tail, a strand, a
// link of a chain), coarsened to the target, kept fewer than three vertices
// round its cross-section: it flattened into a ribbon whose sides lay on
// each other and folded. Where the input's surface behind a vertex (against
// its normal, facing away from it) lies so close that this many times the
// distance is under the target, and the surface bends round the vertex at a
// radius no larger than that thickness (a tube, not a plate), the target
// shrinks to this many times the thickness, which keeps three or four
// vertices round a tube. (At the thickness itself a chain's link 0.8 targets
// thick kept slivers of 2 degrees beside its kept circles; at 1.5 times a
// stem's faces came out 2 degrees worse.)
constexpr double ThinPartStretch = 1.25;
// Such a part's surface bends at a radius of at most this many times its
// thickness (a round tube's is half of it; a plate's faces are flat).
constexpr double ThinPartBend = 1.0;
// Round such a part's middle, within its thickness, the faces' normals
// weighted by area add up to at most this share of their area (a closed
// tube's cancel; a plate's rim adds up to its side)...
constexpr double ThinPartBalance = 0.25;
// ...and no one direction holds more than this share of them (a tube's
// spread evenly about its axis hold half; a plate's top and bottom nearly
// all). Both tests hold only where a vertex of a line lies among those
// faces, a rim the line keeps: a sheet's rim bent round without a crease (a
// half-round bead) has nothing else to keep it, and the collapses, flips
// and relaxation wore it down at every pass.
constexpr double ThinPartSpread = 0.75;
// Such a rim's faces round the middle turn at least this share of their area
// away from the vertex (a sheet's far side): where only scan jitter turns a
// few faces over (the poles of a jittered sphere at 50,000 faces), counted
// as rims they refined it into 374 folded edges and faces of half a degree.
constexpr double BentRimBackShare = 0.25;
// A bent rim's place counts only with this many others within a target (see
// AddThinPartSources): the two jitter folds at that sphere's poles stood
// alone, and still made 192 folded edges.
constexpr int BentRimCompany = 2;
// The middle between a vertex and the surface behind it lies inside the
// part, at least this share of the thickness from any face: beside a plate's
// rim or a hole's it lies on the rim's own side. (A lathe's stem, where it
// widens into a bowl, keeps 0.289 of it: at 0.3 that ring set no target and
// the stem's faces there fell to 5 degrees.)
constexpr double ThinPartClearance = 0.28;
// An edge is measured as such a part (at its middle, or along it) only
// where its two faces turn by at least this many degrees (see
// AddThinPartSources): a square strand's diagonals lie in one plane, while a
// lathe's stem of 192 sectors turns by 1.9 degrees from face to face.
constexpr double ThinPartEdgeTurn = 1.0;
// A free edge across a strip between two lines' vertices stays unsplit up
// to this many local split lengths (see SplitLimit2).
constexpr double StripSplitFactor = 2.5;
// The middle of an edge across a strip lies half the strip's width from
// either line, where the target is about 1.25 times the lines' own (see
// SizeGrading); a middle whose target is over this many times its finer
// end's lies outside any strip at that end (see ClimbsOutOfStrip).
constexpr double StripMiddleFactor = 1.6;
// The target at such a middle is the finer end's graded over half the edge,
// to within this share: no other source lowers it there.
constexpr double StripGradedShare = 0.95;
// A face is a needle along its side h where its height over h is under this
// many lengths of h; a strip's faces, one target across, are such needles
// along its length, down to this many local targets high (see
// RunsAlongStrip). Lower, the strip is wide for its target (a slab's side 0.2
// high where the target is 0.9): a free vertex in its middle helps there.
constexpr double NeedleHeight = 0.2;
constexpr double StripNeedleShare = 0.6;
// A flip along a strip halves the edge's length or so (see StripSideToFlip),
// and is taken only where the strip is a whole local target across: taken
// on narrower ones too, it left the ear-clipped caps of a heat sink's fins,
// 0.08 wide, at 18.4 degrees where they had kept 18.7.
constexpr double StripFlipShrink = 0.7;
constexpr double StripFlipShare = 1.0;
// A split joins its new vertex to the corners opposite the edge; a corner
// that has gained this many edges in one split pass gains no more (see
// CrowdsOpposite); a pass that halves every edge adds one per neighbour.
constexpr std::uint16_t MaxSplitGain = 24;
// Two lines' vertices closer than this many collapse lengths merge wherever
// the target is (see TryCollapse).
constexpr double TinyEdgeFactor = 0.1;
// The two corners of a rough crease (see m_RoughCreaseLines) shorter than
// this many targets merge (see CornerMergeFactor) whatever the local
// target, as they would at the global one. Such a crease is kept only
// because a line edge beside it lowers the target, and at the lowered
// target its corners stay apart for good: the fingertip of a decimated hand
// kept a crease of 0.106 targets where the target was lowered to a third,
// and the one face beside it stayed at 25 degrees where the rest of the
// result keeps 31. Up to 0.15 targets no other input of the sweep moved;
// from 0.2 the creases of a teapot of four parts at three times its mean edge
// merged too and left faces of 7.7 degrees where 10.2 stood.
constexpr double RoughCreaseMergeFactor = 0.125;

// Loops over fewer items than these stay on the calling thread: waking a team
// costs more than the work saves, and far more when the cores are busy with
// other programs. Results are the same either way.
constexpr std::int64_t ParallelVertices = 4096;
constexpr std::int64_t ParallelFaces = 8192;

constexpr double Pi = 3.14159265358979323846;
// The smallest angle of the face a collapse may leave alone at a notch of an
// open boundary (see CloseNotchEars).
constexpr double EarMinAngle = 30.0 * Pi / 180.0;
// How far along the boundary, in open edges, the two rims beside a vertex
// of a strip must stay apart (see CrossesStrip): nearer, they are the two
// sides of a notch, and an edge across it would cut off an ear.
constexpr int StripRimSteps = 3;
// Rounds of halving the edges of three or more faces: a line 2^16 times
// longer than the target would still be cut no finer.
constexpr int MaxLockedLineRounds = 16;
// Feature lines shorter than this many target lengths, not joined to an open
// boundary and not bridging two vertices where lines that stay meet, are
// taken for noise and dropped: they cannot be resolved at the target length
// anyway, and their fixed ends would pin the mesh.
constexpr double MinFeatureLength = 3.0;
// A closed feature line without corners stays down to this many target
// lengths.
constexpr double MinLoopLength = 2.0;
// A low-polygon solid (a CAD export of a bracket or a gear, remeshed at its
// own mean edge length) has edges no longer than the target, so every line
// it draws is short; dropped, the solid collapsed into a few faces around its
// longest edges (an L-shaped bracket into a tetrahedron). A short line stays
// where its faces turn by at least this many degrees along all of it and
// neither end is loose (each carries another edge of a line, meeting it at a
// corner): the edges of a solid. Scan noise creases gently and ends in the
// open surface; a reconstructed limb's coarse facets crease by about the
// feature angle (at 60 degrees some of their short lines stayed, and faces
// beside them lost a fifth of a degree at a fine target).
constexpr double SolidEdgeAngle = 75.0;
// A vertex whose faces close after less than this share of a full turn is
// the tip of a needle: no feature line ends there (see
// DropLinesAtNeedleTips).
constexpr double NeedleTipTurn = 0.5;
// A tip kept without lines (a needle's, or a cone's) whose fan or the fans
// of its ring are thinner than this get their ring evened out at the end
// (see EvenTipRings); a fuller tip keeps its ring, which lies nearer the
// input.
constexpr double TipRingAngle = 30.0 * Pi / 180.0;
// A feature line that turns by more than this many degrees within this many
// target lengths on either side of a vertex (the outline around the nose of
// a blade thinner than the target) makes a corner of it, the vertex where it
// folds back furthest: sliding vertices there would only cut across the bend,
// and the part's tip would go with them. The turn is measured between the
// line's directions that far along it, within this many edges.
constexpr double HairpinTurn = 135.0;
constexpr double HairpinReach = 0.25;
constexpr int HairpinSteps = 64;
// Two such corners joined by a chain of the input's edges through free
// vertices (the nose of a blade lofted through several sections, from one
// cap's outline to the other's) keep that chain as a line where each of its
// edges runs within this many degrees of the straight line between them:
// the nose is then an edge at the target's resolution, and without it the
// faces from one side of the blade to the other cut it off a little more in
// every iteration. From each vertex the chain takes, of the edges within
// that angle of its last one, the one reaching furthest out along the
// vertex's normal: the ridge of the nose, not a vertex beside it.
constexpr double NoseChainAngle = 20.0;
// Each edge of such a chain turns by at least this many degrees between its
// faces: a nose is sharp along its whole length, where a chain across a flat
// face or a gently curved side is none.
constexpr double NoseChainTurn = 10.0;
// On a blade whose nose is kept as such a chain, a flip may make no face
// whose two edges on one line meet, at a corner that two line vertices
// across the part merged into, more openly than this cosine (150 degrees):
// the face would lie flat against the cap's outline, and turn over as the
// line's vertices slide. (Elsewhere, on the caps of a blade of two
// sections, such flips lead to results nearer the input.)
constexpr double LineEarCos = -0.8660254037844386;
// An input vertex that the result passes further from than this many target
// lengths (the tip of a spike of scan noise, cut off because no vertex of
// the result happened to land near it) draws the nearest free vertex onto it
// at the end (see SnapToPeaks).
constexpr double PeakSnapFactor = 0.25;
// Rounds of relaxation of the ring that follows a vertex onto a peak (see
// SnapWithRing).
constexpr int SnapRingRounds = 3;
// Shares of the way towards each neighbour that a vertex beside a folded
// edge tries at the end (see UnfoldByMoves), and the sweeps over those
// vertices. Three faces round a slender tip are a third of a degree from
// folding at best, so the smallest shares turn a ring vertex by a fraction
// of a degree.
constexpr double UnfoldShares[] = {0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.35, 0.5};
constexpr int UnfoldSweeps = 8;
// What a fold weighs against how near the other edges come to folding
// (see FoldsAround): more than all of those together, so folds count first.
constexpr double UnfoldFoldWeight = 100;
// The cosine between two faces' normals (negated) from which an edge counts
// as near folding (114 degrees; folding is at 120, see MaxFoldCos).
constexpr double UnfoldNearCos = 0.4;
// The share of the angle of four faces spread evenly round a tip that its
// faces and its ring's keep where the tip gets a fourth face against a fold
// (see UnfoldEdges). A face split in two at the tip keeps 0.61 of it.
constexpr double UnfoldTipShare = 0.85;
// A fan at least this wide stays so through the moves against folds (see
// UnfoldByMoves): 30 degrees, the smallest angle the remesh aims for.
constexpr double UnfoldKeptAngle = 30.0 * Pi / 180.0;
// A fan over a part of the input that folds itself is thinned by the moves
// against folds down to this angle at most (or its own, where thinner),
// however thin the mesh's thinnest face (see UnfoldByMoves), and a bare tip
// over one gets a fourth face only where its region keeps this or its own
// smallest angle (see UnfoldEdges): 10 degrees. Down to the mesh's smallest
// angle, a raw scan whose noise folds its faces (one sliver of 2.9 degrees
// somewhere) was left 18 faces under 5 degrees, each beside a fold that
// copies the input's own.
constexpr double UnfoldOverFoldAngle = 10.0 * Pi / 180.0;
// An input folds like a raw scan's noise where at least one inner edge in
// NoiseFoldsShare and NoiseFoldsLeast edges in all fold as creases. A scan
// whose noise reaches an edge's length folds one edge in 24 to 26, all over
// it; a machined part or a decimated figure folds a handful, as large a
// share only where it has few faces (a knife wedge one edge of twelve), and
// the rules below for such inputs cost those parts distance and the angles
// at their corners. A spiked scan creases 927 edges, one in 133.
constexpr std::uint32_t NoiseFoldsShare = 32;
constexpr std::uint32_t NoiseFoldsLeast = 64;
// Two faces whose normals lie within eight degrees of opposite lie flat on
// each other: a fan wrapped past its rim in a plane, a flaw of the
// tessellation rather than a crease (a pierced block's fans fold 192 edges
// so, one in 13; a scan's noise none). Such folds do not count as noise.
constexpr double NoiseFoldFlatCos = 0.99;
// Over a part of an input that folds like noise, a valence flip makes no
// face under this angle with two fixed vertices that its pair of faces did
// not have (see FlipEdges): 22 degrees. Relaxation moves only the third
// vertex of such a face, and the angle flips cannot cut it where the flip of
// its long side folds against the input's own folds: on a raw scan whose
// noise creased it into corners, a cap of two corners and a free vertex the
// last iteration's valence flips made (8.5 degrees) stayed to the end.
constexpr double FlipOverFoldAngle = 22.0 * Pi / 180.0;
// On an input that folds like noise, the moves against folds thin a fan over
// its folds down to this angle at most instead of UnfoldOverFoldAngle: 14
// degrees. Once the valence flips pin no caps there, the scan's smallest
// angle is a fan those moves thinned to the bound (10.01 degrees at 10); at
// 12 it sat at 9.7, from 16 on more edges fold, and at 18 a sliver the moves
// no longer open stays at 8.9 degrees.
constexpr double UnfoldOverNoiseAngle = 14.0 * Pi / 180.0;
// On an input that folds like noise, the angle passes may flip the long
// side of a face thinner than this (10 degrees) over its folds though the
// new faces fold where the old ones did not: the flip of a cap along a line
// the noise made, three of its vertices on the line, folded against a face
// beside it, and the cap stayed at 3.2 degrees. A fold there follows the
// input's own (see UnfoldOverFoldAngle).
constexpr double FoldingFlipAngle = 10.0 * Pi / 180.0;
// A free input vertex whose every edge is longer than the split length lies
// where the result is finer than the input (a smooth part tessellated
// coarsely). Where its faces also turn (some face normal lies more than this
// many degrees from their mean) it is a soft corner of the faceted surface,
// too gentle for a feature, that the result still has to reproduce:
// relaxation moves the vertex that starts on it onto one of the flat faces
// beside it, where an uneven ring draws it a little further at every step,
// and the corner ends up sticking out of the result by up to a tenth of the
// target...
constexpr double SoftCornerAngle = 2.0;
// ...so at the end, a soft corner the result passes further from than this
// many target lengths draws the nearest free vertex back onto it (see
// SnapToSoftCorners). Closer corners stay as they are: at 0.02 targets the
// moves onto them spread the edge lengths of noisy scans refined at their
// own mean edge (the scanned creature's edge cv 0.117 -> 0.121) and of the
// faceted spheres (0.098 -> 0.103) for no lower largest distance...
constexpr double SoftCornerSnapFactor = 0.08;
// ...where the vertex's fan keeps its smallest angle, or stays above this
// angle and above the smallest angle of the whole result.
constexpr double SoftCornerFloorAngle = 35.0 * Pi / 180.0;
// An open boundary vertex whose faces' angles sum to within this share of
// 60 degrees of a whole multiple of 60 degrees holds that many faces (see
// IdealValence): a quarter, 15 degrees, so that a right angle holds none.
constexpr double RimFaceSlack = 0.25;
// A notch of the rim between whole numbers of such faces holds the nearest
// number where both its rim edges are longer than this many targets (see
// IdealValence). Beside a shorter one (a scanned patch's rim keeps edges of
// a twentieth of a target) the face on it is thin whatever its fan does, and
// the edges the notch took drew its free neighbour away from it: 8.1 -> 3.8
// degrees on the photogrammetry patch at twice its mean edge.
constexpr double NotchSideFactor = 0.5;
// A face whose angle at an open vertex opens wider than this (120 degrees)
// lies flat against the rim; the angle flips may split that angle with an
// edge to another open vertex (see FlipIsAllowed). At 150 degrees a frayed
// cloth's notch kept a face of 5.5 degrees: a free vertex whose neighbours
// reach across the notch relaxed to 0.01 from the notch's reflex corner, the
// face between them opening 131 degrees there.
constexpr double FlatRimCos = -0.5;
// The fit of the faces to the input (see FitFaces) moves no vertex further
// than this many target lengths: half the depth of an equilateral chord of
// sides 0.6 times the radius it spans. Deeper faces do not span a curve but
// a part the target does not resolve (a spike, a thin wall), which a move
// along the normal would not mend.
constexpr double FitReachFactor = 0.05;
// A limb about eight targets round (a knot's thin tube, faces spanning 0.8
// of the radius) asks more: a vertex that went the whole reach goes up to
// this many targets further in a second step (see FitFaces), which moves
// the sweep's thin knot tube from 0.111 to 0.105 % of its diagonal. The reach
// raised as far in one step also took back whole moves that only their
// extra spoiled: a knot tube coarsened twice lost 0.7 degrees of smallest
// angle and a cone fanned from its base's centre came 15 % further from
// its input.
constexpr double FitExtraReachFactor = 0.025;
// The second step is taken back where a side of its faces comes to turn by
// more than a right angle that did not: a move that far only deepens a part
// the target does not resolve.
constexpr double FitExtraTurnCos = -0.01;
// A separate piece whose bounding box's diagonal is shorter than this many
// targets is left as it is (see FreezeSmallPieces).
constexpr double SmallPieceFactor = 1.0;
// ...unless one of its faces has an angle under this.
constexpr double SmallPieceSliverAngle = 20.0 * Pi / 180.0;
// A relaxation move may not flatten a face below this shape (twice the area
// over the sum of the squared sides; about 0.03 for a smallest angle of 5
// degrees).
constexpr double SliverShape = 0.03;
// A final move must raise its fan's smallest angle by this much: smaller
// gains cost the edge lengths more than they help.
constexpr double MinAngleGain = 1.0 * Pi / 180.0;
// Steps of the searches for the place of a vertex (see SplitToRaiseAngles
// and SearchMove): each moves by a quarter of a side or less, halving where
// no move gains.
constexpr int QuadSearchSteps = 24;

// The search both use: from q, steps of `step` along +-u and +-w, taking
// every try that scores above `best`, halving the step where none does.
// Returns the place found; `best` receives its score.
template <typename Score>
Vec SearchPlane(Vec q, const Vec& u, const Vec& w, double step, double& best, const Score& score) {
    for (int i = 0; i < QuadSearchSteps; ++i) {
        const Vec tries[4] = {q + u * step, q - u * step, q + w * step, q - w * step};
        bool moved = false;
        for (const Vec& x : tries)
            if (const double s = score(x); s > best) {
                best = s;
                q = x;
                moved = true;
            }
        if (!moved)
            step *= 0.5;
    }
    return q;
}

// Whether the normals m and n lie further apart than the angle of cosine
// turnCos (negative).
inline bool Turned(const Vec& m, const Vec& n, double turnCos) {
    const double cosine = m % n;
    return !(cosine >= 0) && cosine < turnCos * std::sqrt((m % m) * (n % n));
}

// Whether faces with normals m and n fold against each other (see
// MaxFoldCos).
inline bool Folded(const Vec& m, const Vec& n) {
    static_assert(MaxFoldCos < 0, "faces that turn by less than a right angle never fold");
    return Turned(m, n, MaxFoldCos);
}

inline bool IsLine(std::uint32_t kind) {
    return kind < Pending;
}

// Edits take their candidates in a few classes of length, in memory order
// within a class: nearly as good as strict length order, and the edits then
// walk the arrays instead of jumping about them, which matters more.
inline double LengthClass(double squaredRatio) {
    return std::floor(4.0 * std::sqrt(squaredRatio));
}

// Half-edge h is corner h % 3 of face h / 3 and runs to the next corner.
inline std::uint32_t Next(std::uint32_t h) {
    return h % 3 == 2 ? h - 2 : h + 1;
}
inline std::uint32_t Prev(std::uint32_t h) {
    return h % 3 == 0 ? h + 2 : h - 1;
}

// The root of x's set in a union-find forest, halving the path on the way
// (which changes no root, so merges that always keep the smaller root give
// the same sets in any order of lookups).
inline std::uint32_t FindRoot(std::vector<std::uint32_t>& parent, std::uint32_t x) {
    while (parent[x] != x) {
        parent[x] = parent[parent[x]];
        x = parent[x];
    }
    return x;
}

// The direction at `azimuth` round `axis` on a cone of the given
// half-angle: azimuth 0 along `across`, a quarter turn along `side`.
inline Vec OnCone(const Vec& axis, const Vec& across, const Vec& side, double halfAngle, double azimuth) {
    return axis * std::cos(halfAngle) + (across * std::cos(azimuth) + side * std::sin(azimuth)) * std::sin(halfAngle);
}

inline bool IsFinite(const Vec& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}
inline double Squared(const Vec& v) {
    return v % v;
}
// The smallest corner angle of a triangle, in radians.
inline double SmallestAngle(const Vec& a, const Vec& b, const Vec& c) {
    const Vec ab = b - a, bc = c - b, ca = a - c;
    const double twice = std::sqrt(Squared(ab * ca));
    const double atA = std::atan2(twice, -(ab % ca));
    const double atB = std::atan2(twice, -(bc % ab));
    return std::min(std::min(atA, atB), Pi - atA - atB);
}
// The cosine of a triangle's smallest angle by the law of cosines, no
// trigonometry (it lies opposite the shortest side); not a number, or
// infinite, where two corners meet.
inline double SmallestAngleCos(const Vec& p0, const Vec& p1, const Vec& p2) {
    double a = Squared(p1 - p0), b = Squared(p2 - p1), c = Squared(p0 - p2);
    if (b < a)
        std::swap(a, b);
    if (c < a)
        std::swap(a, c);
    return (b + c - a) / (2 * std::sqrt(b * c));
}
// Margin of the screens by that cosine (see SmallestAngleOfFaces), far
// above its rounding and SmallestAngle's.
constexpr double AngleCosMargin = 1e-9;
// The smallest of SmallestAngle over the four triangles (each three corners)
// where that lies above `floor`; -1 otherwise. A search keeps a place only
// where it scores above the best so far, and most places lose at once on a
// face whose cosine (SmallestAngleCos) is clearly above the floor's; of the
// rest only the faces near the largest cosine are measured. A negative floor
// always gets the smallest angle.
inline double SmallestAngleAbove(const Vec* const (&corners)[4][3], double floor) {
    const double floorCos = floor >= 0 ? std::cos(floor) + AngleCosMargin : 2.0;
    double cosine[4], largest = -1;
    for (int k = 0; k < 4; ++k) {
        cosine[k] = SmallestAngleCos(*corners[k][0], *corners[k][1], *corners[k][2]);
        if (!std::isfinite(cosine[k])) {
            const auto at = [&](int i) { return SmallestAngle(*corners[i][0], *corners[i][1], *corners[i][2]); };
            const double smallest = std::min(std::min(at(0), at(1)), std::min(at(2), at(3)));
            return floor < 0 || smallest > floor ? smallest : -1.0;
        }
        if (cosine[k] > floorCos)
            return -1.0;
        largest = std::max(largest, cosine[k]);
    }
    double smallest = Pi;
    for (int k = 0; k < 4; ++k)
        if (!(cosine[k] < largest - AngleCosMargin))
            smallest = std::min(smallest, SmallestAngle(*corners[k][0], *corners[k][1], *corners[k][2]));
    return smallest > floor ? smallest : -1.0;
}

// The point of segment a-b nearest to p.
Vec ClosestOnSegment(const Vec& p, const Vec& a, const Vec& b);
// The point of triangle a, b, c nearest to p.
Vec ClosestOnTriangle(const Vec& p, const Vec& a, const Vec& b, const Vec& c);

class CTriangle {
public:
    Vec m_A, m_B, m_C;
    // The corners' box, the nearest-point search's first test.
    Vec m_Low, m_High;
};

// One level of a leaf's climb to the root of the triangle tree: how far the
// leaf's box lies from that level's sibling box, and from the sibling boxes
// of that level and every level above; both rounded down to a float.
class CClimbStep {
public:
    float m_Own;
    float m_Above;
};

// The input's triangles in the order of their tree. Unlike a vector's, the
// storage is not set to zero on one thread before the records are filled:
// each record is written once, by whichever thread fills its slot, which
// also touches its pages first.
class CTriangles {
public:
    // Room for `count` records, their contents undefined until filled.
    void Allocate(std::size_t count) {
        m_Records.reset(count > 0 ? static_cast<CTriangle*>(::operator new(count * sizeof(CTriangle))) : nullptr);
        m_Count = count;
    }
    std::size_t size() const { return m_Count; }
    // Record i begins its life here, once, before it is read.
    CTriangle& Place(std::size_t i) { return *new (m_Records.get() + i) CTriangle; }
    CTriangle& operator[](std::size_t i) { return m_Records.get()[i]; }
    const CTriangle& operator[](std::size_t i) const { return m_Records.get()[i]; }

private:
    static_assert(std::is_trivially_copyable_v<CTriangle> && std::is_trivially_destructible_v<CTriangle>,
                  "records are written in place and freed without destruction");
    class CFree {
    public:
        void operator()(CTriangle* records) const { ::operator delete(records); }
    };
    std::unique_ptr<CTriangle, CFree> m_Records;
    std::size_t m_Count = 0;
};

// The input triangles around one place, for many projections that land
// near it (see CEngine::ProjectedNear): a box, every triangle (by its
// position in the tree's order) whose own box meets it, and their boxes
// side by side (lowest x, y, z, then highest), with room for each box's
// distance from a point; and each triangle's plane (unit normal x, y, z and
// offset; all zero where the triangle is too thin to trust its normal)
// and the slack that covers the rounding of a distance from that plane.
class CInputPatch {
public:
    Vec m_Low, m_High;
    std::vector<std::uint32_t> m_Triangles;
    std::vector<double> m_Box[6];
    std::vector<double> m_Plane[4];
    std::vector<double> m_Slack;
    std::vector<double> m_Outside;
};

// A corner that lowers the target around it (see SizeGrading).
class CSizeSource {
public:
    Vec m_Point;
    double m_Gap;
    // Set on a sheet's rim bent round without a line (see ThinPartSpread).
    bool m_BentRim = false;
    // Lengths per length by which the target grows back with distance.
    double m_Grading = SizeGrading;
};

// An input's closed line in order, as points from one back to the same,
// and each point's length along it.
class CLineChain {
public:
    std::vector<Vec> m_Chain;
    std::vector<double> m_Arc;
    // Fills m_Arc from m_Chain.
    void Measure();
    // The length along the line of its point nearest p.
    double Along(const Vec& p) const;
};

// A rod's rim (see FindRodRims).
class CRodRim : public CLineChain {
public:
    std::uint32_t m_Line;
};

class CSegment {
public:
    Vec m_A, m_B;
    std::uint32_t m_Line;
};

// An edge waiting to be split, longest class first and, within a class, in
// memory order; its length tells whether the entry is still current.
class CQueuedEdge {
public:
    double m_Class;
    double m_Length2;
    std::uint32_t m_Edge;

    bool operator<(const CQueuedEdge& other) const {
        return m_Class < other.m_Class || (m_Class == other.m_Class && m_Edge > other.m_Edge);
    }
};

// The working mesh: a half-edge structure in which half-edge h is corner
// h % 3 of face h / 3, so only the twin of each half-edge is stored. Faces
// are removed by setting their corners to None and vertices by the Deleted
// flag; both are compacted away between iterations.
//
// Why every run ends, in time linear in the work asked for. Write F for the
// live faces; F never exceeds the face budget B, a fixed multiple of the
// input's faces plus its area and sides measured in target lengths (Load),
// since only splits add faces and they stop at B. Each iteration of Run runs
// a fixed sequence of passes, and each pass does a bounded number of edits,
// none revisited without progress (the bound is proved at each loop):
//   splits  at most B minus the faces on entry, queue pops at most the edges
//           on entry plus 6 per split;
//   collapses  at most one attempt per edge short on entry (about 1.5 F),
//           each checking at most MaxCarriedVertices removed boundary
//           vertices;
//   flips  at most one per half-edge slot (3 F);
//   angle passes  at most 4, each at most one flip or collapse per face;
//   relaxation  m_RelaxationSteps steps, each one sweep over the vertices
//           and at most 4 F face checks;
//   the final moves  after the last iteration, one sweep over the
//           half-edges and a sort of the lines' edges, with one placing of
//           each closed line of three edges along a chain of at most 1024
//           input segments (see EvenShortLoops), one sweep over the vertices
//           with at most one flip and one move per neighbour of a needle's
//           tip, then one sweep over the vertices with a bounded search at
//           each bare tip (see EvenTipRings), then at most 5 sweeps over
//           the faces, each at most three
//           fan walks per face, then two
//           sweeps with at most one collapse per face, followed by one
//           move per face (free faces) or one move of each vertex of the
//           survivor's ring (rim edges), then one sweep over the vertices
//           with at most three walks over the fans of a vertex and its ring
//           and six places tried each, then one more sweep over the faces
//           (the smallest angle) and the vertices (three corners each, as
//           the last but with one place tried), then, for each loop of
//           three line edges, two walks over at most 256 faces and at most
//           one tube of as many laid (see LayRodTubes), then, where edges fold,
//           at most UnfoldSweeps sweeps over their vertices with a bounded
//           number of places each and two rounds of at most one split per
//           folded tip (see UnfoldEdges), then, fitting the faces, one
//           closest-point query per face and one per side, one walk over
//           each fan and the take-back of relaxation.
// Every walk around a vertex follows twin links around one fan and so visits
// each of its faces once; collapses walk only fans of at most
// MaxCollapseValence edges. The number of iterations is the caller's.
class CEngine {
public:
    CEngine(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles,
            const CRemeshOptions& options, double targetLength);

    bool Run();
    void Extract(CPreservingRemesher& out);

private:
    // ---- Set-up (Surface.cpp, Constraints.cpp, Projection.cpp) --------------
    void Load(const std::vector<double>& positions, const std::vector<std::uint32_t>& triangles);
    // Marks the faces alive, frozen and paired (BuildTwins) from scratch.
    void PairEdges(std::vector<char>& frozenFace);
    // Removes the input's flaps folded onto the surface (see FinCoverFactor);
    // whether any went.
    bool DropCoveredFins();
    void FreezeSmallPieces(std::vector<char>& frozenFace) const;
    // Finds the rims of rods: closed lines without corners each bounding a
    // cap of the input's faces with no vertex inside, the cap's other side
    // a tube whose only other line is another closed line without corners
    // (see its definition and RodRimShare).
    void FindRodRims();
    void BuildTwins(const std::vector<char>& frozenFace);
    void ClassifyConstraints(const std::vector<char>& frozenFace);
    void BuildReference(const std::vector<char>& frozenFace, const std::vector<std::uint32_t>& firstConstraint,
                        const std::vector<char>& turnedOver);
    // Also gives each vertex's place with the noise of a kept boundary
    // smoothed out (its own where there is none), or nothing where no kept
    // boundary is noisy.
    void MeasureBoundaryNoise(std::vector<Vec>& smoothed);
    // Drops the feature-line edges (still Pending) that end at the tip of a
    // needle (see NeedleTipTurn).
    void DropLinesAtNeedleTips();
    // Makes the tip of each limb thinner than the target a corner, given the
    // cone tips' limit on a vertex's angle deficit and the angle sums the
    // cone tips' test measured (see MarkBluntTips).
    void MarkBluntTips(double limit, const std::vector<double>& angleSum);
    // Makes the vertex at the tip of each hairpin bend of a feature line a
    // corner (see HairpinTurn), given the constraint edges at each vertex.
    // Chains of edges between two such corners (see NoseChainAngle) join
    // the lines: their vertices slide, their edges are united in `parent`.
    void MarkHairpins(std::vector<std::uint8_t>& count, std::vector<std::uint8_t>& slides,
                      std::vector<std::uint32_t>& first, std::vector<std::uint32_t>& second,
                      std::vector<std::uint32_t>& parent);
    // The neighbours of open vertex v along the boundary: the target of its
    // open outgoing edge and the origin of its open incoming one.
    void BoundaryNeighbours(std::uint32_t v, std::uint32_t& before, std::uint32_t& after) const {
        std::uint32_t last = None;
        ForEachOutgoing(v, [&](std::uint32_t e) { last = e; });
        after = Target(m_Out[v]);
        before = m_Corner[Prev(last)];
    }

    // ---- Topology helpers ---------------------------------------------------
    std::uint32_t Target(std::uint32_t h) const { return m_Corner[Next(h)]; }
    bool IsOpen(std::uint32_t v) const { return m_Twin[m_Out[v]] == None; }
    void Link(std::uint32_t a, std::uint32_t b) {
        if (a != None)
            m_Twin[a] = b;
        if (b != None)
            m_Twin[b] = a;
    }
    // The fan walks below step from face to face of one fan through twin
    // links. The edits keep every fan a cycle of twins (a closed vertex) or a
    // chain ending at a half-edge without twin (an open one), so each walk
    // stops at its start or at that end after visiting every face of the fan
    // once.
    //
    // Turns the stored outgoing half-edge of v clockwise until it is the
    // first one of the fan: on an open vertex the one with no twin, so that a
    // counter-clockwise walk from it meets every face.
    void NormaliseOut(std::uint32_t v) {
        const std::uint32_t start = m_Out[v];
        std::uint32_t h = start;
        while (m_Twin[h] != None) {
            h = Next(m_Twin[h]);
            if (h == start)
                break;
        }
        m_Out[v] = h;
    }
    template <class F>
    void ForEachOutgoing(std::uint32_t v, F&& visit) const {
        const std::uint32_t start = m_Out[v];
        std::uint32_t h = start;
        do {
            visit(h);
            h = m_Twin[Prev(h)];
        } while (h != None && h != start);
    }
    // visit(neighbour, half-edge of the edge between them); an open vertex
    // also reports the neighbour across its incoming open edge.
    template <class F>
    void ForEachNeighbour(std::uint32_t v, F&& visit) const {
        const std::uint32_t start = m_Out[v];
        std::uint32_t h = start;
        for (;;) {
            visit(m_Corner[Next(h)], h);
            const std::uint32_t p = Prev(h);
            const std::uint32_t t = m_Twin[p];
            if (t == None) {
                visit(m_Corner[p], p);
                return;
            }
            if (t == start)
                return;
            h = t;
        }
    }
    // The sum of the angles of v's faces at v (2 pi on a flat closed fan).
    double AngleSum(std::uint32_t v) const {
        double sum = 0;
        ForEachOutgoing(v, [&](std::uint32_t e) {
            const Vec u = m_Position[Target(e)] - m_Position[v], w = m_Position[m_Corner[Prev(e)]] - m_Position[v];
            sum += std::atan2(std::sqrt(Squared(u * w)), u % w);
        });
        return sum;
    }
    int Valence(std::uint32_t v) const {
        int count = 0;
        ForEachNeighbour(v, [&](std::uint32_t, std::uint32_t) { ++count; });
        return count;
    }
    std::uint32_t NewVertex(const Vec& position) {
        ++m_NewSinceOrdering;
        m_Position.push_back(position);
        m_Flags.push_back(0);
        m_Valence.push_back(0);
        m_Out.push_back(None);
        m_Line.push_back(None);
        m_Source.push_back(None);
        m_FaceHint.push_back(None);
        m_SegmentHint.push_back(None);
        m_CarriedSlot.push_back(None);
        m_Roughness.push_back(0.0);
        if (!m_Size.empty()) {
            m_Size.push_back(SizeAt(position));
            m_SizePlace.push_back(position);
        }
        return static_cast<std::uint32_t>(m_Position.size() - 1);
    }
    std::uint32_t NewFace(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        const std::uint32_t base = static_cast<std::uint32_t>(m_Corner.size());
        m_Corner.push_back(a);
        m_Corner.push_back(b);
        m_Corner.push_back(c);
        // One element at a time: a ranged insert takes the general path, an
        // eighth of a split's cost.
        for (int k = 0; k < 3; ++k) {
            m_Twin.push_back(None);
            m_Kind.push_back(None);
        }
        return base;
    }
    void DeleteFace(std::uint32_t f) {
        for (std::uint32_t k = 0; k < 3; ++k) {
            m_Corner[3 * f + k] = None;
            m_Twin[3 * f + k] = None;
            m_Kind[3 * f + k] = None;
        }
    }
    // ---- The local target (Sizing.cpp) ---------------------------------------
    // Finds the corners that lower the target (see SizeGrading) and indexes
    // them; where there are none, every length stays the global one.
    void BuildSizing();
    bool SolidEdge(std::uint32_t h) const;
    // Adds the sources of lines that run side by side (see FacingAngle), of
    // gaps from `floor` up to `ceiling`.
    void AddFacingLineSources(double floor, double ceiling);
    // Adds the sources of parts thin all round (see ThinPartStretch), of
    // thicknesses from `floor` up.
    void AddThinPartSources(double floor);
    // Whether line edges g and e bound a wall (see ThinWallStretch).
    bool BackToBack(std::uint32_t g, std::uint32_t e) const;
    // Whether a face of line edge g or e has its third corner on the other.
    bool JoinedAcross(std::uint32_t g, std::uint32_t e) const;
    // Whether a face of line edge g and one of e lie in one plane (see
    // FlatAcrossCos).
    bool FlatAcross(std::uint32_t g, std::uint32_t e) const;
    std::uint8_t SideOf(std::uint32_t g, const Vec& w) const;
    // How squarely w points into the face of half-edge h (see ThroughWallCos).
    double IntoFace(std::uint32_t h, const Vec& w) const;
    // The local target at p.
    // The index of the sizing grid's cell that holds p, or NoSizeCell where
    // no source reaches it.
    static constexpr std::size_t NoSizeCell = static_cast<std::size_t>(-1);
    std::size_t SizeCellAt(const Vec& p) const;
    double SizeAt(const Vec& p) const;
    // Whether a bent rim's source lowers the target at p.
    bool OnBentRim(const Vec& p) const;
    // Each live vertex's local target at its place now.
    void UpdateSizes();
    // Raises m_FaceBudget to what the local target asks of the faces as they
    // are now (see its definition).
    void GrowFaceBudget();
    // The local target of edge h: the smaller of its ends'.
    double EdgeSize(std::uint32_t h) const {
        return m_Size.empty() ? m_TargetLength : std::min(m_Size[m_Corner[h]], m_Size[Target(h)]);
    }
    // factor times edge h's local target, squared, where that is below
    // global2 (factor times the global target, squared); global2 itself
    // where no corner lowers the target anywhere.
    double EdgeLimit2(std::uint32_t h, double factor, double global2) const {
        if (m_Size.empty())
            return global2;
        const double limit = factor * EdgeSize(h);
        return std::min(global2, limit * limit);
    }
    // The split length of edge h, squared. A free edge across a strip
    // between two lines whose local target is the strip's width stays
    // unsplit up to StripSplitFactor local split lengths: its midpoint would
    // be a free vertex inside the strip, two faces across it where the
    // lines' own vertices make one, and the lines' edges split to the local
    // target instead. (Unsplit at any length, such edges would be cut from
    // their shorter sides over and over, into fans of slivers.)
    double SplitLimit2(std::uint32_t h) const {
        const double split2 = EdgeLimit2(h, SplitFactor, m_SplitLength2);
        if (m_Size.empty() || m_Kind[h] != None || !(split2 < m_SplitLength2))
            return split2;
        if (!IsOnLine(m_Corner[h]) || !IsOnLine(Target(h)) || ClimbsOutOfStrip(h))
            return split2;
        return std::min(m_SplitLength2, StripSplitFactor * StripSplitFactor * split2);
    }
    // Whether edge h, between two lines' vertices, runs from a sliding
    // vertex of a line refined by a strip straight up the grading to a
    // coarser corner: a hole's wall under a rim refined by the narrow
    // annulus beside it, whose edges reach down to the lower rim's corners.
    // Its middle lies outside the strip (see StripMiddleFactor), nearer no
    // other source than the finer end (StripGradedShare), and under the
    // coarser end's target. Spared as strip edges, such edges joined each
    // short rim edge to a corner a target below, and the merges along the
    // rim, which would join the survivor to those corners too, were refused
    // as too long: faces of 1.4 to 3.5 degrees that no later pass opened.
    // A corner at the finer end, or a middle under a target of its own, is
    // left to the strip's rule: there the same test moved many tessellations
    // of organic models and gears, most of them down.
    bool ClimbsOutOfStrip(std::uint32_t h) const {
        const std::uint32_t a = m_Corner[h], b = Target(h);
        const std::uint32_t fine = m_Size[a] < m_Size[b] ? a : b, coarse = fine == a ? b : a;
        if ((m_Flags[fine] & Corner) || !(m_Flags[coarse] & Corner))
            return false;
        const double low = m_Size[fine], high = m_Size[coarse];
        // An edge over StripSplitFactor local split lengths is split either
        // way; ranked as a strip's or not, only the order of the splits
        // would change (the plates whose holes' walls refine their caps'
        // rims lost by that).
        if (!(high > StripMiddleFactor * low) ||
            EdgeLength2(h) > StripSplitFactor * StripSplitFactor * EdgeLimit2(h, SplitFactor, m_SplitLength2))
            return false;
        const Vec centre = (m_Position[a] + m_Position[b]) * 0.5;
        const double middle = SizeAt(centre);
        const double graded = low + SizeGrading * 0.5 * std::sqrt(EdgeLength2(h));
        if (!(middle > StripMiddleFactor * low && middle < high && middle > StripGradedShare * graded))
            return false;
        // And lies further from the finer end's line, either way along it,
        // than the strip beside it is wide.
        std::uint32_t along[2];
        if (!TwoLineNeighbours(fine, along))
            return false;
        const Vec& p = m_Position[fine];
        for (const std::uint32_t x : along) {
            const Vec d = m_Position[x] - p;
            const double d2 = Squared(d);
            if (!(d2 > 0) || !(Squared((centre - p) * d) > low * low * d2))
                return false;
        }
        return true;
    }
    double EdgeLength2(std::uint32_t h) const { return Squared(m_Position[Target(h)] - m_Position[m_Corner[h]]); }
    // Whether face f is live and has an angle whose cosine exceeds cosThin
    // (by default under FreeThinAngle): the faces the final passes work on.
    bool IsThinFace(std::uint32_t f, double cosThin) const;
    bool IsThinFace(std::uint32_t f) const;
    // Whether `candidate(f)`, which only reads, holds for any face: each
    // angle pass asks it first of its own test, since a pass that finds no
    // face changes nothing, and on most meshes finds none.
    template <class Candidate>
    bool AnyFace(Candidate&& candidate) const {
        const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
        bool any = false;
#pragma omp parallel for schedule(static) reduction(|| : any) if (faceCount >= ParallelFaces)
        for (std::int64_t f = 0; f < faceCount; ++f)
            any = any || candidate(static_cast<std::uint32_t>(f));
        return any;
    }
    // AnyFace for a candidate that holds only for faces under FreeThinAngle:
    // while the list of thin faces is kept (see ListThinFaces), only the
    // list's faces are asked.
    template <class Candidate>
    bool AnyThinFace(Candidate&& candidate) const {
        if (!m_ThinListed)
            return AnyFace(candidate);
        bool any = false;
        for (const std::uint32_t f : m_ThinFaces)
            if (candidate(f)) {
                any = true;
                break;
            }
        return any;
    }
    // Lists the live faces under FreeThinAngle, the widest angle any final
    // pass's candidate asks for, so that the passes' first looks read the
    // list alone; the list is kept until StopListingThinFaces. Each pass
    // that changed the mesh must list them again.
    void ListThinFaces();
    void StopListingThinFaces() {
        m_ThinListed = false;
    }
    // One sweep over the faces: on each face `candidate(f)` holds for, the
    // corners are offered to `move` in order until one moves. The moves keep
    // the connectivity and move their own vertex alone, so the sweep sees
    // every face once; whether any moved. While the thin faces are listed,
    // a face off the list can become a candidate only once a move reaches
    // one of its corners: the sweep asks the listed faces and the faces
    // round each moved vertex, still in face order, and no other.
    template <class Candidate, class Move>
    bool MoveOneCornerOfEachFace(Candidate&& candidate, Move&& move) {
        if (!AnyThinFace(candidate))
            return false;
        bool changed = false;
        const std::uint32_t faceCount = static_cast<std::uint32_t>(m_Corner.size() / 3);
        const bool listed = m_ThinListed;
        if (listed) {
            m_SweepMarks.assign(faceCount, 0);
            for (const std::uint32_t f : m_ThinFaces)
                m_SweepMarks[f] = 1;
        }
        for (std::uint32_t f = 0; f < faceCount; ++f) {
            if ((listed && !m_SweepMarks[f]) || !candidate(f))
                continue;
            const std::uint32_t* corner = &m_Corner[3 * f];
            for (std::uint32_t k = 0; k < 3; ++k)
                if (move(corner[k])) {
                    changed = true;
                    if (listed)
                        ForEachOutgoing(corner[k], [&](std::uint32_t e) { m_SweepMarks[e / 3] = 1; });
                    break;
                }
        }
        return changed;
    }
    // The half-edge of face f's shortest side; the first of equal sides.
    std::uint32_t ShortestSide(std::uint32_t f) const {
        std::uint32_t shortest = 3 * f;
        for (std::uint32_t k = 1; k < 3; ++k)
            if (EdgeLength2(3 * f + k) < EdgeLength2(shortest))
                shortest = 3 * f + k;
        return shortest;
    }

    // ---- The edits (Splits.cpp, Collapses.cpp, Flips.cpp), relaxation -------
    // ---- (Relaxation.cpp), projection and compaction -------------------------
    bool SplitLongEdges();
    // Halves each edge of three or more faces longer than the split length,
    // every sheet at one shared fixed vertex, until none is (see its
    // definition).
    void SplitLockedLines();
    // A face with a locked edge too long to keep can never come into range:
    // splitting its other sides would only make slivers, more of them in
    // every iteration.
    bool HasLongLockedEdge(std::uint32_t f) const {
        for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h)
            if (m_Kind[h] == Locked && EdgeLength2(h) > m_SplitLength2)
                return true;
        return false;
    }
    // Whether the face of h has a side longer than length2 (with a margin
    // for rounding).
    bool HasLongerSide(std::uint32_t h, double length2) const {
        return EdgeLength2(Next(h)) > length2 * (1 + 1e-9) || EdgeLength2(Prev(h)) > length2 * (1 + 1e-9);
    }
    // Whether a corner opposite h has gained MaxSplitGain edges in this
    // split pass. Such an edge is not split: where the target falls steeply
    // across long thin faces (the tail of a low-polygon model, a hull of two
    // rings of points, refined far finer along its middle than at its ends)
    // the faces beside a long side that waits its turn were cut towards its
    // far corner over and over, a fan of slivers without end, until the face
    // budget ran out (320 faces became 6,174, in over a second). Bounded so,
    // the fan is left to the collapses and flips.
    bool CrowdsOpposite(std::uint32_t h) const;
    void Split(std::uint32_t h);
    // A side of the face of h, or of its twin's, longer than length2, due a
    // split that the strip's allowance ranks late (see SplitLimit2), or
    // None.
    std::uint32_t DueStripSide(std::uint32_t h, double length2) const;
    // Whether free edge h runs along a strip about one local target wide:
    // both its faces are needles (their heights over h under NeedleHeight of
    // it) yet reach across at least `share` of the local target at h's
    // middle, so that no free vertex fits well between the strip's lines.
    bool RunsAlongStrip(std::uint32_t h, double share) const;
    // A side of the face of h, or of its twin's, that runs along a strip
    // between lines (at StripFlipShare) and whose flip shortens it to under
    // StripFlipShrink of its length and raises the smallest angle of its
    // pair; or None.
    std::uint32_t StripSideToFlip(std::uint32_t h) const;
    bool CollapseShortEdges();
    // Whether kept boundary vertex v may leave the boundary by merging along
    // it into a neighbour (see KeptCollapseFactor): only a vertex whose sole
    // constraints are its two open edges. On success before and after are
    // its neighbours along the boundary. thinFace: the removal would remove
    // a sliver (see ThinFaceRoughnessFactor).
    bool CanLeaveKeptBoundary(std::uint32_t v, std::uint32_t& before, std::uint32_t& after, bool thinFace) const;
    // Whether open vertex v is the tip of an ear on a short base whose inner
    // face is thin (see EarBaseFactor).
    bool IsThinEar(std::uint32_t v) const;
    // Whether open vertex v, on a noisy rim, is the obtuse corner of the one
    // face of a fixed neighbour along the rim (before or after), a face
    // thin at its third corner (see EarInnerAngle).
    bool LeansOnFixedEar(std::uint32_t v, std::uint32_t before, std::uint32_t after) const;
    // Whether v is a corner only as the end of one line in the open
    // surface: exactly one constraint edge, a line's, around it.
    bool EndsOneLine(std::uint32_t v) const {
        if ((m_Flags[v] & (Deleted | NonManifold | Sliding)) != 0 || !(m_Flags[v] & Corner) || IsOpen(v))
            return false;
        int constraints = 0;
        bool line = false;
        ForEachNeighbour(v, [&](std::uint32_t, std::uint32_t e) {
            if (m_Kind[e] != None) {
                ++constraints;
                line = IsLine(m_Kind[e]);
            }
        });
        return constraints == 1 && line;
    }
    // Whether exactly two line edges meet at v; their far ends go to `out`.
    bool TwoLineNeighbours(std::uint32_t v, std::uint32_t (&out)[2]) const {
        int count = 0;
        ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t e) {
            if (IsLine(m_Kind[e])) {
                if (count < 2)
                    out[count] = x;
                ++count;
            }
        });
        return count == 2;
    }
    // Whether corners a and b are two of a closed loop of three line edges,
    // each of the three the only two line edges at its ends (see TryCollapse).
    bool EndsOfLineTriangle(std::uint32_t a, std::uint32_t b) const {
        std::uint32_t na[2], nb[2];
        if (!TwoLineNeighbours(a, na) || !TwoLineNeighbours(b, nb))
            return false;
        const std::uint32_t x = na[0] == b ? na[1] : na[1] == b ? na[0] : None;
        const std::uint32_t y = nb[0] == a ? nb[1] : nb[1] == a ? nb[0] : None;
        std::uint32_t nx[2];
        return x != None && x == y && TwoLineNeighbours(x, nx);
    }
    // Whether v is a vertex of a line: sliding along it, or a corner.
    bool IsOnLine(std::uint32_t v) const {
        return (m_Flags[v] & (Sliding | Corner)) != 0;
    }
    // Whether v is on no constraint and no open boundary: only such a
    // vertex may move at the end.
    bool IsFree(std::uint32_t v) const {
        return !(m_Flags[v] & (Deleted | Fixed | Sliding | NonManifold)) && !IsOpen(v);
    }
    bool CanRemove(std::uint32_t v, std::uint32_t kind) const {
        const std::uint8_t flags = m_Flags[v];
        return !(flags & (Fixed | Deleted)) && (!(flags & Sliding) || kind == m_Line[v]);
    }
    // The end of free edge h that ends one line in the open surface and
    // merges onto the other end, a sliding vertex of another line, closer
    // than LineEndMergeFactor (see its definition); or None.
    std::uint32_t EndOntoLine(std::uint32_t h) const;
    // Whether inner edge h joins two lines' sliding vertices that are the
    // halves of one crease, which merge into a corner wherever the target is
    // lowered (see SplitCreaseFanCos).
    bool HalvesOfOneCrease(std::uint32_t h) const;
    // The sum of the normals (not unit, so weighted by area) of v's faces,
    // each once: an open vertex's last neighbour has no face of its own.
    Vec FanNormal(std::uint32_t v) const {
        Vec sum;
        ForEachOutgoing(v, [&](std::uint32_t e) { sum += FaceNormal(e / 3); });
        return sum;
    }
    // midpointLength2: edges shorter than this may go to their midpoint;
    // reachLength2: no edge of the merged vertex may be longer than this;
    // thinFace: the collapse would remove a sliver; anglePass: it is made
    // by the angle passes (see MakesFold); keptLength2: a kept open edge
    // shorter than this may collapse (0: m_KeptCollapseLength2); stays: an
    // end that may not be the one removed (None: either).
    bool TryCollapse(std::uint32_t h, double midpointLength2, double reachLength2, bool thinFace = false,
                     bool anglePass = false, double keptLength2 = 0, std::uint32_t stays = None);
    // Whether inner vertex v lies inside a strip one row of vertices wide:
    // 2 where its ring is two stretches of the boundary (the rims) parted by
    // at most two inner vertices (its own row) or inner edges across the
    // strip, the stretches more than StripRimSteps open edges apart along
    // the boundary; 1 at the strip's end, where the ring is one stretch (the
    // rims meeting round the end) and no inner vertex; 0 otherwise.
    // It depends on v's ring only, not on the order in which the collapses
    // come.
    int CrossesStrip(std::uint32_t v) const;
    // After the final passes' collapse of the edge from a to b, the end
    // that survives goes back onto the input, unless it is fixed or the move
    // would fold a face: the merged place may lie off a curved input.
    void ProjectSurvivor(std::uint32_t a, std::uint32_t b);
    // Whether merging the ends of h at q would fold an edge that does not
    // fold now (see MaxFoldCos).
    bool MakesFold(std::uint32_t h, const Vec& q, bool anglePass) const;
    // The normal of the input triangle last found nearest to vertex v (a or
    // b stands in for the other where only one has been projected); zero
    // where none has.
    Vec InputNormal(std::uint32_t v, std::uint32_t a, std::uint32_t b) const;
    void Collapse(std::uint32_t h, bool removeOrigin, const Vec& target);
    bool FlipEdges();
    // The valence that v's fan is best at: 4 at a needle's tip, 6 inside.
    // On an open boundary, one more than the faces of 60 degrees its angle
    // holds where it holds a whole number of them (see RimFaceSlack): a
    // kept rim cut along the faces, as a scan's cleaning leaves it, has
    // tips of one or two faces and notches of four or five, and 4 at each
    // took edges from the notches and gave them to the tips, where
    // relaxation pressed free vertices against the rim. Between, up to a
    // straight rim (a right angle, where a fan of two or of three faces
    // does as well), 4; past it, one more than the nearest whole number of
    // faces where the notch's rim edges are long enough (NotchSideFactor):
    // a frayed cloth's notch of 270 degrees kept three faces of 90 at 4, and
    // relaxation drew the free corner they share against the notch (faces
    // of 5 degrees).
    int IdealValence(std::uint32_t v) const {
        if (IsOpen(v)) {
            const double faces = AngleSum(v) * (3.0 / Pi);
            const double whole = std::max(1.0, std::round(faces));
            if (std::fabs(faces - whole) < RimFaceSlack)
                return 1 + static_cast<int>(whole);
            if (faces > 3) {
                std::uint32_t before = None, after = None;
                BoundaryNeighbours(v, before, after);
                const double side = NotchSideFactor * m_TargetLength;
                if (before != None && after != None && Squared(m_Position[before] - m_Position[v]) > side * side &&
                    Squared(m_Position[after] - m_Position[v]) > side * side)
                    return 1 + static_cast<int>(whole);
            }
            return 4;
        }
        return (m_Flags[v] & Needle) ? 4 : 6;
    }
    // The fewest edges v may keep: 2 on an open boundary, 4 at a needle's
    // tip, 3 elsewhere. Three faces around a tip that closes after less than
    // half a turn meet at 60 degrees or less, their normals 118 to 120
    // degrees apart even where they are spread evenly: any unevenness folds
    // them (see MaxFoldCos). Four meet at about 90.
    int MinValence(std::uint32_t v) const {
        return IsOpen(v) ? 2 : (m_Flags[v] & Needle) ? 4 : 3;
    }
    // neck: the flip raises angles, and may join two open vertices closer
    // than the corner merge, or split an open vertex's angle over 150
    // degrees, where neither new face gets two open edges.
    // sheets: the flip raises angles, and may touch a vertex of an edge of
    // three or more faces, unless both ends of the new edge are such.
    bool FlipIsAllowed(std::uint32_t h, bool neck = false, bool sheets = false) const;
    // mayFold: the new faces may fold against each other or their
    // neighbours (see FoldingFlipAngle).
    bool FlipIsValid(std::uint32_t h, bool mayFold = false) const;
    void Flip(std::uint32_t h);
    // Flips edges across which the surface cuts a corner of the input that
    // no line holds, where the flip lies far nearer it (see its definition);
    // whether any flipped.
    bool FlipOntoInput();
    // again: the pass just before was this one's, and nothing else has
    // changed the mesh since.
    bool ImproveAngles(bool again = false);
    // Merges the short side of each face under ThinAngle whose opposite
    // vertex is a notch of the rim (open, three neighbours) into the rim,
    // leaving the notch one face (see its definition); whether any went.
    bool CloseNotchEars();
    // freeFaces: also the faces among free vertices under FreeThinAngle.
    bool RaiseSmallestAngles(bool freeFaces);
    // Whether face f has a sliding corner and no fixed, open or non-manifold
    // one.
    bool BesideLineOnly(std::uint32_t f) const;
    // Slides a corner of each face under FreeThinAngle beside a line along
    // the line (see MoveToRaiseAngles); whether any moved.
    bool RaiseAnglesBesideLines();
    // Slides a sliding corner of each face under ThinAngle whose corners
    // all lie on lines, and whose fan's faces all hold its line's direction,
    // to the place along its line, between its line neighbours, where its
    // fan's smallest angle is largest (see its definition); whether any
    // moved.
    bool SlideAcrossWalls();
    // Moves sliding vertex v along its line as SlideAcrossWalls asks;
    // whether it moved.
    bool SlideAlongLine(std::uint32_t v);
    // Merges the ends of the short side of each face under FreeThinAngle
    // among free vertices where that evens out the valences around it, then
    // moves the merged vertex; whether any merged.
    bool CollapseToRaiseAngles();
    // Merges the ends of a kept open edge shorter than the collapse length
    // that is the short side of a face under FreeThinAngle, along the
    // boundary, where that raises the smallest angle around both ends;
    // whether any merged.
    bool CollapseRimToRaiseAngles();
    // Merges the ends of edge h into the end (a where aGoes, b where bGoes)
    // whose removal leaves the larger smallest angle around them, if that
    // gains MinAngleGain; the survivor's edges may reach RimReachFactor
    // targets, and its free neighbours then move to raise their angles.
    // Whether h merged.
    bool MergeToRaiseAngles(std::uint32_t h, bool aGoes, bool bGoes, double keptLength2);
    // The smallest angle of the faces around the ends of edge h: as they are
    // (merged null), or with both ends at *merged, h's faces then gone.
    double SmallestAngleAroundEnds(std::uint32_t h, const Vec* merged) const;
    // Removes a line's vertex that stands between two straight edges of its
    // line, the short side of a face under FreeThinAngle, where that raises
    // the smallest angle around it; whether any went.
    bool CollapseLineToRaiseAngles();
    // Puts a free vertex inside each flat quadrilateral of bound vertices
    // whose free diagonal is the longest side of a face under ThinAngle,
    // where the target is lowered and that raises its smallest angle (see
    // its definition); whether any split.
    bool SplitToRaiseAngles();
    // Moves a free corner of each face under ThinAngle to the place of its
    // plane that its flat fan's smallest angle is largest at (see
    // SearchMove); whether any moved.
    // searched: per vertex, 1 where its last search found no move and
    // nothing it depends on (its fan and the faces beyond the fan's sides)
    // has moved since; such a search would find none again.
    bool SearchToRaiseAngles(std::vector<std::uint8_t>& searched);
    // Where v's fan is flat, searches its plane for the place that gives the
    // fan the largest smallest angle and moves v there, if that lies on the
    // input, gains MinAngleGain and turns and folds no face; whether it
    // moved.
    bool SearchMove(std::uint32_t v);
    // Gives each free vertex of valence 3 beside a needle's tip a fourth
    // neighbour and moves it, and merges such a vertex beside a cone's tip
    // into the tip (see their definitions); whether any changed.
    bool OpenNeedleRings();
    // Merges free vertex x of valence 3 into cone tip `tip`, its ring spread
    // evenly at once, where that raises the smallest angle around them and
    // turns and folds nothing (see its definition); whether it did.
    bool DropConeRingVertex(std::uint32_t tip, std::uint32_t x);
    // Whether v is a tip kept without lines: fixed, closed, on no constraint
    // edge, its faces closing after less than NeedleTipTurn of a turn.
    bool IsBareTip(std::uint32_t v) const;
    // Spreads the ring of each bare tip whose surroundings are thinner than
    // TipRingAngle evenly around it, with three faces at the tip where that
    // does better than its own count (see its definition); whether any
    // changed. only: the tips to look at, in order (all where null).
    bool EvenTipRings(const std::vector<std::uint32_t>* only = nullptr);
    // Spreads the vertices of each closed line of three edges evenly along
    // the input's line (see its definition); whether any moved.
    bool EvenShortLoops();
    // Lays the tube between two loops of three line edges anew as rings of
    // three where that raises its smallest angle (see its definition);
    // whether any was laid.
    bool LayRodTubes();
    void FinalMoves() {
        EvenShortLoops();
        OpenNeedleRings();
        EvenTipRings();
        // The angle passes below ask only about thin faces, and most find
        // none: the list of thin faces answers their first look, listed
        // again after each pass that changed anything.
        const auto relist = [&](bool changed) {
            if (changed)
                ListThinFaces();
            return changed;
        };
        ListThinFaces();
        relist(CloseNotchEars());
        for (int pass = 0; pass < 4 && relist(RaiseSmallestAngles(pass == 0)); ++pass) { }
        relist(CollapseRimToRaiseAngles());
        relist(CollapseLineToRaiseAngles());
        relist(SplitToRaiseAngles());
        relist(RaiseAnglesBesideLines());
        relist(CollapseToRaiseAngles());
        std::vector<std::uint8_t> searched(m_Position.size(), 0);
        for (int pass = 0; pass < 4 && relist(SearchToRaiseAngles(searched)); ++pass) { }
        for (int pass = 0; pass < 4 && relist(SlideAcrossWalls()); ++pass) { }
        StopListingThinFaces();
        LayRodTubes();
        SnapToPeaks();
        SnapToSoftCorners();
        FlipOntoInput();
        UnfoldEdges();
        // The fit may leave a fold of its own (it takes back only the moves
        // that fold an edge); the free vertices then move once more, so
        // that the lines stay where a result without the fit has them.
        if (m_Options.m_FitFaces) {
            FitFaces();
            UnfoldByMoves(true);
        }
    }
    // Moves each free vertex off the input along its normal so that its
    // faces lie about as far outside the input as inside (see its
    // definition).
    void FitFaces();
    // Takes back the moves of m_Moved at both faces of each edge they fold
    // (turn past turnCos) that did not (see its definition); whether any was
    // taken back.
    bool TakeBackFoldingMoves(double turnCos = MaxFoldCos);
    // Moves free vertices onto the input vertices the result passes too far
    // from (see PeakSnapFactor), where no face of their fans turns, folds or
    // gets a smaller angle than it allows; whether any moved.
    bool SnapToPeaks();
    // The sweep both snaps share: each free vertex looks at the corners of
    // the input triangle it was projected onto (those whose bit is set in
    // `cornerBits`, all where it is null) and moves onto one the faces
    // around it pass further from than snapFactor targets, or else to the
    // first of `shares` of the way there that keeps its fan's smallest angle
    // at its own or at `floor`, and turns and folds no face.
    // ringFollows: failing all of those, the vertex moves onto the corner
    // with its ring following (see SnapWithRing).
    bool SnapToCorners(double snapFactor, double floor, const std::vector<std::uint8_t>* cornerBits,
                       std::initializer_list<double> shares, bool ringFollows = false);
    // Moves free vertex v onto input corner c and its free neighbours to
    // where relaxation puts them around it, unless a face turns or folds or
    // the faces around get a smaller angle than both before and `floor`;
    // whether it moved.
    bool SnapWithRing(std::uint32_t v, const Vec& c, double floor);
    // Whether a face of v's fan or of its neighbours' fans passes within
    // sqrt(limit2) of c.
    bool NearbyFaceWithin(const Vec& c, std::uint32_t v, double limit2) const;
    // Whether moving v to q keeps every face of its fan from turning over or
    // vanishing; `smallest` receives the fan's smallest angle there.
    bool FanAfterMove(std::uint32_t v, const Vec& q, double& smallest) const;
    // Whether FanAfterMove(v, q, smallest) would hold with smallest at least
    // `least`; leastCos is std::cos(least).
    bool FanKeepsAngle(std::uint32_t v, const Vec& q, double least, double leastCos) const;
    // FanAfterMove's smallest angle where the move keeps every face and that
    // angle lies above `floor` (at least 0); -1 otherwise. Where only a
    // better place counts, most places tried lose at once on a cosine.
    double FanAngleAbove(std::uint32_t v, const Vec& q, double floor) const;
    // Moves free vertex v towards the centroid of its ring where that raises
    // the smallest angle of its fan without turning a face; whether it moved.
    // alongLine: a sliding vertex off every open boundary may move too, along
    // its line, where its fan's smallest angle is at least ThinAngle and the
    // line keeps its shape (see KeepsLineShape).
    bool MoveToRaiseAngles(std::uint32_t v, bool alongLine = false);
    // Whether sliding vertex v may move to q along its line: the line's new
    // edges stay within KeptDeviationFactor targets of its old place, and
    // a rod's rim stays spread round its axis (see RodRimShare).
    bool KeepsLineShape(std::uint32_t v, const Vec& q) const;
    // The neighbours of sliding vertex v along its line, the first two in
    // ends; how many there are (two on a line through v).
    int LineNeighbours(std::uint32_t v, std::uint32_t (&ends)[2]) const {
        ends[0] = ends[1] = None;
        int found = 0;
        ForEachNeighbour(v, [&](std::uint32_t x, std::uint32_t e) {
            if (m_Kind[e] == m_Line[v]) {
                if (found < 2)
                    ends[found] = x;
                ++found;
            }
        });
        return found;
    }
    // Whether h is the edge of a rough crease's line (see
    // m_RoughCreaseLines) between its two corners.
    bool IsRoughCreaseEdge(std::uint32_t h) const {
        const std::uint32_t kind = m_Kind[h];
        return IsLine(kind) && (m_Flags[m_Corner[h]] & Corner) && (m_Flags[Target(h)] & Corner) &&
               std::binary_search(m_RoughCreaseLines.begin(), m_RoughCreaseLines.end(), kind);
    }
    // The rim of a rod that line is, or null.
    const CRodRim* RodRimOf(std::uint32_t line) const {
        const auto at = std::lower_bound(m_RodRims.begin(), m_RodRims.end(), line,
                                         [](const CRodRim& r, std::uint32_t l) { return r.m_Line < l; });
        return at != m_RodRims.end() && at->m_Line == line ? &*at : nullptr;
    }
    // The longer of the edges of a rod's rim from `before` to q and from q
    // to `after`, as a share of the rim's length along the input's line: q
    // is the new place of a vertex between before and after on the side of
    // the rim that `via` (a point that stood between them) is on.
    double RodRimSpan(const CRodRim& rim, const Vec& before, const Vec& via, const Vec& q, const Vec& after) const;
    // Whether moving vertex v to q would fold an edge of its fan or ring
    // that does not fold now (see MaxFoldCos).
    bool MoveFolds(std::uint32_t v, const Vec& q) const;
    // With v at q, UnfoldFoldWeight for each folded edge of v's fan and of
    // the fan's far sides, plus, for each of those edges, how far the
    // cosine between its faces' normals lies under -UnfoldNearCos: the
    // count of folds first, then how near the rest come to folding.
    double FoldsAround(std::uint32_t v, const Vec& q) const;
    // How many edges fold (see MaxFoldCos).
    std::size_t FoldedEdgeCount() const;
    // Whether any edge folds, asked of all faces on all threads: most
    // results fold none, and the unfolding passes' serial sweeps over the
    // half-edges then have nothing to find.
    bool AnyEdgeFolds() const {
        // Each live face's normal is measured once (FaceNormal's arithmetic
        // without its stand-in places), then each edge reads its two.
        MeasureFaceNormals(m_Position);
        return AnyFace([&](std::uint32_t f) {
            if (m_Corner[3 * f] == None)
                return false;
            const Vec& m = m_FaceNormals[f];
            for (std::uint32_t h = 3 * f; h < 3 * f + 3; ++h)
                if (m_Twin[h] != None && m_Twin[h] > h && Folded(m, m_FaceNormals[m_Twin[h] / 3]))
                    return true;
            return false;
        });
    }
    // Fills m_FaceNormals with the normal (not unit) of each live face with
    // its corners at `place`, on all threads; a removed face's entry is
    // left as it was.
    void MeasureFaceNormals(const std::vector<Vec>& place) const {
        const std::int64_t faceCount = static_cast<std::int64_t>(m_Corner.size() / 3);
        m_FaceNormals.resize(m_Corner.size() / 3);
#pragma omp parallel for schedule(static) if (faceCount >= ParallelFaces)
        for (std::int64_t f = 0; f < faceCount; ++f)
            if (m_Corner[3 * f] != None)
                m_FaceNormals[f] = NormalAt(place, static_cast<std::uint32_t>(f));
    }
    // The normal (not unit) of face f with its corners at `place`:
    // FaceNormal's arithmetic, at other places than the present ones.
    Vec NormalAt(const std::vector<Vec>& place, std::uint32_t f) const {
        const std::uint32_t* corner = &m_Corner[3 * f];
        const Vec& x = place[corner[0]];
        return (place[corner[1]] - x) * (place[corner[2]] - x);
    }
    // Moves the vertices beside folded edges a little over the input (or
    // along their line) where that leaves fewer folds around them (see its
    // definition); whether any moved. freeOnly: vertices on lines stay.
    bool UnfoldByMoves(bool freeOnly = false);
    // The bare tips of three faces with a folded edge, in order.
    std::vector<std::uint32_t> FoldedTips() const;
    // The smallest angle of the faces round tip and round its ring, and
    // how many edges of those faces fold.
    void MeasureTipRegion(std::uint32_t tip, double& smallest, int& folds) const;
    // Splits each tip's widest face at a folded edge across its far side
    // (see UnfoldEdges).
    void SplitTips(const std::vector<std::uint32_t>& tips);
    // Everything a split, a flip or a move of the final passes changes, to
    // take them back (see UnfoldEdges).
    struct CMeshState {
        std::vector<Vec> m_Position, m_SizePlace;
        std::vector<std::uint8_t> m_Flags;
        std::vector<int> m_Valence;
        std::vector<std::uint32_t> m_Out, m_Line, m_Source, m_FaceHint, m_SegmentHint, m_CarriedSlot, m_Corner, m_Twin,
            m_Kind;
        std::vector<double> m_Roughness, m_Size;
        std::size_t m_NewSinceOrdering;
    };
    void SaveState(CMeshState& state) const;
    void RestoreState(const CMeshState& state);
    // The moves, then the tips' splits with their rings spread and the
    // moves again; whether anything changed.
    bool UnfoldEdges();
    // The normal (not unit) of face f, with vertices v and w (which may be
    // one, or None) at `at` instead of their own places.
    Vec FaceNormal(std::uint32_t f, std::uint32_t v = None, std::uint32_t w = None, const Vec& at = Vec()) const {
        const std::uint32_t* corner = &m_Corner[3 * f];
        const auto place = [&](std::uint32_t x) -> const Vec& { return x == v || x == w ? at : m_Position[x]; };
        const Vec &x = place(corner[0]), &y = place(corner[1]), &z = place(corner[2]);
        return (y - x) * (z - x);
    }
    // Whether two faces with normals m and n are both narrower than
    // NarrowFoldFactor local targets (size) across the side they share (side2
    // its squared length), and so may fold there: they lie on a part thinner
    // than the target resolves. Where corners lower the target the faces are
    // meant to be that narrow, and folds there are no thin part's.
    bool NarrowAcross(const Vec& m, const Vec& n, double side2, double size) const {
        const double narrow2 = NarrowFoldFactor * NarrowFoldFactor * size * size * side2;
        return Squared(m) < narrow2 && Squared(n) < narrow2;
    }
    void RelaxAndProject();
    Vec Relaxed(std::uint32_t v) const;
    // Where sliding vertex v aims instead of `aim` (the middle of its line
    // neighbours) when it stands at a thin wall (see ThinWallFactor);
    // unchanged elsewhere.
    void StaggeredAcrossWall(std::uint32_t v, const std::uint32_t (&ends)[2], Vec& aim) const;
    // Whether v is a line's vertex next to the line's end at a thin wall's
    // end (a corner joined to a corner of the other line closer than
    // ThinWallFactor targets). Such a vertex stands under the middle of the
    // wall's first edge, nearer the corner than the collapse length, and no
    // collapse removes it: the wall's end would be a sliver again.
    bool FirstAtWallEnd(std::uint32_t v) const;
    // Marks the corners of the input triangles that are soft corners (see
    // SoftCornerAngle), given the slot of each input face in m_Triangles.
    void MarkSoftCorners(const std::vector<std::uint32_t>& slotOfFace);
    // Moves free vertices onto the soft corners the result passes too far
    // from (see SoftCornerSnapFactor), where no face of their fans turns,
    // folds or lowers the result's smallest angle; whether any moved.
    bool SnapToSoftCorners();
    // Whether face f, with its corners at their moved places, faces the
    // other way than before the move, or flattens into a sliver that it was
    // not (a cap with a corner pushed onto the opposite side, which neither
    // a flip nor a collapse can always undo), or, with a floor (radians),
    // gets a smallest angle under both the floor and its own before or
    // folds against a neighbour it did not fold against (floorCos: the
    // floor's cosine).
    bool SpoiledByMove(std::uint32_t f, double floor, double floorCos) const {
        const std::uint32_t* corner = &m_Corner[3 * f];
        const Vec &a = m_Position[corner[0]], &b = m_Position[corner[1]], &c = m_Position[corner[2]];
        const Vec &ma = m_Moved[corner[0]], &mb = m_Moved[corner[1]], &mc = m_Moved[corner[2]];
        const Vec before = (b - a) * (c - a), after = (mb - ma) * (mc - ma);
        const double before2 = Squared(before);
        if (!(before2 > m_MinCross2))
            return false;
        if (!(before % after > 0))
            return true;
        // Twice the area over the sum of the squared sides: 0.29 for an
        // equilateral triangle, 0 for a flat one.
        // The shape before is measured only where the one after is a
        // sliver's.
        const double movedSides = Squared(mb - ma) + Squared(mc - mb) + Squared(ma - mc);
        if (const double movedShape = std::sqrt(Squared(after)) / movedSides; movedShape < SliverShape) {
            const double sides = Squared(b - a) + Squared(c - b) + Squared(a - c);
            if (movedShape < std::sqrt(before2) / sides)
                return true;
        }
        if (floor <= 0)
            return false;
        // The angle after is measured only where its cosine does not put
        // it clearly above the floor, the one before only where the one
        // after lies under the floor.
        if (!(SmallestAngleCos(ma, mb, mc) < floorCos - AngleCosMargin)) {
            const double movedAngle = SmallestAngle(ma, mb, mc);
            if (movedAngle < floor && movedAngle < SmallestAngle(a, b, c))
                return true;
        }
        // The fit moves steep fans (beside a spike's tip) along normals that
        // differ from face to face, and may fold a side no face turns over at.
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t twin = m_Twin[3 * f + k];
            if (twin == None)
                continue;
            const std::uint32_t* other = &m_Corner[twin - twin % 3];
            const Vec& oa = m_Position[other[0]];
            const Vec& oma = m_Moved[other[0]];
            const Vec otherBefore = (m_Position[other[1]] - oa) * (m_Position[other[2]] - oa);
            const Vec otherAfter = (m_Moved[other[1]] - oma) * (m_Moved[other[2]] - oma);
            if (Folded(after, otherAfter) && !Folded(before, otherBefore))
                return true;
        }
        return false;
    }
    Vec Projected(std::uint32_t v, const Vec& p);
    // `nearest`, p's closest point on the input triangle at `slot`; or, where
    // that triangle lies in a pleat (see m_Pleats) and the line through p
    // along the pleat's normal crosses the turned-over face and that triangle
    // near p, the middle of the layers that line crosses near p.
    Vec AcrossPleat(std::uint32_t slot, const Vec& p, const Vec& nearest) const;
    void FindPleats(const std::vector<std::uint32_t>& slotOfFace, const std::vector<char>& turnedOver);
    // Marks each input triangle with a corner at an edge the input folds
    // itself (see m_FoldedSlot).
    void MarkFoldedInput(const std::vector<std::uint32_t>& slotOfFace);
    // Whether v was last projected onto such a triangle.
    bool OverFoldedInput(std::uint32_t v) const {
        const std::uint32_t slot = m_FaceHint[v];
        return !m_FoldedSlot.empty() && slot < m_FoldedSlot.size() && m_FoldedSlot[slot];
    }
    // The input triangle nearest to p (its position in the tree's order, or
    // None), starting from `hint`; `nearest` receives its closest point.
    std::uint32_t NearestOnInput(const Vec& p, std::uint32_t hint, Vec& nearest) const;
    // Fills `patch` with the box from low to high and the input triangles
    // whose boxes meet it.
    void GatherInput(const Vec& low, const Vec& high, CInputPatch& patch) const;
    // Projected(v, p), searched among the patch's triangles where that
    // settles it (p inside the patch's box, and the ball around p through
    // the nearest of them too), through the tree otherwise: the same answer
    // and the same hint either way.
    Vec ProjectedNear(std::uint32_t v, const Vec& p, CInputPatch& patch);
    // Moves of m_Moved that spoil a face (see SpoiledByMove), or that leave
    // its smallest angle under both `floor` and its own before or fold one of
    // its sides, go back to m_Position.
    void TakeBackSpoiledMoves(double floor = 0);
    // The smallest angle of all live faces (Pi where there are none).
    double SmallestAngleOfFaces() const;
    void Compact();
    void SpatialOrder(std::vector<std::uint32_t>& order) const;

    // Settings.
    CRemeshOptions m_Options;
    double m_TargetLength = 0;
    double m_SplitLength2 = 0;
    double m_CollapseLength2 = 0;
    double m_MergeLength2 = 0;
    double m_LineEndMergeLength2 = 0;
    double m_LineDeviation2 = 0;
    double m_KeptCollapseLength2 = 0;
    double m_KeptDeviation = 0;
    double m_MaxRoughness = 0;
    double m_CosCorner = 0;
    double m_MidpointLength2 = 0;
    double m_AngleReachLength2 = 0;
    double m_MinCross2 = 0;
    // Whether any vertex is a needle's tip (see MakesFold).
    bool m_HasNeedles = false;
    // Whether a blade's nose was kept as a chain of the input's edges (see
    // NoseChainAngle): its caps' outlines then merge across the part, and
    // the flips keep faces from lying flat against them (see LineEarCos).
    bool m_HasNoseChains = false;
    // Whether collapses may close an ear at a notch of the rim (see
    // CloseNotchEars).
    bool m_NotchEars = false;
    // The vertices of separate fans, each fan's own copy (see BuildTwins):
    // made fixed corners once the constraints are known.
    std::vector<std::uint32_t> m_FanVertices;
    // Splits stop at this many faces: a bound far above anything a valid
    // target asks for, so that no input can make the work run away. Set
    // from the global target, raised where corners lower it (see
    // GrowFaceBudget).
    std::size_t m_FaceBudget = 0;

    // Vertices.
    std::vector<Vec> m_Position;
    std::vector<std::uint8_t> m_Flags;
    std::vector<int> m_Valence;
    std::vector<std::uint32_t> m_Out;
    std::vector<std::uint32_t> m_Line;
    // Per vertex: the edges the current split pass has added to it.
    std::vector<std::uint16_t> m_SplitGain;
    std::vector<std::uint32_t> m_Source;
    std::vector<std::uint32_t> m_FaceHint;
    std::vector<std::uint32_t> m_SegmentHint;

    // Half-edges.
    std::vector<std::uint32_t> m_Corner;
    std::vector<std::uint32_t> m_Twin;
    std::vector<std::uint32_t> m_Kind;
    // Per vertex on a kept boundary: how far the open edge leaving it may lie
    // from the input's boundary polyline, grown by each vertex removed from
    // the boundary (0 while the edge is an input edge or a piece of one).
    // (Few vertices carry any: each holds a slot in a pool only once it does.)
    std::vector<std::uint32_t> m_CarriedSlot;
    std::vector<std::vector<Vec>> m_CarriedPool;
    // Per vertex on a kept boundary: how far the boundary may straighten
    // there because the input's boundary is that noisy (see RoughnessReach;
    // 0 on a clean boundary, capped by m_MaxRoughness). New vertices on the
    // boundary take the larger of their ends'.
    std::vector<double> m_Roughness;
    // Per vertex, the local target at its place (see SizeGrading); empty
    // where no corner lowers it anywhere.
    std::vector<double> m_Size;
    // Per vertex, the place m_Size was measured at (not a number where it
    // was not): most passes move few vertices, and the target of a vertex
    // that stayed put is the same.
    std::vector<Vec> m_SizePlace;
    // The sources of the local target, and a sparse grid over them: sorted
    // cell keys, and for each the range of its sources in m_SizeCellSources.
    std::vector<CSizeSource> m_SizeSources;
    // Per half-edge of a rounded rim's line, the target it sets; empty
    // without one (see RimReach).
    std::vector<double> m_RimGap;
    bool m_HasBentRims = false;
    double m_SizeCell = 0;
    Vec m_SizeOrigin;
    std::vector<std::uint64_t> m_SizeCells;
    std::vector<std::uint32_t> m_SizeCellStart;
    std::vector<std::uint32_t> m_SizeCellSources;
    // Beside each entry of m_SizeCellSources, less than its source's target
    // anywhere in the cell; each cell's entries ascend by it.
    std::vector<float> m_SizeCellFloor;
    const std::vector<Vec>& Carried(std::uint32_t v) const {
        static const std::vector<Vec> none;
        return m_CarriedSlot[v] == None ? none : m_CarriedPool[m_CarriedSlot[v]];
    }
    std::vector<Vec>& CarriedToFill(std::uint32_t v) {
        if (m_CarriedSlot[v] == None) {
            m_CarriedSlot[v] = static_cast<std::uint32_t>(m_CarriedPool.size());
            m_CarriedPool.emplace_back();
        }
        return m_CarriedPool[m_CarriedSlot[v]];
    }

    // The input surface and its constraint lines, for projection.
    // Triangles and segments in the order of their trees.
    CTriangles m_Triangles;
    // A pleat: a face turned over against all three neighbours (see
    // TurnedOverCos) with layers of the surface on either side, as where two
    // holes' fans overlap. The result follows neither layer but passes
    // between them: a sheet on the lower one left the upper 0.011 away in a
    // fold whose layers lie 0.013 apart. Kept here: the turned-over face's
    // slot and unit normal, and the slots of the faces that share a corner
    // with it; m_PleatOfSlot names each triangle's pleat, or None.
    struct CPleat {
        std::uint32_t m_Middle;
        Vec m_Normal;
        std::vector<std::uint32_t> m_Slots;
    };
    std::vector<CPleat> m_Pleats;
    std::vector<std::uint32_t> m_PleatOfSlot;
    // Per triangle, whether a corner of it lies at an edge the input folds
    // itself, at an edge's end or at the far corner of either face (empty
    // where the input folds nowhere).
    std::vector<std::uint8_t> m_FoldedSlot;
    // Whether the input folds like a raw scan's noise (see NoiseFoldsShare).
    bool m_FoldsLikeNoise = false;
    // Per triangle, bit k set where corner k is a soft corner of the input
    // (see MarkSoftCorners).
    std::vector<std::uint8_t> m_SoftCorners;
    CBoxHierarchy m_TriangleTree;
    TreeWalk::CLinks m_TriangleLinks;
    // For each leaf of the triangle tree, from m_ClimbFrom[leaf] on, one
    // step a level of its climb to the root (see NearestOnInput).
    std::vector<std::uint32_t> m_ClimbFrom;
    std::vector<CClimbStep> m_Climb;
    std::vector<CSegment> m_Segments;
    // By line.
    std::vector<CRodRim> m_RodRims;
    // The lines, ascending, that ClassifyConstraints keeps of creases too
    // short for the target where corners lower it, each of one edge between
    // two corners, that are no solid's edge (see SolidEdge) and whose faces
    // turn against their other neighbours by at least RoughSideTurn on
    // average: the facets of a reconstructed limb, not a machined edge.
    std::vector<std::uint32_t> m_RoughCreaseLines;
    CBoxHierarchy m_SegmentTree;
    TreeWalk::CLinks m_SegmentLinks;

    // Scratch space kept between calls so the edits allocate nothing.
    std::vector<std::uint32_t> m_Stamp;
    std::uint32_t m_StampValue = 0;
    // Vertices made since the vertices were last put in spatial order.
    std::size_t m_NewSinceOrdering = 0;
    std::vector<std::uint32_t> m_Ring;
    // What SnapWithRing takes back: the faces it may change and those
    // beside them, each slot's corner, twin and kind, and their corners'
    // places, hints, outgoing half-edges and valences.
    struct CSnapSlot {
        std::uint32_t m_Corner, m_Twin, m_Kind;
    };
    struct CSnapVertex {
        Vec m_Position;
        std::uint32_t m_FaceHint, m_Out;
        int m_Valence;
    };
    std::vector<std::uint32_t> m_SnapFaces;
    // Per vertex, whether SnapToCorners tries it (see there).
    std::vector<std::uint8_t> m_SnapScreen;
    std::vector<CSnapSlot> m_SnapSlots;
    std::vector<std::uint32_t> m_SnapVertices;
    std::vector<CSnapVertex> m_SnapSaved;
    // Per half-edge, its class of length as a collapse candidate, or -1; or
    // whether it is to be split.
    std::vector<std::int8_t> m_EdgeClass;
    // Per vertex, during the valence flips: its ideal valence where it is
    // closed, 0 where it is open.
    std::vector<std::int8_t> m_ClosedIdeal;
    std::vector<std::uint32_t> m_Ordered;
    std::vector<CQueuedEdge> m_SplitQueue;
    // The half-edge arrays before the last compaction, reused by the next.
    std::vector<std::uint32_t> m_SpareCorner, m_SpareTwin, m_SpareKind;
    // Per type, the vertex array the last compaction's gather left behind.
    std::vector<Vec> m_SparePositions;
    std::vector<std::uint8_t> m_SpareBytes;
    std::vector<int> m_SpareInts;
    std::vector<std::uint32_t> m_SpareIndices;
    std::vector<double> m_SpareReals;
    // The compaction's live vertices in their new order, its vertex and face
    // maps and its faces' sort keys.
    std::vector<std::uint32_t> m_CompactOrder, m_CompactVertexMap, m_CompactFaceMap, m_CompactKey;
    std::vector<std::uint32_t> m_Stack;
    std::vector<Vec> m_Moved;
    // One mark per face: thin, or turned over by a move.
    std::vector<char> m_FaceMarks;
    // The faces the last angle pass rewrote or moved a corner of (repeats
    // allowed).
    std::vector<std::uint32_t> m_TouchedFaces;
    // The faces the last angle pass's sweep read, marked on its entry, in
    // face order; and the merge of those with the touched faces.
    std::vector<std::uint32_t> m_MarkedFaces, m_MergedFaces;
    // The live faces under FreeThinAngle in face order, and whether the
    // final passes' first looks read them (see ListThinFaces).
    std::vector<std::uint32_t> m_ThinFaces;
    bool m_ThinListed = false;
    // Per face, the cosine of its smallest angle as SmallestAngleOfFaces
    // last measured it; scratch of that measure alone.
    mutable std::vector<double> m_FaceCos;
    // Per face, its normal as MeasureFaceNormals last measured it.
    mutable std::vector<Vec> m_FaceNormals;
    // Per face, whether MoveOneCornerOfEachFace's sweep asks it.
    std::vector<std::uint8_t> m_SweepMarks;
};

}  // namespace Corvane::Pellix::Quorvel::detail::preserving
