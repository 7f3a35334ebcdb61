// The guards of long library calls: requests whose estimate exceeds the
// memory limit are refused before any work, runs that grow past the limits
// are stopped, and either way the user gets one error line, exit status 2,
// the input as it was and no output.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "ToolTestSupport.h"
#include "core/ToolError.h"
#include "core/Watchdog.h"
#include "io/MeshFormats.h"
#include "io/OutputFile.h"

using namespace QuorvelToolTest;

namespace {

// Long thin faces between two rims, turned a full revolution: the kind of
// input on which the designed remesh at a quarter of the mean edge length
// once ran without end.
CMeshData MakeTwistedStrip(unsigned int segments) {
    CMeshData strip;
    for (unsigned int i = 0; i <= segments; ++i) {
        const double t = double(i) / segments, angle = 2 * M_PI * t;
        for (double side : {-0.5, 0.5})
            strip.m_Positions.push_back(Point(side * std::cos(angle), side * std::sin(angle), 4 * t));
    }
    for (std::uint32_t i = 0; i < segments; ++i) {
        const std::uint32_t a = 2 * i;
        strip.m_Triangles.push_back(Triangle{a, a + 1, a + 3});
        strip.m_Triangles.push_back(Triangle{a, a + 3, a + 2});
    }
    return strip;
}

// Waits, without any timing assertion, for a condition that must come.
template <typename Condition>
bool Eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// Resident memory that is really touched, so it counts.
std::vector<char> Touch(std::size_t bytes) {
    std::vector<char> block(bytes);
    std::memset(block.data(), 1, bytes);
    return block;
}

// The exit status of a child process that runs `play` (which must end in
// _exit or be ended), -1 if it did not exit.
template <typename Play>
int StatusOfChild(Play play) {
    const pid_t child = ::fork();
    if (child == 0)
        play();
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

// A watchdog that ends the process once its resident memory grows 32 MB.
CWatchdog ExitingWatchdog() {
    CResourceLimits limits;
    limits.m_MaxMemory = GetResidentMemory() + (32 << 20);
    return CWatchdog(limits, EWatchdogAction::Exit, "mesh.off: remeshing", "nothing was written");
}

class RemeshLimits : public ::testing::Test {
protected:
    void SetUp() override {
        WriteMeshFile(m_Sphere, MakeSphere(4), EEncoding::Text);
        WriteMeshFile(m_Strip, MakeTwistedStrip(1000), EEncoding::Text);
        m_Before = m_Dir.List();
    }
    CRun Remesh(const std::string& input, std::vector<std::string> options, unsigned long addressSpace = 0) {
        std::vector<std::string> arguments = {"remesh", input, "-o", m_Dir.Path("out.ply"), "--quiet"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        m_InputBytes = ReadFile(input);
        return RunQuorvel(arguments, 120, addressSpace);
    }
    // The run must end in one "quorvel: " line with status 2, leaving the
    // directory (the input included, byte for byte) as it was.
    void ExpectStopped(const CRun& run, const std::string& input, const std::vector<std::string>& fragments) {
        EXPECT_EQ(run.m_Status, 2) << run.m_Err;
        EXPECT_EQ(run.m_Err.rfind("quorvel: ", 0), 0u) << run.m_Err;
        EXPECT_EQ(run.m_Err.find('\n'), run.m_Err.size() - 1) << run.m_Err;
        for (const std::string& fragment : fragments)
            EXPECT_NE(run.m_Err.find(fragment), std::string::npos) << run.m_Err;
        EXPECT_EQ(m_Dir.List(), m_Before);
        EXPECT_EQ(ReadFile(input), m_InputBytes);
    }

    CScratchDirectory m_Dir;
    const std::string m_Sphere = m_Dir.Path("sphere.off"), m_Strip = m_Dir.Path("strip.obj");
    std::vector<std::string> m_Before;
    std::string m_InputBytes;
};

}  // namespace

TEST(MemorySizes, ParseWithBinaryUnitsAndRefuseAnythingElse) {
    const struct {
        const char* m_Text;
        std::uint64_t m_Bytes;
    } good[] = {{"1048576", 1048576}, {"64k", 65536},      {"512M", 512ull << 20},
                {"4G", 4ull << 30},   {"4GB", 4ull << 30}, {"2GiB", 2ull << 30},
                {"1.5g", 3ull << 29}, {"1T", 1ull << 40},  {"100b", 100}};
    for (const auto& size : good) {
        std::uint64_t bytes = 0;
        EXPECT_TRUE(ParseMemorySize(size.m_Text, bytes)) << size.m_Text;
        EXPECT_EQ(bytes, size.m_Bytes) << size.m_Text;
    }
    for (const char* bad : {"", "0", "0.1", "-1G", "+1G", "G", "4Q", "4 G", "abc", "inf", "nan", "1e30G", "4GG"}) {
        std::uint64_t bytes = 7;
        EXPECT_FALSE(ParseMemorySize(bad, bytes)) << bad;
        EXPECT_EQ(bytes, 7u) << bad;
    }
    EXPECT_EQ(FormatMemorySize(512ull << 20), "512 MB");
    EXPECT_EQ(FormatMemorySize(3ull << 29), "1.5 GB");
    EXPECT_EQ(FormatMemorySize(100), "100 bytes");
}

TEST(Watchdog, RaisesItsFlagWhenMemoryGrowsPastTheLimitOrTheCallerTripsIt) {
    CResourceLimits limits;
    limits.m_MaxMemory = GetResidentMemory() + (32 << 20);
    CWatchdog watchdog(limits, EWatchdogAction::Flag, "mesh.off: remeshing", "choose a larger --target");
    watchdog.Start();
    EXPECT_FALSE(watchdog.IsTripped());
    const std::vector<char> block = Touch(128 << 20);
    EXPECT_TRUE(Eventually([&] { return watchdog.IsTripped(); }));
    watchdog.Stop();
    EXPECT_GT(watchdog.GetPeakMemory(), limits.m_MaxMemory);
    EXPECT_EQ(watchdog.GetMessage().rfind("mesh.off: remeshing stopped: ", 0), 0u) << watchdog.GetMessage();
    EXPECT_NE(watchdog.GetMessage().find("--max-memory"), std::string::npos) << watchdog.GetMessage();
    EXPECT_THROW(watchdog.ThrowIfTripped(), CToolError);

    limits.m_MaxMemory = GetResidentMemory() + (1ull << 30);
    limits.m_MaxSeconds = 3600;
    CWatchdog tripped(limits, EWatchdogAction::FlagThenExit, "mesh.off: remeshing", "choose a larger --target");
    tripped.Start();
    tripped.Trip("after iteration 1 of 5 it had 9 faces");
    EXPECT_TRUE(tripped.IsTripped());
    tripped.Stop();  // within the grace period: the process goes on
    EXPECT_EQ(tripped.GetMessage(),
              "mesh.off: remeshing stopped: after iteration 1 of 5 it had 9 faces; choose a larger --target");
}

TEST(Watchdog, EndsTheProcessWithStatusTwoAndRemovesThePartialOutput) {
    // A library call that cannot be interrupted is ended from outside: the
    // child process plays the tool, half-way through writing its output.
    CScratchDirectory dir;
    const std::string errors = dir.Path("stderr");
    EXPECT_EQ(StatusOfChild([&] {
                  std::freopen(errors.c_str(), "w", stderr);
                  COutputFile output(dir.Path("out.off"));
                  output.Write("OFF\n");
                  CWatchdog watchdog = ExitingWatchdog();
                  watchdog.Start();
                  // Held, never read: the resident memory the watchdog must notice.
                  const std::vector<char> block = Touch(256 << 20);
                  std::this_thread::sleep_for(std::chrono::seconds(60));
                  ::_exit(0);
              }),
              2);
    const std::string message = ReadFile(errors);
    EXPECT_EQ(message.rfind("quorvel: mesh.off: remeshing stopped: it needed more than ", 0), 0u) << message;
    EXPECT_EQ(message.find('\n'), message.size() - 1) << message;
    EXPECT_EQ(dir.List(), std::vector<std::string>{"stderr"});
}

TEST_F(RemeshLimits, AnEstimateBeyondMaxMemoryIsRefusedBeforeAnyWork) {
    for (const std::string method : {"preserve", "exact"}) {
        SCOPED_TRACE(method);
        ExpectStopped(Remesh(m_Sphere, {"--method", method, "--relative", "0.1", "--max-memory", "50M"}), m_Sphere,
                      {m_Sphere + ": ", "would need about", "50 MB (--max-memory)"});
    }
    // The designed method needs far more per face: the strip fits the
    // shape-preserving method's estimate and not its own.
    ExpectStopped(Remesh(m_Strip, {"--method", "exact", "--relative", "0.25", "--max-memory", "25M"}), m_Strip,
                  {m_Strip + ": ", "--max-memory"});
}

TEST_F(RemeshLimits, RunsPastTheirTimeAreStoppedCleanlyWithEitherMethod) {
    // Ten milliseconds against runs of tenths of a second or more: the
    // designed method is ended from outside, the shape-preserving one stops
    // after its first iteration.
    for (const std::string method : {"preserve", "exact"}) {
        SCOPED_TRACE(method);
        ExpectStopped(Remesh(m_Sphere, {"--method", method, "--relative", "0.5", "--max-time", "0.01"}), m_Sphere,
                      {m_Sphere + ": remeshing stopped: ", "--max-time", "nothing was written"});
    }
}

TEST_F(RemeshLimits, UnderAnAddressSpaceLimitEveryRunEndsWithAResultOrOneErrorLine) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "AddressSanitizer reserves terabytes of address space for its shadow: no ulimit -v leaves room";
#endif
    // Under ulimit -v the default memory limit is a third of it, so a run is
    // refused or stopped with its message, never ended by an allocation that
    // fails inside the library.
    ExpectStopped(Remesh(m_Sphere, {"--method", "exact", "--relative", "0.1"}, 900 * 1024), m_Sphere,
                  {"would need about", "ulimit -v"});
    // The strip's run grows until a limit stops it; five seconds of processor
    // time keep it within the runner's wall-clock wait on a busy machine.
    const CRun strip = Remesh(m_Strip, {"--method", "exact", "--relative", "0.25", "--max-time", "5"}, 900 * 1024);
    if (strip.m_Status == 0)
        EXPECT_FALSE(ReadMeshFile(m_Dir.Path("out.ply")).m_Triangles.empty());
    else
        ExpectStopped(strip, m_Strip, {m_Strip + ": remeshing stopped: "});
    std::filesystem::remove(m_Dir.Path("out.ply"));
    // subdivide has only its size estimate; a result that fits the estimate
    // but not the address space ends in the out-of-memory line.
    const CRun subdivided =
        RunQuorvel({"subdivide", m_Sphere, "-o", m_Dir.Path("out.ply"), "--max-length", "0.003"}, 120, 200 * 1024);
    m_InputBytes = ReadFile(m_Sphere);
    ExpectStopped(subdivided, m_Sphere, {"out of memory"});
}

TEST(Watchdog, OnceStoppedItNeitherTripsNorEndsTheProcess) {
    // Stop does not wait for the watchdog's thread; what the process does
    // after it (measuring, writing the output) must still be safe from it.
    EXPECT_EQ(StatusOfChild([] {
                  CWatchdog watchdog = ExitingWatchdog();
                  watchdog.Start();
                  watchdog.Stop();
                  const bool trippedAtStop = watchdog.IsTripped();
                  const std::vector<char> block = Touch(256 << 20);
                  std::this_thread::sleep_for(std::chrono::milliseconds(200));
                  ::_exit(trippedAtStop || watchdog.IsTripped() ? 3 : 0);
              }),
              0);
}
