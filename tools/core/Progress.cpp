#include "core/Progress.h"

#include <unistd.h>

#include <cstdio>

namespace Corvane::Pellix::Quorvel::Tool {

CProgress::CProgress(bool quiet) : m_Enabled(!quiet && ::isatty(STDERR_FILENO) == 1) { }

CProgress::~CProgress() {
    End();
}

void CProgress::Begin(const std::string& label) {
    End();
    if (!m_Enabled)
        return;
    m_Label = label;
    m_Start = std::chrono::steady_clock::now();
    m_Done = 0;
    m_Total = 0;
    m_Stop = false;
    m_Thread = std::thread([this] { Run(); });
}

void CProgress::Report(unsigned int done, unsigned int total) {
    m_Done = done;
    m_Total = total;
}

void CProgress::End() {
    if (!m_Thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Stop = true;
    }
    m_Wake.notify_all();
    m_Thread.join();
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

void CProgress::Run() {
    std::unique_lock<std::mutex> lock(m_Mutex);
    while (!m_Stop) {
        Draw();
        m_Wake.wait_for(lock, std::chrono::milliseconds(200));
    }
}

void CProgress::Draw() {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
    const unsigned int done = m_Done, total = m_Total;
    if (total != 0)
        std::fprintf(stderr, "\r\033[K%s: %u of %u iterations done, %.1f s", m_Label.c_str(), done, total, seconds);
    else
        std::fprintf(stderr, "\r\033[K%s: %.1f s", m_Label.c_str(), seconds);
    std::fflush(stderr);
}

}  // namespace Corvane::Pellix::Quorvel::Tool
