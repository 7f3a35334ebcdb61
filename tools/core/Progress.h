#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace Corvane::Pellix::Quorvel::Tool {

// A one-line progress display on stderr while long work runs: the label, the
// elapsed time and, when the work reports them, iterations done. It shows
// only when stderr is a terminal and the user did not ask for quiet, so
// pipes and logs stay clean. A background thread redraws the line; the work
// itself only stores numbers.
class CProgress {
public:
    explicit CProgress(bool quiet);
    ~CProgress();
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    void Begin(const std::string& label);
    // Safe to call from the working thread at any rate.
    void Report(unsigned int done, unsigned int total);
    // Clears the line; the caller may print again afterwards.
    void End();
    bool IsShown() const { return m_Enabled; }

private:
    void Run();
    void Draw();

    bool m_Enabled;
    std::string m_Label;
    std::chrono::steady_clock::time_point m_Start;
    std::atomic<unsigned int> m_Done{0};
    std::atomic<unsigned int> m_Total{0};
    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    bool m_Stop = false;
    std::thread m_Thread;
};

}  // namespace Corvane::Pellix::Quorvel::Tool
