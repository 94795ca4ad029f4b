// Convert.cpp - "kxsvg convert": load and save again with chosen save options.
#include "Commands.h"
#include "Common.h"

#include <iostream>

namespace kxsvg {

int runConvert(const ConvertArgs& args)
{
    LoadedDrawing drawing = loadFile(args.input, args.strict);
    for (const std::string& message : drawing.messages) std::cerr << args.input << ": " << message << "\n";
    if (!drawing.loaded) return ExitFailed;

    kx::svg::SaveTextOptions options;
    options.save.floatPrecision = args.precision;
    options.save.formatOutput = args.pretty;
    options.save.author = args.author;
    options.save.writeFlag = !args.noHeader;

    const kx::svg::SaveResult saved = kx::svg::SaveString(*drawing.root, options);
    for (const std::string& message : saved.messages) std::cerr << args.output << ": " << message << "\n";
    if (!saved) {
        std::cerr << "kxsvg: saving '" << args.output << "' failed\n";
        return ExitFailed;
    }
    std::string error;
    if (!writeOutput(args.output, saved.text, error)) {
        std::cerr << "kxsvg: " << error << "\n";
        return ExitFailed;
    }
    return ExitOk;
}

} // namespace kxsvg
