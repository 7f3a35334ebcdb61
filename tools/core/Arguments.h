#pragma once

#include <map>
#include <string>
#include <vector>

namespace Corvane::Pellix::Quorvel::Tool {

// One option of a subcommand: "--target L" has the value name "L", a flag
// such as "--quiet" has none.
class COption {
public:
    std::string m_Name;
    std::string m_ShortName;
    std::string m_ValueName;
    std::string m_Help;
};

// The parsed command line of one subcommand. Options may come before, after
// or between positional arguments, as "--name value" or "--name=value"; "--"
// ends the options. Unknown options and missing values throw CToolError.
class CCommandLine {
public:
    CCommandLine(const std::vector<COption>& options, const std::vector<std::string>& arguments);

    bool Has(const std::string& name) const { return m_Values.count(name) != 0; }
    const std::string& Get(const std::string& name) const { return m_Values.at(name); }
    const std::vector<std::string>& GetPositional() const { return m_Positional; }
    bool WantsHelp() const { return m_Help; }
    bool IsQuiet() const { return Has("--quiet"); }

    // Value of a length option: a positive finite number, or CToolError.
    double GetPositiveNumber(const std::string& name) const;
    // Value of a signed option: a non-zero finite number, or CToolError.
    double GetNonZeroNumber(const std::string& name) const;
    // Value of a bounded option: a number from smallest to largest, or CToolError.
    double GetNumberIn(const std::string& name, double smallest, double largest) const;
    unsigned int GetCount(const std::string& name, unsigned int smallest, unsigned int largest) const;

private:
    std::map<std::string, std::string> m_Values;
    std::vector<std::string> m_Positional;
    bool m_Help = false;
};

}  // namespace Corvane::Pellix::Quorvel::Tool
