#pragma once

#include <stdexcept>
#include <string>

namespace Corvane::Pellix::Quorvel::Tool {

// A failure the user can act on: bad input, a bad option, an unwritable
// output. main() prints the message as one line and exits with status 2, so
// the text must already name the file (and the line, for text formats).
class CToolError : public std::runtime_error {
public:
    explicit CToolError(const std::string& message) : std::runtime_error(message) { }
};

// "FILE: message" or "FILE:LINE: message", the form compilers use, so editors
// and terminals can jump to the place.
std::string Located(const std::string& file, const std::string& message);
std::string Located(const std::string& file, std::size_t line, const std::string& message);

}  // namespace Corvane::Pellix::Quorvel::Tool
