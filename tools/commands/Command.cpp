#include "commands/Command.h"

#include <cstdio>

#include "commands/CommandSupport.h"
#include "core/ToolError.h"
#include "report/JsonSummary.h"

namespace Corvane::Pellix::Quorvel::Tool {

namespace {

const std::vector<CCommand>& GetCommands() {
    static const std::vector<CCommand> commands = {DescribeRemesh(),  DescribeInfo(),      DescribeSmooth(),
                                                   DescribeOffset(),  DescribeSubdivide(), DescribeThicken(),
                                                   DescribeContour(), DescribeInfill(),    DescribeCompare()};
    return commands;
}

void PrintOverview() {
    std::printf("quorvel: isotropic remeshing and other triangle-mesh operations on mesh files\n\n"
                "usage: quorvel COMMAND [ARGUMENTS] (quorvel COMMAND --help for details)\n\ncommands:\n");
    for (const CCommand& command : GetCommands())
        std::printf("  %-10s %s\n", command.m_Name.c_str(), command.m_Summary.c_str());
    std::printf("  %-10s %s\n", "batch", "run remesh, smooth, subdivide, thicken or info over many files (Python)");
    std::printf("\nMeshes are read and written as OFF, OBJ, PLY (text or binary) and STL (text or binary),\n"
                "chosen by the file extension. Bad input ends the run with one error line and exit status 2.\n");
}

void PrintHelp(const CCommand& command) {
    std::printf("usage: quorvel %s\n\n%s\n", command.m_Usage.c_str(), command.m_Description.c_str());
    if (command.m_Options.empty())
        return;
    std::printf("\noptions:\n");
    for (const COption& option : command.m_Options) {
        std::string names = option.m_ShortName.empty() ? option.m_Name : option.m_ShortName + ", " + option.m_Name;
        if (!option.m_ValueName.empty())
            names += " " + option.m_ValueName;
        std::printf("  %-22s %s\n", names.c_str(), option.m_Help.c_str());
    }
}

}  // namespace

int RunTool(const std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments[0] == "-h" || arguments[0] == "--help" || arguments[0] == "help") {
        if (arguments.size() >= 2)
            for (const CCommand& command : GetCommands())
                if (command.m_Name == arguments[1]) {
                    PrintHelp(command);
                    return 0;
                }
        if (arguments.size() >= 2 && arguments[1] == "batch")
            return RunBatch({"--help"});
        PrintOverview();
        return 0;
    }
    // Its arguments are the Python side's to parse.
    if (arguments[0] == "batch")
        return RunBatch(std::vector<std::string>(arguments.begin() + 1, arguments.end()));
    for (const CCommand& command : GetCommands()) {
        if (command.m_Name != arguments[0])
            continue;
        const CCommandLine line(command.m_Options, std::vector<std::string>(arguments.begin() + 1, arguments.end()));
        if (line.WantsHelp()) {
            PrintHelp(command);
            return 0;
        }
        PrepareJsonSummary(line);
        const int status = command.m_Run(line);
        FlushNotes();
        return status;
    }
    throw CToolError("unknown command '" + arguments[0] + "' (quorvel --help lists the commands)");
}

}  // namespace Corvane::Pellix::Quorvel::Tool
