#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

// POSIX declares its clocks (clockid_t, CLOCK_MONOTONIC) here, not in <ctime>.
#include <time.h>  // NOLINT(modernize-deprecated-headers)

#include "io/MeshData.h"

namespace Corvane::Pellix::Quorvel::Tool {

// Guards for library calls that may run long or grow without limit on bad
// input. The library itself checks nothing and leaves allocation failure to
// the allocator, so every bound lives here, in the caller: an estimate of
// the result refused before the work starts, and a watchdog thread that
// watches resident memory and processor time while it runs. The command-line
// tool and the Python binding share them:
//
//   CResourceLimits limits;                        // before the library call
//   limits.m_MaxMemory = userLimit ? userLimit : GetDefaultMemoryLimit();
//   const double peak = EstimateRemeshPeakMemory(input, target, method);
//   if (peak > limits.m_MaxMemory) -> refuse: nothing has started
//   limits.m_ExpectedMemory = peak;
//   limits.m_MaxSeconds = GetDefaultTimeLimit(input faces, EstimatePeakFaces(input, target));
//   limits.m_MemoryName = "max_memory=";           // how the caller's user moves it
//   CWatchdog watchdog(limits, EWatchdogAction::Flag, "remesh", "choose a larger target");
//   watchdog.Start();                              // on the thread that runs the library
//   options.m_Progress = [&](unsigned, unsigned) { return !watchdog.IsTripped(); };
//   mesh.RemeshPreservingShape(target, options);
//   watchdog.Stop();
//   watchdog.ThrowIfTripped();                     // CToolError with the one-line message
//
// The designed Remesh has no progress callback, so only EWatchdogAction::Exit
// can stop it (the tool's choice); an embedding process that must survive
// runs it in a child process or accepts the estimate as its only guard.

// --- Memory of the machine and of this process ------------------------------

// Physical memory, or the memory limit of the control group the process runs
// in when that is smaller (containers).
std::uint64_t GetAvailableMemory();
// The address-space limit (RLIMIT_AS, ulimit -v) in bytes; 0 when unlimited.
std::uint64_t GetAddressSpaceLimit();
// Half the available memory, and no more than a third of the address-space
// limit when there is one: the allocator reserves more address space than it
// touches, and a failed allocation inside the library is not survivable, so
// the watchdog must stop the run well before the limit is reached.
std::uint64_t GetDefaultMemoryLimit();
// Resident and virtual size of this process from /proc/self/statm; 0 when
// that cannot be read.
std::uint64_t GetResidentMemory();
std::uint64_t GetVirtualMemory();

// "4G", "512M", "64k", "1.5G", "1048576": a positive size in bytes, K/M/G/T
// as powers of 1024, optionally followed by "B" or "iB", any case. False for
// anything else, zero, or a size beyond 2^62.
bool ParseMemorySize(std::string_view text, std::uint64_t& bytes);
// "512 MB", "2.1 GB": three significant digits, powers of 1024.
std::string FormatMemorySize(std::uint64_t bytes);

// --- Estimates ----------------------------------------------------------------

// Faces of an ideal remesh of `mesh` at edge length `target`: the area
// covered by equilateral triangles of that side, plus the splits that long,
// thin faces need along their sides even when their area is small.
double EstimateRemeshFaces(const CMeshData& mesh, double target);

// Faces while a remesh is at its largest, before its collapses catch up with
// its splits: every face cut until its area is covered by triangles of the
// target size, or, for a long thin face, until its sides are cut into pieces
// no longer than the target (a fan of that many triangles), whichever is
// more. Closer than EstimateRemeshFaces, which adds the two as an upper
// bound.
double EstimatePeakFaces(const CMeshData& mesh, double target);

enum class ERemeshMethod { Preserve, Exact };

// Peak bytes a remesh adds to the process, from the input's face count and
// EstimatePeakFaces. The caller adds what the process holds already
// (GetResidentMemory).
double EstimateRemeshMemory(double inputFaces, double peakFaces, ERemeshMethod method);

// Resident bytes the process will hold at the peak of remeshing `input` to
// `target`: what it holds now (GetResidentMemory) plus EstimateRemeshMemory.
// The figure to compare with the memory limit before starting, and to pass
// as CResourceLimits::m_ExpectedMemory.
double EstimateRemeshPeakMemory(const CMeshData& input, double target, ERemeshMethod method);
// The same from the input's face count and EstimatePeakFaces, for a caller
// that has the estimate already.
double EstimateRemeshPeakMemory(double inputFaces, double peakFaces, ERemeshMethod method);

// A time limit in proportion to the work: 20 s of processor time plus 0.1 ms per face of the
// input and of EstimatePeakFaces. Healthy runs on a busy two-core machine
// take 2 to 40 us per face (the designed method at a quarter of the mean
// edge length is the slowest), so they end well within it.
double GetDefaultTimeLimit(double inputFaces, double peakFaces);

// --- The watchdog -------------------------------------------------------------

// Healthy remeshes peak at 0.7 to 1.0 times their estimate (EstimatePeakFaces
// and EstimateRemeshMemory); four times it plus half a gigabyte is a runaway.
constexpr double RunawayFactor = 4;
constexpr std::uint64_t RunawaySlack = 512ull << 20;

class CResourceLimits {
public:
    // Resident memory of the whole process, in bytes; 0: no limit.
    std::uint64_t m_MaxMemory = 0;
    // Seconds of processor time of the thread that called Start, from
    // Start; 0: no limit. Processor time, not wall time, so that a busy
    // machine (a batch running many files at once) does not cut healthy runs
    // short; the thread's own share of parallel regions counts too.
    double m_MaxSeconds = 0;
    // Resident memory the work should need at its peak (the estimate it was
    // admitted with, what the process held before included); 0: unknown.
    // Growing past RunawayFactor times this plus RunawaySlack means the work
    // is feeding itself (a pass whose edits make more edits), whatever the
    // memory limit: it is stopped long before it could fill the machine.
    std::uint64_t m_ExpectedMemory = 0;
    // How the user moves each limit, named in the error ("--max-memory" for
    // the tool, "max_memory=" for a Python keyword).
    std::string m_MemoryName = "--max-memory";
    std::string m_TimeName = "--max-time";
};

// What the watchdog does when a limit is exceeded.
enum class EWatchdogAction {
    // Only raise the flag (IsTripped); the guarded work polls it, e.g. from
    // the progress callback of RemeshPreservingShape, and stops itself.
    Flag,
    // Raise the flag; if the guarded work has not stopped (Stop) within a
    // grace period, or memory runs a further eighth past its limit, end the
    // process as Exit does. For work that checks the flag only now and then.
    FlagThenExit,
    // End the process at once: the one-line error on stderr, any partly
    // written output file removed, exit status 2. For library calls that
    // cannot be interrupted (the designed Remesh has no callback). Nothing
    // partial remains, because outputs are renamed into place only when
    // complete.
    Exit
};

// Watches this process on a background thread from Start to Stop (or
// destruction), sampling memory and the working thread's processor time
// every few milliseconds. Start on the thread that does the work.
class CWatchdog {
public:
    // `context` begins the error ("mesh.off: remeshing"); `advice` ends it
    // ("choose a larger --target").
    CWatchdog(CResourceLimits limits, EWatchdogAction action, std::string context, std::string advice);
    ~CWatchdog();
    CWatchdog(const CWatchdog&) = delete;
    CWatchdog& operator=(const CWatchdog&) = delete;

    void Start();
    // After Stop returns the watchdog neither trips nor ends the process. It
    // does not wait for the thread to finish: that is joined by the next
    // Start or the destructor.
    void Stop();
    // Safe from any thread.
    bool IsTripped() const { return m_Tripped.load(); }
    // The error line (without "quorvel: "), once tripped.
    std::string GetMessage() const;
    // For checks the caller makes itself (e.g. faces per pass): trips the
    // watchdog with this reason, as if a limit had been exceeded.
    void Trip(const std::string& reason);
    // Throws CToolError with the message when tripped.
    void ThrowIfTripped() const;
    // The largest resident size seen while running.
    std::uint64_t GetPeakMemory() const { return m_Peak.load(); }

private:
    void Run();
    void Record(const std::string& reason);
    // Record with m_Mutex held.
    void RecordLocked(const std::string& reason);
    void Join();
    [[noreturn]] void EndProcess();

    CResourceLimits m_Limits;
    EWatchdogAction m_Action;
    std::string m_Context;
    std::string m_Advice;
    std::uint64_t m_AddressSpaceLimit;
    clockid_t m_Clock = CLOCK_MONOTONIC;
    double m_StartSeconds = 0;
    std::atomic<bool> m_Tripped{false};
    std::atomic<std::uint64_t> m_Peak{0};
    mutable std::mutex m_Mutex;
    std::condition_variable m_Wake;
    bool m_Stopping = false;
    std::string m_Message;
    std::thread m_Thread;
};

}  // namespace Corvane::Pellix::Quorvel::Tool
