// Commands.h - the subcommands of kxsvg, each returning an exit status.
#ifndef KXSVG_TOOL_COMMANDS_H
#define KXSVG_TOOL_COMMANDS_H

#include <string>
#include <vector>

namespace kxsvg {

struct InfoArgs {
    std::vector<std::string> files;
    bool strict = false;
    bool json = false;
};
int runInfo(const InfoArgs& args);

struct ConvertArgs {
    std::string input;
    std::string output;
    bool strict = false;
    int precision = -1;
    bool pretty = false;
    std::string author;
    bool noHeader = false;
};
int runConvert(const ConvertArgs& args);

struct FlattenArgs {
    std::string input;
    std::string output;
    std::string format; ///< "json", "obj" or "svg"; empty: from the output's extension
    bool strict = false;
};
int runFlatten(const FlattenArgs& args);

struct RenderArgs {
    std::string input;
    std::string output;
    int width = 512;
    bool wire = false;
    bool strict = false;
    std::string background; ///< empty: transparent
};
int runRender(const RenderArgs& args);

struct CheckArgs {
    std::vector<std::string> paths;
    bool strict = false;
    int slowest = 10;
};
int runCheck(const CheckArgs& args);

} // namespace kxsvg

#endif
