// The exact output of the shape-preserving remesh on a few inputs, pinned as
// 64-bit hashes: a change of structure that is meant to change nothing must
// leave every bit of the result as it was. A change that is meant to change
// the result re-pins the constants in a commit of its own, saying why.
#include <gtest/gtest.h>
#include <omp.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;

typedef TMesh<double, TVertexPN<double>, CA8, unsigned int> DoubleMesh;
typedef TMesh<float, TVertexPNC<float>, CA16, unsigned int> FloatMesh;

// FNV-1a over the bit patterns of the positions, then the corners, in order.
class CHash {
public:
    void Add(const void* data, std::size_t size) {
        const unsigned char* bytes = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; i < size; ++i) {
            m_Value ^= bytes[i];
            m_Value *= 0x100000001B3ull;
        }
    }
    std::uint64_t m_Value = 0xCBF29CE484222325ull;
};

template <typename Mesh>
std::uint64_t Fingerprint(const Mesh& mesh) {
    CHash hash;
    const std::uint32_t counts[2] = {mesh.m_Vertices.GetCount(), mesh.m_Faces.GetCount()};
    hash.Add(counts, sizeof(counts));
    for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
        const auto& p = mesh.m_Vertices[v].m_Position;
        hash.Add(&p.x, sizeof(p.x));
        hash.Add(&p.y, sizeof(p.y));
        hash.Add(&p.z, sizeof(p.z));
    }
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const std::uint32_t corner = mesh.m_Faces[f].m_Corners[k];
            hash.Add(&corner, sizeof(corner));
        }
    return hash.m_Value;
}

template <typename Mesh>
double MeanSide(const Mesh& mesh) {
    double sum = 0;
    for (unsigned int f = 0; f < mesh.m_Faces.GetCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            const auto& a = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
            const auto& b = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[(k + 1) % 3]].m_Position;
            sum += std::sqrt(double(a.DiffVectLenSquared(b)));
        }
    return sum / (3.0 * mesh.m_Faces.GetCount());
}

// Builds the input afresh, remeshes it to `relative` times its mean side on
// the given number of threads and returns the result's fingerprint.
template <typename Mesh>
std::uint64_t RemeshOn(int threads, const std::function<void(Mesh&)>& make, double relative,
                       const CRemeshOptions& options = CRemeshOptions()) {
    Mesh mesh;
    make(mesh);
    const double target = relative * MeanSide(mesh);
    const int previous = omp_get_max_threads();
    omp_set_num_threads(threads);
    const bool finished = mesh.RemeshPreservingShape(static_cast<RealOf<Mesh>>(target), options);
    omp_set_num_threads(previous);
    EXPECT_TRUE(finished);
    return Fingerprint(mesh);
}

// The same result on one and on two threads, and the pinned one.
template <typename Mesh>
void ExpectFingerprint(std::uint64_t pinned, const std::function<void(Mesh&)>& make, double relative,
                       const CRemeshOptions& options = CRemeshOptions()) {
    const std::uint64_t one = RemeshOn<Mesh>(1, make, relative, options);
    const std::uint64_t two = RemeshOn<Mesh>(2, make, relative, options);
    EXPECT_EQ(one, two) << "the result depends on the number of threads";
    EXPECT_EQ(one, pinned) << "fingerprint 0x" << std::hex << one;
}

TEST(RemeshPreservingShapeFingerprint, BumpySphereCoarsenedAndRefined) {
    const auto make = [](DoubleMesh& mesh) { MakeBumpySphere(mesh, 4, 0.12, 0.01); };
    ExpectFingerprint<DoubleMesh>(0xdb2e25525730ee0eull, make, 1.7);
    // Fine enough that the parallel loops run on a team.
    ExpectFingerprint<DoubleMesh>(0xd80edb831466eac4ull, make, 0.45);
    // Without the fit of the faces every vertex stays on the input, as
    // before the fit was added: the same result bit for bit.
    CRemeshOptions onInput;
    onInput.m_FitFaces = false;
    ExpectFingerprint<DoubleMesh>(0x358511c575352f43ull, make, 1.7, onInput);
    ExpectFingerprint<DoubleMesh>(0x9107fe81afec2916ull, make, 0.45, onInput);
}

TEST(RemeshPreservingShapeFingerprint, Torus) {
    ExpectFingerprint<DoubleMesh>(
        0x5b8c439b7fe6721eull, [](DoubleMesh& mesh) { MakeTorus(mesh, 48, 16); }, 0.8);
}

TEST(RemeshPreservingShapeFingerprint, OpenGridKeptAndSliding) {
    const auto make = [](DoubleMesh& mesh) {
        MakeGrid(mesh, 24, 16, 0.5);
        // A gentle dome, so that projection has work to do.
        for (unsigned int v = 0; v < mesh.m_Vertices.GetCount(); ++v) {
            auto& p = mesh.m_Vertices[v].m_Position;
            p.z = 0.02 * ((p.x - 6) * (p.x - 6) + (p.y - 4) * (p.y - 4));
        }
    };
    ExpectFingerprint<DoubleMesh>(0xb12276b4ac55d460ull, make, 0.6);
    // Coarser than the boundary: kept boundary vertices merge along it.
    ExpectFingerprint<DoubleMesh>(0x1c2b04e357c9760eull, make, 2.5);
    CRemeshOptions sliding;
    sliding.m_KeepBoundaries = false;
    ExpectFingerprint<DoubleMesh>(0xe41925d6169880c0ull, make, 1.5, sliding);
}

TEST(RemeshPreservingShapeFingerprint, SharpFeatures) {
    ExpectFingerprint<DoubleMesh>(
        0x475f85fb2c2260adull, [](DoubleMesh& mesh) { MakeBox(mesh, 2, 1.5, 1); }, 0.15);
    ExpectFingerprint<DoubleMesh>(
        0x667c906e2440759dull, [](DoubleMesh& mesh) { MakePiercedBlock(mesh); }, 1.2);
    CRemeshOptions noFeatures;
    noFeatures.m_FeatureAngle = 0;
    noFeatures.m_RelaxationSteps = 2;
    ExpectFingerprint<DoubleMesh>(
        0x235bcd1db0b196e7ull, [](DoubleMesh& mesh) { MakePiercedBlock(mesh); }, 1.2, noFeatures);
}

TEST(RemeshPreservingShapeFingerprint, SinglePrecision) {
    ExpectFingerprint<FloatMesh>(
        0x36a12ff03538fca6ull, [](FloatMesh& mesh) { MakeBumpySphere(mesh, 4, 0.12, 0.01); }, 0.9);
    ExpectFingerprint<FloatMesh>(
        0x5bc3c127b355eb11ull, [](FloatMesh& mesh) { MakeTorus(mesh, 40, 12); }, 1.3);
}

}  // namespace
