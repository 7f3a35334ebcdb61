#pragma once

#include "maths/TBox.h"
#include "maths/TEdge3.h"
#include "maths/TLine3.h"
#include "maths/TMatrix3x3.h"
#include "maths/TMatrix4x4.h"
#include "maths/TPolygon.h"
#include "maths/TQuaternion.h"
#include "maths/TVector3.h"
#include "meshes/CAttributes.h"
#include "meshes/CFaceConnections.h"
#include "meshes/CFriend.h"
#include "meshes/CVertexConnections.h"
#include "meshes/TFace.h"
#include "meshes/TVertexPN.h"
#include "meshes/TVertexPNC.h"
#include "meshes/editing/CRemeshOptions.h"
#include "utilities/TEvent.h"
#include "utilities/TList.h"
#include "utilities/TPair.h"

namespace Corvane::Pellix::Quorvel {

using Lintorra::TEvent;
using Lintorra::TList;
using Sarvetta::TBox;
using Sarvetta::TEdge3;
using Sarvetta::TLine3;
using Sarvetta::TPolygon;
using Sarvetta::TQuaternion;

class CFlexMesh;

// A triangle mesh: vertices and faces as primary data, plus derived lists
// (normals, attributes, three adjacency tables, the bounding box) that are
// built on demand and are stale after any change unless an operation says it
// keeps them in step.
//
// Editing operations append new vertices and faces and never reorder existing
// ones while they run. Removal is by marking: a face whose corner 0 equals its
// corner 1 is to be discarded (a collapse zeroes all three corners), and a
// vertex removed by collapse carries the attribute value 255. Only
// DiscardFaces and DiscardVertices compact the lists.
template <typename Real, typename Vertex, typename Attribute, typename Index>
class TMesh {
public:
    typedef TFace<Index> Face;
    typedef TVector3<Real> Vector;

    TEvent<CFriend*> m_FriendEvent;
    TBox<Real> m_BoundingBox;
    TList<Vertex> m_Vertices;
    TList<Face> m_Faces;
    TList<Vector> m_FaceNormals;
    TList<Attribute> m_VertexAttributes;
    TList<Attribute> m_FaceAttributes;
    TList<CFaceConnections> m_FaceConnectivity;
    CVertexConnections m_VertexConnectivity;
    CVertexConnections m_VertexFaceConnectivity;

    // ---- Mesh object --------------------------------------------------------
    TMesh(unsigned int vertexCapacity = 0, unsigned int vertexGrowSize = 1000,
          unsigned int faceCapacity = 0, unsigned int faceGrowSize = 1000);
    // Copies every list, face normals included; observers are not copied.
    TMesh(TMesh& other);
    TMesh(CFlexMesh& flex);
    virtual ~TMesh();

    // Leaves the target's face normals and friend event as they were.
    TMesh& operator=(const TMesh& other);
    TMesh& operator=(const CFlexMesh& flex);

    void Clear(bool freeMemory);
    void Append(TMesh& other);
    operator Vertex*();

    void AllocateVertexAttributeBuffer();
    void AllocateFaceAttributeBuffer();
    void AllocateVertexConnectivityBuffer();
    void AllocateVertexFaceConnectivityBuffer();
    void SetUseExponentialGrowth(bool on);

    // The vector and scalar operators move the cached box with the vertices;
    // the matrix and quaternion operators rebuild it.
    TMesh& operator+=(const Vector& offset);
    TMesh& operator-=(const Vector& offset);
    TMesh& operator*=(const Real& factor);
    TMesh& operator/=(const Real& divisor);
    TMesh& operator*=(const TMatrix3x3<Real>& matrix);
    TMesh& operator*=(const TMatrix4x4<Real>& matrix);
    TMesh& operator*=(TQuaternion<Real>& rotation);

    // ---- Connectivity -------------------------------------------------------
    void AssignVertexFaceConnectivity(bool reallocate);
    void AssignVertexConnectivity(bool reallocate);
    void AssignFaceConnectivity(bool assignVertexFaceConnectivity);
    void ClearVertexConnectivity();
    void ClearVertexFaceConnectivty();
    static void SetFaceConnection(CFaceConnections* connections, int cornerA, int cornerB, unsigned int face);

    // ---- Normals, attributes and friends ------------------------------------
    Vector GetFaceNormal(unsigned int face) const;
    void AssignFaceNormals();
    void AssignVertexNormals();
    void ResetAttributes();
    void ResetVertexAttributes();
    void ResetFaceAttributes();
    Attribute GetNextFaceAttributeFlag(Attribute seed);
    void SwapFaceFlag(const Attribute& from, const Attribute& to);
    void MarkOpenVertices(const Attribute& mark);
    void MarkFaceFriends(const Attribute& flag, const Attribute& mark);
    void IterateOverFriends(int startFace, void* userData);
    void SetVertexColours(unsigned int colour);
    void InvertFaces(bool updateNormals);
    void ReverseWindingOrder();

    // ---- Measures -----------------------------------------------------------
    void DetermineBoundingBox(bool allVertices);
    Vector GetCentre(bool allVertices) const;
    Vector GetFaceCentre(unsigned int face) const;
    void CentreOfMass(Vector* out) const;
    Real GetVolume() const;
    Real GetSurfaceArea() const;
    Real GetSurfaceArea(Attribute& attribute) const;
    // The same for a constant or temporary record, e.g. GetSurfaceArea(CA8(2)).
    Real GetSurfaceArea(const Attribute& attribute) const;
    bool DeterminePrincipalAxes(Vector* major, Vector* middle, Vector* minor) const;
    Real GetMinEdgeLength() const;
    Real GetMaxEdgeLength() const;
    Real GetMeanEdgeLength() const;
    void Normalise();

    // ---- Spatial queries ----------------------------------------------------
    bool IntersectWith(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance, Real tolerance) const;
    bool IntersectWith(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    bool IntersectWithBFC(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance, Real tolerance) const;
    bool IntersectWithBFC(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    bool IntersectWithFFC(const TLine3<Real>& line, unsigned int face, Vector* point, Real* distance, Real tolerance) const;
    bool IntersectWithFFC(const TLine3<Real>& line, Vector* point, Real tolerance) const;
    bool IsWithin(const Vector& point) const;
    bool IsWithin(const TMesh& other) const;
    bool IntersectsWith(const TMesh& other) const;
    unsigned int FindClosestVertex(const Vector& point);

    // ---- Degenerate faces and discarding ------------------------------------
    TMesh* CreateDegenerate() const;
    void MakeDegenerate();
    void RemoveDegenerateFaces(Real tolerance);
    void DiscardFaces();
    void DiscardVertices();

    // ---- Remeshing, subdivision, smoothing ----------------------------------
    void Remesh(Real targetLength);
    // Isotropic remeshing that keeps the input's shape: every moved vertex is
    // projected back onto the input surface, features and boundaries are kept.
    // Returns false when the progress callback stopped the work early.
    bool RemeshPreservingShape(Real targetLength, const CRemeshOptions& options = CRemeshOptions());
    void SubDivide(Real maxLength);
    void Smooth(unsigned int iterations, char fixedMask, char regionMask, char outwardMask);
    void Offset(Real distance);

    // ---- Open boundaries ----------------------------------------------------
    void ExtractOpenContour(const Attribute& mark, TPolygon<Real, Vector>* polygon);
    void OffsetStitch(Real offset, bool assignConnectivity);
    void Stitch(TMesh& other, bool assignConnectivity);
    bool ExtractInfilledPointSet(const Real& spacing, TList<Vector>* points);

protected:
    void SubDivide(unsigned int face, Real maxLengthSquared);
    void InfillBetweenTwoPoints(const Vector& start, const Vector& end, const Real& spacing, TList<Vector>* points);

private:
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
#define QUORVEL_FOR_EACH_MESH(X)                                                                  \
    X(float, TVertexPN, CA8, unsigned short) X(float, TVertexPN, CA16, unsigned short)            \
    X(float, TVertexPN, CA32, unsigned short) X(float, TVertexPN, CA8, unsigned int)              \
    X(float, TVertexPN, CA16, unsigned int) X(float, TVertexPN, CA32, unsigned int)               \
    X(float, TVertexPNC, CA8, unsigned short) X(float, TVertexPNC, CA16, unsigned short)          \
    X(float, TVertexPNC, CA32, unsigned short) X(float, TVertexPNC, CA8, unsigned int)            \
    X(float, TVertexPNC, CA16, unsigned int) X(float, TVertexPNC, CA32, unsigned int)             \
    X(double, TVertexPN, CA8, unsigned short) X(double, TVertexPN, CA16, unsigned short)          \
    X(double, TVertexPN, CA32, unsigned short) X(double, TVertexPN, CA8, unsigned int)            \
    X(double, TVertexPN, CA16, unsigned int) X(double, TVertexPN, CA32, unsigned int)             \
    X(double, TVertexPNC, CA8, unsigned short) X(double, TVertexPNC, CA16, unsigned short)        \
    X(double, TVertexPNC, CA32, unsigned short) X(double, TVertexPNC, CA8, unsigned int)          \
    X(double, TVertexPNC, CA16, unsigned int) X(double, TVertexPNC, CA32, unsigned int)

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

#define QUORVEL_EXTERN_MESH_LIST(R, V, A, I) \
    extern template class Lintorra::TList<Quorvel::TMesh<R, Quorvel::V<R>, Quorvel::A, I>*>;
QUORVEL_FOR_EACH_MESH(QUORVEL_EXTERN_MESH_LIST)
#undef QUORVEL_EXTERN_MESH_LIST

}  // namespace Corvane::Pellix
