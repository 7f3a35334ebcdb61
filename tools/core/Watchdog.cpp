#include "core/Watchdog.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/Numbers.h"
#include "core/ToolError.h"
#include "io/OutputFile.h"
#include "quorvel/meshes/editing/RemeshEstimate.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// Between samples a runaway remesh grows by a few megabytes at most (the
// worst seen is about 200 MB/s), and reading /proc costs microseconds.
constexpr auto SamplingInterval = std::chrono::milliseconds(10);
// Work that checks the flag only between iterations gets this long to stop
// by itself before FlagThenExit ends the process.
constexpr auto GracePeriod = std::chrono::seconds(2);
// Past its limit by this share, memory is not given the grace period.
constexpr double MemoryOvershoot = 1.125;
// Share of the address-space limit at which the run is stopped whatever
// --max-memory says: above it, the next doubling of a list fails inside the
// library, where nothing checks.
constexpr double AddressSpaceShare = 0.85;

// Bytes of a small text file such as /proc/self/statm, read without
// allocating: the watchdog must work when memory is short.
bool ReadSmallFile(const char* path, char* buffer, std::size_t size) {
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const ssize_t count = ::read(descriptor, buffer, size - 1);
    ::close(descriptor);
    if (count <= 0)
        return false;
    buffer[count] = '\0';
    return true;
}

// The first two fields of /proc/self/statm: total and resident pages. With
// an open descriptor of that file the figures are read afresh from offset 0,
// sparing the watchdog an open and a close every sample.
bool ReadStatm(std::uint64_t& total, std::uint64_t& resident, int descriptor = -1) {
    char buffer[256];
    if (descriptor >= 0) {
        const ssize_t count = ::pread(descriptor, buffer, sizeof buffer - 1, 0);
        if (count <= 0)
            return false;
        buffer[count] = '\0';
    } else if (!ReadSmallFile("/proc/self/statm", buffer, sizeof buffer)) {
        return false;
    }
    unsigned long long pagesTotal = 0, pagesResident = 0;
    if (std::sscanf(buffer, "%llu %llu", &pagesTotal, &pagesResident) != 2)
        return false;
    const std::uint64_t page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    total = pagesTotal * page;
    resident = pagesResident * page;
    return true;
}

// A control group's memory limit (v2 memory.max, or v1
// memory.limit_in_bytes); 0 when there is none or it cannot be read.
std::uint64_t GetControlGroupLimit() {
    for (const char* path : {"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory/memory.limit_in_bytes"}) {
        char buffer[64];
        if (!ReadSmallFile(path, buffer, sizeof buffer))
            continue;
        char* end = nullptr;
        const unsigned long long value = std::strtoull(buffer, &end, 10);
        if (end != buffer && value > 0)
            return value;
    }
    return 0;
}

void WriteAll(const char* text) {
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const ssize_t written = ::write(STDERR_FILENO, text, left);
        if (written <= 0)
            return;
        text += written;
        left -= static_cast<std::size_t>(written);
    }
}

double ReadClock(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

}  // namespace

std::uint64_t GetAvailableMemory() {
    const long pages = ::sysconf(_SC_PHYS_PAGES), page = ::sysconf(_SC_PAGESIZE);
    std::uint64_t physical = pages > 0 && page > 0 ? static_cast<std::uint64_t>(pages) * page : 0;
    const std::uint64_t group = GetControlGroupLimit();
    // v1 reports "no limit" as a huge number, which the minimum ignores.
    if (group != 0 && (physical == 0 || group < physical))
        physical = group;
    return physical;
}

std::uint64_t GetAddressSpaceLimit() {
    struct rlimit limit;
    if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return 0;
    return limit.rlim_cur;
}

std::uint64_t GetDefaultMemoryLimit() {
    std::uint64_t limit = GetAvailableMemory() / 2;
    const std::uint64_t addressSpace = GetAddressSpaceLimit();
    if (addressSpace != 0 && (limit == 0 || addressSpace / 3 < limit))
        limit = addressSpace / 3;
    return limit;
}

std::uint64_t GetResidentMemory() {
    std::uint64_t total = 0, resident = 0;
    return ReadStatm(total, resident) ? resident : 0;
}

std::uint64_t GetVirtualMemory() {
    std::uint64_t total = 0, resident = 0;
    return ReadStatm(total, resident) ? total : 0;
}

bool ParseMemorySize(std::string_view text, std::uint64_t& bytes) {
    std::string lower;
    for (char c : text)
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    double unit = 1;
    for (const char* suffix : {"ib", "b"})
        if (lower.size() > std::strlen(suffix) &&
            lower.compare(lower.size() - std::strlen(suffix), std::string::npos, suffix) == 0) {
            lower.resize(lower.size() - std::strlen(suffix));
            break;
        }
    if (!lower.empty()) {
        const char* units = "kmgt";
        if (const char* found = std::strchr(units, lower.back()); found != nullptr && *found != '\0') {
            unit = std::ldexp(1.0, 10 * static_cast<int>(found - units + 1));
            lower.pop_back();
        }
    }
    double value = 0;
    if (lower.empty() || (!std::isdigit(static_cast<unsigned char>(lower[0])) && lower[0] != '.') ||
        !ParseReal(lower, value))
        return false;
    const double size = std::floor(value * unit);
    if (!(size >= 1) || !(size <= std::ldexp(1.0, 62)))
        return false;
    bytes = static_cast<std::uint64_t>(size);
    return true;
}

std::string FormatMemorySize(std::uint64_t bytes) {
    const char* units[] = {"bytes", "KB", "MB", "GB", "TB", "PB"};
    double value = static_cast<double>(bytes);
    int unit = 0;
    while (value >= 1024 && unit < 5) {
        value /= 1024;
        ++unit;
    }
    return FormatQuantity(value, 3) + " " + units[unit];
}

// The library's estimate, which the shape-preserving remesh bounds its
// splits by, so that the tool's limits and the engine's agree.
double EstimateRemeshFaces(const CMeshData& mesh, double target) {
    static_assert(sizeof(Triangle) == 3 * sizeof(std::uint32_t), "triangles are three packed corners");
    if (mesh.m_Triangles.empty())
        return 0;
    return EstimateRemeshFaceCount(mesh.m_Positions.data(), mesh.m_Triangles.front().data(), mesh.m_Triangles.size(),
                                   target);
}

double EstimatePeakFaces(const CMeshData& mesh, double target) {
    const double equilateral = std::sqrt(3.0) / 4 * target * target;
    double faces = 0;
    for (const Triangle& t : mesh.m_Triangles) {
        const Point &a = mesh.m_Positions[t[0]], &b = mesh.m_Positions[t[1]], &c = mesh.m_Positions[t[2]];
        const double area = 0.5 * ((b - a) * (c - a)).GetLength() / equilateral;
        const double sides = (a.DiffVectLen(b) + b.DiffVectLen(c) + c.DiffVectLen(a)) / target - 2;
        faces += std::max({area, sides, 0.0});
    }
    return faces;
}

double EstimateRemeshMemory(double inputFaces, double peakFaces, ERemeshMethod method) {
    // Bytes per face, fitted to the peak resident size of `quorvel remesh` on
    // a 159k-face lat-long sphere at 0.25 to 2 times its mean edge length and
    // on a 16k-face strip of long thin faces, rounded up; a noisy 20k-face
    // sphere at 0.25 to 4 times peaks at 0.7 to 1.0 times the estimate. The input costs its
    // tables, the library mesh built from it and the distance measure; each
    // face at the peak costs the mesh being edited and its connectivity, and
    // the designed method's vertex neighbour lists hold several times more
    // than the shape-preserving method's.
    const double perInputFace = 250;
    const double perPeakFace = method == ERemeshMethod::Exact ? 900 : 260;
    // The distance measure's samples, whatever the size of the mesh.
    const double samples = 16 << 20;
    return samples + perInputFace * inputFaces + perPeakFace * peakFaces;
}

double EstimateRemeshPeakMemory(const CMeshData& input, double target, ERemeshMethod method) {
    return EstimateRemeshPeakMemory(static_cast<double>(input.m_Triangles.size()), EstimatePeakFaces(input, target),
                                    method);
}

double EstimateRemeshPeakMemory(double inputFaces, double peakFaces, ERemeshMethod method) {
    return static_cast<double>(GetResidentMemory()) + EstimateRemeshMemory(inputFaces, peakFaces, method);
}

double GetDefaultTimeLimit(double inputFaces, double resultFaces) {
    return 20 + 100e-6 * (inputFaces + resultFaces);
}

CWatchdog::CWatchdog(CResourceLimits limits, EWatchdogAction action, std::string context, std::string advice)
    : m_Limits(std::move(limits)), m_Action(action), m_Context(std::move(context)), m_Advice(std::move(advice)),
      m_AddressSpaceLimit(GetAddressSpaceLimit()) { }

CWatchdog::~CWatchdog() {
    Stop();
    Join();
}

void CWatchdog::Start() {
    Stop();
    Join();
    if (::pthread_getcpuclockid(::pthread_self(), &m_Clock) != 0)
        m_Clock = CLOCK_MONOTONIC;
    m_StartSeconds = ReadClock(m_Clock);
    m_Stopping = false;
    m_Thread = std::thread([this] { Run(); });
}

// Stop does not wait for the thread: on a busy machine the woken thread can
// wait milliseconds for a core, and the work that follows (measures, writing
// the output) need not wait with it. The flag set under the mutex is enough,
// since the thread checks it under the mutex before it records a trip or
// ends the process.
void CWatchdog::Stop() {
    if (!m_Thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Stopping = true;
    }
    m_Wake.notify_all();
}

void CWatchdog::Join() {
    if (m_Thread.joinable())
        m_Thread.join();
}

std::string CWatchdog::GetMessage() const {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Message;
}

void CWatchdog::Trip(const std::string& reason) {
    Record(reason);
}

void CWatchdog::ThrowIfTripped() const {
    if (IsTripped())
        throw CToolError(GetMessage());
}

void CWatchdog::Record(const std::string& reason) {
    std::lock_guard<std::mutex> lock(m_Mutex);
    RecordLocked(reason);
}

void CWatchdog::RecordLocked(const std::string& reason) {
    if (m_Tripped)
        return;
    m_Message = m_Context + " stopped: " + reason + (m_Advice.empty() ? "" : "; " + m_Advice);
    m_Tripped = true;
}

void CWatchdog::Run() {
    // The messages are built before memory runs short.
    const std::string memoryReason = "it needed more than " + FormatMemorySize(m_Limits.m_MaxMemory) +
                                     " of memory, the limit (" + m_Limits.m_MemoryName + ")";
    const std::string addressReason =
        "it came near the address-space limit of " + FormatMemorySize(m_AddressSpaceLimit) + " (ulimit -v)";
    const std::uint64_t runaway =
        m_Limits.m_ExpectedMemory == 0
            ? 0
            : static_cast<std::uint64_t>(RunawayFactor * static_cast<double>(m_Limits.m_ExpectedMemory)) + RunawaySlack;
    const std::string runawayReason = "it needed more than " + FormatMemorySize(runaway) + " of memory, over " +
                                      FormatQuantity(RunawayFactor, 2) + " times the " +
                                      FormatMemorySize(m_Limits.m_ExpectedMemory) +
                                      " estimated for its result, so its edits were feeding themselves";
    const std::string timeReason = "it ran past its time limit of " + FormatQuantity(m_Limits.m_MaxSeconds, 3) +
                                   " s of processor time (" + m_Limits.m_TimeName + ")";
    // When the flag was first seen raised, by this thread or by Trip.
    std::chrono::steady_clock::time_point trippedAt;
    bool seen = false;
    const int statm = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    std::unique_lock<std::mutex> lock(m_Mutex);
    while (!m_Stopping) {
        lock.unlock();
        std::uint64_t total = 0, resident = 0;
        ReadStatm(total, resident, statm);
        m_Peak = std::max(m_Peak.load(), resident);
        const auto now = std::chrono::steady_clock::now();
        const double seconds = ReadClock(m_Clock) - m_StartSeconds;
        const bool overMemory = m_Limits.m_MaxMemory != 0 && resident > m_Limits.m_MaxMemory;
        const bool overAddress =
            m_AddressSpaceLimit != 0 && total > AddressSpaceShare * static_cast<double>(m_AddressSpaceLimit);
        const bool overTime = m_Limits.m_MaxSeconds > 0 && seconds > m_Limits.m_MaxSeconds;
        const bool runningAway = runaway != 0 && resident > runaway;
        lock.lock();
        // Once stopped, the work is over: nothing may trip after Stop returns.
        if (m_Stopping)
            break;
        if (!m_Tripped && (overMemory || overAddress || runningAway || overTime))
            RecordLocked(overMemory    ? memoryReason
                         : overAddress ? addressReason
                         : runningAway ? runawayReason
                                       : timeReason);
        if (m_Tripped && !seen) {
            seen = true;
            trippedAt = now;
        }
        if (m_Tripped && m_Action != EWatchdogAction::Flag) {
            const bool emergency = overAddress ||
                                   (m_Limits.m_MaxMemory != 0 && resident > MemoryOvershoot * m_Limits.m_MaxMemory) ||
                                   (runaway != 0 && resident > MemoryOvershoot * runaway);
            if (m_Action == EWatchdogAction::Exit || emergency || now - trippedAt > GracePeriod)
                EndProcess();
        }
        m_Wake.wait_for(lock, SamplingInterval, [this] { return m_Stopping; });
    }
    if (statm >= 0)
        ::close(statm);
}

void CWatchdog::EndProcess() {
    // Called with the mutex held, so the guarded work cannot report itself
    // finished in between; the main thread is still inside the library and
    // nothing of the process's state is needed any more. Nothing here
    // allocates: the working thread may hold the allocator's lock.
    RemovePendingOutput();
    if (::isatty(STDERR_FILENO) == 1)
        WriteAll("\r\033[K");
    WriteAll("quorvel: ");
    WriteAll(m_Message.c_str());
    WriteAll("\n");
    ::_exit(2);
}

}  // namespace Corvane::Pellix::Quorvel::Tool
