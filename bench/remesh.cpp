// The designed remesh (and the shape-preserving one, on the first three) on
// closed noisy icospheres of about 20k, 80k, 320k and 1.28M faces,
// at the mesh's own mean edge length, so that every step has work everywhere
// but the face count stays about the same. The figures to compare across
// sizes are the time per face and the peak resident memory per face: a
// step that is not linear shows up as a growing time per face.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "MeshFixtures.h"

namespace {

using namespace QuorvelTest;
typedef TMesh<float, TVertexPN<float>, CA8, unsigned int> Mesh;

// Kibibytes of a "VmXXX:" line of /proc/self/status.
long StatusKiB(const char* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::size_t length = std::strlen(field);
    while (std::getline(status, line))
        if (line.compare(0, length, field) == 0)
            return std::stol(line.substr(length));
    return -1;
}

// Writing 5 to clear_refs resets the peak so each size reports its own.
bool ResetPeakRss() {
    std::FILE* file = std::fopen("/proc/self/clear_refs", "w");
    if (file == nullptr)
        return false;
    const bool ok = std::fputs("5", file) >= 0;
    return std::fclose(file) == 0 && ok;
}

// The plain mean over edges: on a closed mesh every edge is seen twice in the
// face loop, so the mean over face edges is the mean over edges.
double TrueMeanEdgeLength(const Mesh& mesh) {
    double sum = 0;
    const unsigned int faces = mesh.m_Faces.GetCount();
    for (unsigned int f = 0; f < faces; ++f)
        for (int k = 0; k < 3; ++k) {
            const auto& a = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[k]].m_Position;
            const auto& b = mesh.m_Vertices[mesh.m_Faces[f].m_Corners[(k + 1) % 3]].m_Position;
            sum += a.DiffVectLen(b);
        }
    return sum / (3.0 * faces);
}

// One input per subdivision level, built once: level L has 20 * 4^L faces.
Mesh& Input(int level) {
    static std::map<int, std::unique_ptr<Mesh>> inputs;
    auto& slot = inputs[level];
    if (!slot) {
        slot = std::make_unique<Mesh>();
        MakeIcosphere(*slot, static_cast<unsigned int>(level));
        unsigned int state = 2463534242u;
        for (unsigned int v = 0; v < slot->m_Vertices.GetCount(); ++v) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            const double noise = 1 + 0.004 * ((state % 2001) / 1000.0 - 1) * 32.0 / (1u << level);
            slot->m_Vertices[v].m_Position *= static_cast<float>(noise);
        }
    }
    return *slot;
}

// One remesh of a fresh copy of the level's input at its mean edge length;
// the copy and the connectivity that the designed remesh needs are not timed.
void TimeRemesh(benchmark::State& state, bool preserve) {
    const int level = static_cast<int>(state.range(0));
    Mesh& input = Input(level);
    const unsigned int faces = input.m_Faces.GetCount();
    const float target = static_cast<float>(TrueMeanEdgeLength(input));

    long peakKiB = 0, baseKiB = 0;
    unsigned int outputFaces = 0;
    for (auto _ : state) {
        state.PauseTiming();
        {
            std::unique_ptr<Mesh> mesh(new Mesh(input));
            if (!preserve) {
                mesh->SetUseExponentialGrowth(true);
                mesh->AssignFaceConnectivity(true);
                mesh->AssignVertexConnectivity(true);
            }
            ResetPeakRss();
            baseKiB = StatusKiB("VmRSS:");
            state.ResumeTiming();

            if (preserve)
                mesh->RemeshPreservingShape(target);
            else
                mesh->Remesh(target);

            state.PauseTiming();
            peakKiB = StatusKiB("VmHWM:");
            outputFaces = mesh->m_Faces.GetCount();
        }
        state.ResumeTiming();
    }
    state.counters["faces"] = faces;
    state.counters["out_faces"] = outputFaces;
    state.counters["time_per_face"] =
        benchmark::Counter(faces, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["peak_rss_B_per_face"] = 1024.0 * peakKiB / faces;
    state.counters["peak_growth_B_per_face"] = 1024.0 * (peakKiB - baseKiB) / faces;
}

void BM_Remesh(benchmark::State& state) {
    TimeRemesh(state, false);
}

// The shape-preserving remesh, whose projection onto the input is what the
// spatial index serves.
void BM_RemeshPreserve(benchmark::State& state) {
    TimeRemesh(state, true);
}

}  // namespace

BENCHMARK(BM_Remesh)->DenseRange(5, 8)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_RemeshPreserve)->DenseRange(5, 7)->Unit(benchmark::kMillisecond)->UseRealTime();
