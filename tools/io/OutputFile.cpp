#include "io/OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/ToolError.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

// The temporary file of the output being written, removed by the signal
// handler when the user interrupts the run. A fixed buffer, because a signal
// handler may only call async-signal-safe functions.
char g_PendingTemporary[4096];

extern "C" void RemovePendingTemporary(int signalNumber) {
    RemovePendingOutput();
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

std::string DirectoryOf(const std::string& fileName) {
    const std::size_t slash = fileName.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    if (slash == 0)
        return "/";
    return fileName.substr(0, slash);
}

std::string BaseNameOf(const std::string& fileName) {
    const std::size_t slash = fileName.find_last_of('/');
    return slash == std::string::npos ? fileName : fileName.substr(slash + 1);
}

}  // namespace

void RemovePendingOutput() {
    if (g_PendingTemporary[0] != '\0')
        ::unlink(g_PendingTemporary);
}

void CheckOutputWritable(const std::string& fileName) {
    if (fileName.empty() || fileName.back() == '/')
        throw CToolError(Located(fileName, "cannot write: not a file name"));
    const std::string directory = DirectoryOf(fileName);
    struct stat info;
    if (::stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw CToolError(Located(fileName, "cannot write: the directory " + directory + " does not exist"));
    if (::access(directory.c_str(), W_OK) != 0)
        throw CToolError(Located(fileName, "cannot write: the directory " + directory + " is not writable"));
    // The output replaces the destination by renaming, which must not happen
    // to a device or a pipe.
    if (::stat(fileName.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
        throw CToolError(Located(fileName, "cannot write: not a regular file"));
}

COutputFile::COutputFile(const std::string& fileName) : m_FileName(fileName) {
    CheckOutputWritable(fileName);
    std::string pattern = DirectoryOf(fileName) + "/." + BaseNameOf(fileName) + ".partial-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int descriptor = ::mkstemp(name.data());
    if (descriptor < 0)
        Fail(std::strerror(errno));
    m_TemporaryName = name.data();
    // mkstemp creates the file private to the user; give it the permissions a
    // plainly created file would have.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(descriptor, 0666 & ~mask);
    m_File = ::fdopen(descriptor, "wb");
    if (m_File == nullptr) {
        ::close(descriptor);
        ::unlink(m_TemporaryName.c_str());
        Fail(std::strerror(errno));
    }
    if (m_TemporaryName.size() < sizeof g_PendingTemporary) {
        std::memcpy(g_PendingTemporary, m_TemporaryName.c_str(), m_TemporaryName.size() + 1);
        std::signal(SIGINT, &RemovePendingTemporary);
        std::signal(SIGTERM, &RemovePendingTemporary);
        std::signal(SIGHUP, &RemovePendingTemporary);
    }
    m_Buffer.reserve(1 << 20);
}

COutputFile::~COutputFile() {
    if (m_File != nullptr) {
        std::fclose(m_File);
        ::unlink(m_TemporaryName.c_str());
    }
    g_PendingTemporary[0] = '\0';
}

void COutputFile::Write(std::string_view text) {
    m_Buffer.append(text.data(), text.size());
    if (m_Buffer.size() >= (1 << 20))
        Flush();
}

void COutputFile::Write(const void* data, std::size_t size) {
    Write(std::string_view(static_cast<const char*>(data), size));
}

void COutputFile::Flush() {
    if (!m_Buffer.empty() && std::fwrite(m_Buffer.data(), 1, m_Buffer.size(), m_File) != m_Buffer.size())
        Fail(std::strerror(errno));
    m_Buffer.clear();
}

void COutputFile::Commit() {
    Flush();
    std::FILE* file = m_File;
    m_File = nullptr;
    if (std::fclose(file) != 0) {
        const int error = errno;
        ::unlink(m_TemporaryName.c_str());
        Fail(std::strerror(error));
    }
    if (std::rename(m_TemporaryName.c_str(), m_FileName.c_str()) != 0) {
        const int error = errno;
        ::unlink(m_TemporaryName.c_str());
        Fail(std::strerror(error));
    }
    g_PendingTemporary[0] = '\0';
}

void COutputFile::Fail(const std::string& what) {
    throw CToolError(Located(m_FileName, "cannot write: " + what));
}

}  // namespace Corvane::Pellix::Quorvel::Tool
