#pragma once

#include <string>
#include <vector>

#include "core/Arguments.h"

namespace Corvane::Pellix::Quorvel::Tool {

// A subcommand: its name, the usage line and text that --help prints, its
// options and the function that runs it. Run returns the exit status and
// reports failures by throwing CToolError.
class CCommand {
public:
    std::string m_Name;
    std::string m_Usage;
    std::string m_Summary;
    std::string m_Description;
    std::vector<COption> m_Options;
    int (*m_Run)(const CCommandLine& line) = nullptr;
};

// One per subcommand, each in the source file of the same name.
CCommand DescribeRemesh();
CCommand DescribeInfo();
CCommand DescribeSmooth();
CCommand DescribeOffset();
CCommand DescribeSubdivide();
CCommand DescribeThicken();
CCommand DescribeContour();
CCommand DescribeInfill();
CCommand DescribeCompare();

// quorvel batch ARGUMENTS: hands them to the Python package quorvel.batch,
// which runs this program once per file. Replaces the process; returns only
// by throwing CToolError.
int RunBatch(const std::vector<std::string>& arguments);

// The whole tool: picks the subcommand, parses its options, prints help and
// runs it. Returns the exit status; CToolError escapes to the caller.
int RunTool(const std::vector<std::string>& arguments);

}  // namespace Corvane::Pellix::Quorvel::Tool
