#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace Corvane::Pellix::Quorvel::Tool {

// Writes to a temporary file beside the destination and renames it over the
// destination only in Commit, so an interrupted or failed run never leaves a
// partial output behind. Dropping the object without Commit removes the
// temporary file. Text is buffered in memory and written in large blocks.
class COutputFile {
public:
    explicit COutputFile(const std::string& fileName);
    ~COutputFile();
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;

    void Write(std::string_view text);
    void Write(const void* data, std::size_t size);
    void Commit();
    const std::string& GetFileName() const { return m_FileName; }

private:
    void Flush();
    [[noreturn]] void Fail(const std::string& what);

    std::string m_FileName;
    std::string m_TemporaryName;
    std::FILE* m_File = nullptr;
    std::string m_Buffer;
};

// Removes the temporary file of the output being written, if there is one.
// Async-signal-safe: for signal handlers and for a watchdog that ends the
// process while another thread may be writing.
void RemovePendingOutput();

// Refuses early, before any work, an output whose directory does not exist or
// cannot be written.
void CheckOutputWritable(const std::string& fileName);

}  // namespace Corvane::Pellix::Quorvel::Tool
