#include "io/TextCursor.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/ToolError.h"

namespace Corvane::Pellix::Quorvel::Tool {

CTextCursor::CTextCursor(std::string_view text, std::string fileName)
    : m_Text(text), m_FileName(std::move(fileName)) { }

bool CTextCursor::NextLine(std::string_view& line) {
    if (m_Offset >= m_Text.size())
        return false;
    const std::size_t end = m_Text.find('\n', m_Offset);
    const std::size_t stop = end == std::string_view::npos ? m_Text.size() : end;
    line = m_Text.substr(m_Offset, stop - m_Offset);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    m_Offset = end == std::string_view::npos ? m_Text.size() : end + 1;
    ++m_LineNumber;
    return true;
}

bool CTextCursor::NextContentLine(std::string_view& line) {
    while (NextLine(line)) {
        const std::size_t first = line.find_first_not_of(" \t\f\v");
        if (first != std::string_view::npos && line[first] != '#')
            return true;
    }
    return false;
}

void CTextCursor::Fail(const std::string& message) const {
    throw CToolError(Located(m_FileName, m_LineNumber, message));
}

void CTextCursor::Split(std::string_view line, std::vector<std::string_view>& tokens) {
    tokens.clear();
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\f' || line[i] == '\v'))
            ++i;
        const std::size_t start = i;
        while (i < line.size() && !(line[i] == ' ' || line[i] == '\t' || line[i] == '\f' || line[i] == '\v'))
            ++i;
        if (i > start)
            tokens.push_back(line.substr(start, i - start));
    }
}

std::vector<char> ReadWholeFile(const std::string& fileName) {
    struct stat info;
    if (::stat(fileName.c_str(), &info) != 0)
        throw CToolError(Located(fileName, std::string("cannot read: ") + std::strerror(errno)));
    if (!S_ISREG(info.st_mode))
        throw CToolError(Located(fileName, "cannot read: not a regular file"));
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(fileName.c_str(), "rb"), &std::fclose);
    if (!file)
        throw CToolError(Located(fileName, std::string("cannot read: ") + std::strerror(errno)));
    std::vector<char> data(static_cast<std::size_t>(info.st_size));
    const std::size_t got = data.empty() ? 0 : std::fread(data.data(), 1, data.size(), file.get());
    if (got != data.size())
        throw CToolError(Located(fileName, "cannot read: the read stopped early"));
    return data;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
