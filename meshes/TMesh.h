#pragma once

#include "quorvel/maths/TBox.h"
#include "quorvel/maths/TEdge3.h"
#include "quorvel/maths/TLine3.h"
#include "quorvel/maths/TMatrix3x3.h"
#include "quorvel/maths/TMatrix4x4.h"
#include "quorvel/maths/TPolygon.h"
#include "quorvel/maths/TQuaternion.h"
#include "quorvel/maths/TVector3.h"
#include "quorvel/meshes/CAttributes.h"
#include "quorvel/meshes/CFaceConnections.h"
#include "quorvel/meshes/CFriend.h"
#include "quorvel/meshes/CVertexConnections.h"
#include "quorvel/meshes/TFace.h"
#include "quorvel/meshes/TVertexPN.h"
#include "quorvel/meshes/TVertexPNC.h"
#include "quorvel/meshes/editing/CRemeshOptions.h"
#include "quorvel/utilities/TEvent.h"
#include "quorvel/utilities/TList.h"
#include "quorvel/utilities/TPair.h"

namespace Corvane::Pellix::Quorvel {

using Lintorra::TEvent;
using Lintorra::TList;
using Sarvetta::TBox;
using Sarvetta::TEdge3;
using Sarvetta::TLine3;
using Sarvetta::TPolygon;
using Sarvetta::TQuaternion;

class CFlexMesh;
// Declared for the test suites, which define it to reach the private edit
// steps; the library itself never defines it.
struct CMeshTestAccess;

/// A triangle mesh: vertices and faces as primary data, plus derived lists
/// that are built on demand and kept in step only where an operation says so.
///
/// The derived lists, as the contracts below name them:
/// - face connectivity (`m_FaceConnectivity`): per face, the faces across its
///   three edges; built by AssignFaceConnectivity;
/// - vertex connectivity (`m_VertexConnectivity`): per vertex, its neighbour
///   vertices; built by AssignVertexConnectivity;
/// - vertex-face connectivity (`m_VertexFaceConnectivity`): per vertex, the
///   faces that use it; built by AssignVertexFaceConnectivity;
/// - vertex normals (`m_Normal` of each vertex), by AssignVertexNormals;
/// - face normals (`m_FaceNormals`), by AssignFaceNormals;
/// - vertex and face attributes (`m_VertexAttributes`, `m_FaceAttributes`):
///   one flag record per element, allocated by the Allocate*AttributeBuffer
///   calls and set by the caller and by the operations that say so;
/// - the bounding box (`m_BoundingBox`), by DetermineBoundingBox.
///
/// A list is *current* when it describes the mesh as it now stands, one
/// record per element; *stale* means it may not, whatever its length, and the
/// caller rebuilds it before anything that needs it. `\pre` names what an
/// operation needs current, `\post` what it leaves current and what stale; a
/// list a contract does not name is untouched. Nothing is checked: an unmet
/// precondition gives wrong results or reads out of range, never an error.
///
/// Editing operations append new vertices and faces and never reorder existing
/// ones while they run. Removal is by marking: a face whose corner 0 equals its
/// corner 1 is to be discarded (a collapse zeroes all three corners), and a
/// vertex removed by collapse carries the attribute value 255. Only
/// DiscardFaces and DiscardVertices compact the lists. In the 16-bit index
/// types nothing checks that a vertex index fits: indices wrap silently.
template <typename Real, typename Vertex, typename Attribute, typename Index>
class TMesh {
public:
    typedef TFace<Index> Face;
    typedef TVector3<Real> Vector;

    /// Fired once per face offered by IterateOverFriends; never copied.
    TEvent<CFriend*> m_FriendEvent;
    /// Cached box of the vertex positions; see DetermineBoundingBox.
    TBox<Real> m_BoundingBox;
    /// The vertices; a vertex is addressed by its index here.
    TList<Vertex> m_Vertices;
    /// The triangles, three indices into m_Vertices each; edge k runs from
    /// corner k to corner (k + 1) mod 3.
    TList<Face> m_Faces;
    /// One unit normal per face, filled by AssignFaceNormals.
    TList<Vector> m_FaceNormals;
    /// One flag record per vertex. Bit 0 marks an open vertex, 255 a vertex
    /// removed by collapse.
    TList<Attribute> m_VertexAttributes;
    /// One flag record per face.
    TList<Attribute> m_FaceAttributes;
    /// Per face, the faces across edges 0, 1 and 2; CFaceConnections::None
    /// (0xFFFFFFFF) across an open edge.
    TList<CFaceConnections> m_FaceConnectivity;
    /// Per vertex, its neighbour vertices, each once.
    CVertexConnections m_VertexConnectivity;
    /// Per vertex, the faces that use it, in ascending order when built.
    CVertexConnections m_VertexFaceConnectivity;

    // ---- Mesh object --------------------------------------------------------
    /// An empty mesh. The four values are the initial capacity and grow size
    /// of the vertex list and of the face list; the per-vertex and per-face
    /// lists take the matching grow size. The box starts empty.
    TMesh(unsigned int vertexCapacity = 0, unsigned int vertexGrowSize = 1000, unsigned int faceCapacity = 0,
          unsigned int faceGrowSize = 1000);
    /// Deep copy of every list and the box, face normals included; whatever
    /// was current in `other` is current in the copy. Observers of
    /// m_FriendEvent are not copied.
    TMesh(TMesh& other);
    /// Converts a flexible mesh, as operator=(const CFlexMesh&).
    TMesh(CFlexMesh& flex);
    virtual ~TMesh();

    /// Deep copy of the vertices, faces, attributes, the three connectivity
    /// tables and the box.
    /// \post The target's m_FaceNormals and m_FriendEvent are left as they
    ///       were: its face normals are stale until AssignFaceNormals.
    TMesh& operator=(const TMesh& other);
    /// Replaces the mesh by the triangles of `flex`: positions converted to
    /// Real, index groups turned into faces by their primitive mode (4
    /// triangles, 5 strip, 6 fan; other modes add nothing).
    /// \pre A triangle group's count is a multiple of three.
    /// \post Vertex normals and the bounding box (all vertices) current; face
    ///       normals, attributes and the three connectivity tables empty.
    TMesh& operator=(const CFlexMesh& flex);

    /// Empties every list; `freeMemory` also releases their storage.
    /// \post The connectivity tables hold no lists: rebuild them with the
    ///       reallocating builders (argument true). The bounding box and the
    ///       observers of m_FriendEvent are kept.
    void Clear(bool freeMemory);
    /// Appends `other`'s vertices, and its faces with their indices raised by
    /// this mesh's former vertex count; extends the box by `other`'s box.
    /// \post Face normals, attributes and the three connectivity tables are
    ///       not extended and are stale. The box is current if both boxes were.
    void Append(TMesh& other);
    /// The vertex array, for reading and writing records in place; null for a
    /// mesh whose vertex list never allocated. Invalidated when the list grows.
    operator Vertex*();

    /// Raises m_VertexAttributes to one record per vertex (never shrinks it).
    /// \post The added records are not cleared: reset them (ResetAttributes)
    ///       before relying on their values.
    void AllocateVertexAttributeBuffer();
    /// Raises m_FaceAttributes to one record per face; as
    /// AllocateVertexAttributeBuffer.
    void AllocateFaceAttributeBuffer();
    /// Replaces m_VertexConnectivity by one empty list per vertex, so that
    /// AssignVertexConnectivity(false) may fill it.
    void AllocateVertexConnectivityBuffer();
    /// Replaces m_VertexFaceConnectivity by one empty list per vertex, so that
    /// AssignVertexFaceConnectivity(false) may fill it.
    void AllocateVertexFaceConnectivityBuffer();
    /// Turns doubling growth on or off for every list of the mesh.
    void SetUseExponentialGrowth(bool on);

    /// Translate or uniformly scale every position; the cached box is moved
    /// with the vertices rather than rebuilt.
    /// \post Vertex and face normals stay valid. The box stays current, except
    ///       that a negative factor leaves its corners swapped: run
    ///       DetermineBoundingBox before IsWithin or IntersectsWith then.
    ///@{
    TMesh& operator+=(const Vector& offset);
    TMesh& operator-=(const Vector& offset);
    TMesh& operator*=(const Real& factor);
    TMesh& operator/=(const Real& divisor);
    ///@}
    /// Multiplies every position and normal by the matrix (row vectors);
    /// normals are not re-normalised.
    /// \post Bounding box rebuilt from all vertices; face normals stale.
    TMesh& operator*=(const TMatrix3x3<Real>& matrix);
    /// Applies the 4x4 matrix to every vertex: positions as points, normals as
    /// directions, re-normalised only for TVertexPN.
    /// \post Bounding box rebuilt from all vertices; face normals stale.
    TMesh& operator*=(const TMatrix4x4<Real>& matrix);
    /// Rotates every position and normal by the quaternion.
    /// \post Bounding box rebuilt from all vertices; face normals stale.
    TMesh& operator*=(TQuaternion<Real>& rotation);

    // ---- Connectivity -------------------------------------------------------
    /// Builds the vertex-face connectivity from the faces; `reallocate` false
    /// reuses the existing lists and their storage.
    /// \pre With `reallocate` false, the table holds at least one list per
    ///      vertex.
    /// \post Vertex-face connectivity current.
    void AssignVertexFaceConnectivity(bool reallocate);
    /// Builds the vertex connectivity from the faces; `reallocate` as above.
    /// A face naming a vertex twice makes it its own neighbour.
    /// \pre With `reallocate` false, the table holds at least one list per
    ///      vertex.
    /// \post Vertex connectivity current.
    void AssignVertexConnectivity(bool reallocate);
    /// Builds the face connectivity. Where more than two faces share an edge
    /// the slot holds one of them (the last in scan order), so the result is
    /// consistent only for manifold edges.
    /// \pre Vertex-face connectivity current, unless the argument is true,
    ///      which rebuilds it first (reallocating).
    /// \post Face connectivity current (the list is never shortened: records
    ///       beyond the face count are left from an earlier, larger mesh).
    void AssignFaceConnectivity(bool assignVertexFaceConnectivity);
    /// Empties m_VertexConnectivity to no lists at all.
    /// \post Only AssignVertexConnectivity(true) may rebuild it.
    void ClearVertexConnectivity();
    /// Empties m_VertexFaceConnectivity to no lists at all (the name is
    /// spelled so).
    /// \post Only AssignVertexFaceConnectivity(true) may rebuild it.
    void ClearVertexFaceConnectivty();
    /// Stores `face` in the slot of `*connections` for the edge between the
    /// corner numbers `cornerA` and `cornerB` (either order); any pair that is
    /// not an edge writes slot 2.
    static void SetFaceConnection(CFaceConnections* connections, int cornerA, int cornerB, unsigned int face);

    // ---- Normals, attributes and friends ------------------------------------
    /// Unit normal of one face, (p0 - p1) x (p1 - p2) normalised, computed in
    /// double; the side from which the corners run counter-clockwise. A
    /// zero-area face gives the zero vector.
    Vector GetFaceNormal(unsigned int face) const;
    /// \post Face normals current (the list grows to the face count and is
    ///       never shortened).
    void AssignFaceNormals();
    /// Vertex normal = normalised sum of the unit normals of the faces using
    /// the vertex, once per corner, unweighted; zero for an unused vertex.
    /// \post Vertex normals current. Face normals are neither read nor written.
    void AssignVertexNormals();
    /// Zeroes every face and every vertex attribute.
    void ResetAttributes();
    /// Zeroes every *face* attribute; the vertex attributes are kept. The
    /// crossed names are intended.
    void ResetVertexAttributes();
    /// Zeroes every *vertex* attribute; the face attributes are kept. The
    /// crossed names are intended.
    void ResetFaceAttributes();
    /// The lowest single bit set neither in `seed` nor in any face attribute;
    /// 0 when every bit is taken.
    Attribute GetNextFaceAttributeFlag(Attribute seed);
    /// Replaces every face attribute equal to `from` as a whole value by `to`.
    void SwapFaceFlag(const Attribute& from, const Attribute& to);
    /// ORs `mark` into the attributes of both ends of every open edge; clears
    /// nothing.
    /// \pre Face connectivity current; vertex attributes allocated.
    void MarkOpenVertices(const Attribute& mark);
    /// One pass in face order: the neighbours of each face whose attribute
    /// equals `flag` take the value `mark` unless they equal `flag` already.
    /// \pre Face connectivity current; face attributes allocated.
    void MarkFaceFriends(const Attribute& flag, const Attribute& mark);
    /// Offers faces to the handlers of m_FriendEvent in breadth-first order
    /// from `startFace`, each at most once. A handler sets m_AddNeighbours to
    /// queue the face's neighbours and clears m_Continue to stop the walk.
    /// \pre Face connectivity current; `startFace` is a face index.
    void IterateOverFriends(int startFace, void* userData);
    /// Writes `colour` into every TVertexPNC vertex; does nothing for
    /// TVertexPN.
    void SetVertexColours(unsigned int colour);
    /// Flips every face (corners 0 and 2 exchanged).
    /// \post Face connectivity kept in step when it holds exactly one record
    ///       per face, otherwise left alone; both vertex tables stay valid.
    ///       Vertex normals recomputed when `updateNormals`; face normals stale.
    void InvertFaces(bool updateNormals);
    /// Flips every face and nothing else.
    /// \post Face connectivity, vertex normals and face normals stale.
    void ReverseWindingOrder();

    // ---- Measures -----------------------------------------------------------
    /// Refills m_BoundingBox from every vertex, or with `allVertices` false
    /// from the face corners only; with nothing to measure the box is empty.
    /// \post Bounding box current.
    void DetermineBoundingBox(bool allVertices);
    /// Mean vertex position: of every vertex, or with `allVertices` false of
    /// the vertices some face uses (quadratic in time). (0, 0, 0) when there
    /// is none.
    Vector GetCentre(bool allVertices) const;
    /// Mean of the face's three corners.
    Vector GetFaceCentre(unsigned int face) const;
    /// Centroid of the enclosed solid, written to `out`.
    /// \pre A closed, consistently wound mesh; with no faces or zero volume
    ///      the result is infinite or NaN.
    void CentreOfMass(Vector* out) const;
    /// Signed enclosed volume: positive for a closed mesh wound outward.
    Real GetVolume() const;
    /// Total area of the faces.
    Real GetSurfaceArea() const;
    /// Area of the faces whose attribute equals `attribute` as a whole value.
    /// \pre Face attributes allocated (one per face).
    ///@{
    Real GetSurfaceArea(Attribute& attribute) const;
    Real GetSurfaceArea(const Attribute& attribute) const;
    ///@}
    /// Axes of the vertex positions' scatter about their mean, as unit vectors
    /// by decreasing spread. False when the eigen-decomposition fails, with the
    /// outputs untouched; with three equal spreads `major` is left unwritten.
    bool DeterminePrincipalAxes(Vector* major, Vector* middle, Vector* minor) const;
    /// Shortest face edge; the square root of the largest finite Real when
    /// there are no faces.
    Real GetMinEdgeLength() const;
    /// Longest face edge; NaN when there are no faces.
    Real GetMaxEdgeLength() const;
    /// Not the plain mean: the shortest edge m plus the sum of every face
    /// edge's excess over m divided by the *face* count, i.e.
    /// m + 3 * (mean - m). Equals the edge length of a mesh whose edges are all
    /// equal; NaN without faces.
    Real GetMeanEdgeLength() const;
    /// Scales every vertex normal to unit length; positions are untouched.
    void Normalise();

    // ---- Spatial queries ----------------------------------------------------
    /// Hit of the line with one face: true only at a non-negative line
    /// parameter. `point` and `distance` receive the hit even when it lies
    /// behind the origin and false is returned.
    bool IntersectWith(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance,
                       Real tolerance) const;
    /// Nearest hit in front of the line's origin over all faces (ties: the
    /// lower face); `point` is written only on a hit.
    bool IntersectWith(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    /// As IntersectWith, counting only faces seen from the front (back faces
    /// culled).
    ///@{
    bool IntersectWithBFC(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance,
                          Real tolerance) const;
    bool IntersectWithBFC(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    ///@}
    /// As IntersectWith, counting only faces seen from the back (front faces
    /// culled).
    ///@{
    bool IntersectWithFFC(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance,
                          Real tolerance) const;
    bool IntersectWithFFC(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    ///@}
    /// Inside test by random rays: true when a ray cleanly crosses the faces
    /// an even, non-zero number of times, false when odd or none (so a point
    /// inside one closed shell reports false, one in a cavity true).
    /// Reseeds the C runtime's generator with srand(0) on every call.
    /// \pre Bounding box current: a point outside the cached box is never
    ///      within.
    bool IsWithin(const Vector& point) const;
    /// True when some vertex of `other` is within this mesh, as above.
    /// \pre This mesh's bounding box current.
    bool IsWithin(const TMesh& other) const;
    /// True when one mesh is within the other or an edge of one meets a face
    /// of the other; quadratic in the face counts.
    /// \pre Both bounding boxes current.
    bool IntersectsWith(const TMesh& other) const;
    /// Index of the vertex nearest to `point` (ties: the lower index); 0 for
    /// a mesh without vertices.
    unsigned int FindClosestVertex(const Vector& point);

    // ---- Degenerate faces and discarding ------------------------------------
    /// A new mesh, owned by the caller, in which face f owns the copies 3f,
    /// 3f + 1, 3f + 2 of its corners (a triangle soup).
    /// \post In the new mesh: vertex normals current, the box copied from this
    ///       one; no face normals, attributes or connectivity.
    TMesh* CreateDegenerate() const;
    /// The same soup in place. Surplus vertices beyond 3 x the face count
    /// stay, unreferenced.
    /// \post Vertex normals current; vertex attributes and the three
    ///       connectivity tables stale. Face order, face normals and face
    ///       attributes unchanged.
    void MakeDegenerate();
    /// Repeatedly removes faces with an edge shorter than `tolerance` and
    /// merges that edge's ends in every remaining face; 0 removes nothing.
    /// \post Only the faces change, order kept: face normals, face attributes
    ///       and all three connectivity tables stale; merged-away vertices
    ///       stay, unreferenced (DiscardVertices removes them).
    void RemoveDegenerateFaces(Real tolerance);
    /// Removes the faces whose corner 0 equals corner 1; the last face fills
    /// each hole, so the face order changes.
    /// \post Face connectivity and vertex connectivity emptied (rebuild them
    ///       with argument true); face normals, face attributes and vertex-face
    ///       connectivity stale. Vertices untouched.
    void DiscardFaces();
    /// Removes the vertices no face uses, keeping the order of the rest, and
    /// renumbers the faces.
    /// \post Vertex attributes compacted in step when there was exactly one per
    ///       vertex, otherwise left alone. Vertex and vertex-face connectivity
    ///       stale; face connectivity, face normals and face attributes stay as
    ///       current as they were (faces keep their indices).
    void DiscardVertices();

    // ---- Remeshing, subdivision, smoothing ----------------------------------
    /// Isotropic remeshing towards edge length `targetLength`: at most five
    /// rounds of splitting edges longer than 4/3 of it, collapsing edges
    /// shorter than 0.8 of it, flipping edges towards valence 6 (4 on open
    /// vertices) and averaging each vertex with its neighbours (without
    /// projecting back, so curved surfaces shrink a little); stops after the
    /// first round without change. Open vertices stay put.
    /// \pre Face connectivity, vertex connectivity and vertex-face connectivity
    ///      current and consistent (each neighbour lists the face back: an
    ///      oriented manifold).
    /// \post Vertex normals current. Vertex attributes one per vertex: bit 0
    ///       on open vertices (ORed into what the caller had set), 255 on
    ///       collapsed vertices, which stay in the list unreferenced until
    ///       DiscardVertices. Face connectivity and vertex connectivity
    ///       emptied, as DiscardFaces leaves them; vertex-face connectivity,
    ///       face normals, face attributes and the bounding box stale.
    void Remesh(Real targetLength);
    /// Isotropic remeshing that keeps the input's shape: every moved vertex is
    /// projected back onto the input surface, features and boundaries are kept
    /// as `options` says. Faces that repeat or name no existing vertex are
    /// dropped; non-manifold parts are kept as they are.
    /// \return False when the progress callback stopped the work early; the
    ///         mesh is valid either way.
    /// \pre Nothing derived: only the vertices and faces are read.
    /// \post Every vertex is used and no face repeats a corner. Vertex normals,
    ///       the three connectivity tables and the bounding box (all vertices)
    ///       current; face normals current if the list was non-empty, else left
    ///       empty; vertex and face attributes one per element, all zero.
    ///       Vertices continuing an input vertex keep its record (colour).
    bool RemeshPreservingShape(Real targetLength, const CRemeshOptions& options = CRemeshOptions());
    /// Longest-edge bisection of every face on its own until no edge is longer
    /// than `maxLength`; first turns the mesh into a triangle soup
    /// (MakeDegenerate). Shape unchanged.
    /// \pre `maxLength` > 0.
    /// \post Vertex normals current; face normals, attributes and all three
    ///       connectivity tables stale.
    void SubDivide(Real maxLength);
    /// Laplacian smoothing: each iteration moves every vertex to the average
    /// of itself and its neighbours, computed from the previous positions.
    /// Masks test the vertex attributes (0 switches a test off): vertices
    /// matching `fixedMask` stay; with `regionMask` only matching vertices move
    /// and only matching neighbours count; vertices matching `outwardMask`
    /// move only to the side their normal points to.
    /// \pre Vertex connectivity current; vertex attributes allocated when any
    ///      mask is set; vertex normals current when `outwardMask` is set.
    /// \post Vertex normals current. The colours of TVertexPNC vertices are
    ///       zeroed (when `iterations` >= 1). Face normals and the bounding box
    ///       stale.
    void Smooth(unsigned int iterations, char fixedMask, char regionMask, char outwardMask);
    /// Moves every vertex by `distance` along its unit normal (negative:
    /// against it).
    /// \pre Vertex normals current.
    /// \post Vertex normals recomputed and bounding box rebuilt from all
    ///       vertices; face normals stale.
    void Offset(Real distance);

    // ---- Open boundaries ----------------------------------------------------
    /// Appends to `polygon` the open boundary, walked from its lowest-numbered
    /// vertex. Marks the open vertices with `mark` and clears it on each
    /// vertex visited; others (further loops) keep it, and a later call picks
    /// them up. The closing point is found only among the lowest-numbered
    /// vertices, so a loop may come back one point short.
    /// \pre Face connectivity and vertex connectivity current; vertex
    ///      attributes allocated.
    void ExtractOpenContour(const Attribute& mark, TPolygon<Real, Vector>* polygon);
    /// Closes an open surface into a shell: appends a copy moved by `offset`
    /// against the vertex normals and joins each open edge to its copy by a
    /// wall of two triangles (on vertices of their own). `assignConnectivity`
    /// rebuilds the face connectivity first.
    /// \pre Vertex normals current; face connectivity current unless
    ///      `assignConnectivity`.
    /// \post Face connectivity and vertex-face connectivity describe the first
    ///       shell only: stale, like the vertex connectivity, face normals,
    ///       attributes, the bounding box and the new vertices' normals.
    void OffsetStitch(Real offset, bool assignConnectivity);
    /// As OffsetStitch with `other` as the second shell; vertex i of `other`
    /// is the partner of vertex i. Nothing is stitched when the vertex counts
    /// differ. The box is extended by `other`'s box.
    /// \pre As OffsetStitch, vertex normals aside.
    /// \post As OffsetStitch.
    void Stitch(TMesh& other, bool assignConnectivity);
    /// Appends to `points` every vertex position, then, per face, points at
    /// most `spacing` apart along its edges and along lines swept across it;
    /// nothing is deduplicated. Always true.
    /// \pre `spacing` > 0.
    bool ExtractInfilledPointSet(const Real& spacing, TList<Vector>* points);

protected:
    void SubDivide(unsigned int face, Real maxLengthSquared);
    void InfillBetweenTwoPoints(const Vector& start, const Vector& end, const Real& spacing, TList<Vector>* points);

private:
    friend struct CMeshTestAccess;

    void FindMatchedEdge(CFaceConnections& connections, unsigned int face, unsigned int* firstCorner,
                         unsigned int* secondCorner);
    int CalculateValenceSum(int* const a, int* const b);
    void CheckMeshValidity();
    void CheckNeighbourValidity(unsigned int face);

    void CalculateTetrahedronProperties(const Vertex* a, const Vertex* b, const Vertex* c, const Vector* d,
                                        Vector* weightedCentroid, Real* volume) const;

    void AddDegenerateFace(Index i, Index j, Index k, Vector& reference);
    void AddEdgePair(unsigned int a, unsigned int b, unsigned int offset, Vector& reference);

    bool SplitEdges(Real targetLength);
    bool CollapseEdges(Real targetLength);
    bool FlipEdges();
    void RelaxVertices();
    void StitchOpenEdges();
};

// Calls X(Real, vertex template, attribute, index) for each exported mesh type.
// One type a line: clang-format would pack the list differently on every run.
// clang-format off
#define QUORVEL_FOR_EACH_MESH(X) \
    X(float, TVertexPN, CA8, unsigned short) \
    X(float, TVertexPN, CA16, unsigned short) \
    X(float, TVertexPN, CA32, unsigned short) \
    X(float, TVertexPN, CA8, unsigned int) \
    X(float, TVertexPN, CA16, unsigned int) \
    X(float, TVertexPN, CA32, unsigned int) \
    X(float, TVertexPNC, CA8, unsigned short) \
    X(float, TVertexPNC, CA16, unsigned short) \
    X(float, TVertexPNC, CA32, unsigned short) \
    X(float, TVertexPNC, CA8, unsigned int) \
    X(float, TVertexPNC, CA16, unsigned int) \
    X(float, TVertexPNC, CA32, unsigned int) \
    X(double, TVertexPN, CA8, unsigned short) \
    X(double, TVertexPN, CA16, unsigned short) \
    X(double, TVertexPN, CA32, unsigned short) \
    X(double, TVertexPN, CA8, unsigned int) \
    X(double, TVertexPN, CA16, unsigned int) \
    X(double, TVertexPN, CA32, unsigned int) \
    X(double, TVertexPNC, CA8, unsigned short) \
    X(double, TVertexPNC, CA16, unsigned short) \
    X(double, TVertexPNC, CA32, unsigned short) \
    X(double, TVertexPNC, CA8, unsigned int) \
    X(double, TVertexPNC, CA16, unsigned int) \
    X(double, TVertexPNC, CA32, unsigned int)
// clang-format on

// The arguments are types and a template name, which cannot be parenthesised.
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define QUORVEL_EXTERN_MESH(R, V, A, I) extern template class TMesh<R, V<R>, A, I>;
QUORVEL_FOR_EACH_MESH(QUORVEL_EXTERN_MESH)
#undef QUORVEL_EXTERN_MESH

}  // namespace Corvane::Pellix::Quorvel

// The lists the library compiles once for every client.
namespace Corvane::Pellix {

extern template class Lintorra::TList<Quorvel::TFace<unsigned short>>;
extern template class Lintorra::TList<Quorvel::TFace<unsigned int>>;
extern template class Lintorra::TList<Quorvel::TVertexPN<float>>;
extern template class Lintorra::TList<Quorvel::TVertexPN<double>>;
extern template class Lintorra::TList<Quorvel::TVertexPNC<float>>;
extern template class Lintorra::TList<Quorvel::TVertexPNC<double>>;
extern template class Lintorra::TList<Quorvel::CA8>;
extern template class Lintorra::TList<Quorvel::CA16>;
extern template class Lintorra::TList<Quorvel::CA32>;
extern template class Lintorra::TList<Quorvel::CFaceConnections>;

#define QUORVEL_EXTERN_MESH_LIST(R, V, A, I)                                                                           \
    extern template class Lintorra::TList<Quorvel::TMesh<R, Quorvel::V<R>, Quorvel::A, I>*>;
QUORVEL_FOR_EACH_MESH(QUORVEL_EXTERN_MESH_LIST)
#undef QUORVEL_EXTERN_MESH_LIST

}  // namespace Corvane::Pellix
