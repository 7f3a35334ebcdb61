#include "core/ToolError.h"

namespace Corvane::Pellix::Quorvel::Tool {

std::string Located(const std::string& file, const std::string& message) {
    return file + ": " + message;
}

std::string Located(const std::string& file, std::size_t line, const std::string& message) {
    return file + ":" + std::to_string(line) + ": " + message;
}

}  // namespace Corvane::Pellix::Quorvel::Tool
