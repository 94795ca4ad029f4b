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

    kx::svg::SaveOptions options;
    options.floatPrecision = args.precision;
    options.formatOutput = args.pretty;
    options.author = args.author;
    options.writeFlag = !args.noHeader;

    std::string text;
    std::list<std::string> messages;
    bool saved = false;
    {
        kxIoDeviceByteContainerWriteOnly device(text);
        saved = kx::svg::kxSvgIOManager::get()->saveSvg(*drawing.root, device, "svg", nullptr, &options, &messages);
    }
    for (const std::string& message : messages) std::cerr << args.output << ": " << message << "\n";
    if (!saved) {
        std::cerr << "kxsvg: saving '" << args.output << "' failed\n";
        return ExitFailed;
    }
    std::string error;
    if (!writeOutput(args.output, text, error)) {
        std::cerr << "kxsvg: " << error << "\n";
        return ExitFailed;
    }
    return ExitOk;
}

} // namespace kxsvg
