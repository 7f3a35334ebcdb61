#pragma once

// What every harness demands of a mesh the tool would go on to use: a
// broken one is a finding, reported by aborting so that libFuzzer keeps the
// input.
#include <cstdio>
#include <cstdlib>

#include "io/MeshData.h"
#include "io/ReaderSupport.h"

namespace QuorvelFuzz {

using namespace Corvane::Pellix::Quorvel::Tool;

[[noreturn]] inline void Fail(const char* what) {
    std::fprintf(stderr, "quorvel fuzz: %s\n", what);
    std::abort();
}

// Every coordinate finite and every corner a vertex of the mesh.
inline void CheckMesh(const CMeshData& mesh) {
    for (const Point& p : mesh.m_Positions)
        if (!IsFinitePoint(p))
            Fail("a non-finite coordinate");
    for (const Triangle& t : mesh.m_Triangles)
        for (std::uint32_t v : t)
            if (v >= mesh.m_Positions.size())
                Fail("a corner out of range");
}

}  // namespace QuorvelFuzz
