#include "core/Arguments.h"

#include <cmath>

#include "core/Numbers.h"
#include "core/ToolError.h"

namespace Corvane::Pellix::Quorvel::Tool {

CCommandLine::CCommandLine(const std::vector<COption>& options, const std::vector<std::string>& arguments) {
    bool optionsEnded = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            m_Positional.push_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        if (argument == "-h" || argument == "--help") {
            m_Help = true;
            continue;
        }
        std::string name = argument, value;
        bool inlineValue = false;
        const std::size_t equals = argument.find('=');
        if (argument.compare(0, 2, "--") == 0 && equals != std::string::npos) {
            name = argument.substr(0, equals);
            value = argument.substr(equals + 1);
            inlineValue = true;
        }
        const COption* option = nullptr;
        for (const COption& candidate : options)
            if (candidate.m_Name == name || (!candidate.m_ShortName.empty() && candidate.m_ShortName == name))
                option = &candidate;
        if (option == nullptr)
            throw CToolError("unknown option '" + name + "' (see --help)");
        if (option->m_ValueName.empty()) {
            if (inlineValue)
                throw CToolError("option " + option->m_Name + " takes no value");
        } else if (!inlineValue) {
            if (i + 1 >= arguments.size())
                throw CToolError("option " + option->m_Name + " needs a value " + option->m_ValueName);
            value = arguments[++i];
        }
        if (m_Values.count(option->m_Name) != 0)
            throw CToolError("option " + option->m_Name + " given twice");
        m_Values[option->m_Name] = value;
    }
}

double CCommandLine::GetPositiveNumber(const std::string& name) const {
    const std::string& text = Get(name);
    double value = 0;
    if (!ParseReal(text, value) || !std::isfinite(value) || !(value > 0))
        throw CToolError(name + " needs a positive finite number, not '" + text + "'");
    return value;
}

double CCommandLine::GetNonZeroNumber(const std::string& name) const {
    const std::string& text = Get(name);
    double value = 0;
    if (!ParseReal(text, value) || !std::isfinite(value) || value == 0)
        throw CToolError(name + " needs a non-zero finite number, not '" + text + "'");
    return value;
}

double CCommandLine::GetNumberIn(const std::string& name, double smallest, double largest) const {
    const std::string& text = Get(name);
    double value = 0;
    if (!ParseReal(text, value) || !(value >= smallest && value <= largest))
        throw CToolError(name + " needs a number from " + FormatQuantity(smallest, 4) + " to " +
                         FormatQuantity(largest, 4) + ", not '" + text + "'");
    return value;
}

unsigned int CCommandLine::GetCount(const std::string& name, unsigned int smallest, unsigned int largest) const {
    const std::string& text = Get(name);
    std::int64_t value = 0;
    if (!ParseInteger(text, value) || value < smallest || value > largest)
        throw CToolError(name + " needs a whole number from " + std::to_string(smallest) + " to " +
                         std::to_string(largest) + ", not '" + text + "'");
    return static_cast<unsigned int>(value);
}

}  // namespace Corvane::Pellix::Quorvel::Tool
