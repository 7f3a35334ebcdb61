#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Corvane::Pellix::Quorvel::Tool {

// Walks a text buffer line by line, counting lines from 1 so that errors can
// name them, and splits lines into whitespace-separated tokens.
class CTextCursor {
public:
    CTextCursor(std::string_view text, std::string fileName);

    // False at the end of the text. Strips a trailing '\r'.
    bool NextLine(std::string_view& line);
    // Like NextLine, but skips blank lines and lines whose first token starts
    // with '#'.
    bool NextContentLine(std::string_view& line);
    std::size_t GetLineNumber() const { return m_LineNumber; }
    // Byte offset of the next unread line.
    std::size_t GetOffset() const { return m_Offset; }
    std::size_t GetRemainingBytes() const { return m_Text.size() - m_Offset; }
    const std::string& GetFileName() const { return m_FileName; }

    // Throws CToolError naming the file and the current line.
    [[noreturn]] void Fail(const std::string& message) const;

    static void Split(std::string_view line, std::vector<std::string_view>& tokens);

private:
    std::string_view m_Text;
    std::string m_FileName;
    std::size_t m_Offset = 0;
    std::size_t m_LineNumber = 0;
};

// Reads the whole file; throws CToolError when it cannot.
std::vector<char> ReadWholeFile(const std::string& fileName);

}  // namespace Corvane::Pellix::Quorvel::Tool
